// Giving files and directories to the service account.
//
// The file is held by a descriptor and changed through it, so a file that is put at the path
// meanwhile is not touched. After that, a shell command does the same by the path. Where the
// service account could change what the path leads to, the command runs with that account's rights.
#ifndef QVX_OS_PROTECTION_H
#define QVX_OS_PROTECTION_H

#include <sys/types.h>

#include <cstdint>
#include <string>

/// Gives `path` to the service account: mode 755 for a directory and 660 for a file, owner and
/// group zxqvx. The shell command contains the path unquoted. Returns 1 when the command was run,
/// also for a missing path; its outcome is not known. Returns 0 when the command could not be
/// started, when the path exceeds 240 characters, which is what the command's 511 leave for it, and
/// when the path cannot be searched, leads to something other than a file or directory, or is
/// refused by the rules of os/path_walk.h.
int32_t OsProtectFile(const char* path);
int32_t OsProtectLogFile(const char* path);

/// Creates one directory with mode 0775, whatever the file-creation mask and the access lists of
/// the directory around it. Where that belongs to an account other than root and the effective
/// user, the new one belongs to that account, too. Returns 0, or -1 when it was not created.
int _mkdir(const char* path);

/// As _mkdir, and gives the new directory the service account's user and group, if the account
/// exists. Returns 0; or -1 when it was not created, also because it existed.
int OsMkdir(const char* path);

namespace qvx {

/// Runs only the shell command, for a file that was made with its final owner and mode. `is_held`
/// as in os/path_walk.h. Returns 1 or 0 as OsProtectFile.
int32_t RunFileProtection(const std::string& path, bool is_held);

/// Removes an empty directory that the rules of os/path_walk.h keep from being given to the service
/// account. Returns whether it was removed.
bool RemoveUselessDirectory(const std::string& path);

/// Sets the permission bits of whatever `path` leads to, unless the rules of os/path_walk.h refuse
/// it. Returns false with errno set when the bits were not set.
bool ChangeMode(const std::string& path, mode_t mode);

}  // namespace qvx

#endif
