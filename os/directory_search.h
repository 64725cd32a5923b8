// Listing the files of a directory that match a pattern.
#ifndef QVX_OS_DIRECTORY_SEARCH_H
#define QVX_OS_DIRECTORY_SEARCH_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "os/descriptor.h"
#include "os/directories.h"

/// The match that OSFindFirstFile or OSFindNextFile found. The pattern stays in it for the later
/// calls.
struct OSFindRecord {
  uint32_t attributes;       ///< mode bits, the low 16
  int64_t creation_time;     ///< status-change time, seconds since the epoch
  int64_t last_access_time;  ///< seconds since the epoch
  int64_t last_write_time;   ///< seconds since the epoch
  int64_t size;              ///< bytes
  char name[kPathCapacity];
  char pattern[kPathCapacity];
  uint64_t entry_number;  ///< inode number
  int64_t entry_offset;   ///< position of the directory stream after the entry
  uint16_t entry_length;  ///< record length of the directory entry
};

/// The open directory stream of a search.
using OSFindHandle = intptr_t;
inline constexpr OSFindHandle kNoSearch = -1;

/// Starts a search for `pattern_path`, a directory and a file-name pattern, and fills `record` with
/// the first match in directory order. The pattern is that of fnmatch(3), with path names and
/// leading periods respected, and the first "*.*" in it counts as "*". Returns a handle that the
/// caller closes with OSFindClose. Returns -1 when nothing matches, and for a path of 4096
/// characters or more or one directly under "/".
OSFindHandle OSFindFirstFile(const char* pattern_path, OSFindRecord* record);

/// Fills `record` with the next match. Returns 0; or -1 at the end of the directory and for a
/// handle of 0 or less.
int OSFindNextFile(OSFindHandle handle, OSFindRecord* record);

/// Closes a search. Returns 0 for a handle of 0 or less, otherwise the result of closedir(3).
int OSFindClose(OSFindHandle handle);

namespace qvx {

/// Returns the names in an open directory that begin with `prefix`, in directory order; none when
/// it cannot be read. O_PATH is enough. Throws std::bad_alloc.
std::vector<std::string> NamesIn(const Descriptor& directory, std::string_view prefix);

}  // namespace qvx

#endif
