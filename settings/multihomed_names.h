// Further names and addresses of the machine, for the self-signed certificate.
#ifndef QVX_SETTINGS_MULTIHOMED_NAMES_H
#define QVX_SETTINGS_MULTIHOMED_NAMES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Returns a copy of the settings document's multihomed list, which the caller releases with
/// free(). An empty element gives an empty text. Returns null when the document cannot be loaded,
/// when the element is missing, when its text is not valid as a whole, and when memory ran out.
char* ParseMultiHomed();

/// Returns 1 when every character of `list` is a letter, a digit or one of "-_.;", else 0,
/// also for null.
int32_t ValidateMultiHomed(const char* list);

/// Returns 1 when `entry` counts as an address: it begins with a digit and holds at most 12 digits,
/// at most 4 "." and nothing else. Otherwise 0, also for null.
int32_t isTheValueAnIP(const char* entry);

namespace qvx {

/// Returns the list that ParseMultiHomed copies; nothing where that returns null. Throws
/// std::bad_alloc.
std::optional<std::string> MultihomedNames();

/// The tests of ValidateMultiHomed and isTheValueAnIP.
bool IsNameList(std::string_view list);
bool IsAddressEntry(std::string_view entry);

}  // namespace qvx

#endif
