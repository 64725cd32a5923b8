#include "companion/daemon_test.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "companion/installation.h"
#include "launcher/launcher.h"
#include "os/commands.h"
#include "os/directories.h"
#include "os/file_replacement.h"
#include "tls/pem_files.h"
#include "webconf/agent_map.h"
#include "webconf/server_conf.h"

namespace qvx::companion {

namespace {

namespace fs = std::filesystem;

/// A folder of its own, which goes with the object. Only its owner can enter it.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::error_code error;
    std::string name = (fs::temp_directory_path(error) / "qvxctl-XXXXXX").string();
    path_ = error || mkdtemp(name.data()) == nullptr ? "" : name;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ScratchFolder(ScratchFolder&&) = delete;
  ScratchFolder& operator=(ScratchFolder&&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

struct Answer {
  int status;
  std::string text;
};

/// Returns nothing when the daemon could not be run.
std::optional<Answer> Ask(const std::string& configuration) {
  const std::string command = Quoted(InstallationPath(kDaemonName)) + " -DSSL -t -f " +
                              Quoted(configuration) + " 2>&1; echo $?";
  const CommandStream stream = OpenCommand(command.c_str());
  std::string text;
  char piece[4096];
  while (const size_t count = stream ? std::fread(piece, 1, sizeof piece, stream.get()) : 0) {
    text.append(piece, count);
  }
  const size_t end = text.find_last_not_of('\n') + 1;
  const size_t last = end == 0 ? std::string::npos : text.rfind('\n', end - 1);
  const size_t start = last == std::string::npos ? 0 : last + 1;
  if (end == 0) {
    return std::nullopt;
  }
  std::string lines = text.substr(0, start);
  ReplaceAll(lines, "\n", "; ");
  return Answer{std::atoi(text.c_str() + start), lines.substr(0, lines.find_last_not_of("; ") + 1)};
}

/// The agent map is made by a start, and the daemon refuses to do without it.
std::string TextFor(const Forecast& forecast, const std::string& folder) {
  std::string text = forecast.server_conf.text;
  if (!HasName(forecast.agent_map.path)) {
    ReplaceAll(text, InstallationPath(RALO_LIST_MAP), folder + "/map");
  }
  return text;
}

}  // namespace

void CheckWithDaemon(const Forecast& forecast, Findings& findings) {
  const std::string daemon = InstallationPath(kDaemonName);
  if (!HasName(CertificatePath()) || !HasName(KeyPath())) {
    findings.push_back({Severity::kNote, daemon, 0, 0, "",
                        "The daemon is not asked before there is a certificate and key.",
                        "It makes both first.", ""});
    return;
  }
  const ScratchFolder folder;
  const std::string configuration = folder.path() + "/qvxpd.conf";
  const bool is_ready = !folder.path().empty() &&
                        ReplaceFile(folder.path() + "/map", OwnFile(0600), "") &&
                        ReplaceFile(configuration, OwnFile(0600), TextFor(forecast, folder.path()));
  const std::optional<Answer> answer = is_ready ? Ask(configuration) : std::nullopt;
  if (!answer) {
    findings.push_back({Severity::kWarning, daemon, 0, 0, "", "The daemon could not be asked.",
                        "The daemon may refuse its configuration.", ""});
  } else if (answer->status != 0) {
    findings.push_back({Severity::kFailure, daemon, 0, 0, "",
                        "The daemon refuses the configuration: " + answer->text,
                        "The daemon does not start: the console stays down.",
                        "Correct the setting that the named directive comes from: see "
                        "qvxpd.xml(5). qvxctl show --diff has the lines."});
  }
}

}  // namespace qvx::companion
