// Reading lists, whatever kind their entries are. Internal to the document model.
//
// The entries of a child list are the children, linked by the sibling chain. An attribute carries
// its own entry for the map of an element. So both are found without a search. Lists by themselves
// have arrays of entries, which are searched.
#ifndef QVX_DOM_LISTS_H
#define QVX_DOM_LISTS_H

#include "dom/attribute_maps.h"
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

inline ArrayEntry* AsArrayEntry(NodeEntry* entry) {
  return static_cast<ArrayEntry*>(entry);
}
/// A child or an attribute is its own entry.
inline DOM_Node* AsNode(NodeEntry* entry) {
  return static_cast<DOM_Node*>(entry);
}
inline AttributeNode* AsAttribute(NodeEntry* entry) {
  return static_cast<AttributeNode*>(AsNode(entry));
}

// What follows is not for views.

inline NodeEntry* FirstEntry(const NodeList* list) {
  switch (KindOf(list)) {
    case ListKind::kChildren:
      return ParentOfList(list)->firstChild;
    case ListKind::kAttributes:
      return ElementOfMap(list)->first_attribute;
    default:
      return list->length != 0 ? AsEntryList(list)->first : nullptr;
  }
}

inline DOM_Node* NodeOf(const NodeList* list, NodeEntry* entry) {
  return IsPartOfNode(list) ? AsNode(entry) : AsArrayEntry(entry)->node;
}

inline NodeEntry* NextEntry(const NodeList* list, NodeEntry* entry) {
  switch (KindOf(list)) {
    case ListKind::kChildren:
      return AsNode(entry)->nextSibling;
    case ListKind::kAttributes:
      return AsAttribute(entry)->next;
    default:
      const ArrayEntry* const last = AsEntryList(list)->first + list->length - 1;
      return entry != last ? AsArrayEntry(entry) + 1 : nullptr;
  }
}

}  // namespace qvx::dom

#endif
