#include "webconf/agent_map.h"

#include <string>

#include "os/directories.h"
#include "os/files.h"

int32_t WriteRALOListMapFile() {
  const std::string path = qvx::InstallationPath(RALO_LIST_MAP);
  if (!qvx::WriteWholeFile(path, "w+", "")) {
    return 1;
  }
  OsProtectFile(path.c_str());
  return 0;
}
