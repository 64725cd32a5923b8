#include "companion/daemon_test.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "companion/account_run.h"
#include "companion/installation.h"
#include "companion/programs.h"
#include "launcher/launcher.h"
#include "os/directories.h"
#include "tls/pem_files.h"
#include "webconf/agent_map.h"
#include "webconf/server_conf.h"

namespace qvx::companion {

namespace {

/// A start makes the agent map, and may make a pair. The daemon wants to see files there, and looks
/// into them only when it starts. So one file stands for all.
std::string TextFor(const Forecast& forecast) {
  std::string text = forecast.server_conf.text;
  if (forecast.agent_map.is_written) {
    ReplaceAll(text, forecast.agent_map.path, kInputPath);
  }
  if (!forecast.pair.is_kept()) {
    ReplaceAll(text, CertificatePath(), kInputPath);
    ReplaceAll(text, KeyPath(), kInputPath);
  }
  return text;
}

std::string LineOf(std::string_view text, uint64_t number) {
  while (--number > 0 && !text.empty()) {
    text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
  }
  return std::string(text.substr(0, text.find('\n')));
}

/// Returns the daemon's words in one line. A line of the configuration that they name is quoted,
/// because no file has it yet.
std::string WordsOf(std::string output, const Forecast& forecast) {
  const size_t end = output.rfind(std::string(" of ") + kInputPath);
  const size_t start = output.substr(0, end).find_last_not_of("0123456789") + 1;
  const uint64_t line = end == std::string::npos ? 0 : std::strtoull(&output[start], nullptr, 10);
  ReplaceAll(output, kInputPath, forecast.server_conf.path);
  ReplaceAll(output, "\n", "; ");
  output.resize(output.find_last_not_of("; ") + 1);
  return line == 0 ? output : output + " The line is: " + LineOf(forecast.server_conf.text, line);
}

}  // namespace

void CheckWithDaemon(const Forecast& forecast, Findings& findings) {
  const std::string daemon = InstallationPath(kDaemonName);
  if (!IsProgram(daemon)) {
    return;  // which is a finding already
  }
  const std::optional<AccountRun> run =
      RunAsAccount("exec " + Quoted(daemon) + " -DSSL -t -f " + kInputPath, TextFor(forecast));
  if (!run) {
    findings.push_back({.severity = Severity::kWarning,
                        .code = "daemon-not-asked",
                        .file = daemon,
                        .what = "The daemon could not be asked with the rights of the account "
                                "zxqvx, or did not answer within ten seconds.",
                        .effect = "The daemon may refuse its configuration."});
  } else if (run->status != 0) {
    findings.push_back(
        {.severity = Severity::kFailure,
         .code = "daemon-refuses",
         .file = daemon,
         .what = "The daemon refuses the configuration: " + WordsOf(run->output, forecast),
         .effect = "The daemon does not start: the console stays down.",
         .cure = "Correct the setting that the named directive comes from: see "
                 "qvxpd.xml(5). qvxctl show --diff has the lines.",
         .keeps_down = true});
  }
}

}  // namespace qvx::companion
