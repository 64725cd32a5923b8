#include "os/protection.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <optional>
#include <string_view>

#include "os/commands.h"
#include "os/path_walk.h"
#include "os/service_account.h"

namespace {

constexpr mode_t kNewDirectoryMode = 0775;
constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kFileMode = 0660;

/// The command holds the path twice, in at most 511 characters.
constexpr size_t kLongestPath =
    (qvx::kMaxCommand - std::string_view("chmod 660 ; chown zxqvx:zxqvx ").size()) / 2;

enum class Owner { kOwn, kService };

/// Changes the mode through /proc, because fchmod(2) refuses a descriptor of O_PATH.
bool SetMode(const qvx::Descriptor& entry, mode_t mode) {
  return chmod(qvx::PathOf(entry).c_str(), mode) == 0;
}

/// The mode comes last, because a change of the owner clears mode bits.
void GiveToAccount(const qvx::Descriptor& entry, mode_t mode) {
  if (const std::optional<qvx::AccountIds> account = qvx::LookUpServiceAccount().ids) {
    [[maybe_unused]] const int result =
        fchownat(entry.get(), "", account->user, account->group, AT_EMPTY_PATH);
  }
  SetMode(entry, mode);
}

bool MayChange(const qvx::Place& place) {
  if (!place.IsA(S_IFREG) && !place.IsA(S_IFDIR)) {
    errno = place.exists() ? ENXIO : ENOENT;
    return false;
  }
  if (!qvx::MayStep(place, place.entry_status, qvx::Access::kChange)) {
    errno = ELOOP;
    return false;
  }
  return true;
}

int32_t RunProtection(const std::string& path, bool is_directory, bool is_held) {
  const std::string command =
      (is_directory ? "chmod 755 " : "chmod 660 ") + path + "; chown zxqvx:zxqvx " + path;
  return path.size() > kLongestPath ? 0 : qvx::RunCommand(command, qvx::RightsFor(is_held));
}

int32_t Protect(const std::string& path) {
  if (path.size() > kLongestPath) {
    return 0;
  }
  const std::optional<qvx::Place> place = qvx::FindPlace(path, qvx::Access::kChange);
  const bool is_missing = place ? !place->exists() : errno == ENOENT || errno == ENOTDIR;
  if (is_missing) {
    return RunProtection(path, false, false);
  }
  if (!place || !MayChange(*place)) {
    return 0;
  }
  const bool is_directory = place->IsA(S_IFDIR);
  GiveToAccount(place->entry, is_directory ? kDirectoryMode : kFileMode);
  return RunProtection(path, is_directory, place->is_held);
}

/// The new directory is opened and checked again, because it may have been exchanged.
int MakeDirectory(std::string path, Owner owner) {
  path.erase(path.find_last_not_of('/') + 1);
  const std::optional<qvx::Place> place =
      qvx::FindPlace(path, qvx::Access::kChange, qvx::LastLink::kStay);
  if (!place || mkdirat(place->directory.get(), place->name.c_str(), kNewDirectoryMode) != 0) {
    return -1;
  }
  const qvx::Descriptor made(openat(place->directory.get(), place->name.c_str(),
                                    O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  if (!made || fstat(made.get(), &status) != 0 || status.st_uid != geteuid()) {
    return 0;
  }
  if (owner == Owner::kService) {
    GiveToAccount(made, kNewDirectoryMode);
  } else {
    SetMode(made, kNewDirectoryMode);
  }
  return 0;
}

}  // namespace

int32_t OsProtectFile(const char* path) {
  try {
    return Protect(path);
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

int32_t OsProtectLogFile(const char* path) {
  return OsProtectFile(path);
}

int _mkdir(const char* path) {
  try {
    return MakeDirectory(path, Owner::kOwn);
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

int OsMkdir(const char* path) {
  try {
    return MakeDirectory(path, Owner::kService);
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

namespace qvx {

int32_t RunFileProtection(const std::string& path, bool is_held) {
  return RunProtection(path, false, is_held);
}

bool ChangeMode(const std::string& path, mode_t mode) {
  const std::optional<Place> place = FindPlace(path, Access::kChange);
  if (!place || !place->exists()) {
    return false;
  }
  if (!MayStep(*place, place->entry_status, Access::kChange)) {
    errno = ELOOP;
    return false;
  }
  return SetMode(place->entry, mode);
}

}  // namespace qvx
