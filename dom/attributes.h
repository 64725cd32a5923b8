// Making attributes faster than by way of the public operations. Internal to the document model.
#ifndef QVX_DOM_ATTRIBUTES_H
#define QVX_DOM_ATTRIBUTES_H

#include "dom/dom.h"

namespace qvx::dom {

/// DOM_Element_setAttribute for a name that the element is known not to have: the parser has seen
/// to that, so a start tag costs no look-ups. Failures are reported as DOM_Element_setAttribute
/// reports them.
void AddAttribute(DOM_Element* element, const DOM_String* name, const DOM_String* value);

}  // namespace qvx::dom

#endif
