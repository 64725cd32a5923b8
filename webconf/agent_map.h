// The map of management agents that the web server forwards requests to.
#ifndef QVX_WEBCONF_AGENT_MAP_H
#define QVX_WEBCONF_AGENT_MAP_H

#include <cstdint>

/// The map file, under the installation directory.
inline constexpr char RALO_LIST_MAP[] = "/conf/ralolist.map";

/// Makes the map an empty, protected file, which other software fills. An old map that cannot be
/// replaced is emptied in place. Returns 0; or 1 when that failed, too, and an old map is then as
/// it was.
int32_t WriteRALOListMapFile();

#endif
