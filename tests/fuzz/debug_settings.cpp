// Debug settings switch known categories only, as their pieces do one by one.
#include "log/debug_categories.h"

#include "tests/fuzz/input.h"
#include "tests/harness/installation.h"

namespace qvx::test {
namespace {

constexpr uint64_t kAll = 0x1BF;
constexpr size_t kLongestPiece = 79;

/// The bits that fgets(3) and DebugSetCategory give, up to the first zero byte of a piece.
uint64_t BitsOf(std::string_view text) {
  Categories = 0;
  while (!text.empty()) {
    const size_t line = std::min(text.find('\n'), text.size() - 1) + 1;
    const size_t size = std::min(line, kLongestPiece);
    DebugSetCategory(std::string(text.substr(0, size)).c_str());
    text.remove_prefix(size);
  }
  return Categories;
}

}  // namespace

void Check(Input input) {
  const std::string_view text = input.Rest();
  static const TempDirectory folder;
  const std::filesystem::path path = folder.path() / "debug.ini";
  WriteText(path, text);
  const uint64_t expected = BitsOf(text);
  ReadDebugCategories(path.c_str());
  Require(Categories == expected && (Categories & ~kAll) == 0);
}

}  // namespace qvx::test
