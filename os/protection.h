// Giving files and directories to the service account.
//
// What is protected is held by a descriptor and changed through it, so nothing that is put at the
// path meanwhile is touched. The shell command that does the same, by the path, follows. Where the
// service account could change what the path leads to, that command runs with the account's rights.
#ifndef QVX_OS_PROTECTION_H
#define QVX_OS_PROTECTION_H

#include <sys/types.h>

#include <cstdint>
#include <string>

/// Gives `path` to the service account: mode 755 for a directory and 660 for a file, owner and
/// group zxqvx, also through one shell command in which the path stands unquoted. Returns 1 when
/// the command was run (its outcome is not known); 0 when it could not be started, the path is
/// longer than the 240 characters that the command's 511 leave for it, or what stands there is
/// neither file nor directory or must not be gone to (os/path_walk.h).
int32_t OsProtectFile(const char* path);
int32_t OsProtectLogFile(const char* path);

/// Creates one directory with mode 0775, whatever the file-creation mask. Returns 0, or -1 when it
/// was not created.
int _mkdir(const char* path);

/// As _mkdir; a directory that it made also gets the service account's user and group, if the
/// account exists. Returns 0; -1 when it could not be created, which includes that it is there
/// already.
int OsMkdir(const char* path);

namespace qvx {

/// Runs the command alone, for a file that was born as it shall be. `is_held` as in os/path_walk.h.
/// Returns 1 or 0 as OsProtectFile.
int32_t RunFileProtection(const std::string& path, bool is_held);

/// Sets the permission bits of a file or directory; anything else, and what must not be gone to, is
/// left alone. Returns false with errno set when they were not set.
bool ChangeMode(const std::string& path, mode_t mode);

}  // namespace qvx

#endif
