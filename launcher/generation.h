// The settings step of a start: it reads the settings and writes the web server's files.
#ifndef QVX_LAUNCHER_GENERATION_H
#define QVX_LAUNCHER_GENERATION_H

#include <cstdint>

/// Makes sure of a usable settings document, reads it into the record, builds the bind list, writes
/// the server configuration, collects the web-application extensions, writes the script engine's
/// settings, and protects the settings file. A document that replaces a damaged one is logged.
/// Returns 0. Returns 1 when the document could not be loaded even after the default was written,
/// when the server configuration could not be written whole (the later steps are done all the
/// same), and when memory ran out. At the end the record's text fields are null and gIPList is
/// released.
int32_t ParseQVXInternalXML();

#endif
