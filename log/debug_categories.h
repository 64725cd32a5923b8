// The debug categories, which an administrator switches on in the debug settings file.
#ifndef QVX_LOG_DEBUG_CATEGORIES_H
#define QVX_LOG_DEBUG_CATEGORIES_H

#include <cstdint>

struct DebugCategoryEntry {
  const char* name;
  uint64_t bit;
};
extern const DebugCategoryEntry DebugCategories[9];  ///< ended by an entry whose name is null

extern uint64_t Categories;  ///< the bits of the categories that are on

/// Flips the first category that `line` (may be null) selects. A line selects a category when it
/// begins with the category's name without its last character, in any case.
void DebugSetCategory(const char* line);

/// Returns the bits of `mask` whose categories are on.
uint32_t DebugCategory(uint32_t mask);

/// Drops a debug message: debug text has no destination in the launcher. Returns 0.
[[gnu::format(printf, 2, 3)]] int DebugOutput(uint32_t category, const char* format, ...);

namespace qvx {

/// Switches every category off, then reads the debug settings file in pieces of at most 79
/// characters and hands each to DebugSetCategory. A file that cannot be opened leaves all
/// categories off.
void ReadDebugCategories(const char* path);

}  // namespace qvx

#endif
