// Making attributes faster than by way of the public operations. Internal to the document model.
#ifndef QVX_DOM_ATTRIBUTES_H
#define QVX_DOM_ATTRIBUTES_H

#include "dom/dom.h"

namespace qvx::dom {

/// DOM_Element_setAttribute for a name that the element does not have. The parser refuses a start
/// tag with a name twice, so its attributes need no look-ups. The element has a map, and no text is
/// null. Reports failures as DOM_Element_setAttribute does.
void AddAttribute(DOM_Element* element, const DOM_String* name, const DOM_String* value);

}  // namespace qvx::dom

#endif
