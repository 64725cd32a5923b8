#include "dom/list_changes.h"

#include <cstdlib>

#include "dom/aside.h"
#include "dom/chain.h"
#include "dom/child_rules.h"
#include "dom/failure.h"
#include "dom/linking.h"
#include "dom/lists.h"
#include "dom/node_records.h"
#include "support/trace_modules.h"

namespace qvx::dom {
namespace {

constexpr const char* kModule = qvx::trace_modules::kNodeList;

void SetOwnerElement(DOM_Node* node, DOM_Node* element) {
  if (node->nodeType == DOM_ATTRIBUTE_NODE) {
    DOM_AttributePart(node).ownerElement = element;
  }
}

// An entry for `node`, not linked yet. Null with errno set when memory ran out.
ListEntry* MakeEntry(NodeList* list, DOM_Node* node) {
  ListEntry* entry = nullptr;
  if (IsAttributeMapOfElement(list)) {
    auto* attribute = static_cast<AttributeNode*>(node);
    if (attribute->parentNode != nullptr) {
      TakeBack(attribute);
    }
    attribute->home = list;
    ++attribute->placements;
    entry = &attribute->map_entry;
  } else {
    entry = static_cast<ListEntry*>(std::malloc(sizeof(ListEntry)));
  }
  if (entry != nullptr) {
    entry->node = node;
  }
  return entry;
}

using Entries = Chain<ListEntry, &ListEntry::previous, &ListEntry::next>;

Entries EntriesOf(const NodeList* list) {
  return {AsListEntry(list->first), AsListEntry(list->last)};
}

void SetEntries(NodeList* list, const Entries& entries) {
  list->first = entries.first;
  list->last = entries.last;
}

void LinkEntry(NodeList* list, ListEntry* entry, ListEntry* next) {
  Entries entries = EntriesOf(list);
  entries.Insert(entry, next);
  KeepCursorOnInsertion(RecordOf(list), entry, entry->previous, next);
  SetEntries(list, entries);
  ++list->length;
}

void UnlinkEntry(NodeList* list, ListEntry* entry) {
  KeepCursorOnRemoval(RecordOf(list), entry, entry->previous, entry->next);
  Entries entries = EntriesOf(list);
  entries.Remove(entry);
  SetEntries(list, entries);
  --list->length;
}

// Takes the entry of an attribute, which is a part of it, out of the map of its element.
void LeaveMap(NodeList* map, ListEntry* entry) {
  UnlinkEntry(map, entry);
  auto* attribute = static_cast<AttributeNode*>(entry->node);
  SetOwnerElement(attribute, nullptr);
  attribute->home = nullptr;
}

void FreeEntries(NodeList* list) {
  NodeEntry* entry = list->first;
  while (entry != nullptr) {
    NodeEntry* const next = AsListEntry(entry)->next;
    std::free(AsListEntry(entry));
    entry = next;
  }
  SetEntries(list, {});
  ForgetCursor(list);
  list->length = 0;
}

// The entry of `node` in a list whose entries are on the heap, or null.
ListEntry* FindHeapEntry(const NodeList* list, const DOM_Node* node) {
  ListEntry* entry = AsListEntry(list->first);
  while (entry != nullptr && entry->node != node) {
    entry = entry->next;
  }
  return entry;
}

bool IsInMap(const DOM_Node* node, const NodeList* map) {
  return node->nodeType == DOM_ATTRIBUTE_NODE &&
         static_cast<const AttributeNode*>(node)->home == map;
}

bool Holds(const NodeList* list, const DOM_Node* node) {
  if (IsChildList(list)) {
    return node->parentNode == ParentOfList(list);
  }
  return IsAttributeMapOfElement(list) ? IsInMap(node, list) : FindHeapEntry(list, node) != nullptr;
}

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

}  // namespace

NodeEntry* FindEntry(const NodeList* list, DOM_Node* node) {
  if (IsChildList(list)) {
    return node->parentNode == ParentOfList(list) ? node : nullptr;
  }
  if (IsAttributeMapOfElement(list)) {
    return IsInMap(node, list) ? &static_cast<AttributeNode*>(node)->map_entry : nullptr;
  }
  return FindHeapEntry(list, node);
}

bool MayEnter(const TraceSite& site, const NodeList* list, const DOM_Node* node,
              const DOM_Node* replaced) {
  if (IsChildList(list)) {
    const bool fits = node->parentNode == nullptr && MayHold(ParentOfList(list), node, replaced);
    if (!fits) {
      Fail(site, DOM_HIERARCHY_REQUEST_ERR);
    }
    return fits;
  }
  if (!IsAttributeMapOfElement(list)) {
    return true;
  }
  if (node->nodeType != DOM_ATTRIBUTE_NODE) {
    Fail(site, DOM_HIERARCHY_REQUEST_ERR);
    return false;
  }
  if (static_cast<const AttributeNode*>(node)->home != nullptr) {
    Fail(site, DOM_INUSE_ATTRIBUTE_ERR);
    return false;
  }
  return true;
}

NodeEntry* InsertEntry(NodeList* list, DOM_Node* node, NodeEntry* next) {
  if (IsChildList(list)) {
    LinkChild(ParentOfList(list), node, AsChild(next));
    return node;
  }
  ListEntry* const entry = MakeEntry(list, node);
  if (entry == nullptr) {
    return nullptr;
  }
  LinkEntry(list, entry, AsListEntry(next));
  SetOwnerElement(node, list->ownerElement);
  return entry;
}

NodeEntry* ReplaceEntry(NodeList* list, NodeEntry* entry, DOM_Node* node) {
  if (IsPartOfNode(list)) {
    NodeEntry* const next = NextEntry(list, entry);
    DropEntry(list, entry);
    return InsertEntry(list, node, next);
  }
  SetOwnerElement(AsListEntry(entry)->node, nullptr);
  AsListEntry(entry)->node = node;
  return entry;
}

void DropEntry(NodeList* list, NodeEntry* entry) {
  if (IsChildList(list)) {
    return UnlinkChild(AsChild(entry));
  }
  ListEntry* const dropped = AsListEntry(entry);
  if (IsAttributeMapOfElement(list)) {
    return LeaveMap(list, dropped);
  }
  UnlinkEntry(list, dropped);
  SetOwnerElement(dropped->node, nullptr);
  std::free(dropped);
}

void ClearList(NodeList* list) {
  if (!IsPartOfNode(list)) {
    return FreeEntries(list);
  }
  while (list->first != nullptr) {
    if (IsChildList(list)) {
      UnlinkChild(AsChild(list->first));
    } else {
      LeaveMap(list, AsListEntry(list->first));
    }
  }
}

}  // namespace qvx::dom

