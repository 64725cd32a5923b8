// Lists of nodes, whatever kind they are. Internal to the document model; dom.h declares the public
// operations.
//
// The entries of a child list are the children, those of an attribute map the attributes. So both
// are found without a search. A list by itself, such as the result of a look-up, has its entries in
// a container, which is searched. A view has none: it is read from the children of its document
// type.
#ifndef QVX_DOM_LISTS_H
#define QVX_DOM_LISTS_H

#include "dom/node_records.h"
#include "support/trace.h"

namespace qvx::dom {

/// Returns whether a list that is no view can take `node` (in the place of `replaced`, when that is
/// given). Records DOM_HIERARCHY_REQUEST_ERR when a child list may not hold the node, when the node
/// of a child list has a parent, and when the node of an element's map is no attribute. Records
/// DOM_INUSE_ATTRIBUTE_ERR when the attribute is in the map of an element.
bool MayEnter(const TraceSite& site, const NodeList* list, const DOM_Node* node,
              const DOM_Node* replaced = nullptr);

/// Puts `node` into the place of `old`, which is in the list and leaves it. The caller has asked
/// MayEnter. The ownerElement of a new attribute becomes the list's in the map of an element only.
NodeEntry* ReplaceNode(NodeList* list, DOM_Node* old, DOM_Node* node);

/// Takes `node`, which is in the list, out of it. An attribute loses its ownerElement.
void RemoveNode(NodeList* list, DOM_Node* node);

/// Puts `node` at the end of a list by itself. Throws std::bad_alloc.
void PutLast(NodeList* list, DOM_Node* node);

}  // namespace qvx::dom

#endif
