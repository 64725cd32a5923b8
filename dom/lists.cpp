#include "dom/lists.h"

namespace qvx::dom {
namespace {

// Moves from `entry`, which is at index `at`, to `index`.
NodeEntry* Step(const NodeList* list, NodeEntry* entry, uint32_t at, uint32_t index) {
  for (; at < index; ++at) {
    entry = NextEntry(list, entry);
  }
  for (; at > index; --at) {
    entry = PreviousEntry(list, entry);
  }
  return entry;
}

NodeEntry* EntryAt(const ListRecord* list, uint32_t index) {
  const uint32_t from_last = list->length - 1 - index;
  const uint32_t from_cursor =
      index > list->cursor_index ? index - list->cursor_index : list->cursor_index - index;
  if (list->cursor != nullptr && from_cursor <= index && from_cursor <= from_last) {
    return Step(list, list->cursor, list->cursor_index, index);
  }
  if (index <= from_last) {
    return Step(list, list->first, 0, index);
  }
  return Step(list, list->last, list->length - 1, index);
}

// The entry of the underlying list, from `entry` on, that passes the filter; null when there is
// none.
NodeEntry* Passing(const NodeList* view, NodeEntry* entry,
                   NodeEntry* (*advance)(const NodeList*, NodeEntry*)) {
  while (entry != nullptr && NodeOf(view->underlying, entry)->nodeType != view->filter) {
    entry = advance(view->underlying, entry);
  }
  return entry;
}

NodeEntry* EntryOfViewAt(const ListRecord* view, uint32_t index) {
  const NodeList* const list = view->underlying;
  // Only a document type tells its own views when its children change.
  const bool use_cursor =
      view->cursor != nullptr && IsViewOfDoctype(view) && view->cursor_index / 2 <= index;
  NodeEntry* entry = use_cursor ? view->cursor : Passing(view, list->first, NextEntry);
  uint32_t at = use_cursor ? view->cursor_index : 0;
  for (; entry != nullptr && at < index; ++at) {
    entry = Passing(view, NextEntry(list, entry), NextEntry);
  }
  for (; entry != nullptr && at > index; --at) {
    entry = Passing(view, PreviousEntry(list, entry), PreviousEntry);
  }
  return entry;
}

}  // namespace

bool IsAttributeMapOfElement(const NodeList* list) {
  return list->ownerElement != nullptr &&
         list == &static_cast<const ElementNode*>(list->ownerElement)->attribute_map;
}

bool IsViewOfDoctype(const NodeList* list) {
  if (list->underlying == nullptr || !IsChildList(list->underlying)) {
    return false;
  }
  const DOM_Node* const parent = ParentOfList(list->underlying);
  if (parent->nodeType != DOM_DOCUMENT_TYPE_NODE) {
    return false;
  }
  const auto* doctype = static_cast<const DocumentTypeNode*>(parent);
  return list == doctype->entities || list == doctype->notations;
}

bool IsPartOfNode(const NodeList* list) {
  if (IsChildList(list) || IsAttributeMapOfElement(list)) {
    return true;
  }
  if (!IsViewOfDoctype(list)) {
    return false;
  }
  const auto* doctype = static_cast<const DocumentTypeNode*>(ParentOfList(list->underlying));
  return list == &doctype->entity_view || list == &doctype->notation_view;
}

}  // namespace qvx::dom

using namespace qvx::dom;

DOM_Node* DOM_NodeList_item(NodeList* list, int32_t index) {
  NodeList* const entries = list != nullptr && list->filter != 0 ? list->underlying : list;
  if (entries == nullptr || index < 0 || static_cast<uint32_t>(index) >= entries->length) {
    return nullptr;
  }
  const auto position = static_cast<uint32_t>(index);
  NodeEntry* const entry = list->filter != 0 ? EntryOfViewAt(RecordOf(list), position)
                                             : EntryAt(RecordOf(list), position);
  if (entry == nullptr) {
    return nullptr;
  }
  RecordOf(list)->cursor = entry;
  RecordOf(list)->cursor_index = position;
  return NodeOf(entries, entry);
}
