// The settings step of a start: reads the settings and has the web server's files written.
#ifndef QVX_SETTINGS_GENERATION_H
#define QVX_SETTINGS_GENERATION_H

#include <cstdint>

/// Makes sure of a usable settings document, reads it into the record, builds the bind list, writes
/// the server configuration, the web-application extensions and the script engine's settings, and
/// protects the settings file. Returns 0; 1 when the document could not be loaded even after the
/// default was written, the server configuration could not be written whole, or memory ran out. The
/// record's text fields and gIPList are released again.
int32_t ParseQVXInternalXML();

#endif
