// Look-up by index in children, attributes and views. Internal to the document model.
//
// Children and attributes are linked, so a look-up goes by steps from one to the next, from an end
// or from the node that the list delivered last. The last lists that were looked up have a place
// where that node is remembered. So a walk by index is linear, also within another one. When there
// are more walks at a time than places, they take each other's, and start from an end again.
#ifndef QVX_DOM_PLACES_H
#define QVX_DOM_PLACES_H

#include "dom/node_records.h"

namespace qvx::dom {

/// Returns the node at `index` of a list that is not by itself, or null. The place is remembered.
DOM_Node* LinkedNodeAt(ListRecord* list, uint32_t index);

/// Forgets the place of `list`, which has one.
void GiveUpPlace(ListRecord* list);
inline void ForgetPlace(ListRecord* list) {
  if (list->place_number != 0) {
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
