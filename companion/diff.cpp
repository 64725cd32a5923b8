#include "companion/diff.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>

namespace qvx::companion {

namespace {

using Lines = std::vector<std::string_view>;

/// The table of the close comparison has the product of both numbers of lines as its size.
constexpr size_t kLargestTable = 16'000'000;

Lines LinesOf(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

void Add(std::vector<std::string>& differing, char sign, std::span<const std::string_view> lines) {
  for (const std::string_view line : lines) {
    differing.push_back(std::string(1, sign).append(line));
  }
}

/// Cell (i, j) is the length of the longest common sequence of the lines from i and from j.
std::vector<uint32_t> CommonLengths(std::span<const std::string_view> before,
                                    std::span<const std::string_view> after) {
  const size_t width = after.size() + 1;
  std::vector<uint32_t> table((before.size() + 1) * width);
  for (size_t i = before.size(); i-- > 0;) {
    for (size_t j = after.size(); j-- > 0;) {
      table[i * width + j] = before[i] == after[j]
                                 ? table[(i + 1) * width + j + 1] + 1
                                 : std::max(table[(i + 1) * width + j], table[i * width + j + 1]);
    }
  }
  return table;
}

void CompareClosely(std::vector<std::string>& differing, std::span<const std::string_view> before,
                    std::span<const std::string_view> after) {
  const size_t width = after.size() + 1;
  const std::vector<uint32_t> table = CommonLengths(before, after);
  size_t i = 0;
  size_t j = 0;
  while (i < before.size() && j < after.size()) {
    if (before[i] == after[j]) {
      ++i;
      ++j;
    } else if (table[(i + 1) * width + j] >= table[i * width + j + 1]) {
      Add(differing, '-', before.subspan(i++, 1));
    } else {
      Add(differing, '+', after.subspan(j++, 1));
    }
  }
  Add(differing, '-', before.subspan(i));
  Add(differing, '+', after.subspan(j));
}

}  // namespace

std::vector<std::string> DifferingLines(std::string_view before, std::string_view after) {
  const Lines old_lines = LinesOf(before);
  const Lines new_lines = LinesOf(after);
  const auto [old_start, new_start] = std::ranges::mismatch(old_lines, new_lines);
  const auto tails = std::mismatch(old_lines.rbegin(), std::reverse_iterator(old_start),
                                   new_lines.rbegin(), std::reverse_iterator(new_start));
  const std::span old_middle(old_start, tails.first.base());
  const std::span new_middle(new_start, tails.second.base());
  std::vector<std::string> differing;
  if ((old_middle.size() + 1) * (new_middle.size() + 1) <= kLargestTable) {
    CompareClosely(differing, old_middle, new_middle);
  } else {
    Add(differing, '-', old_middle);
    Add(differing, '+', new_middle);
  }
  return differing;
}

}  // namespace qvx::companion
