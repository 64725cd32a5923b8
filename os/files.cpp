#include "os/files.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <optional>
#include <thread>
#include <utility>

namespace qvx {

namespace {

constexpr mode_t kSharedFileMode = 0664;
constexpr mode_t kStreamFileMode = 0666;  // of a file that a stream creates; the mask applies

bool LockWhole(int descriptor, int lock_type) {
  struct flock lock = {};
  lock.l_type = static_cast<short>(lock_type);
  lock.l_whence = SEEK_SET;
  struct flock conflicting = lock;
  fcntl(descriptor, F_GETLK, &conflicting);
  return fcntl(descriptor, F_SETLK, &lock) == 0;
}

/// Returns the flags of open(2) for a mode of fopen(3), or nothing for another text.
std::optional<int> OpenFlags(std::string_view mode) {
  if (mode.empty()) {
    return std::nullopt;
  }
  const std::string_view letters = mode.substr(0, mode.find(','));
  const bool both = letters.find('+') != std::string_view::npos;
  const int exclusive = letters.find('x') != std::string_view::npos ? O_EXCL : 0;
  switch (mode[0]) {
    case 'r':
      return both ? O_RDWR : O_RDONLY;
    case 'w':
      return (both ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC | exclusive;
    case 'a':
      return (both ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND | exclusive;
    default:
      return std::nullopt;
  }
}

bool IsForReading(int flags) {
  return (flags & (O_ACCMODE | O_CREAT)) == O_RDONLY;
}

bool MayOpen(const Place& place, const struct stat& file, int flags) {
  const bool reads = IsForReading(flags);
  if (S_ISDIR(file.st_mode) && !reads) {
    errno = EISDIR;
    return false;
  }
  if (!S_ISREG(file.st_mode) && !S_ISDIR(file.st_mode)) {
    errno = S_ISLNK(file.st_mode) ? ELOOP : ENXIO;
    return false;
  }
  if (!MayStep(place, file, reads ? Access::kRead : Access::kChange)) {
    errno = ELOOP;
    return false;
  }
  return true;
}

/// Calls openat(2) again while another process's lease stands in the way. The service account can
/// hold leases on all of its files, so all openings share one budget of waiting.
int OpenWithPatience(const Place& place, int flags, mode_t mode) {
  constexpr auto kPause = std::chrono::milliseconds(20);
  static int pauses_left = 150;
  for (;;) {
    const int file = openat(place.directory.get(), place.name.c_str(),
                            flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, mode);
    if (file >= 0 || errno != EWOULDBLOCK || pauses_left == 0) {
      return file;
    }
    --pauses_left;
    std::this_thread::sleep_for(kPause);
  }
}

/// Opens a file with a single hard link through a path without symbolic links. Most paths are of
/// this kind, and the rules judge no step of such a path. Returns an invalid descriptor with errno
/// set when such a path leads to nothing, and nothing for any other path.
std::optional<Descriptor> OpenPlainFile(const std::string& path) {
  open_how how{};
  how.flags = O_PATH | O_CLOEXEC;
  how.resolve = RESOLVE_NO_SYMLINKS;
  const Descriptor entry(
      static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how)));
  if (!entry && errno == ENOENT) {
    return Descriptor();
  }
  struct stat status = {};
  if (!entry || fstat(entry.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
      status.st_nlink != 1) {
    return std::nullopt;
  }
  Descriptor file(open(PathOf(entry).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  return file ? std::optional(std::move(file)) : std::nullopt;
}

}  // namespace

Descriptor OpenEntry(const Place& place, int flags) {
  if (!place.exists() || !MayOpen(place, place.entry_status, flags)) {
    errno = place.exists() ? errno : ENOENT;
    return Descriptor();
  }
  Descriptor file(OpenWithPatience(place, flags & ~O_TRUNC, 0));
  struct stat status = {};
  // By now the name may belong to another file.
  if (!file || fstat(file.get(), &status) != 0 || !MayOpen(place, status, flags)) {
    return Descriptor();
  }
  if ((flags & O_TRUNC) != 0 && ftruncate(file.get(), 0) != 0) {
    return Descriptor();
  }
  return file;
}

Descriptor OpenDescriptor(const std::string& path, int flags, mode_t mode) {
  if (flags == O_RDONLY) {
    if (std::optional<Descriptor> file = OpenPlainFile(path)) {
      return std::move(*file);
    }
  }
  const bool reads = IsForReading(flags);
  const bool creates = (flags & O_CREAT) != 0;
  const bool is_new = (flags & O_EXCL) != 0;
  constexpr int kTries = 100;
  for (int tries = 1;; ++tries) {
    std::optional<Place> place = reads ? std::nullopt : FindPlainPlace(path);
    if (!place) {
      place = FindPlace(path, reads ? Access::kRead : Access::kChange);
    }
    if (!place) {
      return Descriptor();
    }
    if (place->exists() && creates && is_new) {
      errno = EEXIST;
      return Descriptor();
    }
    Descriptor file = place->exists() || !creates
                          ? OpenEntry(*place, flags & ~(O_CREAT | O_EXCL))
                          : Descriptor(OpenWithPatience(*place, flags | O_EXCL, mode));
    // Another process may have removed or made the file since it was looked for.
    const bool is_overtaken = errno == (place->exists() ? ENOENT : EEXIST);
    if (file || !creates || is_new || !is_overtaken || tries == kTries) {
      return file;
    }
  }
}

int ForeseeOpening(const std::string& path, int flags) {
  const bool reads = IsForReading(flags);
  const std::optional<Place> place = FindPlace(path, reads ? Access::kRead : Access::kChange);
  if (!place || !place->exists()) {
    return place ? ENOENT : errno;
  }
  if (!MayOpen(*place, place->entry_status, flags)) {
    return errno;
  }
  const int wanted = (reads ? 0 : W_OK) | ((flags & O_ACCMODE) == O_WRONLY ? 0 : R_OK);
  return AccessError(place->directory, place->name, wanted);
}

int AccessError(const Descriptor& directory, const std::string& name, int access) {
  return faccessat(directory.get(), name.c_str(), access, AT_EACCESS) == 0 ? 0 : errno;
}

bool ModeLetsWrite(const std::string& path) {
  const std::optional<Place> place = FindPlace(path, Access::kChange);
  return place && place->IsA(S_IFREG) && AccessError(place->directory, place->name, W_OK) == 0;
}

File OpenFile(const std::string& path, const char* mode) {
  return File(OSfopen(path.c_str(), mode));
}

bool RemoveName(const std::string& path) {
  const std::optional<Place> place = FindPlace(path, Access::kChange, LastLink::kStay);
  if (place && (place->IsA(S_IFBLK) || place->IsA(S_IFCHR))) {
    errno = EPERM;
    return false;
  }
  return place && unlinkat(place->directory.get(), place->name.c_str(), 0) == 0;
}

bool IsNoFile(int error) {
  return error == ENXIO || error == ELOOP;
}

}  // namespace qvx

std::FILE* OSfopen(const char* path, const char* mode) {
  try {
    const std::optional<int> flags = qvx::OpenFlags(mode);
    if (!flags) {
      errno = EINVAL;
      return nullptr;
    }
    qvx::Descriptor file = qvx::OpenDescriptor(path, *flags, qvx::kStreamFileMode);
    std::FILE* stream = file ? fdopen(file.get(), mode) : nullptr;
    if (stream != nullptr) {
      static_cast<void>(file.release());
    }
    return stream;
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return nullptr;
  }
}

int OSPrepOpen(const char* /*path*/) {
  return 0;
}

void OSUndoPrepOpen(const char* /*path*/, int /*token*/) {}

int64_t filelength(int descriptor) {
  struct stat status = {};
  return fstat(descriptor, &status) == 0 ? status.st_size : -1;
}

int chsize(int descriptor, int64_t size) {
  return ftruncate(descriptor, size);
}

int64_t tell(int descriptor) {
  return lseek(descriptor, 0, SEEK_CUR);
}

int sopen(const char* path, int flags, int lock_type, mode_t mode) {
  try {
    qvx::Descriptor file = qvx::OpenDescriptor(path, O_RDWR | O_CREAT | (flags & O_TRUNC), mode);
    if (!file) {
      return -1;
    }
    if ((flags & O_CREAT) != 0) {
      fchmod(file.get(), qvx::kSharedFileMode);
    }
    return qvx::LockWhole(file.get(), lock_type) ? file.release() : -1;
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

void OSGetFileStatistics(void* /*first*/, void* /*second*/, void* /*third*/, void* /*fourth*/) {}

int OSSetFileTime(const char* path, const utimbuf* times) {
  return utime(path, times);
}

int32_t OSCheckTomcat() {
  return 0;
}
