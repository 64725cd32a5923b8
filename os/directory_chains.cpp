#include "os/directory_chains.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#include "os/directories.h"
#include "os/path_walk.h"
#include "os/paths.h"
#include "os/protection.h"

namespace qvx {

namespace {

/// The most characters of a directory part that QVXBuildDirectory creates.
constexpr size_t kMaxBuiltDirectory = 255;

bool EnterDirectory(const std::string& path) {
  const Descriptor directory = OpenDirectory(path);
  return directory && fchdir(directory.get()) == 0;
}

bool CheckLevels(char* path) {
  std::string level = "/";
  while (const char* piece = strsep(&path, "/")) {
    if (*piece == '\0' || std::strchr(piece, '.') != nullptr) {
      continue;
    }
    level.append(piece).append("/");
    if (!EnterDirectory(level) && _mkdir(level.c_str()) != 0) {
      return false;
    }
  }
  return true;
}

/// Makes the missing levels of `directory` below `level`. Cuts `directory` in place. Returns false
/// when a level could not be entered.
bool BuildLevels(std::string level, char* directory) {
  char* rest = nullptr;
  for (char* piece = strtok_r(directory, "/", &rest); piece != nullptr;
       piece = strtok_r(nullptr, "/", &rest)) {
    level.append(piece).append("/");
    if (OpenDirectory(level)) {
      continue;
    }
    _mkdir(level.c_str());
    if (!OpenDirectory(level)) {
      return false;
    }
  }
  return true;
}

bool BuildDirectory(const char* path) {
  char drive[kPathCapacity] = "";
  uint32_t drive_size = sizeof drive;
  char directory[kMaxBuiltDirectory + 1] = "";
  uint32_t directory_size = sizeof directory;
  OSSplitPath(path, drive, &drive_size, directory, &directory_size, nullptr, nullptr, nullptr,
              nullptr);
  const std::string root = std::string(drive).append("/");
  return drive_size <= sizeof drive && OpenDirectory(root) && BuildLevels(root, directory);
}

/// Returns an empty text when every level exists, otherwise the first one that is missing.
std::string FirstMissingLevel(const std::string& directory) {
  size_t end = 0;
  while ((end = directory.find('/', end)) != std::string::npos) {
    ++end;
    if (!OpenDirectory(directory.substr(0, end))) {
      return directory.substr(0, end);
    }
  }
  return {};
}

bool MayMake(const std::string& level) {
  const std::string above = level.substr(0, level.rfind('/', level.size() - 2) + 1);
  return !OpenDirectory(level) && errno == ENOENT &&
         faccessat(AT_FDCWD, above.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

}  // namespace

bool ForeseeCheckedDirectories(const std::string& path) {
  const std::string directory = path.substr(0, path.rfind('/') + 1);
  const std::string missing = FirstMissingLevel(directory);
  // A name with a "." is left out on the way, so the rest would be made elsewhere.
  return missing.empty() || (directory.find('.') == std::string::npos && MayMake(missing));
}

bool ForeseeBuiltDirectories(const std::string& path) {
  const std::string directory = path.substr(0, path.rfind('/') + 1);
  const std::string missing = FirstMissingLevel(directory);
  return missing.empty() || (directory.size() <= kMaxBuiltDirectory && MayMake(missing));
}

}  // namespace qvx

int OSCheckDir(char* path) {
  try {
    return qvx::CheckLevels(path) ? 0 : 1;
  } catch (const std::bad_alloc&) {
    return 1;
  }
}

int QVXBuildDirectory(const char* path) {
  try {
    return qvx::BuildDirectory(path) ? 0 : -1;
  } catch (const std::bad_alloc&) {
    return -1;
  }
}
