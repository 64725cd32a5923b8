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

/// An array that stands on the frame unless it has more than `kFew` elements. The elements are not
/// set.
template <typename T, size_t kFew>
class FrameArray {
 public:
  explicit FrameArray(size_t count) : many_(count > kFew ? NewArray<T>(count) : nullptr) {
    elements_ = count > kFew ? many_.get() : few_;
  }
  ~FrameArray() = default;
  FrameArray(const FrameArray&) = delete;
  FrameArray& operator=(const FrameArray&) = delete;
  FrameArray(FrameArray&&) = delete;
  FrameArray& operator=(FrameArray&&) = delete;

  /// Null with errno set when memory ran out.
  T* get() const { return elements_; }

 private:
  MallocArray<T> many_;
  T few_[kFew];
  T* elements_;
};

/// A stack of pointers.
template <typename T>
class PointerStack {
 public:
  /// Returns false with errno set when memory ran out.
  bool Push(T* pointer) {
    if (count_ == room_) {
      const size_t room = room_ == 0 ? kFirstRoom : 2 * room_;
      T** const grown = ResizeArray(pointers_.get(), room);
      if (grown == nullptr) {
        return false;
      }
      static_cast<void>(pointers_.release());  // it has become `grown`
      pointers_.reset(grown);
      room_ = room;
    }
    pointers_[count_++] = pointer;
    return true;
  }

  /// Takes off what was pushed last; there is something.
  T* Pop() { return pointers_[--count_]; }

 private:
  static constexpr size_t kFirstRoom = 32;

  MallocArray<T*> pointers_;
  size_t count_ = 0;
  size_t room_ = 0;
};

}  // namespace qvx::dom

#endif
