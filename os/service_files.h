// Writing the files that the service account owns.
#ifndef QVX_OS_SERVICE_FILES_H
#define QVX_OS_SERVICE_FILES_H

#include <string>
#include <string_view>

#include "os/file_replacement.h"

namespace qvx {

/// Puts a finished file, made with ServiceFile(), in its place and protects it. Returns true even
/// when the protection fails; or false with errno set, and the old file is as it was.
bool CommitAndProtect(FileReplacement& file, const std::string& path);

/// Protects a file, made with ServiceFile(), that has taken its place.
void ProtectCommitted(const FileReplacement& file, const std::string& path);

/// Replaces the content of the file at `path` by `text` and protects the file. Returns false with
/// errno set when the old file is as it was.
bool WriteServiceFile(const std::string& path, std::string_view text);

}  // namespace qvx

#endif
