#include <cerrno>
#include <cstdlib>

#include "dom/dom.h"
#include "dom/failure.h"
#include "dom/list_entries.h"
#include "dom/node_record.h"

using qvx::TraceSite;
using namespace qvx::dom;

namespace {

constexpr char kSource[] = "src/nodelist.cpp";

bool MayChange(const TraceSite& site, const NodeList* list, const DOM_Node* node) {
  if (list == nullptr || node == nullptr) {
    Fail(site, kNullParameter);
    return false;
  }
  if (list->filter != 0) {
    Fail(site, DOM_FILTERED_LIST_ERR);
    return false;
  }
  return true;
}

NodeEntry* PutBefore(const TraceSite& site, NodeList* list, DOM_Node* node, NodeEntry* next) {
  if (!MayEnter(site, list, node)) {
    return nullptr;
  }
  NodeEntry* const entry = InsertEntry(list, node, next);
  if (entry == nullptr) {
    FailErrno(site);
  }
  return entry;
}

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

NodeEntry* EntryAt(const NodeList* list, uint32_t index) {
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

NodeEntry* EntryOfViewAt(const NodeList* view, uint32_t index) {
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

NodeList* Document_createNodeList(DOM_Document* document) {
  auto* list = static_cast<NodeList*>(std::calloc(1, sizeof(NodeList)));
  if (list == nullptr) {
    FailErrno({kSource, "Document_createNodeList"});
    return nullptr;
  }
  list->ownerDocument = document;
  return list;
}

NodeEntry* NodeList_append(NodeList* list, DOM_Node* node) {
  constexpr char kOperation[] = "NodeList_append";
  if (list == nullptr) {
    FailDetails({kSource, kOperation}, kNullParameter, "%p", static_cast<const void*>(node));
    return nullptr;
  }
  if (!MayChange({kSource, kOperation}, list, node)) {
    return nullptr;
  }
  return PutBefore({kSource, kOperation}, list, node, nullptr);
}

NodeEntry* NodeList_insert(NodeList* list, DOM_Node* node, DOM_Node* reference) {
  constexpr char kOperation[] = "NodeList_insert";
  if (!MayChange({kSource, kOperation}, list, node)) {
    return nullptr;
  }
  NodeEntry* const next = reference != nullptr ? FindEntry(list, reference) : nullptr;
  if (reference != nullptr && next == nullptr) {
    Fail({kSource, kOperation}, DOM_NOT_FOUND_ERR);
    return nullptr;
  }
  return PutBefore({kSource, kOperation}, list, node, next);
}

NodeEntry* NodeList_remove(NodeList* list, DOM_Node* node) {
  constexpr char kOperation[] = "NodeList_remove";
  if (!MayChange({kSource, kOperation}, list, node)) {
    return nullptr;
  }
  NodeEntry* const entry = FindEntry(list, node);
  if (entry == nullptr) {
    return nullptr;
  }
  // The entry itself may be a part of a node, which the caller could not free.
  auto* removed = static_cast<ListEntry*>(std::calloc(1, sizeof(ListEntry)));
  if (removed == nullptr) {
    FailErrno({kSource, kOperation});
    return nullptr;
  }
  removed->node = node;
  DropEntry(list, entry);
  return removed;
}

NodeEntry* NodeList_replace(NodeList* list, DOM_Node* new_node, DOM_Node* old_node) {
  constexpr char kOperation[] = "NodeList_replace";
  if (!MayChange({kSource, kOperation}, list, new_node)) {
    return nullptr;
  }
  NodeEntry* const entry = old_node != nullptr ? FindEntry(list, old_node) : nullptr;
  if (entry == nullptr) {
    Fail({kSource, kOperation}, DOM_NOT_FOUND_ERR);
    return nullptr;
  }
  if (new_node == old_node) {
    return entry;
  }
  if (!MayEnter({kSource, kOperation}, list, new_node, old_node)) {
    return nullptr;
  }
  return ReplaceEntry(list, entry, new_node);
}

int NodeList_exists(const NodeList* list, const DOM_Node* node) {
  if (list == nullptr || node == nullptr || list->filter != 0) {
    return 0;
  }
  return FindEntry(list, node) != nullptr ? 1 : 0;
}

DOM_Node* DOM_NodeList_item(const NodeList* list, int32_t index) {
  const NodeList* const entries = list != nullptr && list->filter != 0 ? list->underlying : list;
  if (entries == nullptr || index < 0 || static_cast<uint32_t>(index) >= entries->length) {
    return nullptr;
  }
  const auto position = static_cast<uint32_t>(index);
  NodeEntry* const entry =
      list->filter != 0 ? EntryOfViewAt(list, position) : EntryAt(list, position);
  if (entry == nullptr) {
    return nullptr;
  }
  list->cursor = entry;
  list->cursor_index = position;
  return NodeOf(entries, entry);
}

void DOM_Document_destroyNodeList(DOM_Document* document, NodeList* list, int destroy_nodes) {
  if (list == nullptr) {
    return;
  }
  while (list->filter == 0 && destroy_nodes != 0 && list->first != nullptr) {
    DOM_Node* const node = NodeOf(list, list->first);
    DropEntry(list, list->first);
    DOM_Document_destroyNode(document, node);
  }
  if (list->filter == 0) {
    ClearList(list);
  }
  if (!IsPartOfNode(list)) {
    std::free(list);
  }
}
