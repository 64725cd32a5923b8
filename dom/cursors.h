// The last look-up by index in each list. Internal to the document model.
//
// A list that was looked up by index has a cursor: the delivered entry and its index. Few lists are
// looked up so. Therefore the cursors stand in a table of the process, and a list holds only the
// number of its cursor. When every number is given out, lists lose their cursors in turn. Such a
// list is walked from an end again.
#ifndef QVX_DOM_CURSORS_H
#define QVX_DOM_CURSORS_H

#include "dom/node_records.h"

namespace qvx::dom {

struct Cursor {
  ListRecord* list;  ///< whose cursor it is; null: nobody's
  NodeEntry* entry;
  uint32_t index;
  uint16_t next_free;  ///< of nobody's cursors; 0: none
};

/// The table; numbers start at 1.
extern Cursor* cursors;

/// The cursor of `list`, or null.
inline Cursor* CursorOf(const ListRecord* list) {
  return list->cursor != 0 ? &cursors[list->cursor] : nullptr;
}

/// Moves the cursor of `list`, which gets one if memory allows.
void SetCursor(ListRecord* list, NodeEntry* entry, uint32_t index);

/// Takes the cursor from `list`, which has one.
void GiveUpCursor(ListRecord* list);

/// Takes the cursor from `list` if it has one.
inline void ForgetCursor(ListRecord* list) {
  if (list->cursor != 0) {
    GiveUpCursor(list);
  }
}

/// As the two below, for a list that has a cursor.
void MoveCursorOnInsertion(ListRecord* list, NodeEntry* entry, const NodeEntry* previous,
                           const NodeEntry* next);
void MoveCursorOnRemoval(ListRecord* list, const NodeEntry* entry, NodeEntry* previous,
                         const NodeEntry* next);

/// Keeps the cursor right when `entry` comes in between `previous` and `next` (null at the ends).
/// The cursor stays if the change leaves its index as it was. So a walk stays linear when it
/// replaces or removes the nodes that it meets. Any other change forgets the cursor.
inline void KeepCursorOnInsertion(ListRecord* list, NodeEntry* entry, const NodeEntry* previous,
                                  const NodeEntry* next) {
  if (list->cursor != 0) {
    MoveCursorOnInsertion(list, entry, previous, next);
  }
}

/// Keeps the cursor right when `entry` leaves its place between `previous` and `next` (null at the
/// ends).
inline void KeepCursorOnRemoval(ListRecord* list, const NodeEntry* entry, NodeEntry* previous,
                                const NodeEntry* next) {
  if (list->cursor != 0) {
    MoveCursorOnRemoval(list, entry, previous, next);
  }
}

}  // namespace qvx::dom

#endif
