// The texts and lists that settings hold.
#ifndef QVX_SETTINGS_SETTING_LIST_H
#define QVX_SETTINGS_SETTING_LIST_H

#include <optional>
#include <string_view>

namespace qvx {

/// Takes the first entry off `list`, whose entries are separated by ";", together with the
/// separator behind it. Empty entries are skipped. Returns nothing at the end of the list.
std::optional<std::string_view> TakeEntry(std::string_view& list);

/// A setting's text as a view; empty when `text` is null.
std::string_view ViewOf(const char* text);

}  // namespace qvx

#endif
