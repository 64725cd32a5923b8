#include "support/block_pages.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace qvx {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kHasPages = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kHasPages = false;
#else
constexpr bool kHasPages = true;
#endif
#else
constexpr bool kHasPages = true;
#endif

constexpr size_t kSmallestPage = 1024;
constexpr size_t kLargestPage = 32768;

constexpr uint32_t kPageRecord = (sizeof(Page) + kBlockUnit - 1) / kBlockUnit * kBlockUnit;
static_assert(kLargestPage / kBlockUnit <= UINT16_MAX, "a place fits its field");

Page* PageOf(const PageBlock& block) {
  void* const page = static_cast<char*>(block.memory) - block.place * kBlockUnit;
  return static_cast<Page*>(page);
}

/// Returns false with errno set when memory ran out.
bool AddPage(BlockSize& blocks) {
  const size_t size = std::clamp(blocks.bytes, kSmallestPage, kLargestPage);
  blocks.newest = static_cast<Page*>(std::malloc(size));
  if (blocks.newest == nullptr) {
    return false;
  }
  *blocks.newest = {static_cast<uint32_t>(size), kPageRecord, 0};
  blocks.bytes += size;
  return true;
}

/// Gives the page, of which no block is taken, back to malloc.
void FreePage(BlockSize& blocks, Page* page, size_t size) {
  for (size_t at = kPageRecord; at < page->begun; at += size) {
    void* const block = reinterpret_cast<char*>(page) + at;
    blocks.free.Remove(static_cast<FreeBlock*>(block));
  }
  if (blocks.newest == page) {
    blocks.newest = nullptr;
  }
  blocks.bytes -= page->size;
  std::free(page);
}

}  // namespace

BlockSize block_sizes[kLargestBlock / kBlockUnit + 1];

PageBlock TakeOtherBlock(size_t size) {
  if constexpr (!kHasPages) {
    return {std::malloc(size), 0};
  }
  BlockSize& blocks = block_sizes[size / kBlockUnit];
  if (FreeBlock* const block = blocks.free.first) {
    const PageBlock taken{block, block->place};
    blocks.free.Remove(block);
    ++PageOf(taken)->taken;
    return taken;
  }
  return AddPage(blocks) ? TakeBlock(size) : PageBlock{nullptr, 0};
}

void GiveBackBlock(PageBlock block, size_t size) {
  if constexpr (!kHasPages) {
    std::free(block.memory);
    return;
  }
  BlockSize& blocks = block_sizes[size / kBlockUnit];
  Page* const page = PageOf(block);
  auto* const freed = new (block.memory) FreeBlock{nullptr, nullptr, block.place};
  blocks.free.Insert(freed, blocks.free.first);
  if (--page->taken == 0) {
    FreePage(blocks, page, size);
  }
}

}  // namespace qvx
