#include "log/debug_categories.h"

#include <cstring>

#include "os/files.h"
#include "os/strings.h"

const DebugCategoryEntry DebugCategories[9] = {
    {"qvx_startup", 0x1}, {"qvx_config", 0x2}, {"qvx_aa", 0x4},
    {"qvx_bc", 0x8},      {"qvx_ui", 0x10},    {"qvx_help", 0x20},
    {"qvx_sso", 0x80},    {"qvx_elm", 0x100},  {nullptr, 0},
};

uint64_t Categories = 0;

void DebugSetCategory(const char* line) {
  for (const DebugCategoryEntry* entry = DebugCategories; entry->name != nullptr; ++entry) {
    if (strnicmp(entry->name, line, static_cast<int>(std::strlen(entry->name)) - 1) == 0) {
      Categories ^= entry->bit;
      return;
    }
  }
}

uint32_t DebugCategory(uint32_t mask) {
  return static_cast<uint32_t>(Categories & mask);
}

int DebugOutput(uint32_t /*category*/, const char* /*format*/, ...) {
  return 0;
}

namespace qvx {

void ReadDebugCategories(const char* path) {
  constexpr int kPieceCapacity = 80;
  Categories = 0;
  const File file = OpenFile(path, "rb");
  if (!file) {
    return;
  }
  char piece[kPieceCapacity];
  while (std::fgets(piece, sizeof piece, file.get()) != nullptr) {
    DebugSetCategory(piece);
  }
}

}  // namespace qvx
