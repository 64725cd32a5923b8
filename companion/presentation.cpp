#include "companion/presentation.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <nlohmann/json.hpp>

namespace qvx::companion {

namespace {

constexpr const char* kCodes[] = {"", "\033[1m", "\033[2m", "\033[31m", "\033[33m", "\033[32m"};
constexpr size_t kLeastRoom = 20;
constexpr char kEndOfColour[] = "\033[0m";

/// Characters that a terminal obeys, or that show the text around them in another order.
constexpr struct {
  char32_t first;
  char32_t last;
} kCommands[] = {{0x00, 0x1f},     {0x7f, 0x9f},     {0x61c, 0x61c},  {0x200e, 0x200f},
                 {0x2028, 0x202e}, {0x2066, 0x2069}, {0xd800, 0xdfff}};

/// The first bytes of characters of one length.
struct Form {
  unsigned char mask;
  unsigned char mark;
  char32_t least;  ///< a lower character has a shorter form
};
constexpr Form kForms[] = {
    {0x80, 0x00, 0}, {0xe0, 0xc0, 0x80}, {0xf0, 0xe0, 0x800}, {0xf8, 0xf0, 0x10000}};
constexpr char32_t kHighest = 0x10ffff;

bool IsCommand(char32_t character) {
  return std::any_of(std::begin(kCommands), std::end(kCommands), [character](const auto& range) {
    return range.first <= character && character <= range.last;
  });
}

/// Returns the bytes of the UTF-8 character that `text` begins with; 0 when it begins with none, or
/// with one that is not to be shown.
size_t CharacterLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  const auto* form = std::find_if(std::begin(kForms), std::end(kForms), [first](const Form& each) {
    return (first & each.mask) == each.mark;
  });
  const size_t length = static_cast<size_t>(form - std::begin(kForms)) + 1;
  if (form == std::end(kForms) || text.size() < length) {
    return 0;
  }
  char32_t character = first & ~form->mask & 0xff;
  for (const char next : text.substr(1, length - 1)) {
    if ((next & 0xc0) != 0x80) {
      return 0;
    }
    character = character << 6 | (next & 0x3f);
  }
  const bool is_shown = character >= form->least && character <= kHighest && !IsCommand(character);
  return is_shown ? length : 0;
}

}  // namespace

bool OutputTakesColours() {
  const char* terminal = std::getenv("TERM");
  return isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr && terminal != nullptr &&
         std::string_view(terminal) != "dumb";
}

size_t TerminalWidth() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
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

std::string JsonText(const nlohmann::ordered_json& json, int indent) {
  return json.dump(indent, ' ', true, nlohmann::ordered_json::error_handler_t::replace) + "\n";
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

/// A word that is too long for a line stays whole, because it may be part of a command.
void Page::Wrapped(std::string_view value, size_t indent) {
  const size_t room = width_ > indent + kLeastRoom ? width_ - indent : value.size();
  while (value.size() > room) {
    size_t end = value.rfind(' ', room);
    end = end == std::string_view::npos ? value.find(' ', room) : end;
    if (end == std::string_view::npos) {
      break;
    }
    text_.append(value.substr(0, end)).append("\n").append(indent, ' ');
    value.remove_prefix(end + 1);
  }
  text_.append(value);
}

void Page::Columns(const std::vector<std::pair<std::string, std::string>>& rows) {
  size_t width = 0;
  for (const auto& row : rows) {
    width = std::max(width, row.first.size());
  }
  for (const auto& [name, value] : rows) {
    text_.append("  ").append(name);
    text_.append(value.empty() ? 0 : width - name.size() + 2, ' ');
    Wrapped(value, width + 4);
    text_.append("\n");
  }
}

}  // namespace qvx::companion
