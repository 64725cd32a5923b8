// Files that are being made, and their names.
//
// Everything that a run makes on the way to a file NAME stands beside it, as ".NAME.NUMBER.SUFFIX".
// NUMBER is the maker's process ID, or any other number when that name is taken. A new file has the
// suffix "new"; os/file_exchange.h has the others. The maker holds the advisory lock (flock(2)) of
// its new file, which a run in another PID namespace sees, too. What a killed maker left of it is
// removed when the next file of that NAME is made.
#ifndef QVX_OS_NEW_FILES_H
#define QVX_OS_NEW_FILES_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "os/descriptor.h"
#include "os/path_walk.h"

namespace qvx {

/// A new file, open for writing and locked. It belongs to the process and has mode 0600.
struct NewFile {
  Descriptor file;
  std::string name;  ///< in the directory of the place
};

inline constexpr std::string_view kNewSuffix = "new";

/// Returns the name of a file that is made for `name`.
std::string FurtherName(const std::string& name, pid_t number, std::string_view suffix);

/// Returns the number in such a name; nothing for any other name.
std::optional<pid_t> NumberIn(std::string_view further, const std::string& name,
                              std::string_view suffix);

/// Returns whether a directory that can be read has files that are made for one of `names`.
bool HasFurtherNames(const Descriptor& directory, const std::vector<std::string>& names);

/// Returns whether a process holds the lock of a file in a directory. On a file system without
/// locks nobody does.
bool IsLocked(const Descriptor& directory, const std::string& name);

/// Makes a new file for the name of a place. Its descriptor is invalid, with errno set, on failure.
NewFile MakeNewFile(const Place& place);

/// Removes the files for the name of a place whose makers are gone.
void RemoveLeftovers(const Place& place);

}  // namespace qvx

#endif
