// Reading lists, whatever kind their entries are. Internal to the document model.
//
// The entries of a child list are the children, linked by the sibling chain. All other lists are
// chains of ListEntry: on the heap, except that an attribute brings its own entry for the map of an
// element. So a child and an attribute of an element are found without a search, and only a heap
// entry is searched for.
#ifndef QVX_DOM_LISTS_H
#define QVX_DOM_LISTS_H

#include "dom/attribute_chains.h"
#include "dom/node_records.h"

namespace qvx::dom {

/// Every list was made by the document model.
inline ListRecord* RecordOf(NodeList* list) {
  return static_cast<ListRecord*>(list);
}
inline ListKind KindOf(const NodeList* list) {
  return static_cast<const ListRecord*>(list)->kind;
}

/// `list` as a list by itself. The caller makes sure of the kind, here and in the next two.
inline EntryList* AsEntryList(NodeList* list) {
  return static_cast<EntryList*>(list);
}
inline const EntryList* AsEntryList(const NodeList* list) {
  return static_cast<const EntryList*>(list);
}

/// The element that `list`, an attribute map, is a part of.
inline ElementNode* ElementOfMap(NodeList* list) {
  return static_cast<ElementNode*>(static_cast<AttributeMap*>(list));
}
inline const ElementNode* ElementOfMap(const NodeList* list) {
  return static_cast<const ElementNode*>(static_cast<const AttributeMap*>(list));
}

/// The node that `list`, a child list, is a part of.
inline DOM_Node* ParentOfList(NodeList* list) {
  return static_cast<ParentNode*>(static_cast<ChildList*>(list));
}
inline const DOM_Node* ParentOfList(const NodeList* list) {
  return static_cast<const ParentNode*>(static_cast<const ChildList*>(list));
}

/// The document type that `list`, a view, is a part of.
const DocumentTypeNode* DoctypeOfView(const NodeList* list);

/// Whether `list` stands inside a node and goes with it.
inline bool IsPartOfNode(const NodeList* list) {
  return KindOf(list) != ListKind::kEntries;
}

inline bool IsView(const NodeList* list) {
  return KindOf(list) == ListKind::kView;
}

inline ListEntry* AsListEntry(NodeEntry* entry) {
  return static_cast<ListEntry*>(entry);
}
inline DOM_Node* AsChild(NodeEntry* entry) {
  return static_cast<DOM_Node*>(entry);
}

// What follows is not for views.

inline NodeEntry* FirstEntry(const NodeList* list) {
  switch (KindOf(list)) {
    case ListKind::kChildren:
      return ParentOfList(list)->firstChild;
    case ListKind::kAttributes:
      return FirstAttribute(ElementOfMap(list));
    default:
      return AsEntryList(list)->first;
  }
}

NodeEntry* LastEntry(const NodeList* list);

inline DOM_Node* NodeOf(const NodeList* list, NodeEntry* entry) {
  switch (KindOf(list)) {
    case ListKind::kChildren:
      return AsChild(entry);
    case ListKind::kAttributes:
      return static_cast<AttributeNode*>(AsListEntry(entry));
    default:
      return static_cast<HeapEntry*>(AsListEntry(entry))->node;
  }
}

inline NodeEntry* NextEntry(const NodeList* list, NodeEntry* entry) {
  if (KindOf(list) == ListKind::kChildren) {
    return AsChild(entry)->nextSibling;
  }
  return AsListEntry(entry)->next;
}

inline NodeEntry* PreviousEntry(const NodeList* list, NodeEntry* entry) {
  if (KindOf(list) == ListKind::kChildren) {
    return AsChild(entry)->previousSibling;
  }
  return AsListEntry(entry)->previous;
}

}  // namespace qvx::dom

#endif
