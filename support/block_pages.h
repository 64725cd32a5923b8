// Small blocks of memory, of which there are many.
//
// Blocks of one size stand side by side in pages. That spares every block the header of one from
// malloc, and most of the cost of malloc. A block that was given back is the next one of its size.
// A page without a block in use goes back to malloc. So a user that shrinks may keep pages with few
// blocks in them, which are taken next. A new page is as large as the pages of that size are
// together, within bounds, so a small user has small pages. The pages are the process's, so that a
// block serves whoever needs one next. One thread uses them.
//
// Sanitizers see a use of freed memory only in blocks from malloc, so their builds have no pages.
#ifndef QVX_SUPPORT_BLOCK_PAGES_H
#define QVX_SUPPORT_BLOCK_PAGES_H

#include <cstddef>
#include <cstdint>

#include "support/chain.h"

namespace qvx {

/// The size of the largest block, and what the sizes of all are a multiple of.
inline constexpr size_t kLargestBlock = 512;
inline constexpr size_t kBlockUnit = 8;

/// A block and its place in a page, which finds that page again.
struct PageBlock {
  void* memory;  ///< null with errno set when memory ran out
  uint16_t place;
};

/// The blocks follow the page's own record.
struct Page {
  uint32_t size;
  uint32_t begun;  ///< bytes up to the first block that has never been taken
  uint32_t taken;  ///< blocks
};

/// What stands in a block that is not taken.
struct FreeBlock {
  FreeBlock* previous;
  FreeBlock* next;
  uint16_t place;
};

/// The pages with blocks of one size.
struct BlockSize {
  Chain<FreeBlock, &FreeBlock::previous, &FreeBlock::next> free;  ///< blocks that were given back
  Page* newest;  ///< the only page with blocks that have never been taken; null: there is none
  size_t bytes;  ///< of all pages
};

extern BlockSize block_sizes[kLargestBlock / kBlockUnit + 1];

/// TakeBlock when the newest page does not do.
PageBlock TakeOtherBlock(size_t size);

/// Returns a block of `size` bytes: a multiple of kBlockUnit, at least three of them, at most
/// kLargestBlock.
[[gnu::always_inline]] inline PageBlock TakeBlock(size_t size) {
  BlockSize& blocks = block_sizes[size / kBlockUnit];
  Page* const page = blocks.newest;
  if (page == nullptr || blocks.free.first != nullptr || page->size - page->begun < size) {
    return TakeOtherBlock(size);
  }
  const uint32_t offset = page->begun;
  page->begun += static_cast<uint32_t>(size);
  ++page->taken;
  return {reinterpret_cast<char*>(page) + offset, static_cast<uint16_t>(offset / kBlockUnit)};
}

/// Gives back a block of TakeBlock(size).
void GiveBackBlock(PageBlock block, size_t size);

}  // namespace qvx

#endif
