#include "settings/usable_document.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "log/ring_log.h"
#include "os/directory_chains.h"
#include "os/file_exchange.h"
#include "os/host.h"
#include "os/new_files.h"
#include "os/service_files.h"
#include "settings/document.h"

namespace qvx {

namespace {

/// Tells one state of a file from another.
struct Version {
  dev_t device;
  ino_t inode;
  off_t size;
  int64_t written;  // nanoseconds since the epoch
  bool is_file;     // a regular one

  bool operator==(const Version&) const = default;
};

std::optional<Version> VersionOf(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) {
    return std::nullopt;
  }
  constexpr int64_t kNanoseconds = 1'000'000'000;
  return Version{.device = status.st_dev,
                 .inode = status.st_ino,
                 .size = status.st_size,
                 .written = status.st_mtim.tv_sec * kNanoseconds + status.st_mtim.tv_nsec,
                 .is_file = S_ISREG(status.st_mode)};
}

/// The kernel gives a lease for reading only while nobody has the file open for writing.
bool IsBeingWritten(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (file) {
    // A writer that comes meanwhile is told so by a signal, which must not end the launcher.
    fcntl(file.get(), F_SETSIG, SIGURG);
  }
  return (!file || fcntl(file.get(), F_SETLEASE, F_RDLCK) != 0) && errno == EAGAIN;
}

/// Replaces the version that was read.
Outcome ReplaceByDefault(const Version& read, bool spares_writers) {
  const std::string path = SettingsPath();
  OSCheckDir(std::string(path).data());
  FileReplacement file(path, ServiceFile());
  if (!MayWriteDefault() || !file || !file.Write(QVX_XML_DEFAULT)) {
    return Outcome::kFailed;
  }
  // A file that is written in place is open for it.
  const bool may_be_open = !spares_writers || file.is_in_place();
  const auto is_read = [&](const std::string& at) {
    return VersionOf(at) == read && (may_be_open || !IsBeingWritten(at));
  };
  // The path may lead to the file through a link.
  const std::string place = PathOf(file.place().directory) + "/" + file.place().name;
  FileExchange exchange(file, place, QVX_XML_DEFAULT, is_read);
  const Outcome outcome = exchange.Exchange();
  if (outcome == Outcome::kDone) {
    exchange.Accept();
    ProtectCommitted(file, path);
  }
  return outcome;
}

/// Takes back what a killed run had made of a replacement.
void RepairSettings() {
  const std::optional<Place> place = FindPlace(SettingsPath(), Access::kChange);
  if (place && HasFurtherNames(place->directory, {place->name})) {
    TakeBackExchanges(PathOf(place->directory) + "/", {place->name}, Runs::kEnded);
    RemoveLeftovers(*place);
  }
}

void LogDefault(Outcome outcome) {
  if (outcome == Outcome::kDone) {
    LogOutput(kLogInformation,
              "Configuration file is corrupted or missing, a default configuration file has been "
              "generated for you for "
              "proper startup,you have to reset the configuration to your desired settings.");
  } else {
    LogOutput(kLogError,
              "Configuration file is corrupted or missing, and no default configuration file could "
              "be generated.");
  }
}

/// A load of the settings file, and the version that was there before it.
struct Load {
  std::optional<Version> version = VersionOf(SettingsPath());
  DocumentHolder document = NewDocument();
  LoadResult result = LoadSettings(document.get());

  /// A later load may find what this one did not.
  bool may_change() const {
    return !version || (version->is_file && result == LoadResult::kReadFailed);
  }
};

}  // namespace

DocumentHolder LoadOrReplaceSettings() {
  constexpr uint32_t kPause = 20;  // milliseconds
  RepairSettings();
  for (int pauses_left = 50;; --pauses_left) {
    Load load;
    if (IsUsable(load.result)) {
      return std::move(load.document);
    }
    const Outcome outcome =
        load.may_change() ? Outcome::kChanged : ReplaceByDefault(*load.version, pauses_left > 0);
    if (outcome != Outcome::kChanged || pauses_left == 0) {
      LogDefault(outcome);
      break;
    }
    OSSleep(kPause);
    CheckQVXXML(0);
  }
  Load load;
  return IsUsable(load.result) ? std::move(load.document) : nullptr;
}

}  // namespace qvx
