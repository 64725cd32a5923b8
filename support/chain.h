// A doubly linked chain of items that hold their links themselves.
#ifndef QVX_SUPPORT_CHAIN_H
#define QVX_SUPPORT_CHAIN_H

namespace qvx {

/// The ends of a chain whose items hold the links `Previous` and `Next`.
template <typename Item, auto Previous, auto Next>
struct Chain {
  Item* first;
  Item* last;

  /// Links `item` before `next` (at the end when that is null).
  void Insert(Item* item, Item* next) {
    Item* const previous = next != nullptr ? next->*Previous : last;
    item->*Previous = previous;
    item->*Next = next;
    Join(previous, item);
    Join(item, next);
  }

  /// Unlinks `item`, whose links are null afterwards.
  void Remove(Item* item) {
    Join(item->*Previous, item->*Next);
    item->*Previous = nullptr;
    item->*Next = nullptr;
  }

 private:
  /// Makes `previous` and `next` (null: an end of the chain) neighbours.
  void Join(Item* previous, Item* next) {
    if (previous != nullptr) {
      previous->*Next = next;
    } else {
      first = next;
    }
    if (next != nullptr) {
      next->*Previous = previous;
    } else {
      last = previous;
    }
  }
};

}  // namespace qvx

#endif
