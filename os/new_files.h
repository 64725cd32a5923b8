// Files that are being made.
//
// A new file is made beside the file NAME that it is to become, as ".NAME.NUMBER.new". NUMBER is
// the maker's process ID, or any other number when that name is taken. The maker holds the file's
// advisory lock (flock(2)), which a run in another PID namespace sees, too. What a killed maker
// left is removed when the next file of that NAME is made.
#ifndef QVX_OS_NEW_FILES_H
#define QVX_OS_NEW_FILES_H

#include <string>

#include "os/descriptor.h"
#include "os/path_walk.h"

namespace qvx {

/// A new file, open for writing and locked. It belongs to the process and has mode 0600.
struct NewFile {
  Descriptor file;
  std::string name;  ///< in the directory of the place
};

/// Returns the path of the new file for `path`, unless the process ID is taken.
std::string TemporaryPath(const std::string& path);

/// Makes a new file for the name of a place. Its descriptor is invalid, with errno set, on failure.
NewFile MakeNewFile(const Place& place);

/// Removes the files for the name of a place whose makers are gone.
void RemoveLeftovers(const Place& place);

}  // namespace qvx

#endif
