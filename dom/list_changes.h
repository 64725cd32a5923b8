// Changing lists, whatever kind their entries are. Internal to the document model; dom.h declares
// the public operations.
#ifndef QVX_DOM_LIST_CHANGES_H
#define QVX_DOM_LIST_CHANGES_H

#include "dom/dom.h"
#include "support/trace.h"

namespace qvx::dom {

/// The entry of `node` in a plain list; null when it is not there.
NodeEntry* FindEntry(const NodeList* list, DOM_Node* node);

/// Whether a plain list can take `node` (in the place of `replaced`, when that is given). Records
/// DOM_HIERARCHY_REQUEST_ERR when a child list may not hold the node, when the node of a child list
/// has a parent, and when the node of an element's map is no attribute. Records
/// DOM_INUSE_ATTRIBUTE_ERR when the attribute is in the map of an element.
bool MayEnter(const TraceSite& site, const NodeList* list, const DOM_Node* node,
              const DOM_Node* replaced = nullptr);

/// Puts `node` into a plain list before `next` (at the end when that is null). The caller has asked
/// MayEnter. An attribute's ownerElement becomes the list's. Returns null with errno set when
/// memory ran out.
NodeEntry* InsertEntry(NodeList* list, DOM_Node* node, NodeEntry* next);

/// Puts `node` into the place of `entry`, whose node leaves the list. The ownerElement of a new
/// attribute becomes the list's in the map of an element only.
NodeEntry* ReplaceEntry(NodeList* list, NodeEntry* entry, DOM_Node* node);

/// Takes `entry` out of a plain list and frees it. An attribute loses its ownerElement.
void DropEntry(NodeList* list, NodeEntry* entry);

/// Drops all entries of a plain list. The nodes of a list that is no part of a node may be gone, so
/// its entries are freed without a look at them.
void ClearList(NodeList* list);

}  // namespace qvx::dom

#endif
