// Changing lists, whatever kind their entries are. Internal to the document model; dom.h declares
// the public operations.
#ifndef QVX_DOM_LIST_CHANGES_H
#define QVX_DOM_LIST_CHANGES_H

#include "dom/dom.h"
#include "support/trace.h"

namespace qvx::dom {

/// The entry of `node` in a plain list; null when it is not there.
NodeEntry* FindEntry(const NodeList* list, DOM_Node* node);

/// Whether a plain list can take `node` (in the place of `replaced`, when that is given). A tree
/// stays a tree and an attribute in one element: DOM_HIERARCHY_REQUEST_ERR for a child list that
/// may not hold the node or a node that has a parent, and for an attribute map and another type of
/// node; DOM_INUSE_ATTRIBUTE_ERR for an attribute that is in the map of an element.
bool MayEnter(const TraceSite& site, const NodeList* list, const DOM_Node* node,
              const DOM_Node* replaced = nullptr);

/// Puts `node` into a plain list before `next` (at the end when that is null); MayEnter has been
/// asked. An attribute's ownerElement becomes the list's. Returns null with errno set when memory
/// ran out.
NodeEntry* InsertEntry(NodeList* list, DOM_Node* node, NodeEntry* next);

/// Puts an attribute of a new name into the map of `element`. Returns false with errno set when
/// memory ran out.
bool AppendAttribute(DOM_Element* element, DOM_Attr* attribute);

/// Puts `node` into the place of `entry`, whose node leaves the list. The ownerElement of a new
/// attribute becomes the list's in the map of an element only.
NodeEntry* ReplaceEntry(NodeList* list, NodeEntry* entry, DOM_Node* node);

/// Takes `entry` out of a plain list and frees it. An attribute loses its ownerElement.
void DropEntry(NodeList* list, NodeEntry* entry);

/// Drops all entries of a plain list. Those of a list that is no part of a node are freed without a
/// look at their nodes, which may be gone.
void ClearList(NodeList* list);

}  // namespace qvx::dom

#endif
