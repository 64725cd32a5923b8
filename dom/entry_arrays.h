// The entries of a list by itself. Internal to the document model.
//
// They stand in one array, which has free places in front and behind. So an entry is found by its
// index, a list grows and shrinks at both ends at a constant cost on average, and a change in the
// middle moves the shorter side. An entry is good until the next change of its list.
#ifndef QVX_DOM_ENTRY_ARRAYS_H
#define QVX_DOM_ENTRY_ARRAYS_H

#include "dom/node_records.h"

namespace qvx::dom {

/// Puts `node` at `index`, which may be the length. Returns its entry; null with errno set when
/// memory ran out.
ArrayEntry* PutAt(EntryList* list, uint32_t index, DOM_Node* node);

/// Puts `node` at the end. Returns as PutAt.
inline ArrayEntry* PutLast(EntryList* list, DOM_Node* node) {
  if (list->free_behind == 0) {
    return PutAt(list, list->length, node);
  }
  --list->free_behind;
  ArrayEntry* const entry = list->first + list->length++;
  entry->node = node;
  return entry;
}

/// Takes `entry` out of the list.
void TakeOut(EntryList* list, const ArrayEntry* entry);

/// Takes all entries out.
void FreeEntries(EntryList* list);

}  // namespace qvx::dom

#endif
