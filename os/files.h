// Files and directories: opening, protecting for the service account, creating and copying.
#ifndef QVX_OS_FILES_H
#define QVX_OS_FILES_H

#include <sys/types.h>
#include <utime.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace qvx {

/// The account and the group that own the console's files.
inline constexpr char kServiceAccount[] = "zxqvx";

struct FileCloser {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// A file descriptor, closed with its owner.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  explicit operator bool() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }
  int release();

 private:
  int descriptor_ = -1;
};

/// Remembers the working directory and returns to it at the end of the scope, however deep or long its path is.
class WorkingDirectoryKeeper {
 public:
  WorkingDirectoryKeeper();
  ~WorkingDirectoryKeeper();
  WorkingDirectoryKeeper(const WorkingDirectoryKeeper&) = delete;
  WorkingDirectoryKeeper& operator=(const WorkingDirectoryKeeper&) = delete;
  WorkingDirectoryKeeper(WorkingDirectoryKeeper&&) = delete;
  WorkingDirectoryKeeper& operator=(WorkingDirectoryKeeper&&) = delete;

 private:
  Descriptor saved_;
  std::string saved_path_;  // when no descriptor was free
};

/// Opens `path` through OSfopen; null on failure.
File OpenFile(const std::string& path, const char* mode);

/// Whether `path` is a FIFO, a socket or a device, which could be read without an end or hold up whoever opens it.
bool IsPipeOrDevice(const std::string& path);

/// Creates or empties `path` and writes `text`. Only the opening is reported: false when it failed, errno set.
bool WriteWholeFile(const std::string& path, const char* mode, std::string_view text);

}  // namespace qvx

/// Opens a stream with fopen(3) and `mode`; close-on-exec. A FIFO is refused with ENXIO: its opening could wait for
/// somebody at the other end for ever. Returns null on failure, errno set.
std::FILE* OSfopen(const char* path, const char* mode);

/// Brackets the opening of a protected file; nothing to do on this platform. The token is always 0.
int OSPrepOpen(const char* path);
void OSUndoPrepOpen(const char* path, int token);

/// Gives `path` to the service account: mode 755 for a directory and 660 for anything else, owner and group zxqvx,
/// through one shell command in which the path stands unquoted. It runs inside `path` when that is a directory, so the
/// path must be absolute. The working directory is as before afterwards.
/// Returns 1 when the command was run (its outcome is not known), 0 when it could not be started or the path is longer
/// than the 240 characters that the command's 511 leave for it.
int32_t OsProtectFile(const char* path);
int32_t OsProtectLogFile(const char* path);

/// Creates one directory with mode 0775, whatever the file-creation mask. Returns 0, or -1 when it was not created.
int _mkdir(const char* path);

/// As _mkdir; a directory that it made also gets the service account's user and group, if the account exists.
/// Returns 0; -1 when it could not be created, which includes that it is there already.
int OsMkdir(const char* path);

/// Makes sure that the directory chain of an absolute path exists; pieces with a "." in their name are skipped. Cuts
/// `path` in place. The working directory is left at the last level entered.
/// Returns 0, or 1 when a missing level could not be created.
int OSCheckDir(char* path);

/// Makes sure that the directory part of a file path exists. The working directory is as before afterwards. A part of
/// more than 255 characters is not looked at. A path with a drive (see OSSplitPath) begins at that drive's root, which
/// is not created.
/// Returns 0 when every level exists or was not looked at, else -1.
int QVXBuildDirectory(const char* path);

/// Copies with the shell command "cp SOURCE DESTINATION -f", paths unquoted.
/// Returns 0 when the source cannot be read or the command line would exceed 511 characters, otherwise the result of
/// execute_linux_cmd.
int32_t CopyFile(const char* source, const char* destination);

/// QVXBuildDirectory (destination), then CopyFile; returns the copy's result.
int32_t OSCopyFile(const char* source, const char* destination);

/// Size in bytes of an open file; -1 when it cannot be examined.
int64_t filelength(int descriptor);

/// Cuts or extends an open file to `size` bytes. Returns 0 or -1.
int chsize(int descriptor, int64_t size);

/// Current offset of an open file; -1 on failure.
int64_t tell(int descriptor);

/// Opens read-write and creating, truncating when `flags` holds O_TRUNC, with `mode` (set to 0664 afterwards when
/// `flags` holds O_CREAT), and sets an advisory lock of `lock_type` (F_RDLCK, F_WRLCK, F_UNLCK) over the whole file.
/// Returns the descriptor, owned by the caller; -1 when it could not be opened or the lock could not be set.
int sopen(const char* path, int flags, int lock_type, mode_t mode);

/// Does nothing; file statistics have no use on this platform.
void OSGetFileStatistics(void* first, void* second, void* third, void* fourth);

/// Sets access and modification time (utime(2)). Returns 0 or -1.
int OSSetFileTime(const char* path, const utimbuf* times);

/// Always 0 on this platform.
int32_t OSCheckTomcat();

#endif
