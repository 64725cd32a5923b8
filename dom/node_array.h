// Arrays whose allocation may fail. Internal to the document model.
#ifndef QVX_DOM_NODE_ARRAY_H
#define QVX_DOM_NODE_ARRAY_H

#include <cstddef>
#include <cstdlib>

#include "support/malloc_owner.h"

namespace qvx::dom {

template <typename T>
using MallocArray = MallocOwner<T[]>;

/// `count` zero elements; null with errno set when memory ran out.
template <typename T>
MallocArray<T> NewArray(size_t count) {
  // NOLINTNEXTLINE(bugprone-sizeof-expression): the elements may be pointers.
  return MallocArray<T>(static_cast<T*>(std::calloc(count == 0 ? 1 : count, sizeof(T))));
}

/// Gives `array` (may be null) `count` places. Returns false with errno set, and leaves it as it
/// was, when memory ran out.
template <typename T>
bool ResizeArray(T*& array, size_t count) {
  // NOLINTNEXTLINE(bugprone-sizeof-expression): the elements may be pointers.
  auto* resized = static_cast<T*>(std::realloc(static_cast<void*>(array), count * sizeof(T)));
  if (resized == nullptr) {
    return false;
  }
  array = resized;
  return true;
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
      T** grown = pointers_.get();
      if (!ResizeArray(grown, room)) {
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
