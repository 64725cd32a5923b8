#include "dom/cursors.h"

#include <algorithm>

#include "dom/node_array.h"

namespace qvx::dom {

Cursor* cursors = nullptr;

namespace {

constexpr uint32_t kFirstRoom = 16;
constexpr uint32_t kMostRoom = UINT16_MAX + 1;

uint32_t room = 0;        // of the table
uint32_t begun = 1;       // the first number that was never given out
uint16_t first_free = 0;  // the number that was given up last; 0: none
uint32_t next_loser = 1;  // whose cursor goes next when all are given out

/// Leaves the table as it was when memory ran out.
bool Grow() {
  const uint32_t wanted = std::clamp(2 * room, kFirstRoom, kMostRoom);
  if (!ResizeArray(cursors, wanted)) {
    return false;
  }
  room = wanted;
  return true;
}

/// Lets the next list in turn lose its cursor.
void TakeFromNext() {
  GiveUpCursor(cursors[next_loser].list);
  next_loser = next_loser + 1 < kMostRoom ? next_loser + 1 : 1;
}

/// Returns a number that is nobody's, or 0 when memory ran out.
uint16_t FreeNumber() {
  if (first_free == 0 && begun == kMostRoom) {
    TakeFromNext();
  }
  if (first_free != 0) {
    return first_free;
  }
  if (begun >= room && !Grow()) {
    return 0;
  }
  cursors[begun] = {};
  return static_cast<uint16_t>(begun);
}

}  // namespace

void SetCursor(ListRecord* list, NodeEntry* entry, uint32_t index) {
  if (list->cursor == 0) {
    list->cursor = FreeNumber();
    if (list->cursor == 0) {
      return;
    }
    if (list->cursor == first_free) {
      first_free = cursors[first_free].next_free;
    } else {
      ++begun;
    }
  }
  cursors[list->cursor] = {list, entry, index, 0};
}

void GiveUpCursor(ListRecord* list) {
  cursors[list->cursor] = {nullptr, nullptr, 0, first_free};
  first_free = list->cursor;
  list->cursor = 0;
}

void MoveCursorOnInsertion(ListRecord* list, NodeEntry* entry, const NodeEntry* previous,
                           const NodeEntry* next) {
  Cursor* const cursor = CursorOf(list);
  if (next == nullptr || cursor->entry == previous) {
    return;
  }
  if (cursor->entry == next) {
    cursor->entry = entry;
  } else {
    GiveUpCursor(list);
  }
}

void MoveCursorOnRemoval(ListRecord* list, const NodeEntry* entry, NodeEntry* previous,
                         const NodeEntry* next) {
  Cursor* const cursor = CursorOf(list);
  if (cursor->entry != entry) {
    if (next != nullptr && cursor->entry != previous) {
      GiveUpCursor(list);
    }
  } else if (previous != nullptr) {
    cursor->entry = previous;
    --cursor->index;
  } else {
    GiveUpCursor(list);
  }
}

}  // namespace qvx::dom
