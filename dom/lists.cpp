#include "dom/lists.h"

#include "dom/cursors.h"

namespace qvx::dom {
namespace {

/// The document of a node that is none itself: a loading document is its own.
DOM_Document* OwnerOf(const DOM_Node* node) {
  return IsDocument(node) ? nullptr : node->ownerDocument;
}

// What follows is for lists whose entries are linked.

/// The last entry of a list that has one.
NodeEntry* LastEntry(const NodeList* list) {
  if (KindOf(list) == ListKind::kChildren) {
    return ParentOfList(list)->lastChild;
  }
  return ElementOfMap(list)->first_attribute->previous;
}

NodeEntry* PreviousEntry(const NodeList* list, NodeEntry* entry) {
  if (KindOf(list) == ListKind::kChildren) {
    return AsNode(entry)->previousSibling;
  }
  return PreviousAttribute(AsAttribute(entry));
}

/// Moves from `entry`, which is at index `at`, to `index`.
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
  if (const Cursor* const cursor = CursorOf(list)) {
    const uint32_t from_cursor =
        index > cursor->index ? index - cursor->index : cursor->index - index;
    if (from_cursor <= index && from_cursor <= from_last) {
      return Step(list, cursor->entry, cursor->index, index);
    }
  }
  if (index <= from_last) {
    return Step(list, FirstEntry(list), 0, index);
  }
  return Step(list, LastEntry(list), list->length - 1, index);
}

/// The entry at `index`, which the list has. The cursor of the list stands there then.
NodeEntry* MoveCursorTo(ListRecord* list, uint32_t index) {
  Cursor* const cursor = CursorOf(list);
  if (cursor != nullptr && index == cursor->index + 1) {
    cursor->entry = NextEntry(list, cursor->entry);
    cursor->index = index;
    return cursor->entry;
  }
  NodeEntry* const entry = EntryAt(list, index);
  SetCursor(list, entry, index);
  return entry;
}

using Advance = DOM_Node* DOM_Node::*;

/// The first child from `child` on, in the direction of `advance`, that has the type; null when
/// there is none.
DOM_Node* Passing(uint16_t type, DOM_Node* child, Advance advance) {
  while (child != nullptr && child->nodeType != type) {
    child = child->*advance;
  }
  return child;
}

DOM_Node* ChildOfViewAt(const NodeList* view, const DOM_Node* doctype, uint32_t index) {
  const Cursor* const cursor = CursorOf(static_cast<const ListRecord*>(view));
  const uint16_t type = static_cast<const ViewList*>(view)->filter;
  const bool use_cursor = cursor != nullptr && cursor->index / 2 <= index;
  DOM_Node* child = use_cursor ? AsNode(cursor->entry)
                               : Passing(type, doctype->firstChild, &DOM_Node::nextSibling);
  uint32_t at = use_cursor ? cursor->index : 0;
  for (; child != nullptr && at < index; ++at) {
    child = Passing(type, child->nextSibling, &DOM_Node::nextSibling);
  }
  for (; child != nullptr && at > index; --at) {
    child = Passing(type, child->previousSibling, &DOM_Node::previousSibling);
  }
  return child;
}

}  // namespace

const DocumentTypeNode* DoctypeOfView(const NodeList* list) {
  if (static_cast<const ViewList*>(list)->filter == DOM_ENTITY_NODE) {
    return static_cast<const DocumentTypeNode*>(static_cast<const EntityView*>(list));
  }
  return static_cast<const DocumentTypeNode*>(static_cast<const NotationView*>(list));
}

}  // namespace qvx::dom

using namespace qvx::dom;

DOM_Document* DOM_NodeList_ownerDocument(const NodeList* list) {
  switch (KindOf(list)) {
    case ListKind::kChildren:
      return OwnerOf(ParentOfList(list));
    case ListKind::kAttributes:
      return ElementOfMap(list)->ownerDocument;
    case ListKind::kView:
      return DoctypeOfView(list)->ownerDocument;
    default:
      return AsEntryList(list)->owner_document;
  }
}

DOM_Element* DOM_NodeList_ownerElement(const NodeList* list) {
  if (KindOf(list) != ListKind::kAttributes) {
    return nullptr;
  }
  return const_cast<ElementNode*>(ElementOfMap(list));
}

DOM_Node* DOM_NodeList_item(NodeList* list, int32_t index) {
  if (list == nullptr || index < 0) {
    return nullptr;
  }
  const auto position = static_cast<uint32_t>(index);
  if (IsView(list)) {
    DOM_Node* const child = ChildOfViewAt(list, DoctypeOfView(list), position);
    if (child != nullptr) {
      SetCursor(RecordOf(list), child, position);
    }
    return child;
  }
  if (position >= list->length) {
    return nullptr;
  }
  if (KindOf(list) == ListKind::kEntries) {
    return AsEntryList(list)->first[position].node;
  }
  return NodeOf(list, MoveCursorTo(RecordOf(list), position));
}
