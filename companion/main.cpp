// The companion: looks at an installation and never changes it.
#include <poll.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <new>
#include <nlohmann/json.hpp>
#include <string>

#include "companion/admission.h"
#include "companion/daemon_test.h"
#include "companion/findings.h"
#include "companion/forecast.h"
#include "companion/installation.h"
#include "companion/log_view.h"
#include "companion/presentation.h"
#include "companion/show.h"

namespace {

using qvx::companion::Page;

constexpr int kUsage = 3;
constexpr int kNotRead = 4;

void Print(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
}

void PrintJson(const nlohmann::ordered_json& json) {
  Print(qvx::companion::JsonText(json, 2));
}

struct Options {
  bool json = false;
  bool diff = false;
  bool follow = false;
  bool daemon = false;
  std::string from;
  std::string severity = "0";
  std::string since;
  std::string kept = qvx::companion::kKeptSettings;
};

int RunShow(const Options& options) {
  const qvx::companion::Forecast forecast = qvx::companion::Foretell();
  if (options.json) {
    PrintJson(options.diff ? ChangesAsJson(forecast) : ShowAsJson(forecast));
    return 0;
  }
  Page page(qvx::companion::OutputTakesColours());
  if (options.diff) {
    ShowChanges(forecast, page);
  } else {
    Show(forecast, page);
  }
  Print(page.text());
  return 0;
}

int Refuse(const char* option, const std::string& value) {
  std::fprintf(stderr, "qvxctl: %s: %s is not understood\n", option, value.c_str());
  return kUsage;
}

/// Whether an address is let in follows the findings only when somebody asks or there is a peer.
int RunCheck(const Options& options) {
  const qvx::companion::Forecast forecast = qvx::companion::Foretell();
  const std::string from = options.from.empty() ? qvx::companion::SshPeer() : options.from;
  const qvx::companion::Admission admission = Admit(forecast, from);
  if (!options.from.empty() && !admission.is_address) {
    return Refuse("--from", options.from);
  }
  qvx::companion::Findings findings = CheckAll(forecast, options.kept);
  if (options.daemon) {
    CheckWithDaemon(forecast, findings);
    SortBySeverity(findings);
  }
  if (options.json) {
    nlohmann::ordered_json json = FindingsAsJson(findings);
    if (!from.empty()) {
      json["admission"] = AdmissionAsJson(admission);
    }
    PrintJson(json);
    return StatusOf(findings);
  }
  Page page(qvx::companion::OutputTakesColours());
  ShowFindings(findings, page);
  if (!from.empty()) {
    ShowAdmission(admission, page);
  }
  Print(page.text());
  return StatusOf(findings);
}

/// Waits a moment. Returns false when nobody reads the output any more.
bool IsStillRead() {
  constexpr int kPause = 500;
  pollfd output{STDOUT_FILENO, 0, 0};
  return poll(&output, 1, kPause) <= 0;
}

void PrintRecords(qvx::companion::LogReader& reader, const Options& options, const Page& page) {
  const std::string content = qvx::companion::LogSnapshot().value_or("");
  for (const qvx::RingRecord& record : reader.NewRecords(content)) {
    Print(options.json ? qvx::companion::RecordAsJsonLine(record)
                       : qvx::companion::RecordLine(record, page));
  }
  std::fflush(stdout);
}

int RunLog(const Options& options) {
  const auto severity = qvx::companion::SeverityFrom(options.severity);
  if (!severity) {
    return Refuse("--severity", options.severity);
  }
  const std::optional<time_t> since =
      options.since.empty() ? 0 : qvx::companion::TimeFrom(options.since, std::time(nullptr));
  if (!since) {
    return Refuse("--since", options.since);
  }
  qvx::companion::LogReader reader({*severity, *since});
  const Page page(qvx::companion::OutputTakesColours());
  PrintRecords(reader, options, page);
  while (options.follow && IsStillRead()) {
    PrintRecords(reader, options, page);
  }
  return 0;
}

int Run(int argument_count, char** arguments) {
  Options options;
  CLI::App app("Looks at the console's installation and foretells a start. Changes nothing.");
  app.require_subcommand(1);
  app.name("qvxctl");
  CLI::App* show = app.add_subcommand("show", "What is in effect at the next start");
  show->add_flag("--diff", options.diff, "What the next start changes in the files on disk");
  show->add_flag("--json", options.json, "For machines");
  CLI::App* check = app.add_subcommand(
      "check", "What a start would find and do. Status 0: clean, 1: warnings, 2: failures");
  check->add_option("--from", options.from,
                    "Whether this address would be let in; the peer of the SSH session otherwise");
  check->add_flag("--daemon", options.daemon,
                  "Let the daemon test the next configuration, in a scratch folder");
  check->add_option("--kept", options.kept, "The folder of the kept settings documents");
  check->add_flag("--json", options.json, "For machines");
  CLI::App* log = app.add_subcommand("log", "The launcher's log in the order of time");
  log->add_flag("--follow,-f", options.follow, "Go on with new records as they come");
  log->add_option("--severity", options.severity,
                  "Only from this on: 0 to 3, or information, warning, error, critical");
  log->add_option("--since", options.since,
                  "Only from then on: 2026-11-25, \"2026-11-25 14:30\", 14:30, 15m, 2h, 3d");
  log->add_flag("--json", options.json, "For machines: an object on each line");
  try {
    app.parse(argument_count, arguments);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kUsage;
  }
  if (log->parsed()) {
    return RunLog(options);
  }
  return check->parsed() ? RunCheck(options) : RunShow(options);
}

}  // namespace

int main(int argument_count, char** arguments) {
  try {
    return Run(argument_count, arguments);
  } catch (const std::bad_alloc&) {
    std::fputs("qvxctl: out of memory\n", stderr);
  } catch (...) {
    std::fputs("qvxctl: the installation could not be read\n", stderr);
  }
  return kNotRead;
}
