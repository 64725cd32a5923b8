// The directories that hold every file of the launcher.
//
// A resolver reads the environment at each call and only computes a name. Nothing is created or
// tested. No "/" is added at the end. A value that does not fit the caller's buffer is cut. The
// buffers of this program have kPathCapacity bytes, so a path under a directory that was cut is
// longer than the system's PATH_MAX and opens nothing. The path of the log is itself cut again.
#ifndef QVX_OS_DIRECTORIES_H
#define QVX_OS_DIRECTORIES_H

#include <cstddef>
#include <string>
#include <string_view>

/// Bytes of a path buffer: 4095 characters and the terminator.
inline constexpr size_t kPathCapacity = 4096;

/// Writes the platform base directory, "/opt". All resolvers return `buffer`, whose size is
/// `capacity` bytes; for null they return null.
char* OSGetBaseDir(char* buffer, size_t capacity);

/// Writes the installation directory: SYSMGTZX_BASE_DIR, or /opt/zx/zxqvx.
char* OSGetQVXDirectory(char* buffer, size_t capacity);

/// Writes the writable data directory: SYSMGTZX_WRITE_DIR, or the installation directory.
char* OSGetQVXWriteDir(char* buffer, size_t capacity);

/// Writes the web server's log directory: SYSMGTZX_LOG_DIR, or /var/spool/opt/zx/zxqvx.
char* OSGetLogDirectory(char* buffer, size_t capacity);

/// Writes the TLS share directory: SSL_SHARE_BASE_DIR, or /etc/opt/zx/sslshare.
char* OSGetSSLShareDir(char* buffer, size_t capacity);

/// Writes the WBEM spool directory, /var/spool/tormek/wbem, whatever the environment says.
char* OSGetElmDirectory(char* buffer, size_t capacity);

/// As OSGetElmDirectory; `reserved` is ignored.
char* OSGetDefaultWBEMDirectoryEx(void* reserved, char* buffer, size_t capacity);

/// Writes the working directory (getcwd(3)); returns `buffer` whether or not that succeeded.
char* OSGetCurrentDirectory(char* buffer, size_t capacity);

/// Changes the working directory. Returns 0 or -1.
int OSSetCurrentDirectory(const char* path);

/// Turns every "\" of `path` into "/", in place; null is left alone. Returns `path`.
char* OSFileAffinity(char* path);

namespace qvx {

// The same directories as strings, for the program itself. `tail` is appended as it stands. They
// throw std::bad_alloc.
std::string InstallationPath(std::string_view tail = {});
std::string WritablePath(std::string_view tail = {});
std::string LogPath(std::string_view tail = {});
std::string TlsSharePath(std::string_view tail = {});

}  // namespace qvx

#endif
