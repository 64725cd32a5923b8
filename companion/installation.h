// Reading an installation without changing it.
#ifndef QVX_COMPANION_INSTALLATION_H
#define QVX_COMPANION_INSTALLATION_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvx::companion {

/// The most bytes of a text that is looked at whole. The service account can make any of its files
/// seem endless.
inline constexpr size_t kMostText = 64 << 20;

/// Returns the content of a file. Returns nothing with errno set when it cannot be read, or opened
/// by the rules of os/files.h, and when it has more than kMostText bytes (EFBIG).
std::optional<std::string> ReadText(const std::string& path);

/// The same for the first `most` bytes of a file of any length.
std::optional<std::string> ReadStart(const std::string& path, size_t most);

/// Returns whether something has this name, a link without a target included.
bool HasName(const std::string& path);

/// Owner and permission bits of what `path` leads to.
struct Ownership {
  uint32_t user;
  uint32_t group;
  uint32_t mode;
};
std::optional<Ownership> OwnershipOf(const std::string& path);

/// Return whether the service account can read the file, every directory on the way included; and
/// whether it can write to the file or directory itself. Access lists are not looked at. Without
/// the account both return false.
bool AccountMayRead(const std::string& path);
bool AccountMayWrite(const std::string& path);

/// The name of the daemon's process.
inline constexpr char kDaemonProcess[] = "zxqvxd";

/// Returns the files on which a foretelling rests and which this user may not read. For root and
/// the service account these are none, because they foretell their own runs.
std::vector<std::string> UnreadableFiles();

/// The folder in which the service unit keeps the settings documents of earlier starts, under names
/// that sort by time.
inline constexpr char kKeptSettings[] = "/var/lib/qvxlauncher/settings";

/// Returns the paths of the settings documents that are kept in `folder`, the newest first.
std::vector<std::string> KeptSettings(const std::string& folder);

/// The process that the daemon's process ID file names.
struct NamedProcess {
  int number = 0;      ///< 0: none that lives
  std::string name{};  ///< as the kernel knows it
};
NamedProcess ProcessOfPidFile();

/// Returns the number of the daemon that runs; 0 when none does.
int RunningDaemon();

/// Returns `text` as one word of a shell command.
std::string Quoted(std::string_view text);

/// Returns a sentence on why a file cannot be written, from the error of ForeseeReplacement.
std::string WhyRefused(int error);

/// Returns the shell commands that protect a file as a start does.
std::string ProtectionOf(const std::string& path);

}  // namespace qvx::companion

#endif
