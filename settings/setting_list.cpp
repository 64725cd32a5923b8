#include "settings/setting_list.h"

#include <algorithm>

namespace qvx {

std::optional<std::string_view> TakeEntry(std::string_view& list) {
  constexpr char kSeparator = ';';
  list.remove_prefix(std::min(list.find_first_not_of(kSeparator), list.size()));
  if (list.empty()) {
    return std::nullopt;
  }
  const size_t end = std::min(list.find(kSeparator), list.size());
  const std::string_view entry = list.substr(0, end);
  list.remove_prefix(std::min(end + 1, list.size()));
  return entry;
}

std::string_view ViewOf(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

}  // namespace qvx
