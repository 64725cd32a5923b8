// Copying files by the shell's "cp".
//
// What stands at both ends is looked at first, by the rules of os/path_walk.h. Nothing is copied
// from or to a link that is not followed, or anything but a file or directory. Where the service
// account could change what a path leads to, the command runs with that account's rights.
#ifndef QVX_OS_COPYING_H
#define QVX_OS_COPYING_H

#include <cstdint>

/// Copies with the shell command "cp SOURCE DESTINATION -f", paths unquoted.
/// Returns 0 when the source cannot be read, an end is refused or the command line would exceed 511
/// characters, otherwise the result of execute_linux_cmd.
int32_t CopyFile(const char* source, const char* destination);

/// QVXBuildDirectory (destination), then CopyFile; returns the copy's result.
int32_t OSCopyFile(const char* source, const char* destination);

#endif
