#include "tls/pem_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "os/directories.h"

namespace qvx {

namespace {

constexpr char kCreateOrEmpty[] = "w+b";
constexpr char kUpdate[] = "r+b";

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

/// Removes what is neither file nor directory. Returns false when it is still there.
bool MakeWay(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode) || S_ISDIR(status.st_mode)) {
    return true;
  }
  return unlink(path.c_str()) == 0;
}

/// Removes a file, or the one that a link leads to. Returns false when it is still there.
bool RemoveTarget(const std::string& path) {
  std::error_code missing;
  const std::filesystem::path target = std::filesystem::canonical(path, missing);
  return missing == std::errc::no_such_file_or_directory || unlink(target.c_str()) == 0;
}

/// Makes a file that has to stay fit for a key, and only then empties it: what cannot be narrowed is left as it was.
bool NarrowAndEmpty(int descriptor) {
  // Mode 0600 speaks of the owner, so the file is taken over first. Where that is refused, the mode decides: only an
  // owner can change it.
  [[maybe_unused]] const int taken_over = fchown(descriptor, geteuid(), getegid());
  return fchmod(descriptor, S_IRUSR | S_IWUSR) == 0 && chsize(descriptor, 0) == 0;
}

bool CanBeSetAside(const std::string& path) {
  std::error_code missing;
  const std::filesystem::file_status status = std::filesystem::status(path, missing);
  return is_regular_file(status) || is_directory(status);
}

bool Copy(const std::string& path, const std::string& copy) {
  return OSCopyFile(path.c_str(), copy.c_str()) == 1;
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
  return MakeWay(path) ? OpenFile(path, kCreateOrEmpty) : File();
}

File CreateKeyFile(const std::string& path) {
  const OwnerOnlyMask mask;
  if (RemoveTarget(path)) {
    return OpenFile(path, kCreateOrEmpty);
  }
  std::error_code unreadable;
  File file = std::filesystem::is_regular_file(path, unreadable) ? OpenFile(path, kUpdate) : File();
  return file && NarrowAndEmpty(fileno(file.get())) ? std::move(file) : File();
}

bool SetCertificateAside(const std::string& path, const std::string& copy) {
  return CanBeSetAside(path) && MakeWay(copy) && Copy(path, copy);
}

bool SetKeyAside(const std::string& path, const std::string& copy) {
  const OwnerOnlyMask mask;
  return CanBeSetAside(path) && (unlink(copy.c_str()) == 0 || errno == ENOENT) && Copy(path, copy);
}

}  // namespace qvx
