#include "os/files.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "os/commands.h"
#include "os/directories.h"
#include "os/paths.h"

namespace {

constexpr size_t kMaxCommand = 511;         // characters of a protection or copy command
constexpr size_t kMaxBuiltDirectory = 255;  // characters of a directory part that QVXBuildDirectory creates
constexpr mode_t kDirectoryMode = 0775;
constexpr mode_t kSharedFileMode = 0664;

int32_t RunBounded(const std::string& command) {
  return command.size() > kMaxCommand ? 0 : execute_linux_cmd(command.c_str());
}

/// Changes into each level of `directory` below the working directory, creating those that are missing. Cuts
/// `directory` in place. Returns 0, or -1 at the first level that cannot be entered.
int EnterLevels(char* directory) {
  char* rest = nullptr;
  for (char* piece = strtok_r(directory, "/", &rest); piece != nullptr; piece = strtok_r(nullptr, "/", &rest)) {
    if (chdir(piece) == 0) {
      continue;
    }
    _mkdir(piece);
    if (chdir(piece) != 0) {
      return -1;
    }
  }
  return 0;
}

bool LockWhole(int descriptor, int lock_type) {
  struct flock lock {};
  lock.l_type = static_cast<short>(lock_type);
  lock.l_whence = SEEK_SET;
  struct flock conflicting = lock;
  fcntl(descriptor, F_GETLK, &conflicting);
  return fcntl(descriptor, F_SETLK, &lock) == 0;
}

}  // namespace

namespace qvx {

Descriptor::~Descriptor() {
  if (descriptor_ >= 0) {
    close(descriptor_);
  }
}

Descriptor::Descriptor(Descriptor&& other) noexcept : descriptor_(other.release()) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  Descriptor old(std::exchange(descriptor_, other.release()));
  return *this;
}

int Descriptor::release() {
  return std::exchange(descriptor_, -1);
}

WorkingDirectoryKeeper::WorkingDirectoryKeeper() : saved_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)) {
  char path[kPathCapacity];
  if (!saved_ && getcwd(path, sizeof(path)) != nullptr) {
    saved_path_ = path;
  }
}

WorkingDirectoryKeeper::~WorkingDirectoryKeeper() {
  [[maybe_unused]] const int result = saved_ ? fchdir(saved_.get()) : chdir(saved_path_.c_str());
}

File OpenFile(const std::string& path, const char* mode) {
  return File(OSfopen(path.c_str(), mode));
}

bool IsPipeOrDevice(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

bool WriteWholeFile(const std::string& path, const char* mode, std::string_view text) {
  const File file = OpenFile(path, mode);
  if (!file) {
    return false;
  }
  if (!text.empty()) {
    std::fwrite(text.data(), 1, text.size(), file.get());
  }
  return true;
}

}  // namespace qvx

std::FILE* OSfopen(const char* path, const char* mode) {
  struct stat status {};
  if (stat(path, &status) == 0 && S_ISFIFO(status.st_mode)) {
    errno = ENXIO;
    return nullptr;
  }
  std::string closing_mode = mode;
  closing_mode.insert(std::min(closing_mode.find(','), closing_mode.size()), "e");
  return std::fopen(path, closing_mode.c_str());
}

int OSPrepOpen(const char* /*path*/) {
  return 0;
}

void OSUndoPrepOpen(const char* /*path*/, int /*token*/) {}

int32_t OsProtectFile(const char* path) {
  const qvx::WorkingDirectoryKeeper keeper;
  const bool is_directory = chdir(path) == 0;
  std::string command = is_directory ? "chmod 755 " : "chmod 660 ";
  command.append(path).append("; chown zxqvx:zxqvx ").append(path);
  return RunBounded(command);
}

int32_t OsProtectLogFile(const char* path) {
  return OsProtectFile(path);
}

int _mkdir(const char* path) {
  if (mkdir(path, kDirectoryMode) != 0) {
    return -1;
  }
  chmod(path, kDirectoryMode);
  return 0;
}

int OsMkdir(const char* path) {
  if (_mkdir(path) != 0) {
    return -1;
  }
  if (const passwd* account = getpwnam(qvx::kServiceAccount)) {
    [[maybe_unused]] const int result = chown(path, account->pw_uid, account->pw_gid);
  }
  return 0;
}

int OSCheckDir(char* path) {
  std::string level = "/";
  char* rest = nullptr;
  for (char* piece = strtok_r(path, "/", &rest); piece != nullptr; piece = strtok_r(nullptr, "/", &rest)) {
    if (std::strchr(piece, '.') != nullptr) {
      continue;
    }
    level.append(piece).append("/");
    if (chdir(level.c_str()) != 0 && _mkdir(level.c_str()) != 0) {
      return 1;
    }
  }
  return 0;
}

int QVXBuildDirectory(const char* path) {
  char drive[kPathCapacity] = "";
  uint32_t drive_size = sizeof(drive);
  char directory[kMaxBuiltDirectory + 1] = "";
  uint32_t directory_size = sizeof(directory);
  OSSplitPath(path, drive, &drive_size, directory, &directory_size, nullptr, nullptr, nullptr, nullptr);
  if (drive_size > sizeof(drive)) {
    return -1;
  }
  const qvx::WorkingDirectoryKeeper keeper;
  // Without the drive's root the levels would be created in whatever directory the caller works in.
  if (chdir(std::string(drive).append("/").c_str()) != 0) {
    return -1;
  }
  return EnterLevels(directory);
}

int32_t CopyFile(const char* source, const char* destination) {
  if (!qvx::OpenFile(source, "rb")) {
    return 0;
  }
  return RunBounded(std::string("cp ").append(source).append(" ").append(destination).append(" -f"));
}

int32_t OSCopyFile(const char* source, const char* destination) {
  QVXBuildDirectory(destination);
  return CopyFile(source, destination);
}

int64_t filelength(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 ? status.st_size : -1;
}

int chsize(int descriptor, int64_t size) {
  return ftruncate(descriptor, size);
}

int64_t tell(int descriptor) {
  return lseek(descriptor, 0, SEEK_CUR);
}

int sopen(const char* path, int flags, int lock_type, mode_t mode) {
  qvx::Descriptor file(open(path, O_RDWR | O_CREAT | O_CLOEXEC | (flags & O_TRUNC), mode));
  if (!file) {
    return -1;
  }
  if ((flags & O_CREAT) != 0) {
    fchmod(file.get(), kSharedFileMode);
  }
  return LockWhole(file.get(), lock_type) ? file.release() : -1;
}

void OSGetFileStatistics(void* /*first*/, void* /*second*/, void* /*third*/, void* /*fourth*/) {}

int OSSetFileTime(const char* path, const utimbuf* times) {
  return utime(path, times);
}

int32_t OSCheckTomcat() {
  return 0;
}
