#include "dom/places.h"

#include <algorithm>
#include <iterator>

namespace qvx::dom {
namespace {

Place places[8];
size_t next_taken = 0;  // when a further list needs one

}  // namespace

Place* FindPlace(const ListRecord* list) {
  return std::ranges::find(places, list, &Place::list);
}

void Remember(ListRecord* list, DOM_Node* node, uint32_t index) {
  Place* place = PlaceOf(list);
  if (place == nullptr) {
    place = &places[next_taken];
    next_taken = (next_taken + 1) % std::size(places);
    if (place->list != nullptr) {
      place->list->has_place = false;
    }
    list->has_place = true;
  }
  *place = {list, node, index};
}

void GiveUpPlace(ListRecord* list) {
  *FindPlace(list) = {};
  list->has_place = false;
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
