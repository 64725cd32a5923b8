#include "dom/entry_arrays.h"

#include <algorithm>
#include <cstdlib>

#include "dom/node_array.h"

namespace qvx::dom {
namespace {

constexpr uint32_t kFirstRoom = 4;

ArrayEntry* ArrayOf(const EntryList* list) {
  return list->first != nullptr ? list->first - list->free_before : nullptr;
}

/// Gives the list an array with so many free places. Returns false with errno set when memory ran
/// out.
bool MoveEntries(EntryList* list, uint32_t before, uint32_t behind) {
  const bool entries_stay = before == list->free_before;  // a large array is not copied then
  ArrayEntry* array = entries_stay ? ArrayOf(list) : nullptr;
  if (!ResizeArray(array, size_t{before} + list->length + behind)) {
    return false;
  }
  if (!entries_stay) {
    std::copy_n(list->first, list->length, array + before);
    std::free(ArrayOf(list));
  }
  list->first = array + before;
  list->free_before = before;
  list->free_behind = behind;
  return true;
}

bool IsInFrontHalf(const EntryList* list, uint32_t index) {
  return index < list->length - index;
}

// A side that grows gets as many free places as there are entries. The other one keeps its own, but
// not more than that.

bool WidenFront(EntryList* list) {
  return MoveEntries(list, std::max(list->length, kFirstRoom),
                     std::min(list->free_behind, list->length));
}

bool WidenBack(EntryList* list) {
  return MoveEntries(list, std::min(list->free_before, list->length),
                     std::max(list->length, kFirstRoom));
}

/// Makes a place at `index` by moving what stands in front of it. Returns false with errno set when
/// memory ran out.
bool MoveFront(EntryList* list, uint32_t index) {
  if (list->free_before == 0 && !WidenFront(list)) {
    return false;
  }
  std::copy_n(list->first, index, list->first - 1);
  --list->first;
  --list->free_before;
  return true;
}

/// The same by moving what stands there and behind.
bool MoveBack(EntryList* list, uint32_t index) {
  if (list->free_behind == 0 && !WidenBack(list)) {
    return false;
  }
  ArrayEntry* const end = list->first + list->length;
  std::copy_backward(list->first + index, end, end + 1);
  --list->free_behind;
  return true;
}

}  // namespace

ArrayEntry* PutAt(EntryList* list, uint32_t index, DOM_Node* node) {
  const auto move = IsInFrontHalf(list, index) ? MoveFront : MoveBack;
  if (!move(list, index)) {
    return nullptr;
  }
  ++list->length;
  list->first[index].node = node;
  return &list->first[index];
}

void TakeOut(EntryList* list, const ArrayEntry* entry) {
  const auto index = static_cast<uint32_t>(entry - list->first);
  if (IsInFrontHalf(list, index)) {
    std::copy_backward(list->first, list->first + index, list->first + index + 1);
    ++list->first;
    ++list->free_before;
  } else {
    std::copy_n(list->first + index + 1, list->length - index - 1, list->first + index);
    ++list->free_behind;
  }
  --list->length;
}

void FreeEntries(EntryList* list) {
  std::free(ArrayOf(list));
  list->first = nullptr;
  list->length = list->free_before = list->free_behind = 0;
}

}  // namespace qvx::dom
