#include "settings/multihomed_names.h"

#include <cstddef>
#include <cstring>
#include <new>

#include "dom/handles.h"
#include "settings/document.h"

namespace {

constexpr char kElement[] = "multihomed";
constexpr char kAllowedCharacters[] =
    "-_.;abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ1234567890";

// Four, not three: "1.2.3.4." and "1.2.3.4.5" count as addresses.
constexpr size_t kMostDots = 4;
constexpr size_t kMostDigits = 12;

bool IsDigit(char character) {
  return character >= '0' && character <= '9';
}

}  // namespace

char* ParseMultiHomed() {
  try {
    const std::optional<std::string> names = qvx::MultihomedNames();
    return names ? strdup(names->c_str()) : nullptr;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

int32_t ValidateMultiHomed(const char* list) {
  return list[std::strspn(list, kAllowedCharacters)] == '\0' ? 1 : 0;
}

int32_t isTheValueAnIP(const char* entry) {
  if (!IsDigit(entry[0])) {
    return 0;
  }
  size_t digits = 0;
  size_t dots = 0;
  for (; *entry != '\0'; ++entry) {
    if (!IsDigit(*entry) && *entry != '.') {
      return 0;
    }
    ++(*entry == '.' ? dots : digits);
  }
  return digits <= kMostDigits && dots <= kMostDots ? 1 : 0;
}

namespace qvx {

std::optional<std::string> MultihomedNames() {
  const DocumentHolder document = NewDocument();
  LoadResult result = LoadSettings(document.get());
  if (result ==
      LoadResult::kNotWellFormed) {  // the console may just be writing it; nothing is replaced here
    result = LoadSettings(document.get());
  }
  if (result == LoadResult::kNotWellFormed) {
    return std::nullopt;
  }
  const char* list = SettingText(document.get(), kElement);
  return list != nullptr && ValidateMultiHomed(list) != 0 ? std::optional<std::string>(list)
                                                          : std::nullopt;
}

}  // namespace qvx
