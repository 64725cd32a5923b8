#include "dom/lists.h"

#include <algorithm>
#include <cstdlib>
#include <deque>

#include "dom/attribute_maps.h"
#include "dom/children.h"
#include "dom/destruction.h"
#include "dom/failure.h"
#include "dom/places.h"
#include "support/trace_modules.h"

namespace qvx::dom {
namespace {

constexpr const char* kModule = qvx::trace_modules::kNodeList;

/// An entry of a list by itself.
struct ArrayEntry : NodeEntry {
  explicit ArrayEntry(DOM_Node* n) : node(n) {}
  DOM_Node* node;
};

/// A change at an end costs a constant time, one in the middle moves the shorter side.
struct EntryList : ListRecord {
  DOM_Document* owner_document;  ///< may be null
  std::deque<ArrayEntry> entries;
};

EntryList* AsEntryList(NodeList* list) {
  return static_cast<EntryList*>(list);
}
const EntryList* AsEntryList(const NodeList* list) {
  return static_cast<const EntryList*>(list);
}

auto FindEntry(auto* list, const DOM_Node* node) {
  return std::ranges::find(list->entries, node, &ArrayEntry::node);
}

void SetOwnerElement(DOM_Node* node, DOM_Node* element) {
  if (node->nodeType == DOM_ATTRIBUTE_NODE) {
    DOM_AttributePart(node).ownerElement = element;
  }
}

bool Holds(const NodeList* list, const DOM_Node* node) {
  switch (KindOf(list)) {
    case ListKind::kChildren:
      return node->parentNode == ParentOfList(list);
    case ListKind::kAttributes:
      return node->nodeType == DOM_ATTRIBUTE_NODE &&
             static_cast<const AttributeNode*>(node)->holder == ElementOfMap(list);
    default:
      return FindEntry(AsEntryList(list), node) != AsEntryList(list)->entries.end();
  }
}

/// Puts `node` in front of `reference`, which is in the list (at the end when that is null). The
/// caller has asked MayEnter. An attribute's ownerElement becomes the list's. Returns the entry, or
/// null with errno set when memory ran out.
NodeEntry* InsertNode(NodeList* list, DOM_Node* node, DOM_Node* reference) {
  if (KindOf(list) == ListKind::kChildren) {
    LinkChild(ParentOfList(list), node, reference);
    return node;
  }
  if (KindOf(list) == ListKind::kAttributes) {
    TakeBack(node);
    LinkAttribute(ElementOfMap(list), static_cast<AttributeNode*>(node),
                  static_cast<AttributeNode*>(reference));
    return node;
  }
  auto& entries = AsEntryList(list)->entries;
  NodeEntry* entry = nullptr;
  const auto place = reference != nullptr ? FindEntry(AsEntryList(list), reference) : entries.end();
  if (HasMemoryFor([&] { entry = &*entries.emplace(place, node); })) {
    ++list->length;
    SetOwnerElement(node, nullptr);
  }
  return entry;
}

/// Whether the public operations may change that list; records why not.
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

NodeEntry* PutBefore(const TraceSite& site, NodeList* list, DOM_Node* node, DOM_Node* reference) {
  if (!MayEnter(site, list, node)) {
    return nullptr;
  }
  NodeEntry* const entry = InsertNode(list, node, reference);
  if (entry == nullptr) {
    FailErrno(site);
  }
  return entry;
}

}  // namespace

bool MayEnter(const TraceSite& site, const NodeList* list, const DOM_Node* node,
              const DOM_Node* replaced) {
  if (KindOf(list) == ListKind::kChildren) {
    const DOM_Node* const parent = ParentOfList(list);
    const bool fits = parent != &Model().waiting_nodes && node->parentNode == nullptr &&
                      MayHold(parent, node, replaced);
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

NodeEntry* ReplaceNode(NodeList* list, DOM_Node* old, DOM_Node* node) {
  if (KindOf(list) != ListKind::kEntries) {
    if (node == old) {
      return node;
    }
    DOM_Node* const next = KindOf(list) == ListKind::kChildren
                               ? old->nextSibling
                               : static_cast<AttributeNode*>(old)->next;
    RemoveNode(list, old);
    return InsertNode(list, node, next);
  }
  const auto entry = FindEntry(AsEntryList(list), old);
  if (node != old) {
    SetOwnerElement(old, nullptr);
    entry->node = node;
  }
  return &*entry;
}

void RemoveNode(NodeList* list, DOM_Node* node) {
  switch (KindOf(list)) {
    case ListKind::kChildren:
      UnlinkChild(node);
      return;
    case ListKind::kAttributes:
      UnlinkAttribute(static_cast<AttributeNode*>(node));
      return;
    default:
      SetOwnerElement(node, nullptr);
      AsEntryList(list)->entries.erase(FindEntry(AsEntryList(list), node));
      --list->length;
  }
}

void PutLast(NodeList* list, DOM_Node* node) {
  AsEntryList(list)->entries.emplace_back(node);
  ++list->length;
}

}  // namespace qvx::dom

using namespace qvx::dom;

NodeList* Document_createNodeList(DOM_Document* document) {
  EntryList* list = nullptr;
  if (!HasMemoryFor([&] { list = new EntryList{}; })) {
    FailErrno({kModule, __func__});
    return nullptr;
  }
  list->kind = ListKind::kEntries;
  list->owner_document = document;
  return list;
}

void DOM_Document_destroyNodeList(DOM_Document* document, NodeList* list, int destroy_nodes) {
  const bool are_destroyed_already = list == Model().waiting_nodes.childNodes && destroy_nodes != 0;
  if (list == nullptr || IsView(list) || are_destroyed_already) {
    return;
  }
  const bool is_by_itself = KindOf(list) == ListKind::kEntries;
  while (list->length != 0 && (destroy_nodes != 0 || !is_by_itself)) {
    DOM_Node* const node = DOM_NodeList_item(list, 0);
    RemoveNode(list, node);
    if (destroy_nodes != 0) {
      DOM_Document_destroyNode(document, node);
    }
  }
  if (is_by_itself) {  // without a look at its nodes, which may be gone
    delete AsEntryList(list);
  }
}

DOM_Document* DOM_NodeList_ownerDocument(const NodeList* list) {
  switch (KindOf(list)) {
    case ListKind::kChildren:  // a document that is being loaded is its own
      return IsDocument(ParentOfList(list)) ? nullptr : ParentOfList(list)->ownerDocument;
    case ListKind::kAttributes:
      return ElementOfMap(list)->ownerDocument;
    case ListKind::kView:
      return ViewOf(list)->doctype->ownerDocument;
    default:
      return AsEntryList(list)->owner_document;
  }
}

DOM_Element* DOM_NodeList_ownerElement(const NodeList* list) {
  const bool is_map = KindOf(list) == ListKind::kAttributes;
  return is_map ? const_cast<ElementNode*>(ElementOfMap(list)) : nullptr;
}

DOM_Node* DOM_NodeList_item(NodeList* list, int32_t index) {
  if (list == nullptr || index < 0) {
    return nullptr;
  }
  const auto position = static_cast<uint32_t>(index);
  if (KindOf(list) == ListKind::kEntries) {
    return position < list->length ? AsEntryList(list)->entries[position].node : nullptr;
  }
  return LinkedNodeAt(RecordOf(list), position);
}

NodeEntry* NodeList_append(NodeList* list, DOM_Node* node) {
  if (list == nullptr) {
    FailDetails({kModule, __func__}, kNullParameter, "%p", static_cast<const void*>(node));
    return nullptr;
  }
  return MayChange({kModule, __func__}, list, node)
             ? PutBefore({kModule, __func__}, list, node, nullptr)
             : nullptr;
}

NodeEntry* NodeList_insert(NodeList* list, DOM_Node* node, DOM_Node* reference) {
  if (!MayChange({kModule, __func__}, list, node)) {
    return nullptr;
  }
  if (reference != nullptr && !Holds(list, reference)) {
    Fail({kModule, __func__}, DOM_NOT_FOUND_ERR);
    return nullptr;
  }
  return PutBefore({kModule, __func__}, list, node, reference);
}

NodeEntry* NodeList_remove(NodeList* list, DOM_Node* node) {
  if (!MayChange({kModule, __func__}, list, node) || !Holds(list, node)) {
    return nullptr;
  }
  // The entry itself is a node, or a part of a container, which the caller could not free.
  void* const memory = std::malloc(sizeof(ArrayEntry));
  if (memory == nullptr) {
    FailErrno({kModule, __func__});
    return nullptr;
  }
  RemoveNode(list, node);
  return new (memory) ArrayEntry(node);
}

NodeEntry* NodeList_replace(NodeList* list, DOM_Node* new_node, DOM_Node* old_node) {
  if (!MayChange({kModule, __func__}, list, new_node)) {
    return nullptr;
  }
  if (old_node == nullptr || !Holds(list, old_node)) {
    Fail({kModule, __func__}, DOM_NOT_FOUND_ERR);
    return nullptr;
  }
  if (new_node != old_node && !MayEnter({kModule, __func__}, list, new_node, old_node)) {
    return nullptr;
  }
  return ReplaceNode(list, old_node, new_node);
}

int NodeList_exists(const NodeList* list, const DOM_Node* node) {
  const bool is_plain = list != nullptr && node != nullptr && !IsView(list);
  return is_plain && Holds(list, node) ? 1 : 0;
}

void DOM_Document_destroyNamedNodeMap(DOM_Document* document, NamedNodeMap* map,
                                      int destroy_nodes) {
  DOM_Document_destroyNodeList(document, map, destroy_nodes);
}
