// Opening files, the one place for it, and thin names over the platform's calls on open ones.
//
// A file is opened first, without waiting, and then looked at. Only a regular file is opened, or a
// directory for reading. A FIFO or socket could hold up a start for ever, and a device may do
// anything: they fail with ENXIO. What the rules of os/path_walk.h refuse fails with ELOOP. Another
// process's lease on a file (fcntl(2), F_SETLEASE) is waited for, but a few seconds in all at most.
#ifndef QVX_OS_FILES_H
#define QVX_OS_FILES_H

#include <sys/types.h>
#include <utime.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "os/descriptor.h"
#include "os/path_walk.h"

namespace qvx {

struct FileCloser {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// Opens `path` like open(2), close-on-exec; `mode` is for a new file. Returns none with errno set.
Descriptor OpenDescriptor(const std::string& path, int flags, mode_t mode = 0);

/// Opens what FindPlace found; `flags` without O_CREAT. Returns none with errno set.
Descriptor OpenEntry(const Place& place, int flags);

/// Opens `path` through OSfopen; null on failure.
File OpenFile(const std::string& path, const char* mode);

/// What is left to read of an open file; nothing when that fails, or is more than `limit` bytes
/// (errno EFBIG).
std::optional<std::string> ReadRest(const Descriptor& file, size_t limit = SIZE_MAX);

/// Removes the name `path` of a file, link, pipe or socket, but of no device. What a link leads to
/// stays. Returns false with errno set when nothing was removed.
bool RemoveName(const std::string& path);

/// Whether the error of an opening says that something else than a file is there, or what must not
/// be gone to. Such a state lasts, and a reader has to report it.
bool IsNoFile(int error);

}  // namespace qvx

/// Opens a stream with the modes of fopen(3), by the rules above; close-on-exec. Returns null on
/// failure, errno set.
std::FILE* OSfopen(const char* path, const char* mode);

/// Brackets the opening of a protected file; nothing to do on this platform. The token is always 0.
int OSPrepOpen(const char* path);
void OSUndoPrepOpen(const char* path, int token);

/// Size in bytes of an open file; -1 when it cannot be examined.
int64_t filelength(int descriptor);

/// Cuts or extends an open file to `size` bytes. Returns 0 or -1.
int chsize(int descriptor, int64_t size);

/// Current offset of an open file; -1 on failure.
int64_t tell(int descriptor);

/// Opens read-write and creating, truncating when `flags` holds O_TRUNC, with `mode` (set to 0664
/// afterwards when `flags` holds O_CREAT), and sets an advisory lock of `lock_type` (F_RDLCK,
/// F_WRLCK, F_UNLCK) over the whole file. Returns the descriptor, owned by the caller; -1 when it
/// could not be opened or the lock could not be set.
int sopen(const char* path, int flags, int lock_type, mode_t mode);

/// Does nothing; file statistics have no use on this platform.
void OSGetFileStatistics(void* first, void* second, void* third, void* fourth);

/// Sets access and modification time (utime(2)). Returns 0 or -1.
int OSSetFileTime(const char* path, const utimbuf* times);

/// Always 0 on this platform.
int32_t OSCheckTomcat();

#endif