using namespace qvx::dom;

NodeList* Document_createNodeList(DOM_Document* document) {
  auto* list = static_cast<ListRecord*>(std::calloc(1, sizeof(ListRecord)));
  if (list == nullptr) {
    FailErrno({kModule, __func__});
    return nullptr;
  }
  list->ownerDocument = document;
  return list;
}

NodeEntry* NodeList_append(NodeList* list, DOM_Node* node) {
  if (list == nullptr) {
    FailDetails({kModule, __func__}, kNullParameter, "%p", static_cast<const void*>(node));
    return nullptr;
  }
  if (!MayChange({kModule, __func__}, list, node)) {
    return nullptr;
  }
  return PutBefore({kModule, __func__}, list, node, nullptr);
}

NodeEntry* NodeList_insert(NodeList* list, DOM_Node* node, DOM_Node* reference) {
  if (!MayChange({kModule, __func__}, list, node)) {
    return nullptr;
  }
  NodeEntry* const next = reference != nullptr ? FindEntry(list, reference) : nullptr;
  if (reference != nullptr && next == nullptr) {
    Fail({kModule, __func__}, DOM_NOT_FOUND_ERR);
    return nullptr;
  }
  return PutBefore({kModule, __func__}, list, node, next);
}

NodeEntry* NodeList_remove(NodeList* list, DOM_Node* node) {
  if (!MayChange({kModule, __func__}, list, node)) {
    return nullptr;
  }
  NodeEntry* const entry = FindEntry(list, node);
  if (entry == nullptr) {
    return nullptr;
  }
  // The entry itself may be a part of a node, which the caller could not free.
  auto* removed = static_cast<ListEntry*>(std::calloc(1, sizeof(ListEntry)));
  if (removed == nullptr) {
    FailErrno({kModule, __func__});
    return nullptr;
  }
  removed->node = node;
  DropEntry(list, entry);
  return removed;
}

NodeEntry* NodeList_replace(NodeList* list, DOM_Node* new_node, DOM_Node* old_node) {
  if (!MayChange({kModule, __func__}, list, new_node)) {
    return nullptr;
  }
  NodeEntry* const entry = old_node != nullptr ? FindEntry(list, old_node) : nullptr;
  if (entry == nullptr) {
    Fail({kModule, __func__}, DOM_NOT_FOUND_ERR);
    return nullptr;
  }
  if (new_node == old_node) {
    return entry;
  }
  if (!MayEnter({kModule, __func__}, list, new_node, old_node)) {
    return nullptr;
  }
  return ReplaceEntry(list, entry, new_node);
}

int NodeList_exists(const NodeList* list, const DOM_Node* node) {
  if (list == nullptr || node == nullptr || list->filter != 0) {
    return 0;
  }
  return Holds(list, node) ? 1 : 0;
}
