#include "dom/lists.h"

#include <algorithm>

#include "dom/places.h"

namespace qvx::dom {
namespace {

/// The document of a node that is none itself: a loading document is its own.
DOM_Document* OwnerOf(const DOM_Node* node) {
  return IsDocument(node) ? nullptr : node->ownerDocument;
}

// What follows is for lists whose entries are linked.

DOM_Node* FirstNode(const NodeList* list) {
  return KindOf(list) == ListKind::kChildren ? ParentOfList(list)->firstChild
                                             : ElementOfMap(list)->first_attribute;
}

/// The last node of a list that has one.
DOM_Node* LastNode(const NodeList* list) {
  return KindOf(list) == ListKind::kChildren ? ParentOfList(list)->lastChild
                                             : ElementOfMap(list)->first_attribute->previous;
}

/// Moves from `node`, which is at index `at`, to `index`.
DOM_Node* Step(const NodeList* list, DOM_Node* node, uint32_t at, uint32_t index) {
  const bool is_child = KindOf(list) == ListKind::kChildren;
  for (; at < index; ++at) {
    node = is_child ? node->nextSibling : static_cast<AttributeNode*>(node)->next;
  }
  for (; at > index; --at) {
    node = is_child ? node->previousSibling : static_cast<AttributeNode*>(node)->previous;
  }
  return node;
}

/// The node at `index`, which the list has, from the nearest of the ends and the place.
DOM_Node* NodeAt(const ListRecord* list, uint32_t index) {
  const uint32_t from_last = list->length - 1 - index;
  if (const Place* const place = PlaceOf(list)) {
    const uint32_t from_place = std::max(index, place->index) - std::min(index, place->index);
    if (from_place <= index && from_place <= from_last) {
      return Step(list, place->node, place->index, index);
    }
  }
  return index <= from_last ? Step(list, FirstNode(list), 0, index)
                            : Step(list, LastNode(list), list->length - 1, index);
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
  const Place* const place = PlaceOf(static_cast<const ListRecord*>(view));
  const uint16_t type = static_cast<const ViewList*>(view)->filter;
  const bool is_near = place != nullptr && place->index / 2 <= index;
  DOM_Node* child =
      is_near ? place->node : Passing(type, doctype->firstChild, &DOM_Node::nextSibling);
  uint32_t at = is_near ? place->index : 0;
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
  if (KindOf(list) == ListKind::kEntries) {
    return position < list->length ? AsEntryList(list)->first[position].node : nullptr;
  }
  DOM_Node* node = nullptr;
  if (IsView(list)) {
    node = ChildOfViewAt(list, DoctypeOfView(list), position);
  } else if (position < list->length) {
    node = NodeAt(RecordOf(list), position);
  }
  if (node != nullptr) {
    Remember(RecordOf(list), node, position);
  }
  return node;
}
