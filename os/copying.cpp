#include "os/copying.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "os/commands.h"
#include "os/directory_chains.h"
#include "os/files.h"
#include "os/path_walk.h"

namespace qvx {

namespace {

/// Where "cp" puts its copy: into a directory under the source's name.
std::optional<Place> FindDestination(const std::string& path, const std::string& source_name) {
  std::optional<Place> place = FindPlace(path, Access::kChange);
  return place && place->IsA(S_IFDIR) ? FindPlace(path + "/" + source_name, Access::kChange)
                                      : std::move(place);
}

bool MayTake(const Place& place) {
  return !place.exists() ||
         (place.IsA(S_IFREG) && MayStep(place, place.entry_status, Access::kChange));
}

int32_t Copy(const std::string& source, const std::string& destination) {
  const std::string command = "cp " + source + " " + destination + " -f";
  const std::optional<Place> from = FindPlace(source, Access::kRead);
  if (!from || command.size() > kMaxCommand) {
    return 0;
  }
  // The source stays open until the end. A lease that is taken meanwhile would hold up the command.
  const Descriptor open_source = OpenEntry(*from, O_RDONLY);
  const std::optional<Place> to =
      FindDestination(destination, source.substr(source.rfind('/') + 1));
  if (!open_source || (to && !MayTake(*to)) || (!to && errno == ELOOP)) {
    return 0;
  }
  return RunCommand(command, RightsFor(from->is_held && to && to->is_held));
}

}  // namespace

}  // namespace qvx

int32_t CopyFile(const char* source, const char* destination) {
  try {
    return qvx::Copy(source, destination);
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

int32_t OSCopyFile(const char* source, const char* destination) {
  QVXBuildDirectory(destination);
  return CopyFile(source, destination);
}
