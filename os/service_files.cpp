#include "os/service_files.h"

#include "os/protection.h"

namespace qvx {

void ProtectCommitted(const FileReplacement& file, const std::string& path) {
  if (file.is_in_place()) {
    OsProtectFile(path.c_str());
  } else {
    RunFileProtection(path, file.is_held());
  }
}

bool CommitAndProtect(FileReplacement& file, const std::string& path) {
  if (!file.Commit()) {
    return false;
  }
  ProtectCommitted(file, path);
  return true;
}

bool WriteServiceFile(const std::string& path, std::string_view text) {
  FileReplacement file(path, ServiceFile());
  return file && file.Write(text) && CommitAndProtect(file, path);
}

}  // namespace qvx
