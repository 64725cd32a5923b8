// Further names and addresses of the machine, for the self-signed certificate.
#ifndef QVX_SETTINGS_MULTIHOMED_NAMES_H
#define QVX_SETTINGS_MULTIHOMED_NAMES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Returns a copy of the settings document's multihomed list, which the caller releases with
/// free(); null when the document cannot be loaded, the element is missing, its text is not valid
/// as a whole or memory ran out. An empty element gives an empty text.
char* ParseMultiHomed();

/// Returns 1 when every character of `list` is a letter, a digit or one of "-_.;", else 0.
int32_t ValidateMultiHomed(const char* list);

/// Returns 1 when `entry` counts as an address: it begins with a digit and holds at most 12 digits,
/// at most 4 "." and nothing else. Otherwise 0.
int32_t isTheValueAnIP(const char* entry);

namespace qvx {

/// The list that ParseMultiHomed copies; nothing when it gives null. Throws std::bad_alloc.
std::optional<std::string> MultihomedNames();

/// What ValidateMultiHomed and isTheValueAnIP tell.
bool IsNameList(std::string_view list);
bool IsAddressEntry(std::string_view entry);

}  // namespace qvx

#endif
