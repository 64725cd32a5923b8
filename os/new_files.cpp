#include "os/new_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "os/service_account.h"

namespace qvx {

namespace {

constexpr std::string_view kSuffix = ".new";
constexpr mode_t kNewFileMode = 0600;  // until it has its final owner and no access list
constexpr int kTries = 4;

struct DirectoryCloser {
  void operator()(DIR* stream) const { closedir(stream); }
};

std::string PrefixFor(const std::string& name) {
  return "." + name + ".";
}

std::string NameFor(const std::string& name, int64_t number) {
  return PrefixFor(name).append(std::to_string(number)).append(kSuffix);
}

/// Nobody can take the names for all of these numbers beforehand.
int64_t OtherNumber() {
  constexpr int64_t kNumbers = 1'000'000'000;
  return 1 + std::chrono::steady_clock::now().time_since_epoch().count() % kNumbers;
}

/// Returns the number in the name of a file that is made for the place, or nothing for another
/// name.
std::optional<pid_t> NumberIn(std::string_view name, std::string_view prefix) {
  if (!name.starts_with(prefix) || !name.ends_with(kSuffix)) {
    return std::nullopt;
  }
  name.remove_prefix(prefix.size());
  name.remove_suffix(std::min(kSuffix.size(), name.size()));
  pid_t number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  return error == std::errc() && end == name.data() + name.size() && number > 0
             ? std::optional(number)
             : std::nullopt;
}

/// A file with this process's ID, but without a lock, is from an earlier process.
bool IsGone(pid_t process) {
  return process == getpid() || (kill(process, 0) != 0 && errno == ESRCH);
}

/// The lock of a file system without locks counts as free.
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

void RemoveLeftover(const Place& place, const char* name) {
  const Descriptor file(openat(place.directory.get(), name,
                               O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status = {};
  if (file && fstat(file.get(), &status) == 0 && IsOfARun(status, place) && !IsLocked(file)) {
    unlinkat(place.directory.get(), name, 0);
  }
}

/// Another run may have taken the file for a leftover before it was locked.
bool LockNew(const Place& place, const NewFile& made) {
  struct stat status = {};
  return (flock(made.file.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) &&
         fstatat(place.directory.get(), made.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace

std::string TemporaryPath(const std::string& path) {
  const size_t name = path.rfind('/') + 1;
  return path.substr(0, name) + NameFor(path.substr(name), getpid());
}

NewFile MakeNewFile(const Place& place) {
  RemoveLeftovers(place);
  NewFile made;
  int64_t number = getpid();
  for (int tries = 0; tries < kTries; ++tries) {
    made.name = NameFor(place.name, number);
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
  const std::string prefix = PrefixFor(place.name);
  const int descriptor = openat(place.directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::unique_ptr<DIR, DirectoryCloser> stream(descriptor < 0 ? nullptr
                                                                    : fdopendir(descriptor));
  while (const dirent* entry = stream ? readdir(stream.get()) : nullptr) {
    const std::optional<pid_t> maker = NumberIn(entry->d_name, prefix);
    if (maker && IsGone(*maker)) {
      RemoveLeftover(place, entry->d_name);
    }
  }
}

}  // namespace qvx
