// Copying files with the shell's "cp".
//
// Source and destination are checked first, by the rules of os/path_walk.h. The source must be a
// regular file or a directory, the destination a regular file, a directory or a free name. A link
// that the rules refuse is not followed. Where the service account could change what a path leads
// to, the command runs with that account's rights.
#ifndef QVX_OS_COPYING_H
#define QVX_OS_COPYING_H

#include <cstdint>

/// Copies with the shell command "cp SOURCE DESTINATION -f", paths unquoted. Returns 0 without a
/// command when the source cannot be read, an end is refused, or the command line would exceed 511
/// characters. Otherwise returns the result of execute_linux_cmd.
int32_t CopyFile(const char* source, const char* destination);

/// Calls QVXBuildDirectory(destination), then CopyFile. Returns the copy's result.
int32_t OSCopyFile(const char* source, const char* destination);

#endif
