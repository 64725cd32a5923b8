// Freeing nodes that are in no tree. Internal to the document model.
#ifndef QVX_DOM_FREEING_H
#define QVX_DOM_FREEING_H

#include "dom/dom.h"

namespace qvx::dom {

/// Frees the record of `node` and the texts, listeners and lists that it owns, not its children and
/// attributes.
void FreeNode(DOM_Node* node);

/// Frees the nodes of a sibling chain (`first` may be null) with all that they own, without
/// recursion. `survivor` is the document that lives on, or null; it no longer names any of them.
void FreeNodes(DOM_Node* first, DOM_Document* survivor);

}  // namespace qvx::dom

#endif
