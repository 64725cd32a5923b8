// Writing the files that the service account owns.
#ifndef QVX_OS_SERVICE_FILES_H
#define QVX_OS_SERVICE_FILES_H

#include <string>
#include <string_view>

#include "os/file_replacement.h"

namespace qvx {

/// Puts a finished file, born as ServiceFile() says, in its place and protects it, whatever comes
/// of the protection. Returns false with errno set when the old file is as it was.
bool CommitAndProtect(FileReplacement& file, const std::string& path);

/// Replaces the file at `path` by `text` and protects it. Returns false with errno set when the old
/// file is as it was.
bool WriteServiceFile(const std::string& path, std::string_view text);

}  // namespace qvx

#endif
