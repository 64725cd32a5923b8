#include "settings/multihomed_names.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

#include "dom/handles.h"
#include "settings/document.h"

namespace qvx {

namespace {

constexpr char kElement[] = "multihomed";
constexpr std::string_view kAllowedCharacters =
    "-_.;abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ1234567890";

/// Four and not three: "1.2.3.4." and "1.2.3.4.5" count as addresses.
constexpr size_t kMostDots = 4;
constexpr size_t kMostDigits = 12;

bool IsDigit(char character) {
  return character >= '0' && character <= '9';
}

}  // namespace

std::optional<std::string> MultihomedNames() {
  const DocumentHolder document = NewDocument();
  LoadResult result = LoadSettings(document.get());
  if (!IsUsable(result)) {  // the console may be writing it at this moment
    result = LoadSettings(document.get());
  }
  if (!IsUsable(result)) {
    return std::nullopt;
  }
  const char* list = SettingText(document.get(), kElement);
  return list != nullptr && IsNameList(list) ? std::optional<std::string>(list) : std::nullopt;
}

bool IsNameList(std::string_view list) {
  return list.find_first_not_of(kAllowedCharacters) == std::string_view::npos;
}

bool IsAddressEntry(std::string_view entry) {
  if (entry.empty() || !IsDigit(entry.front())) {
    return false;
  }
  const auto digits = static_cast<size_t>(std::count_if(entry.begin(), entry.end(), IsDigit));
  const auto dots = static_cast<size_t>(std::count(entry.begin(), entry.end(), '.'));
  return digits + dots == entry.size() && digits <= kMostDigits && dots <= kMostDots;
}

}  // namespace qvx

char* ParseMultiHomed() {
  try {
    const std::optional<std::string> names = qvx::MultihomedNames();
    return names ? strdup(names->c_str()) : nullptr;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

int32_t ValidateMultiHomed(const char* list) {
  return list != nullptr && qvx::IsNameList(list) ? 1 : 0;
}

int32_t isTheValueAnIP(const char* entry) {
  return entry != nullptr && qvx::IsAddressEntry(entry) ? 1 : 0;
}
