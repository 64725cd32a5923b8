#include "dom/list_changes.h"

#include <cstdlib>
#include <new>

#include "dom/aside.h"
#include "dom/attribute_chains.h"
#include "dom/chain.h"
#include "dom/child_rules.h"
#include "dom/cursors.h"
#include "dom/failure.h"
#include "dom/linking.h"
#include "dom/lists.h"
#include "dom/node_pages.h"
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

using Entries = Chain<ListEntry, &ListEntry::previous, &ListEntry::next>;

/// The ends of `list`, which is no child list.
Entries EntriesOf(NodeList* list) {
  return {AsListEntry(FirstEntry(list)), AsListEntry(LastEntry(list))};
}

void SetEntries(NodeList* list, const Entries& entries) {
  if (KindOf(list) == ListKind::kAttributes) {
    AttributeChain& chain = ChainOf(ElementOfMap(list));
    chain.first = entries.first;
    chain.last = entries.last;
    return;
  }
  AsEntryList(list)->first = entries.first;
  AsEntryList(list)->last = entries.last;
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

/// Puts an attribute into the map of an element before `next`. Returns its entry, which is a part
/// of it, or null with errno set when memory ran out.
ListEntry* EnterMap(ElementNode* element, AttributeNode* attribute, ListEntry* next) {
  if (element->chain == 0 && !MakeAttributeChain(element)) {
    return nullptr;
  }
  if (attribute->parentNode != nullptr) {
    TakeBack(attribute);
  }
  AttributeMap* const map = element;
  AttributeChain& chain = ChainOf(element);
  Entries entries{chain.first, chain.last};
  entries.Insert(attribute, next);
  KeepCursorOnInsertion(map, static_cast<ListEntry*>(attribute), attribute->previous, next);
  chain.first = entries.first;
  chain.last = entries.last;
  ++map->length;
  attribute->holder = element;
  attribute->ownerElement = element;
  ++attribute->placements;
  return attribute;
}

/// Takes an attribute out of the map of its element.
void LeaveMap(AttributeNode* attribute) {
  UnlinkEntry(attribute->holder->attributes, attribute);
  attribute->ownerElement = nullptr;
  attribute->holder = nullptr;
}

/// Puts a node into a list by itself before `next`. Returns its entry, or null with errno set when
/// memory ran out.
ListEntry* EnterList(NodeList* list, DOM_Node* node, ListEntry* next) {
  const NodeBlock block = TakeBlock(sizeof(HeapEntry));
  if (block.memory == nullptr) {
    return nullptr;
  }
  auto* entry = new (block.memory) HeapEntry{};
  entry->node = node;
  entry->place = block.place;
  LinkEntry(list, entry, next);
  return entry;
}

void FreeEntry(NodeEntry* entry) {
  auto* freed = static_cast<HeapEntry*>(AsListEntry(entry));
  GiveBackBlock({freed, freed->place}, sizeof(HeapEntry));
}

void FreeEntries(NodeList* list) {
  NodeEntry* entry = FirstEntry(list);
  while (entry != nullptr) {
    NodeEntry* const next = AsListEntry(entry)->next;
    FreeEntry(entry);
    entry = next;
  }
  SetEntries(list, {});
  ForgetCursor(RecordOf(list));
  list->length = 0;
}

/// The entry of `node` in a list by itself, or null.
HeapEntry* FindHeapEntry(const NodeList* list, const DOM_Node* node) {
  auto* entry = static_cast<HeapEntry*>(AsEntryList(list)->first);
  while (entry != nullptr && entry->node != node) {
    entry = static_cast<HeapEntry*>(entry->next);
  }
  return entry;
}

bool IsInMap(const DOM_Node* node, const NodeList* map) {
  return node->nodeType == DOM_ATTRIBUTE_NODE &&
         static_cast<const AttributeNode*>(node)->holder == ElementOfMap(map);
}

bool Holds(const NodeList* list, const DOM_Node* node) {
  switch (KindOf(list)) {
    case ListKind::kChildren:
      return node->parentNode == ParentOfList(list);
    case ListKind::kAttributes:
      return IsInMap(node, list);
    default:
      return FindHeapEntry(list, node) != nullptr;
  }
}

bool MayChange(const TraceSite& site, const NodeList* list, const DOM_Node* node) {
  if (list == nullptr || node == nullptr) {
    Fail(site, kNullParameter);
    return false;
  }
  if (IsView(list)) {
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
  switch (KindOf(list)) {
    case ListKind::kChildren:
      return node->parentNode == ParentOfList(list) ? node : nullptr;
    case ListKind::kAttributes:
      return IsInMap(node, list) ? static_cast<ListEntry*>(static_cast<AttributeNode*>(node))
                                 : nullptr;
    default:
      return FindHeapEntry(list, node);
  }
}

bool MayEnter(const TraceSite& site, const NodeList* list, const DOM_Node* node,
              const DOM_Node* replaced) {
  if (KindOf(list) == ListKind::kChildren) {
    const bool fits = node->parentNode == nullptr && MayHold(ParentOfList(list), node, replaced);
    if (!fits) {
      Fail(site, DOM_HIERARCHY_REQUEST_ERR);
    }
    return fits;
  }
  if (KindOf(list) != ListKind::kAttributes) {
    return true;
  }
  if (node->nodeType != DOM_ATTRIBUTE_NODE) {
    Fail(site, DOM_HIERARCHY_REQUEST_ERR);
    return false;
  }
  if (static_cast<const AttributeNode*>(node)->holder != nullptr) {
    Fail(site, DOM_INUSE_ATTRIBUTE_ERR);
    return false;
  }
  return true;
}

NodeEntry* InsertEntry(NodeList* list, DOM_Node* node, NodeEntry* next) {
  if (KindOf(list) == ListKind::kChildren) {
    LinkChild(ParentOfList(list), node, AsChild(next));
    return node;
  }
  if (KindOf(list) == ListKind::kAttributes) {
    return EnterMap(ElementOfMap(list), static_cast<AttributeNode*>(node), AsListEntry(next));
  }
  ListEntry* const entry = EnterList(list, node, AsListEntry(next));
  if (entry != nullptr) {
    SetOwnerElement(node, nullptr);
  }
  return entry;
}

bool AppendAttribute(DOM_Element* element, DOM_Attr* attribute) {
  return EnterMap(static_cast<ElementNode*>(element), static_cast<AttributeNode*>(attribute),
                  nullptr) != nullptr;
}

NodeEntry* ReplaceEntry(NodeList* list, NodeEntry* entry, DOM_Node* node) {
  if (IsPartOfNode(list)) {
    NodeEntry* const next = NextEntry(list, entry);
    DropEntry(list, entry);
    return InsertEntry(list, node, next);
  }
  auto* replaced = static_cast<HeapEntry*>(AsListEntry(entry));
  SetOwnerElement(replaced->node, nullptr);
  replaced->node = node;
  return entry;
}

void DropEntry(NodeList* list, NodeEntry* entry) {
  switch (KindOf(list)) {
    case ListKind::kChildren:
      UnlinkChild(AsChild(entry));
      return;
    case ListKind::kAttributes:
      LeaveMap(static_cast<AttributeNode*>(AsListEntry(entry)));
      return;
    default:
      UnlinkEntry(list, AsListEntry(entry));
      SetOwnerElement(NodeOf(list, entry), nullptr);
      FreeEntry(entry);
  }
}

void ClearList(NodeList* list) {
  if (!IsPartOfNode(list)) {
    FreeEntries(list);
    return;
  }
  while (NodeEntry* const first = FirstEntry(list)) {
    DropEntry(list, first);
  }
}

}  // namespace qvx::dom

using namespace qvx::dom;

NodeList* Document_createNodeList(DOM_Document* document) {
  auto* list = static_cast<EntryList*>(std::calloc(1, sizeof(EntryList)));
  if (list == nullptr) {
    FailErrno({kModule, __func__});
    return nullptr;
  }
  list->kind = ListKind::kEntries;
  list->owner_document = document;
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
  auto* removed = static_cast<HeapEntry*>(std::calloc(1, sizeof(HeapEntry)));
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
  if (list == nullptr || node == nullptr || IsView(list)) {
    return 0;
  }
  return Holds(list, node) ? 1 : 0;
}
