// The entries of a list, whatever kind they are. Internal to the document model.
//
// The entries of a child list are the children, linked by the sibling chain. All other lists are
// chains of ListEntry: on the heap, except that an attribute brings its own entry for the map of an
// element. So a child and an attribute of an element are found without a search, and only a heap
// entry is searched for.
//
// A list remembers the entry that a look-up by index delivered last (its cursor). A change that
// leaves the cursor's index as it was keeps it, so that a walk which replaces or removes what it
// meets stays linear; any other change forgets it.
#ifndef QVX_DOM_LIST_ENTRIES_H
#define QVX_DOM_LIST_ENTRIES_H

#include "dom/dom.h"
#include "dom/node_record.h"
#include "support/trace.h"

namespace qvx::dom {

inline ListEntry* AsListEntry(NodeEntry* entry) {
  return static_cast<ListEntry*>(entry);
}
inline DOM_Node* AsChild(NodeEntry* entry) {
  return static_cast<DOM_Node*>(entry);
}

/// The node that `list`, a child list, is a part of.
inline DOM_Node* ParentOfList(NodeList* list) {
  return static_cast<ParentNode*>(list);
}
inline const DOM_Node* ParentOfList(const NodeList* list) {
  return static_cast<const ParentNode*>(list);
}

inline DOM_Node* NodeOf(const NodeList* list, NodeEntry* entry) {
  return list->is_child_list ? AsChild(entry) : AsListEntry(entry)->node;
}

inline NodeEntry* NextEntry(const NodeList* list, NodeEntry* entry) {
  if (list->is_child_list) {
    return AsChild(entry)->nextSibling;
  }
  return AsListEntry(entry)->next;
}

inline NodeEntry* PreviousEntry(const NodeList* list, NodeEntry* entry) {
  if (list->is_child_list) {
    return AsChild(entry)->previousSibling;
  }
  return AsListEntry(entry)->previous;
}

/// Keeps the cursor right when `entry` came in between `previous` and `next` (null at the ends).
inline void KeepCursorOnInsertion(const NodeList* list, NodeEntry* entry, const NodeEntry* previous,
                                  const NodeEntry* next) {
  if (next == nullptr || list->cursor == previous) {
    return;
  }
  list->cursor = list->cursor == next ? entry : nullptr;
}

/// Keeps the cursor right when `entry` leaves its place between `previous` and `next` (null at the
/// ends).
inline void KeepCursorOnRemoval(const NodeList* list, const NodeEntry* entry, NodeEntry* previous,
                                const NodeEntry* next) {
  if (list->cursor == entry) {
    list->cursor = previous;
    --list->cursor_index;
    return;
  }
  if (next != nullptr && list->cursor != previous) {
    list->cursor = nullptr;
  }
}

/// Whether `list` is the attribute map of an element, whose entries stand in the attributes.
bool IsAttributeMapOfElement(const NodeList* list);

/// Whether `list` is one of the two views of a document type.
bool IsViewOfDoctype(const NodeList* list);

/// Whether `list` stands inside a node and goes with it.
bool IsPartOfNode(const NodeList* list);

/// The entry of `node` in a plain list; null when it is not there.
NodeEntry* FindEntry(const NodeList* list, const DOM_Node* node);

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
