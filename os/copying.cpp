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

namespace {

/// Where "cp" puts its copy: into a directory under the source's name.
std::optional<qvx::Place> FindDestination(const std::string& path, const std::string& source_name) {
  std::optional<qvx::Place> place = qvx::FindPlace(path, qvx::Access::kChange);
  return place && place->IsA(S_IFDIR)
             ? qvx::FindPlace(path + "/" + source_name, qvx::Access::kChange)
             : std::move(place);
}

bool MayTake(const qvx::Place& place) {
  return !place.exists() ||
         (place.IsA(S_IFREG) && qvx::MayStep(place, place.entry_status, qvx::Access::kChange));
}

int32_t Copy(const std::string& source, const std::string& destination) {
  const std::string command = "cp " + source + " " + destination + " -f";
  const std::optional<qvx::Place> from = qvx::FindPlace(source, qvx::Access::kRead);
  if (!from || command.size() > qvx::kMaxCommand) {
    return 0;
  }
  // The source stays open until the end. A lease that is taken meanwhile would hold up the command.
  const qvx::Descriptor open_source = qvx::OpenEntry(*from, O_RDONLY);
  const std::optional<qvx::Place> to =
      FindDestination(destination, source.substr(source.rfind('/') + 1));
  if (!open_source || (to && !MayTake(*to)) || (!to && errno == ELOOP)) {
    return 0;
  }
  return qvx::RunCommand(command, qvx::RightsFor(from->is_held && to && to->is_held));
}

}  // namespace

int32_t CopyFile(const char* source, const char* destination) {
  try {
    return Copy(source, destination);
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

int32_t OSCopyFile(const char* source, const char* destination) {
  QVXBuildDirectory(destination);
  return CopyFile(source, destination);
}
