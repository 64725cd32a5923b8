// Making the directories on the way to a file.
#ifndef QVX_OS_DIRECTORY_CHAINS_H
#define QVX_OS_DIRECTORY_CHAINS_H

#include <string>

/// Makes the missing directories of an absolute path. Pieces with a "." in their name are skipped.
/// Cuts `path` in place. Leaves the working directory at the last level entered. Returns 0, or 1
/// when a missing level could not be created.
int OSCheckDir(char* path);

/// Makes the missing directories of the directory part of a file path. The working directory stays.
/// A directory part of more than 255 characters is ignored. A path with a drive (see OSSplitPath)
/// begins at that drive's root, which is not created. Returns 0 when every level exists or the part
/// is ignored; otherwise -1.
int QVXBuildDirectory(const char* path);

namespace qvx {

/// Return whether every directory on the way to the file `path` exists or would be made, the first
/// by OSCheckDir, the second by QVXBuildDirectory, as far as that can be told without making
/// anything.
bool ForeseeCheckedDirectories(const std::string& path);
bool ForeseeBuiltDirectories(const std::string& path);

}  // namespace qvx

#endif
