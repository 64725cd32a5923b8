#include "os/new_files.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>

#include "os/directory_search.h"
#include "os/service_account.h"

namespace qvx {

namespace {

constexpr mode_t kNewFileMode = 0600;  // until it has its final owner and no access list
constexpr int kTries = 4;

std::string StemOf(const std::string& name) {
  return "." + name + ".";
}

/// Nobody can take the names for all of these numbers beforehand.
pid_t OtherNumber() {
  constexpr int64_t kNumbers = 1'000'000'000;
  const int64_t now = std::chrono::steady_clock::now().time_since_epoch().count();
  return static_cast<pid_t>(1 + now % kNumbers);
}

/// A file with this process's ID, but without a lock, is from an earlier process.
bool IsGone(pid_t process) {
  return process == getpid() || (kill(process, 0) != 0 && errno == ESRCH);
}

Descriptor OpenWithoutWaiting(const Descriptor& directory, const std::string& name) {
  return Descriptor(openat(directory.get(), name.c_str(),
                           O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

bool IsLocked(const Descriptor& file) {
  return flock(file.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

bool IsOfARun(const struct stat& file, const Place& place) {
  if (!S_ISREG(file.st_mode)) {
    return false;
  }
  if (file.st_uid == geteuid() || file.st_uid == place.directory_status.st_uid) {
    return true;
  }
  const std::optional<AccountIds> account = LookUpServiceAccount().ids;
  return account && file.st_uid == account->user;
}

void RemoveLeftover(const Place& place, const std::string& name) {
  const Descriptor file = OpenWithoutWaiting(place.directory, name);
  struct stat status = {};
  if (file && fstat(file.get(), &status) == 0 && IsOfARun(status, place) && !IsLocked(file)) {
    unlinkat(place.directory.get(), name.c_str(), 0);
  }
}

/// Another run may have taken the file for a leftover before it was locked.
bool LockNew(const Place& place, const NewFile& made) {
  struct stat status = {};
  return (flock(made.file.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) &&
         fstatat(place.directory.get(), made.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace

std::string FurtherName(const std::string& name, pid_t number, std::string_view suffix) {
  return StemOf(name).append(std::to_string(number)).append(".").append(suffix);
}

std::optional<pid_t> NumberIn(std::string_view further, const std::string& name,
                              std::string_view suffix) {
  const std::string stem = StemOf(name);
  if (!further.starts_with(stem)) {
    return std::nullopt;
  }
  pid_t number = 0;
  std::from_chars(further.data() + stem.size(), further.data() + further.size(), number);
  return number > 0 && further == FurtherName(name, number, suffix) ? std::optional(number)
                                                                    : std::nullopt;
}

bool HasFurtherNames(const Descriptor& directory, const std::vector<std::string>& names) {
  for (const std::string& further : NamesIn(directory, ".")) {
    for (const std::string& name : names) {
      if (further.starts_with(StemOf(name))) {
        return true;
      }
    }
  }
  return false;
}

bool IsLocked(const Descriptor& directory, const std::string& name) {
  const Descriptor file = OpenWithoutWaiting(directory, name);
  return file && IsLocked(file);
}

NewFile MakeNewFile(const Place& place) {
  RemoveLeftovers(place);
  NewFile made;
  pid_t number = getpid();
  for (int tries = 0; tries < kTries; ++tries) {
    made.name = FurtherName(place.name, number, kNewSuffix);
    made.file =
        Descriptor(openat(place.directory.get(), made.name.c_str(),
                          O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kNewFileMode));
    if (made.file ? LockNew(place, made) : errno != EEXIST) {
      return made;
    }
    number = OtherNumber();
  }
  made.file = Descriptor();
  errno = EEXIST;
  return made;
}

void RemoveLeftovers(const Place& place) {
  for (const std::string& name : NamesIn(place.directory, StemOf(place.name))) {
    const std::optional<pid_t> maker = NumberIn(name, place.name, kNewSuffix);
    if (maker && IsGone(*maker)) {
      RemoveLeftover(place, name);
    }
  }
}

}  // namespace qvx
