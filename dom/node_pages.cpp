#include "dom/node_pages.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "dom/chain.h"

namespace qvx::dom {
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

struct FreeBlock {
  FreeBlock* next;
};

// The blocks follow the page's own record.
struct Page {
  Page* previous;
  Page* next;
  FreeBlock* free_blocks;
  uint32_t size;
  uint32_t begun;  // bytes up to the first block that has never been taken
  uint32_t taken;  // blocks
};

constexpr size_t kPageRecord = (sizeof(Page) + kBlockUnit - 1) / kBlockUnit * kBlockUnit;
static_assert(kLargestPage / kBlockUnit <= UINT16_MAX, "a place fits its field");

using Pages = Chain<Page, &Page::previous, &Page::next>;

// The pages with blocks of one size.
struct BlockSize {
  Pages with_room;
  size_t bytes;  // of all pages, those without room included
};

BlockSize block_sizes[kLargestBlock / kBlockUnit + 1];

bool HasRoom(const Page* page, size_t size) {
  return page->free_blocks != nullptr || page->begun + size <= page->size;
}

// Null with errno set when memory ran out.
Page* AddPage(BlockSize& blocks) {
  const size_t size = std::clamp(blocks.bytes, kSmallestPage, kLargestPage);
  auto* page = static_cast<Page*>(std::malloc(size));
  if (page != nullptr) {
    *page = {nullptr, nullptr, nullptr, static_cast<uint32_t>(size), kPageRecord, 0};
    blocks.with_room.Insert(page, nullptr);
    blocks.bytes += size;
  }
  return page;
}

void* TakeFrom(Page* page, size_t size) {
  ++page->taken;
  if (page->free_blocks != nullptr) {
    FreeBlock* const block = page->free_blocks;
    page->free_blocks = block->next;
    return block;
  }
  void* const block = reinterpret_cast<char*>(page) + page->begun;
  page->begun += static_cast<uint32_t>(size);
  return block;
}

Page* PageOf(const NodeBlock& block) {
  void* const page = static_cast<char*>(block.memory) - block.place * kBlockUnit;
  return static_cast<Page*>(page);
}

uint16_t PlaceIn(const Page* page, const void* block) {
  const ptrdiff_t offset = static_cast<const char*>(block) - reinterpret_cast<const char*>(page);
  return static_cast<uint16_t>(static_cast<size_t>(offset) / kBlockUnit);
}

}  // namespace

NodeBlock TakeBlock(size_t size) {
  if constexpr (!kHasPages) {
    return {std::malloc(size), 0};
  }
  BlockSize& blocks = block_sizes[size / kBlockUnit];
  Page* page = blocks.with_room.first;
  if (page == nullptr) {
    page = AddPage(blocks);
    if (page == nullptr) {
      return {nullptr, 0};
    }
  }
  void* const block = TakeFrom(page, size);
  if (!HasRoom(page, size)) {
    blocks.with_room.Remove(page);
  }
  return {block, PlaceIn(page, block)};
}

void GiveBackBlock(NodeBlock block, size_t size) {
  if constexpr (!kHasPages) {
    return std::free(block.memory);
  }
  BlockSize& blocks = block_sizes[size / kBlockUnit];
  Page* const page = PageOf(block);
  if (!HasRoom(page, size)) {
    blocks.with_room.Insert(page, blocks.with_room.first);
  }
  page->free_blocks = new (block.memory) FreeBlock{page->free_blocks};
  if (--page->taken == 0) {
    blocks.with_room.Remove(page);
    blocks.bytes -= page->size;
    std::free(page);
  }
}

}  // namespace qvx::dom
