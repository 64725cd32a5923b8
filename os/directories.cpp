#include "os/directories.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "os/bounded_copy.h"

namespace qvx {

namespace {

constexpr char kBaseDirectory[] = "/opt";
constexpr char kInstallationDirectory[] = "/opt/zx/zxqvx";
constexpr char kLogDirectory[] = "/var/spool/opt/zx/zxqvx";
constexpr char kTlsShareDirectory[] = "/etc/opt/zx/sslshare";
constexpr char kWbemDirectory[] = "/var/spool/tormek/wbem";

char* Resolve(const char* variable, const char* otherwise, char* buffer, size_t capacity) {
  const char* value = std::getenv(variable);
  CopyBounded(value != nullptr ? value : otherwise, buffer, capacity);
  return buffer;
}

using Resolver = char* (*)(char*, size_t);

std::string Path(Resolver resolver, std::string_view tail) {
  char directory[kPathCapacity];
  return std::string(resolver(directory, sizeof directory)).append(tail);
}

}  // namespace

std::string InstallationPath(std::string_view tail) {
  return Path(OSGetQVXDirectory, tail);
}

std::string WritablePath(std::string_view tail) {
  return Path(OSGetQVXWriteDir, tail);
}

std::string LogPath(std::string_view tail) {
  return Path(OSGetLogDirectory, tail);
}

std::string TlsSharePath(std::string_view tail) {
  return Path(OSGetSSLShareDir, tail);
}

}  // namespace qvx

char* OSGetBaseDir(char* buffer, size_t capacity) {
  qvx::CopyBounded(qvx::kBaseDirectory, buffer, capacity);
  return buffer;
}

char* OSGetQVXDirectory(char* buffer, size_t capacity) {
  return qvx::Resolve("SYSMGTZX_BASE_DIR", qvx::kInstallationDirectory, buffer, capacity);
}

char* OSGetQVXWriteDir(char* buffer, size_t capacity) {
  const char* value = std::getenv("SYSMGTZX_WRITE_DIR");
  if (value == nullptr) {
    return OSGetQVXDirectory(buffer, capacity);
  }
  qvx::CopyBounded(value, buffer, capacity);
  return buffer;
}

char* OSGetLogDirectory(char* buffer, size_t capacity) {
  return qvx::Resolve("SYSMGTZX_LOG_DIR", qvx::kLogDirectory, buffer, capacity);
}

char* OSGetSSLShareDir(char* buffer, size_t capacity) {
  return qvx::Resolve("SSL_SHARE_BASE_DIR", qvx::kTlsShareDirectory, buffer, capacity);
}

char* OSGetElmDirectory(char* buffer, size_t capacity) {
  qvx::CopyBounded(qvx::kWbemDirectory, buffer, capacity);
  return buffer;
}

char* OSGetDefaultWBEMDirectoryEx(void* /*reserved*/, char* buffer, size_t capacity) {
  return OSGetElmDirectory(buffer, capacity);
}

char* OSGetCurrentDirectory(char* buffer, size_t capacity) {
  // For a null buffer, getcwd(3) would make one.
  [[maybe_unused]] const char* directory = buffer == nullptr ? nullptr : getcwd(buffer, capacity);
  return buffer;
}

int OSSetCurrentDirectory(const char* path) {
  return chdir(path);
}

char* OSFileAffinity(char* path) {
  if (path != nullptr) {
    std::replace(path, path + std::strlen(path), '\\', '/');
  }
  return path;
}
