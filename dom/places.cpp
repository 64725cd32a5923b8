#include "dom/places.h"

#include <algorithm>
#include <iterator>

#include "dom/model_state.h"

namespace qvx::dom {
namespace {

/// The place of `list`, or null.
Place* PlaceOf(const ListRecord* list) {
  return list->place_number != 0 ? &Model().places.all[list->place_number - 1] : nullptr;
}

/// Keeps `place` for `list`, which takes the next place in turn if it has none.
void Remember(ListRecord* list, const Place& place) {
  auto& [all, next_taken] = Model().places;
  if (list->place_number == 0) {
    if (ListRecord* const loser = all[next_taken].list) {
      loser->place_number = 0;
    }
    list->place_number = static_cast<uint8_t>(next_taken + 1);
    next_taken = (next_taken + 1) % std::size(all);
  }
  *PlaceOf(list) = place;
}

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

/// The node at `index`, which the list has, from the nearest of the ends and the place (may be
/// null).
DOM_Node* NodeAt(const ListRecord* list, const Place* place, uint32_t index) {
  const uint32_t from_last = list->length - 1 - index;
  if (place != nullptr) {
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

DOM_Node* ChildOfViewAt(const ListRecord* view, const Place* place, uint32_t index) {
  const uint16_t type = ViewOf(view)->filter;
  const bool is_near = place != nullptr && place->index / 2 <= index;
  DOM_Node* child = is_near
                        ? place->node
                        : Passing(type, ViewOf(view)->doctype->firstChild, &DOM_Node::nextSibling);
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

DOM_Node* LinkedNodeAt(ListRecord* list, uint32_t index) {
  const bool is_view = IsView(list);
  if (!is_view && index >= list->length) {
    return nullptr;
  }
  Place* const place = PlaceOf(list);
  if (place != nullptr && index == place->index + 1 && !is_view) {  // a walk goes on
    place->node = Step(list, place->node, place->index, index);
    place->index = index;
    return place->node;
  }
  DOM_Node* const node = is_view ? ChildOfViewAt(list, place, index) : NodeAt(list, place, index);
  if (node != nullptr) {
    Remember(list, {list, node, index});
  }
  return node;
}

void GiveUpPlace(ListRecord* list) {
  *PlaceOf(list) = {};
  list->place_number = 0;
}

void MovePlaceOnInsertion(ListRecord* list, DOM_Node* node, const DOM_Node* previous,
                          const DOM_Node* next) {
  Place* const place = PlaceOf(list);
  if (place == nullptr || next == nullptr || place->node == previous) {
    return;
  }
  if (place->node == next) {
    place->node = node;
  } else {
    GiveUpPlace(list);
  }
}

void MovePlaceOnRemoval(ListRecord* list, const DOM_Node* node, DOM_Node* previous,
                        const DOM_Node* next) {
  Place* const place = PlaceOf(list);
  if (place == nullptr || (place->node != node && (next == nullptr || place->node == previous))) {
    return;
  }
  if (place->node == node && previous != nullptr) {
    place->node = previous;
    --place->index;
  } else {
    GiveUpPlace(list);
  }
}

}  // namespace qvx::dom
