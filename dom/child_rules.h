// Who may be whose child. Internal to the document model.
#ifndef QVX_DOM_CHILD_RULES_H
#define QVX_DOM_CHILD_RULES_H

#include "dom/dom.h"

namespace qvx::dom {

/// Whether the hierarchy rules let `child` become a child of `parent`: the types fit, a document
/// gets no second element or document type, and no cycle arises. `replaced` (may be null) is the
/// child that makes way. It may make way for another document type, but not for another element.
bool MayHold(const DOM_Node* parent, const DOM_Node* child, const DOM_Node* replaced = nullptr);

}  // namespace qvx::dom

#endif
