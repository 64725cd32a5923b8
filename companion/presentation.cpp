#include "companion/presentation.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace qvx::companion {

namespace {

constexpr const char* kCodes[] = {"", "\033[1m", "\033[2m", "\033[31m", "\033[33m", "\033[32m"};
constexpr char kEndOfColour[] = "\033[0m";

/// Returns the bytes of the UTF-8 character that `text` begins with; 0 when it begins with none, or
/// with a control character.
size_t CharacterLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) {
    return first >= 0x20 && first != 0x7f ? 1 : 0;
  }
  const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
  const bool is_first = first >= 0xc3 && first <= 0xf4;  // 0xc2 begins control characters
  const auto is_next = [](char c) { return (c & 0xc0) == 0x80; };
  return is_first && text.size() >= length &&
                 std::all_of(text.begin() + 1, text.begin() + static_cast<long>(length), is_next)
             ? length
             : 0;
}

}  // namespace

bool OutputTakesColours() {
  const char* terminal = std::getenv("TERM");
  return isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr && terminal != nullptr &&
         std::string_view(terminal) != "dumb";
}

std::string Printable(std::string_view text) {
  std::string printable;
  while (!text.empty()) {
    const size_t length = CharacterLength(text);
    if (length > 0) {
      printable.append(text.substr(0, length));
    } else {
      char code[8];
      std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(text.front()));
      printable.append(text.front() == '\n' ? "\\n" : code);
    }
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return printable;
}

std::string Page::Painted(Colour colour, std::string_view text) const {
  if (!has_colours_ || colour == Colour::kPlain) {
    return std::string(text);
  }
  return std::string(kCodes[static_cast<size_t>(colour)]).append(text).append(kEndOfColour);
}

void Page::Heading(std::string_view text) {
  Line((text_.empty() ? "" : "\n") + Painted(Colour::kBold, text));
}

void Page::Columns(const std::vector<std::pair<std::string, std::string>>& rows) {
  size_t width = 0;
  for (const auto& row : rows) {
    width = std::max(width, row.first.size());
  }
  for (const auto& [name, value] : rows) {
    text_.append("  ").append(name);
    text_.append(value.empty() ? 0 : width - name.size() + 2, ' ').append(value).append("\n");
  }
}

}  // namespace qvx::companion
