// Further names and addresses of the machine, for the self-signed certificate.
#ifndef QVX_SETTINGS_MULTIHOMED_NAMES_H
#define QVX_SETTINGS_MULTIHOMED_NAMES_H

#include <cstdint>

/// Returns a copy of the settings document's multihomed list, which the caller releases with free(); null when the
/// document cannot be loaded, the element is missing or its text is not valid as a whole. An empty element gives an
/// empty text.
char* ParseMultiHomed();

/// Returns 1 when every character of `list` is a letter, a digit or one of "-_.;", else 0.
int32_t ValidateMultiHomed(const char* list);

/// Returns 1 when `entry` counts as an address: it begins with a digit and holds at most 12 digits, at most 4 "." and
/// nothing else. Otherwise 0.
int32_t isTheValueAnIP(const char* entry);

#endif
