#include "dom/list_entries.h"

#include <cstdlib>

#include "dom/failure.h"
#include "dom/operation.h"
#include "dom/tree.h"

namespace qvx::dom {
namespace {

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
    entry = &attribute->map_entry;
  } else {
    entry = static_cast<ListEntry*>(std::malloc(sizeof(ListEntry)));
  }
  if (entry != nullptr) {
    entry->node = node;
  }
  return entry;
}

void FreeEntry(NodeList* list, ListEntry* entry) {
  if (IsAttributeMapOfElement(list)) {
    static_cast<AttributeNode*>(entry->node)->home = nullptr;
    return;
  }
  std::free(entry);
}

void LinkEntry(NodeList* list, ListEntry* entry, ListEntry* next) {
  ListEntry* const previous = next != nullptr ? next->previous : AsListEntry(list->last);
  KeepCursorOnInsertion(list, entry, previous, next);
  entry->previous = previous;
  entry->next = next;
  if (previous != nullptr) {
    previous->next = entry;
  } else {
    list->first = entry;
  }
  if (next != nullptr) {
    next->previous = entry;
  } else {
    list->last = entry;
  }
  ++list->length;
}

void UnlinkEntry(NodeList* list, ListEntry* entry) {
  KeepCursorOnRemoval(list, entry, entry->previous, entry->next);
  if (entry->previous != nullptr) {
    entry->previous->next = entry->next;
  } else {
    list->first = entry->next;
  }
  if (entry->next != nullptr) {
    entry->next->previous = entry->previous;
  } else {
    list->last = entry->previous;
  }
  --list->length;
}

void FreeEntries(NodeList* list) {
  NodeEntry* entry = list->first;
  while (entry != nullptr) {
    NodeEntry* const next = AsListEntry(entry)->next;
    std::free(AsListEntry(entry));
    entry = next;
  }
  list->first = list->last = list->cursor = nullptr;
  list->length = 0;
}

}  // namespace

bool IsAttributeMapOfElement(const NodeList* list) {
  return list->ownerElement != nullptr &&
         list == &static_cast<const ElementNode*>(list->ownerElement)->attribute_map;
}

bool IsViewOfDoctype(const NodeList* list) {
  if (list->underlying == nullptr || !list->underlying->is_child_list) {
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
  if (list->is_child_list || IsAttributeMapOfElement(list)) {
    return true;
  }
  if (!IsViewOfDoctype(list)) {
    return false;
  }
  const auto* doctype = static_cast<const DocumentTypeNode*>(ParentOfList(list->underlying));
  return list == &doctype->entity_view || list == &doctype->notation_view;
}

NodeEntry* FindEntry(const NodeList* list, const DOM_Node* node) {
  if (list->is_child_list) {
    return node->parentNode == ParentOfList(list) ? const_cast<DOM_Node*>(node) : nullptr;
  }
  if (IsAttributeMapOfElement(list)) {
    const auto* attribute = static_cast<const AttributeNode*>(node);
    const bool here = node->nodeType == DOM_ATTRIBUTE_NODE && attribute->home == list;
    return here ? const_cast<ListEntry*>(&attribute->map_entry) : nullptr;
  }
  ListEntry* entry = AsListEntry(list->first);
  while (entry != nullptr && entry->node != node) {
    entry = entry->next;
  }
  return entry;
}

bool MayEnter(const TraceSite& site, const NodeList* list, const DOM_Node* node,
              const DOM_Node* replaced) {
  if (list->is_child_list) {
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
  if (list->is_child_list) {
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
  if (list->is_child_list) {
    UnlinkChild(AsChild(entry));
    return;
  }
  UnlinkEntry(list, AsListEntry(entry));
  SetOwnerElement(AsListEntry(entry)->node, nullptr);
  FreeEntry(list, AsListEntry(entry));
}

void ClearList(NodeList* list) {
  if (!IsPartOfNode(list)) {
    FreeEntries(list);
    return;
  }
  for (NodeEntry* entry = list->first; entry != nullptr;) {
    NodeEntry* const next = NextEntry(list, entry);
    DropEntry(list, entry);
    entry = next;
  }
}

}  // namespace qvx::dom
