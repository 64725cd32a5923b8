// The one place that opens files, and thin wrappers of the platform's calls on open files.
//
// A file is opened first, without waiting, and then checked. Only a regular file is opened, or a
// directory for reading. A pipe or socket could hold up a start for ever, and a device may do
// anything: they fail with ENXIO. What the rules of os/path_walk.h refuse fails with ELOOP. Another
// process's lease on a file (fcntl(2), F_SETLEASE) is waited for, at most three seconds for all
// files of a run together.
#ifndef QVX_OS_FILES_H
#define QVX_OS_FILES_H

#include <sys/types.h>
#include <utime.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "os/descriptor.h"
#include "os/path_walk.h"

namespace qvx {

struct FileCloser {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// Opens `path` like open(2), close-on-exec; `mode` is that of a new file. Returns an invalid
/// descriptor with errno set on failure.
Descriptor OpenDescriptor(const std::string& path, int flags, mode_t mode = 0);

/// Opens the entry of a place; `flags` without O_CREAT. Returns an invalid descriptor with errno
/// set on failure.
Descriptor OpenEntry(const Place& place, int flags);

/// Returns the error with which OpenDescriptor would refuse to open an existing file with `flags`
/// (O_RDONLY, O_WRONLY or O_RDWR); 0 when it would open it. Opens nothing but to look at names.
int ForeseeOpening(const std::string& path, int flags);

/// Returns the error with which the mode of a file in an open directory refuses access (an OR of
/// R_OK, W_OK and X_OK) to the process; 0 when it does not. Opens nothing.
int AccessError(const Descriptor& directory, const std::string& name, int access);

/// Returns whether the mode of the file at `path` lets the process write, also where the rules of
/// os/path_walk.h keep it from writing in place.
bool ModeLetsWrite(const std::string& path);

/// Opens `path` through OSfopen. Returns null with errno set on failure.
File OpenFile(const std::string& path, const char* mode);

/// Removes the name `path` of a file, link, pipe or socket. The name of a device stays, and so does
/// the target of a link. Returns false with errno set when nothing was removed.
bool RemoveName(const std::string& path);

/// Returns whether `error`, from an opening, means that something other than a file is there or
/// that the rules of os/path_walk.h refused the path. Such a state lasts, so a reader has to report
/// it.
bool IsNoFile(int error);

}  // namespace qvx

/// Opens a stream with the modes of fopen(3), by the rules above, close-on-exec. The caller closes
/// it. Returns null with errno set on failure.
std::FILE* OSfopen(const char* path, const char* mode);

/// Bracket the opening of a protected file. On this platform they do nothing, and the token is 0.
int OSPrepOpen(const char* path);
void OSUndoPrepOpen(const char* path, int token);

/// Returns the size in bytes of an open file; -1 when it cannot be examined.
int64_t filelength(int descriptor);

/// Cuts or extends an open file to `size` bytes. Returns 0 or -1.
int chsize(int descriptor, int64_t size);

/// Returns the current offset of an open file; -1 on failure.
int64_t tell(int descriptor);

/// Opens read-write and creates a missing file with `mode`. O_TRUNC in `flags` truncates the file.
/// O_CREAT in `flags` sets its mode to 0664 after the opening, a new file's or an old one's. Sets
/// an advisory lock of `lock_type` (F_RDLCK, F_WRLCK, F_UNLCK) over the whole file. Returns the
/// descriptor, owned by the caller; -1 when the file could not be opened or the lock could not be
/// set.
int sopen(const char* path, int flags, int lock_type, mode_t mode);

/// Does nothing; file statistics have no use on this platform.
void OSGetFileStatistics(void* first, void* second, void* third, void* fourth);

/// Sets access and modification time (utime(2)). Returns 0 or -1.
int OSSetFileTime(const char* path, const utimbuf* times);

/// Returns 0 on this platform.
int32_t OSCheckTomcat();

#endif
