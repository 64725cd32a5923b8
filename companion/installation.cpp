#include "companion/installation.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "os/directories.h"
#include "os/directory_search.h"
#include "os/files.h"
#include "os/path_walk.h"
#include "os/service_account.h"
#include "settings/document.h"
#include "tls/pem_files.h"
#include "webconf/server_conf.h"

namespace qvx::companion {

namespace {

constexpr std::string_view kPlainCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./=:,+@%";

constexpr size_t kLongestNumber = 20;

/// Returns whether the account has the right that `bit` names among the bits of others.
bool HasRight(const AccountIds& account, const Ownership& file, uint32_t bit) {
  if (file.user == account.user) {
    return (file.mode & (bit << 6)) != 0;
  }
  return (file.mode & (file.group == account.group ? bit << 3 : bit)) != 0;
}

bool MayReach(const AccountIds& account, const std::string& path) {
  for (size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1)) {
    const std::optional<Ownership> level = OwnershipOf(path.substr(0, end + 1));
    if (!level || !HasRight(account, *level, S_IXOTH)) {
      return false;
    }
  }
  return true;
}

bool IsKept(std::string_view name) {
  return name.size() > 4 && name.ends_with(".xml") && name.front() != '.';
}

}  // namespace

std::optional<std::string> ReadText(const std::string& path) {
  const Descriptor file = OpenDescriptor(path, O_RDONLY);
  return file ? ReadRest(file, kMostText) : std::nullopt;
}

std::optional<std::string> ReadStart(const std::string& path, size_t most) {
  const File file = OpenFile(path, "r");
  if (!file) {
    return std::nullopt;
  }
  std::string text(most, '\0');
  text.resize(std::fread(text.data(), 1, most, file.get()));
  return std::ferror(file.get()) != 0 ? std::nullopt : std::optional(std::move(text));
}

bool HasName(const std::string& path) {
  const std::optional<Place> place = FindPlace(path, Access::kRead, LastLink::kStay);
  return place && place->exists();
}

std::optional<Ownership> OwnershipOf(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) {
    return std::nullopt;
  }
  return Ownership{status.st_uid, status.st_gid, status.st_mode & ALLPERMS};
}

bool AccountMayRead(const std::string& path) {
  const std::optional<AccountIds> account = LookUpServiceAccount().ids;
  const std::optional<Ownership> file = OwnershipOf(path);
  return account && file && HasRight(*account, *file, S_IROTH) && MayReach(*account, path);
}

bool AccountMayWrite(const std::string& path) {
  const std::optional<AccountIds> account = LookUpServiceAccount().ids;
  const std::optional<Ownership> file = OwnershipOf(path);
  return account && file && HasRight(*account, *file, S_IWOTH);
}

std::vector<std::string> UnreadableFiles() {
  const std::optional<AccountIds> account = LookUpServiceAccount().ids;
  std::vector<std::string> hidden;
  if (geteuid() == 0 || (account && geteuid() == account->user)) {
    return hidden;
  }
  for (const std::string& path : {SettingsPath(), ServerConfPath(), CertificatePath(), KeyPath()}) {
    if (ForeseeOpening(path, O_RDONLY) == EACCES) {
      hidden.push_back(path);
    }
  }
  return hidden;
}

std::vector<std::string> KeptSettings(const std::string& folder) {
  std::vector<std::string> paths;
  for (const std::string& name : NamesIn(OpenDirectory(folder), "")) {
    if (IsKept(name)) {
      paths.push_back(std::string(folder).append("/").append(name));
    }
  }
  std::sort(paths.rbegin(), paths.rend());
  return paths;
}

NamedProcess ProcessOfPidFile() {
  const std::string text =
      ReadStart(InstallationPath("/logs/httpd.pid"), kLongestNumber).value_or("");
  const int number = std::atoi(text.c_str());
  const std::string name =
      ReadStart("/proc/" + std::to_string(number) + "/comm", kLongestNumber).value_or("");
  return number <= 0 || name.empty() ? NamedProcess{}
                                     : NamedProcess{number, name.substr(0, name.find('\n'))};
}

int RunningDaemon() {
  const NamedProcess process = ProcessOfPidFile();
  return process.name == kDaemonProcess ? process.number : 0;
}

std::string Quoted(std::string_view text) {
  if (!text.empty() && text.find_first_not_of(kPlainCharacters) == std::string_view::npos) {
    return std::string(text);
  }
  std::string quoted = "'";
  for (const char character : text) {
    quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
  }
  return quoted + "'";
}

std::string WhyRefused(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return "Its directory is missing.";
    case EISDIR:
      return "A directory has its name.";
    case ENXIO:
      return "Something other than a file has its name.";
    case ELOOP:
      return "A link on the way is not followed, or others could exchange the file.";
    case EPERM:
      return "It is marked as immutable or append-only.";
    default:
      return std::string(std::strerror(error)) + ".";
  }
}

std::string ProtectionOf(const std::string& path) {
  return "chown zxqvx:zxqvx " + Quoted(path) + "; chmod 660 " + Quoted(path);
}

}  // namespace qvx::companion
