// Arrays of pointers whose allocation may fail. Internal to the document model.
#ifndef QVX_DOM_NODE_ARRAY_H
#define QVX_DOM_NODE_ARRAY_H

#include <cstddef>
#include <cstdlib>

#include "support/malloc_owner.h"

namespace qvx::dom {

template <typename T>
using MallocArray = MallocOwner<T[]>;

/// `count` null pointers; null with errno set when memory ran out.
template <typename T>
MallocArray<T> NewArray(size_t count) {
  // NOLINTNEXTLINE(bugprone-sizeof-expression): the elements are pointers.
  return MallocArray<T>(static_cast<T*>(std::calloc(count == 0 ? 1 : count, sizeof(T))));
}

/// `array` (may be null) with `count` places, or null with errno set and the array left as it was.
template <typename T>
T* ResizeArray(T* array, size_t count) {
  // NOLINTNEXTLINE(bugprone-sizeof-expression): the elements are pointers.
  return static_cast<T*>(std::realloc(static_cast<void*>(array), count * sizeof(T)));
}

}  // namespace qvx::dom

#endif
