// Reading lists, whatever kind their entries are. Internal to the document model.
//
// The entries of a child list are the children, linked by the sibling chain. All other lists are
// chains of ListEntry: on the heap, except that an attribute brings its own entry for the map of an
// element. So a child and an attribute of an element are found without a search, and only a heap
// entry is searched for.
//
// A list remembers the entry that a look-up by index delivered last (its cursor). A change that
// leaves the cursor's index as it was keeps it, so that a walk which replaces or removes what it
// meets stays linear; any other change forgets it.
#ifndef QVX_DOM_LISTS_H
#define QVX_DOM_LISTS_H

#include "dom/node_records.h"

namespace qvx::dom {

/// Every list was made by the document model.
inline ListRecord* RecordOf(NodeList* list) {
  return static_cast<ListRecord*>(list);
}

inline bool IsChildList(const NodeList* list) {
  return static_cast<const ListRecord*>(list)->is_child_list;
}

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
  return IsChildList(list) ? AsChild(entry) : AsListEntry(entry)->node;
}

inline NodeEntry* NextEntry(const NodeList* list, NodeEntry* entry) {
  if (IsChildList(list)) {
    return AsChild(entry)->nextSibling;
  }
  return AsListEntry(entry)->next;
}

inline NodeEntry* PreviousEntry(const NodeList* list, NodeEntry* entry) {
  if (IsChildList(list)) {
    return AsChild(entry)->previousSibling;
  }
  return AsListEntry(entry)->previous;
}

/// Forgets the cursor of `list`.
inline void ForgetCursor(NodeList* list) {
  RecordOf(list)->cursor = nullptr;
}

/// Keeps the cursor right when `entry` comes in between `previous` and `next` (null at the
/// ends).
inline void KeepCursorOnInsertion(ListRecord* list, NodeEntry* entry, const NodeEntry* previous,
                                  const NodeEntry* next) {
  if (next == nullptr || list->cursor == previous) {
    return;
  }
  list->cursor = list->cursor == next ? entry : nullptr;
}

/// Keeps the cursor right when `entry` leaves its place between `previous` and `next` (null at the
/// ends).
inline void KeepCursorOnRemoval(ListRecord* list, const NodeEntry* entry, NodeEntry* previous,
                                const NodeEntry* next) {
  if (list->cursor != entry) {
    if (next != nullptr && list->cursor != previous) {
      list->cursor = nullptr;
    }
    return;
  }
  list->cursor = previous;
  if (previous != nullptr) {
    --list->cursor_index;
  }
}

/// Whether `list` is the attribute map of an element, whose entries stand in the attributes.
bool IsAttributeMapOfElement(const NodeList* list);

/// Whether `list` is one of the two views of a document type.
bool IsViewOfDoctype(const NodeList* list);

/// Whether `list` stands inside a node and goes with it.
bool IsPartOfNode(const NodeList* list);

}  // namespace qvx::dom

#endif
