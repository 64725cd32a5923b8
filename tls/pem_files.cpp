#include "tls/pem_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "os/directories.h"

namespace qvx {

namespace {

constexpr char kCreateOrEmpty[] = "w+b";

/// Limits the mode of the files that are made in a scope to their owner. The daemon inherits the mask, so it is put
/// back as it was.
class OwnerOnlyMask {
 public:
  OwnerOnlyMask() : before_(umask(S_IRWXG | S_IRWXO)) {}
  ~OwnerOnlyMask() { umask(before_); }
  OwnerOnlyMask(const OwnerOnlyMask&) = delete;
  OwnerOnlyMask& operator=(const OwnerOnlyMask&) = delete;
  OwnerOnlyMask(OwnerOnlyMask&&) = delete;
  OwnerOnlyMask& operator=(OwnerOnlyMask&&) = delete;

 private:
  mode_t before_;
};

/// Removes what is neither file nor directory, and a file that grants one of the `unwanted` mode bits.
/// Returns false when it is still there.
bool MakeWay(const std::string& path, mode_t unwanted) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || S_ISDIR(status.st_mode)) {
    return true;
  }
  if (S_ISREG(status.st_mode) && (status.st_mode & unwanted) == 0) {
    return true;
  }
  return unlink(path.c_str()) == 0;
}

bool NarrowToThisProcess(int descriptor) {
  // Mode 0600 speaks of the owner, so an old file is taken over first. Where that is refused, the mode decides: only
  // an owner can change it.
  [[maybe_unused]] const int taken_over = fchown(descriptor, geteuid(), getegid());
  return fchmod(descriptor, S_IRUSR | S_IWUSR) == 0;
}

bool CopyAside(const std::string& path, const std::string& copy, mode_t unwanted) {
  std::error_code missing;
  const std::filesystem::file_status status = std::filesystem::status(path, missing);
  return (is_regular_file(status) || is_directory(status)) && MakeWay(copy, unwanted) &&
         OSCopyFile(path.c_str(), copy.c_str()) == 1;
}

}  // namespace

std::string CertificatePath() {
  return TlsSharePath("/cert.pem");
}

std::string KeyPath() {
  return TlsSharePath("/file.pem");
}

File OpenPemFile(const std::string& path) {
  std::error_code unreadable;
  return std::filesystem::is_regular_file(path, unreadable) ? OpenFile(path, "r") : File();
}

File CreateCertificateFile(const std::string& path) {
  return MakeWay(path, 0) ? OpenFile(path, kCreateOrEmpty) : File();
}

File CreateKeyFile(const std::string& path) {
  if (!MakeWay(path, S_IRWXO)) {
    return {};
  }
  const OwnerOnlyMask mask;
  File file = OpenFile(path, kCreateOrEmpty);
  return file && NarrowToThisProcess(fileno(file.get())) ? std::move(file) : File();
}

bool SetCertificateAside(const std::string& path, const std::string& copy) {
  return CopyAside(path, copy, 0);
}

bool SetKeyAside(const std::string& path, const std::string& copy) {
  const OwnerOnlyMask mask;
  return CopyAside(path, copy, S_IRWXO);
}

}  // namespace qvx
