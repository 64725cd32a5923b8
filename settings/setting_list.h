// Texts and lists of settings.
#ifndef QVX_SETTINGS_SETTING_LIST_H
#define QVX_SETTINGS_SETTING_LIST_H

#include <optional>
#include <string_view>

namespace qvx {

/// Takes the first entry off `list`, together with the separator behind it. Entries are separated
/// by ";". Empty entries are skipped. Returns nothing at the end of the list.
std::optional<std::string_view> TakeEntry(std::string_view& list);

/// Returns a setting's text as a view; an empty view when `text` is null.
std::string_view ViewOf(const char* text);

}  // namespace qvx

#endif
