#include "os/path_walk.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

#include "os/access_lists.h"
#include "os/service_account.h"

namespace qvx {

namespace {

constexpr int kMostLinks = 40;  // as many as the kernel follows

/// An access list can let further accounts write. In the mode it shows only as bits of the group.
bool GroupIsTrusted(const Descriptor& directory, const struct stat& status) {
  const bool is_own = status.st_gid == 0 || status.st_gid == getegid();
  return is_own && HasNoAccessList(Descriptor(
                       openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

/// Whether only trusted accounts can exchange `entry` in its directory. A null `entry` is a name
/// that is still free.
bool IsHeld(const Descriptor& directory, const struct stat& status, const struct stat* entry) {
  if (!IsTrusted(status.st_uid)) {
    return false;
  }
  const bool only_owners_move = (status.st_mode & S_ISVTX) != 0;
  if (only_owners_move && entry != nullptr && IsTrusted(entry->st_uid)) {
    return true;
  }
  return (status.st_mode & S_IWOTH) == 0 &&
         ((status.st_mode & S_IWGRP) == 0 || GroupIsTrusted(directory, status));
}

std::optional<std::string> ReadLink(const Descriptor& link) {
  std::string target(PATH_MAX, '\0');
  const ssize_t length = readlinkat(link.get(), "", target.data(), target.size());
  if (length < 0) {
    return std::nullopt;
  }
  target.resize(static_cast<size_t>(length));
  return target;
}

/// The state of one walk: the place reached so far, and the names that remain.
class Walk {
 public:
  Walk(std::string path, Access access, LastLink last_link)
      : rest_(std::move(path)), access_(access), last_link_(last_link) {}

  std::optional<Place> Run() {
    if (!Start()) {
      return std::nullopt;
    }
    while (TakeName()) {
      if (!Look()) {
        return std::nullopt;
      }
      const bool stays = last_link_ == LastLink::kStay && !HasRest();
      const bool is_link = place_.IsA(S_IFLNK) && !stays;
      if (!is_link && !HasRest()) {
        return std::move(place_);
      }
      if (!(is_link ? Follow() : Enter())) {
        return std::nullopt;
      }
    }
    place_.name = ".";
    return Look() ? std::optional(std::move(place_)) : std::nullopt;
  }

 private:
  bool Start() {
    place_.directory =
        Descriptor(open(rest_[0] == '/' ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    return place_.directory && fstat(place_.directory.get(), &place_.directory_status) == 0;
  }

  /// Takes the next name off the rest; false when there is none.
  bool TakeName() {
    const size_t start = rest_.find_first_not_of('/', next_);
    if (start == std::string::npos) {
      return false;
    }
    const size_t end = std::min(rest_.find('/', start), rest_.size());
    place_.name = rest_.substr(start, end - start);
    next_ = end;
    return true;
  }

  bool HasRest() const { return next_ < rest_.size(); }

  Descriptor Open(int further_flags) const {
    return Descriptor(openat(place_.directory.get(), place_.name.c_str(),
                             O_PATH | O_NOFOLLOW | O_CLOEXEC | further_flags));
  }

  /// Opens the entry with the name. Only the last name may be missing.
  bool Look() {
    // An automounter mounts only a directory that is asked for as one.
    place_.entry = Open(HasRest() ? O_DIRECTORY : 0);
    if (!place_.entry && errno == ENOTDIR) {
      place_.entry = Open(0);
    }
    if (!place_.entry) {
      if (errno != ENOENT || HasRest()) {
        return false;
      }
      place_.is_held = place_.is_held && IsHeld(place_.directory, place_.directory_status, nullptr);
      return true;
    }
    if (fstat(place_.entry.get(), &place_.entry_status) != 0) {
      return false;
    }
    is_step_held_ = IsHeld(place_.directory, place_.directory_status, &place_.entry_status);
    place_.is_held = place_.is_held && is_step_held_;
    return true;
  }

  /// Puts the target of the link in front of the remaining names.
  bool Follow() {
    const bool may_follow =
        IsTrusted(place_.entry_status.st_uid) && (access_ == Access::kRead || is_step_held_);
    if (!may_follow || ++links_ > kMostLinks) {
      errno = ELOOP;
      return false;
    }
    const std::optional<std::string> target = ReadLink(place_.entry);
    if (!target) {
      return false;
    }
    rest_ = *target + rest_.substr(next_);
    next_ = 0;
    return rest_[0] != '/' || Start();
  }

  /// Makes the entry the directory of the next name.
  bool Enter() {
    if (!place_.IsA(S_IFDIR)) {
      errno = ENOTDIR;
      return false;
    }
    place_.directory = std::move(place_.entry);
    place_.directory_status = place_.entry_status;
    return true;
  }

  std::string rest_;
  size_t next_ = 0;  // where the next name is looked for
  Access access_;
  LastLink last_link_;
  int links_ = 0;
  bool is_step_held_ = false;
  Place place_;
};

/// Opens the directory of an absolute path, or one below the working directory. Fails when a
/// symbolic link is on the way.
Descriptor OpenPlainDirectory(const std::string& path) {
  open_how how{};
  how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
  how.resolve = RESOLVE_NO_SYMLINKS;
  return Descriptor(
      static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how)));
}

bool Examine(const Descriptor& file, struct stat& status) {
  return file && fstat(file.get(), &status) == 0;
}

}  // namespace

bool IsTrusted(uid_t user) {
  return user == 0 || user == geteuid();
}

std::string PathOf(const Descriptor& file) {
  return "/proc/self/fd/" + std::to_string(file.get());
}

std::optional<Place> FindPlace(const std::string& path, Access access, LastLink last_link) {
  // A path that was cut at the size of a buffer must open nothing. The limit is that of the system.
  if (path.empty() || path.size() >= PATH_MAX) {
    errno = path.empty() ? ENOENT : ENAMETOOLONG;
    return std::nullopt;
  }
  return Walk(path, access, last_link).Run();
}

std::optional<Place> FindPlainPlace(const std::string& path) {
  const size_t name = path.rfind('/') + 1;
  if (name == 0 || name == path.size() || path.size() >= PATH_MAX) {
    return std::nullopt;
  }
  Place place;
  place.name = path.substr(name);
  place.is_held = false;
  place.directory = OpenPlainDirectory(path.substr(0, name));
  if (!Examine(place.directory, place.directory_status)) {
    return std::nullopt;
  }
  place.entry = Descriptor(
      openat(place.directory.get(), place.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!Examine(place.entry, place.entry_status) || place.IsA(S_IFLNK)) {
    return std::nullopt;
  }
  return place;
}

bool MayStep(const Place& place, const struct stat& file, Access access) {
  if (IsHeld(place.directory, place.directory_status, &file)) {
    return true;
  }
  const bool is_folder = S_ISDIR(file.st_mode);
  const bool is_owners = file.st_uid == place.directory_status.st_uid;
  const bool is_trusted = IsTrusted(place.directory_status.st_uid);
  if (!is_folder && file.st_nlink > 1) {
    return is_owners && !is_trusted;
  }
  if (access == Access::kRead || is_owners || (is_trusted && !is_folder)) {
    return true;
  }
  const std::optional<AccountIds> account = LookUpServiceAccount().ids;
  return account && file.st_uid == account->user;
}

Descriptor OpenDirectory(const std::string& path) {
  std::optional<Place> place = FindPlace(path, Access::kRead);
  if (!place) {
    return Descriptor();
  }
  if (!place->IsA(S_IFDIR)) {
    errno = place->exists() ? ENOTDIR : ENOENT;
    return Descriptor();
  }
  return std::move(place->entry);
}

}  // namespace qvx
