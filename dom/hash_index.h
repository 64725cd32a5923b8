// An index of many items by their hashes. Internal to the document model.
#ifndef QVX_DOM_HASH_INDEX_H
#define QVX_DOM_HASH_INDEX_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "dom/node_array.h"

namespace qvx::dom {

/// An index of items of others, which `kHash` gives a hash. An item stands in the first place that
/// was free from that of its hash on. The user calls Clear in the end.
template <typename Item, size_t (*kHash)(const Item&)>
class HashIndex {
 public:
  /// Makes room for `count` items. Returns false with errno set, and nothing changed, when memory
  /// ran out.
  bool Reserve(size_t count) {
    if (count + count / 2 < room_) {
      return true;
    }
    HashIndex larger;
    larger.room_ = std::max(kFirstRoom, 2 * room_);
    while (count + count / 2 >= larger.room_) {
      larger.room_ *= 2;
    }
    larger.places_ = NewArray<Item*>(larger.room_).release();
    if (larger.places_ == nullptr) {
      return false;
    }
    for (size_t place = 0; place < room_; ++place) {
      if (places_[place] != nullptr) {
        larger.Insert(places_[place]);
      }
    }
    std::free(static_cast<void*>(places_));
    *this = larger;
    return true;
  }

  size_t count() const { return count_; }

  /// The item of that hash that `matches`, or null.
  template <typename Matches>
  Item* Find(size_t hash, Matches matches) const {
    if (room_ == 0) {
      return nullptr;
    }
    size_t place = PlaceOf(hash);
    while (places_[place] != nullptr && !matches(*places_[place])) {
      place = After(place);
    }
    return places_[place];
  }

  /// There is room for it.
  void Insert(Item* item) {
    size_t place = PlaceOf(kHash(*item));
    while (places_[place] != nullptr) {
      place = After(place);
    }
    places_[place] = item;
    ++count_;
  }

  /// The item is there.
  void Remove(const Item* item) {
    size_t hole = PlaceOf(kHash(*item));
    while (places_[hole] != item) {
      hole = After(hole);
    }
    // An item that a search would no longer reach over the hole goes into the hole.
    for (size_t place = After(hole); places_[place] != nullptr; place = After(place)) {
      const size_t home = PlaceOf(kHash(*places_[place]));
      if (Distance(home, place) >= Distance(hole, place)) {
        places_[hole] = places_[place];
        hole = place;
      }
    }
    places_[hole] = nullptr;
    --count_;
  }

  /// Leaves no item and gives the memory back.
  void Clear() {
    std::free(static_cast<void*>(places_));
    *this = {};
  }

 private:
  static constexpr size_t kFirstRoom = 8;

  size_t PlaceOf(size_t hash) const { return hash & (room_ - 1); }
  size_t After(size_t place) const { return (place + 1) & (room_ - 1); }
  size_t Distance(size_t from, size_t to) const { return (to - from) & (room_ - 1); }

  Item** places_ = nullptr;
  size_t room_ = 0;  // 0 or a power of two
  size_t count_ = 0;
};

/// The bits of a number, mixed.
inline size_t MixedBits(uint64_t number) {
  constexpr uint64_t kOddFraction = 0x9e3779b97f4a7c15;
  constexpr int kHalf = 32;
  return static_cast<size_t>(number * kOddFraction >> kHalf);
}

inline size_t HashOfAddress(const void* address) {
  return MixedBits(reinterpret_cast<uintptr_t>(address));
}

inline size_t HashOfText(const char* text) {
  constexpr uint64_t kStart = 0xcbf29ce484222325;
  constexpr uint64_t kFactor = 0x100000001b3;
  uint64_t hash = kStart;
  for (; *text != '\0'; ++text) {
    hash = (hash ^ static_cast<unsigned char>(*text)) * kFactor;
  }
  return MixedBits(hash);
}

}  // namespace qvx::dom

#endif
