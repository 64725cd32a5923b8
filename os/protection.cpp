#include "os/protection.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <optional>
#include <string_view>

#include "os/access_lists.h"
#include "os/commands.h"
#include "os/file_identity.h"
#include "os/path_walk.h"
#include "os/service_account.h"

namespace qvx {

namespace {

constexpr mode_t kNewDirectoryMode = 0775;
constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kFileMode = 0660;

/// The command holds the path twice, in at most 511 characters.
constexpr size_t kLongestPath =
    (kMaxCommand - std::string_view("chmod 660 ; chown zxqvx:zxqvx ").size()) / 2;

enum class Owner { kOwn, kService };

/// Changes the mode through /proc where fchmod(2) refuses the descriptor, which may be of O_PATH.
bool SetMode(const Descriptor& entry, mode_t mode) {
  return fchmod(entry.get(), mode) == 0 || chmod(PathOf(entry).c_str(), mode) == 0;
}

/// The mode comes last, because a change of the owner clears mode bits.
void GiveToAccount(const Descriptor& entry, mode_t mode) {
  if (const std::optional<AccountIds> account = LookUpServiceAccount().ids) {
    [[maybe_unused]] const int result =
        fchownat(entry.get(), "", account->user, account->group, AT_EMPTY_PATH);
  }
  SetMode(entry, mode);
}

bool MayChange(const Place& place) {
  if (!place.IsA(S_IFREG) && !place.IsA(S_IFDIR)) {
    errno = place.exists() ? ENXIO : ENOENT;
    return false;
  }
  if (!MayStep(place, place.entry_status, Access::kChange)) {
    errno = ELOOP;
    return false;
  }
  return true;
}

int32_t RunProtection(const std::string& path, bool is_directory, bool is_held) {
  const std::string command =
      (is_directory ? "chmod 755 " : "chmod 660 ") + path + "; chown zxqvx:zxqvx " + path;
  return path.size() > kLongestPath ? 0 : RunCommand(command, RightsFor(is_held));
}

/// Whether only root and the effective user can put something at a path that leads to nothing: the
/// last name on the way that can be looked for is held.
bool StaysMissing(std::string path) {
  for (;;) {
    if (const std::optional<Place> place = FindPlace(path, Access::kChange)) {
      return place->is_held;
    }
    const size_t end = path.find_last_of('/');
    if ((errno != ENOENT && errno != ENOTDIR) || end == std::string::npos) {
      return false;
    }
    path.resize(end);
  }
}

int32_t Protect(const std::string& path) {
  if (path.size() > kLongestPath) {
    return 0;
  }
  const std::optional<Place> place = FindPlace(path, Access::kChange);
  const bool is_missing = place ? !place->exists() : errno == ENOENT || errno == ENOTDIR;
  if (is_missing) {
    return RunProtection(path, false, StaysMissing(path));
  }
  if (!place || !MayChange(*place)) {
    return 0;
  }
  const bool is_directory = place->IsA(S_IFDIR);
  GiveToAccount(place->entry, is_directory ? kDirectoryMode : kFileMode);
  return RunProtection(path, is_directory, place->is_held);
}

/// In a directory of another account, the new one is that account's from the start. So what the
/// account puts in its place is not given away, unless it is the account's, too.
bool MakeEntry(const Place& place) {
  const struct stat& around = place.directory_status;
  const bool is_foreign = !IsTrusted(around.st_uid);
  const FileIdentity identity(is_foreign ? around.st_uid : geteuid(),
                              is_foreign ? around.st_gid : getegid());
  return mkdirat(place.directory.get(), place.name.c_str(), kNewDirectoryMode) == 0;
}

/// The new directory is opened and checked again, because it may have been exchanged.
int MakeDirectory(std::string path, Owner owner) {
  path.erase(path.find_last_not_of('/') + 1);
  const std::optional<Place> place = FindPlace(path, Access::kChange, LastLink::kStay);
  if (!place || !MakeEntry(*place)) {
    return -1;
  }
  const Descriptor made(openat(place->directory.get(), place->name.c_str(),
                               O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status = {};
  const uid_t around = place->directory_status.st_uid;
  const uid_t maker = geteuid() != 0 || IsTrusted(around) ? geteuid() : around;
  if (made && fstat(made.get(), &status) == 0 && status.st_uid != maker) {
    return 0;
  }
  if (!made || !RemoveDirectoryLists(made)) {
    unlinkat(place->directory.get(), place->name.c_str(), AT_REMOVEDIR);
    return -1;
  }
  if (owner == Owner::kService) {
    GiveToAccount(made, kNewDirectoryMode);
  } else {
    SetMode(made, kNewDirectoryMode);
  }
  return 0;
}

}  // namespace

int32_t RunFileProtection(const std::string& path, bool is_held) {
  return RunProtection(path, false, is_held);
}

bool RemoveUselessDirectory(const std::string& path) {
  const std::optional<Place> place = FindPlace(path, Access::kChange, LastLink::kStay);
  return place && place->IsA(S_IFDIR) && !MayStep(*place, place->entry_status, Access::kChange) &&
         unlinkat(place->directory.get(), place->name.c_str(), AT_REMOVEDIR) == 0;
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

int32_t OsProtectFile(const char* path) {
  try {
    return qvx::Protect(path);
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

int32_t OsProtectLogFile(const char* path) {
  return OsProtectFile(path);
}

int _mkdir(const char* path) {
  try {
    return qvx::MakeDirectory(path, qvx::Owner::kOwn);
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

int OsMkdir(const char* path) {
  try {
    return qvx::MakeDirectory(path, qvx::Owner::kService);
  } catch (const std::bad_alloc&) {
    return -1;
  }
}
