// Reads the settings from the settings document.
#ifndef QVX_SETTINGS_READER_H
#define QVX_SETTINGS_READER_H

#include "dom/dom.h"
#include "settings/record.h"

namespace qvx {

// Both functions put the settings of the document into `settings`, whose texts then belong to the
// document. A missing setting keeps its value, except that a missing binding, rotation size, log
// directory or thread number gets its default. Both throw std::bad_alloc.

/// Reads which clients are let in, and the settings that the bind list depends on.
void ReadAccessSettings(DOM_Document* document, LoadedSettings& settings);

/// Reads the other settings: logs, TLS and threads. A thread number out of bounds is logged.
void ReadServerSettings(DOM_Document* document, LoadedSettings& settings);

}  // namespace qvx

#endif
