// Making the directories on the way to a file.
#ifndef QVX_OS_DIRECTORY_CHAINS_H
#define QVX_OS_DIRECTORY_CHAINS_H

/// Makes sure that the directory chain of an absolute path exists; pieces with a "." in their name
/// are skipped. Cuts `path` in place. The working directory is left at the last level entered.
/// Returns 0, or 1 when a missing level could not be created.
int OSCheckDir(char* path);

/// Makes sure that the directory part of a file path exists. The working directory is left alone. A
/// part of more than 255 characters is not looked at. A path with a drive (see OSSplitPath) begins
/// at that drive's root, which is not created. Returns 0 when every level exists or was not looked
/// at, else -1.
int QVXBuildDirectory(const char* path);

#endif
