// The last look-ups by index in a few lists. Internal to the document model.
//
// A list whose entries are linked is looked up by steps from one to the next. The places of the
// last lists that were looked up so are remembered, each with the delivered entry. So a walk by
// index is linear, also within another one. When there are more lists at a time than places, they
// take each other's, and such a list is walked from an end again. A bit in the list tells whether
// it has a place.
#ifndef QVX_DOM_PLACES_H
#define QVX_DOM_PLACES_H

#include "dom/node_records.h"

namespace qvx::dom {

/// A child or an attribute, and its index in its list.
struct Place {
  ListRecord* list;  ///< null: nobody's
  DOM_Node* node;
  uint32_t index;
};

/// The place of `list`, or null.
Place* FindPlace(const ListRecord* list);
inline Place* PlaceOf(const ListRecord* list) {
  return list->has_place ? FindPlace(list) : nullptr;
}

/// Remembers where `node` stands in `list`.
void Remember(ListRecord* list, DOM_Node* node, uint32_t index);

/// Forgets the place of `list`, which has one.
void GiveUpPlace(ListRecord* list);
inline void ForgetPlace(ListRecord* list) {
  if (list->has_place) {
    GiveUpPlace(list);
  }
}

/// Keep the place of a list right when `node` comes in between `previous` and `next` (null at the
/// ends), and when it leaves. The place stays if the change leaves its index as it was. So a walk
/// stays linear when it replaces or removes the nodes that it meets. Any other change forgets it.
void MovePlaceOnInsertion(ListRecord* list, DOM_Node* node, const DOM_Node* previous,
                          const DOM_Node* next);
void MovePlaceOnRemoval(ListRecord* list, const DOM_Node* node, DOM_Node* previous,
                        const DOM_Node* next);

}  // namespace qvx::dom

#endif
