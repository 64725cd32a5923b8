#include "dom/list_changes.h"

#include <cstdlib>

#include "dom/aside.h"
#include "dom/attribute_maps.h"
#include "dom/child_rules.h"
#include "dom/entry_arrays.h"
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

/// Puts an attribute into the map of an element before `next`.
void EnterMap(ElementNode* element, AttributeNode* attribute, AttributeNode* next) {
  if (attribute->parentNode != nullptr) {
    TakeBack(attribute);
  }
  LinkAttribute(element, attribute, next);
}

/// The entry of `node` in a list by itself, or null.
ArrayEntry* FindArrayEntry(const EntryList* list, const DOM_Node* node) {
  for (uint32_t i = 0; i < list->length; ++i) {
    if (list->first[i].node == node) {
      return &list->first[i];
    }
  }
  return nullptr;
}

/// Puts a node into a list by itself before `next`. Returns its entry, or null with errno set when
/// memory ran out.
ArrayEntry* EnterList(EntryList* list, DOM_Node* node, const ArrayEntry* next) {
  if (next == nullptr) {
    return PutLast(list, node);
  }
  return PutAt(list, static_cast<uint32_t>(next - list->first), node);
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
      return FindArrayEntry(AsEntryList(list), node) != nullptr;
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
      return IsInMap(node, list) ? node : nullptr;
    default:
      return FindArrayEntry(AsEntryList(list), node);
  }
}

bool MayEnter(const TraceSite& site, const NodeList* list, const DOM_Node* node,
              const DOM_Node* replaced) {
  if (KindOf(list) == ListKind::kChildren) {
    const DOM_Node* const parent = ParentOfList(list);
    const bool fits =
        parent != &aside && node->parentNode == nullptr && MayHold(parent, node, replaced);
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
    LinkChild(ParentOfList(list), node, AsNode(next));
    return node;
  }
  if (KindOf(list) == ListKind::kAttributes) {
    EnterMap(ElementOfMap(list), static_cast<AttributeNode*>(node), AsAttribute(next));
    return node;
  }
  ArrayEntry* const entry = EnterList(AsEntryList(list), node, AsArrayEntry(next));
  if (entry != nullptr) {
    SetOwnerElement(node, nullptr);
  }
  return entry;
}

NodeEntry* ReplaceEntry(NodeList* list, NodeEntry* entry, DOM_Node* node) {
  if (IsPartOfNode(list)) {
    NodeEntry* const next = NextEntry(list, entry);
    DropEntry(list, entry);
    return InsertEntry(list, node, next);
  }
  ArrayEntry* const replaced = AsArrayEntry(entry);
  SetOwnerElement(replaced->node, nullptr);
  replaced->node = node;
  return entry;
}

void DropEntry(NodeList* list, NodeEntry* entry) {
  switch (KindOf(list)) {
    case ListKind::kChildren:
      UnlinkChild(AsNode(entry));
      return;
    case ListKind::kAttributes:
      UnlinkAttribute(AsAttribute(entry));
      return;
    default:
      SetOwnerElement(NodeOf(list, entry), nullptr);
      TakeOut(AsEntryList(list), AsArrayEntry(entry));
  }
}

void ClearList(NodeList* list) {
  if (!IsPartOfNode(list)) {
    FreeEntries(AsEntryList(list));
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
  // The entry itself is a part of a node or of an array, which the caller could not free.
  auto* removed = static_cast<ArrayEntry*>(std::calloc(1, sizeof(ArrayEntry)));
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
