#include "webconf/access_rules.h"

#include <arpa/inet.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>

#include "os/host.h"
#include "settings/setting_list.h"

const uint32_t dwMasks[33] = {
    0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFC, 0xFFFFFFF8, 0xFFFFFFF0, 0xFFFFFFE0, 0xFFFFFFC0,
    0xFFFFFF80, 0xFFFFFF00, 0xFFFFFE00, 0xFFFFFC00, 0xFFFFF800, 0xFFFFF000, 0xFFFFE000,
    0xFFFFC000, 0xFFFF8000, 0xFFFF0000, 0xFFFE0000, 0xFFFC0000, 0xFFF80000, 0xFFF00000,
    0xFFE00000, 0xFFC00000, 0xFF800000, 0xFF000000, 0xFE000000, 0xFC000000, 0xF8000000,
    0xF0000000, 0xE0000000, 0xC0000000, 0x80000000, 0x00000000};

namespace qvx {
namespace {

constexpr uint32_t kTopAddress = 0xFFFFFFFF;

enum class Extent { kAddresses, kNothing };

std::optional<uint32_t> ParseAddress(std::string_view text) {
  in_addr address{};
  if (inet_aton(std::string(text).c_str(), &address) == 0) {
    return std::nullopt;
  }
  return OSntohl(address.s_addr);
}

void AppendText(std::string& directives, std::string_view address) {
  directives += ' ';
  directives += address;
}

/// The digits are written by hand, because a range can become many blocks, and inet_ntoa(3) formats
/// each number with printf(3).
void AppendAddress(std::string& directives, uint32_t address) {
  char text[sizeof " 255.255.255.255"];
  char* end = text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    *end++ = shift == 24 ? ' ' : '.';
    end = std::to_chars(end, end + std::strlen("255"), address >> shift & 255).ptr;
  }
  directives.append(text, end);
}

void AppendBlock(std::string& directives, uint32_t first, int size_bits) {
  AppendAddress(directives, first);
  directives += '/';
  directives += std::to_string(32 - size_bits);
}

/// Appends blocks that grow from `first` as long as they fit, then blocks that shrink down to
/// `last`. `first` is at least 1 and below `last`, and `last` is below the top address, so no sum
/// here wraps.
void AppendBlocks(std::string& directives, uint32_t first, uint32_t last) {
  if (first % 2 != 0) {
    AppendAddress(directives, first);
    ++first;
  }
  int size_bits = std::countr_zero(first);
  for (; FindMaxAddrInRange(first, dwMasks[size_bits]) <= last;
       size_bits = std::countr_zero(first)) {
    AppendBlock(directives, first, size_bits);
    first = FindMaxAddrInRange(first, dwMasks[size_bits]) + 1;
    if (first > last) {
      return;
    }
  }
  while (first <= last) {
    --size_bits;
    const uint32_t block_end = FindMaxAddrInRange(first, dwMasks[size_bits]);
    if (block_end <= last) {
      AppendBlock(directives, first, size_bits);
      first = block_end + 1;
    }
  }
}

/// The ends of the address space are left out of the blocks and named behind them.
void AppendWalk(std::string& directives, uint32_t first, uint32_t last,
                std::string_view last_text) {
  const uint32_t walk_first = first == 0 ? 1 : first;
  const uint32_t walk_last = last == kTopAddress ? kTopAddress - 1 : last;
  if (walk_first < walk_last) {
    AppendBlocks(directives, walk_first, walk_last);
  } else if (walk_last == last) {
    AppendText(directives, last_text);
  } else {
    AppendAddress(directives, walk_last);
  }
  if (walk_last != last) {
    AppendAddress(directives, kTopAddress);
  }
  if (walk_first != first) {
    AppendAddress(directives, 0);
  }
}

Extent AppendRange(std::string& directives, std::string_view start, std::string_view end) {
  const std::optional<uint32_t> parsed_start = ParseAddress(start);
  const std::optional<uint32_t> parsed_end = ParseAddress(end);
  const uint32_t last = parsed_end.value_or(kTopAddress);
  if (parsed_start == 0U && last == kTopAddress) {
    AppendText(directives, "all");
    return Extent::kAddresses;
  }
  // The top address is excepted, because a text that does not parse has that number, too.
  if (parsed_start == parsed_end && last != kTopAddress) {
    AppendText(directives, end);
    return Extent::kAddresses;
  }
  if (parsed_start.value_or(kTopAddress) >= last) {
    return Extent::kNothing;
  }
  AppendWalk(directives, *parsed_start, last, end);
  return Extent::kAddresses;
}

Extent AppendEntry(std::string& directives, std::string_view start, std::string_view end) {
  Extent extent = Extent::kAddresses;
  if (end.empty()) {
    AppendText(directives, start);
  } else {
    extent = AppendRange(directives, start, end);
  }
  directives += '\n';
  return extent;
}

/// What becomes of an entry that is too long. It never widens access: an allowing list skips it,
/// and a denying one denies all.
enum class WhenTooLong { kSkip, kAll };

void AppendList(std::string& directives, std::string_view directive, std::string_view list,
                WhenTooLong when_too_long) {
  while (const auto entry = TakeEntry(list)) {
    const bool is_too_long = entry->size() > kLongestEntry;
    if (is_too_long && when_too_long == WhenTooLong::kSkip) {
      continue;
    }
    directives += directive;
    if (is_too_long) {
      directives += " all\n";
      continue;
    }
    const size_t dash = std::min(entry->find('-'), entry->size());
    AppendEntry(directives, entry->substr(0, dash),
                entry->substr(std::min(dash + 1, entry->size())));
  }
}

/// Ends every entry, and the start of every range, with a zero byte.
void CutList(char* list) {
  char* rest = nullptr;
  for (char* entry = list == nullptr ? nullptr : strtok_r(list, ";", &rest); entry != nullptr;
       entry = strtok_r(nullptr, ";", &rest)) {
    entry[std::strcspn(entry, "-")] = '\0';
  }
}

}  // namespace

std::string AccessDirectives(std::string_view include, std::string_view exclude) {
  std::string directives(include.empty() ? kAllowAll : kAllowLoopback);
  AppendList(directives, "allow from", include, WhenTooLong::kSkip);
  AppendList(directives, "deny from", exclude, WhenTooLong::kAll);
  return directives;
}

}  // namespace qvx

char* GenerateAccessDirectiveStr(char* include, char* exclude) {
  try {
    char* directives =
        strdup(qvx::AccessDirectives(qvx::ViewOf(include), qvx::ViewOf(exclude)).c_str());
    if (directives != nullptr) {
      qvx::CutList(include);
      qvx::CutList(exclude);
    }
    return directives;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

int32_t CreateIPAddrRestrictionStr(int32_t /*mode*/, char** directives, const char* start,
                                   const char* end) {
  try {
    std::string addition = start == nullptr ? "\n" : "";
    const qvx::Extent extent = start == nullptr
                                   ? qvx::Extent::kNothing
                                   : qvx::AppendEntry(addition, start, qvx::ViewOf(end));
    const size_t length = *directives == nullptr ? 0 : std::strlen(*directives);
    char* grown = static_cast<char*>(std::realloc(*directives, length + addition.size() + 1));
    if (grown == nullptr) {
      return -1;
    }
    std::memcpy(grown + length, addition.c_str(), addition.size() + 1);
    *directives = grown;
    return extent == qvx::Extent::kAddresses ? 0 : 1;
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

uint32_t FindMaxAddrInRange(uint32_t address, uint32_t mask) {
  return address | ~mask;
}
