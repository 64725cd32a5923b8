// From the settings document to the settings.
#ifndef QVX_SETTINGS_READER_H
#define QVX_SETTINGS_READER_H

#include "dom/dom.h"
#include "settings/record.h"

namespace qvx {

// What the document says goes into `settings`, whose texts then belong to the document; most
// settings that it leaves out keep their value. Both throw std::bad_alloc.

/// Reads which clients are let in and what the bind list is made from.
void ReadAccessSettings(DOM_Document* document, LoadedSettings& settings);

/// Reads the other settings: logs, TLS and threads. A thread number out of bounds is logged.
void ReadServerSettings(DOM_Document* document, LoadedSettings& settings);

}  // namespace qvx

#endif
