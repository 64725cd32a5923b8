#include "webconf/agent_map.h"

#include <new>

#include "os/directories.h"
#include "os/service_files.h"

int32_t WriteRALOListMapFile() {
  try {
    return qvx::WriteServiceFile(qvx::InstallationPath(RALO_LIST_MAP), "") ? 0 : 1;
  } catch (const std::bad_alloc&) {
    return 1;
  }
}
