// The four sections of the web server's configuration, as people read and compare them.
#ifndef QVX_WEBCONF_SERVER_CONF_TEMPLATES_H
#define QVX_WEBCONF_SERVER_CONF_TEMPLATES_H

#include <cstddef>

inline constexpr size_t kConfSections = 4;
inline constexpr size_t kConfSectionCapacity = 32768;

/// Section 0: global settings. 1: virtual host on port 2301. 2: TLS globals. 3: TLS virtual host on
/// port 2381. Lines end in a line feed. A backquote stands for a double quote.
extern const char confSections[kConfSections][kConfSectionCapacity];

#endif
