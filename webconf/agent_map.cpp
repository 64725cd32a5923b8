#include "webconf/agent_map.h"

#include <fcntl.h>
#include <unistd.h>

#include <new>

#include "os/directories.h"
#include "os/files.h"
#include "os/protection.h"
#include "os/service_files.h"

namespace qvx {

namespace {

bool Replace() {
  try {
    return WriteServiceFile(InstallationPath(RALO_LIST_MAP), "");
  } catch (const std::bad_alloc&) {
    return false;
  }
}

/// What the old map says must not be forwarded any more, so it is emptied where it stands.
bool EmptyInPlace() {
  try {
    const std::string path = InstallationPath(RALO_LIST_MAP);
    const Descriptor map = OpenDescriptor(path, O_WRONLY);
    if (!map || ftruncate(map.get(), 0) != 0) {
      return false;
    }
    OsProtectFile(path.c_str());
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace

}  // namespace qvx

int32_t WriteRALOListMapFile() {
  return qvx::Replace() || qvx::EmptyInPlace() ? 0 : 1;
}
