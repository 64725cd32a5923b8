// The companion: looks at an installation and never changes it.
#include <poll.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
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

namespace qvx::companion {

namespace {

constexpr int kUsage = 3;
constexpr int kNotDone = 4;

struct Options {
  bool json = false;
  bool diff = false;
  bool follow = false;
  bool daemon = false;
  std::string file;
  std::string from;
  std::string severity = "0";
  std::string since;
  std::string kept = kKeptSettings;
};

void Print(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
}

void PrintJson(const nlohmann::ordered_json& json) {
  Print(JsonText(json, 2));
}

/// Says why the command was not carried out, and returns its status.
int Fail(const Options& options, int status, const std::string& text) {
  if (options.json) {
    PrintJson({{"schema", kJsonSchema}, {"status", status}, {"error", text}});
  }
  std::fprintf(stderr, "qvxctl: %s\n", Printable(text).c_str());
  return status;
}

int Refuse(const Options& options, const char* option, const std::string& value) {
  return Fail(options, kUsage, std::string(option) + ": " + value + " is not understood");
}

Page NewPage() {
  return Page(OutputTakesColours(), TerminalWidth());
}

/// Returns the text for what this user cannot read, in which case nothing is foretold: what is out
/// of sight would count as missing. The service account foretells its own runs.
std::optional<std::string> OutOfSight(const Options& options) {
  const std::vector<std::string> hidden = UnreadableFiles();
  std::string files;
  for (const std::string& path : hidden) {
    files.append(files.empty() ? "" : ", ").append(path);
  }
  if (!options.file.empty() && !ReadText(options.file)) {
    return options.file + ": " + std::strerror(errno);
  }
  return hidden.empty() ? std::nullopt
                        : std::optional("this user cannot read " + files + ": run it as root");
}

Forecast ForetellFor(const Options& options) {
  return options.file.empty() ? Foretell() : ForetellWith(options.file);
}

int RunShow(const Options& options) {
  if (const auto text = OutOfSight(options)) {
    return Fail(options, kNotDone, *text);
  }
  const Forecast forecast = ForetellFor(options);
  if (options.diff && options.json) {
    PrintJson(ChangesAsJson(forecast));
    return 0;
  }
  Page page = NewPage();
  if (options.diff) {
    ShowChanges(forecast, page);
    Print(page.text());
    return 0;
  }
  const Findings findings = CheckAll(forecast, options.kept);
  if (options.json) {
    PrintJson(ShowAsJson(forecast, findings));
    return 0;
  }
  Show(forecast, findings, page);
  Print(page.text());
  return 0;
}

/// Whether an address is let in follows the findings only when somebody asks or there is a peer.
int RunCheck(const Options& options) {
  if (const auto text = OutOfSight(options)) {
    return Fail(options, kNotDone, *text);
  }
  const Forecast forecast = ForetellFor(options);
  const std::string from = options.from.empty() ? SshPeer() : options.from;
  const Admission admission = Admit(forecast, from);
  if (!options.from.empty() && !admission.is_address) {
    return Refuse(options, "--from", options.from);
  }
  const std::optional<Admission> now = AdmitNow(forecast, from);
  Findings findings = CheckAll(forecast, options.kept);
  if (options.daemon) {
    CheckWithDaemon(forecast, findings);
  }
  if (options.from.empty()) {
    CheckPeer(forecast, admission, findings);
  }
  SortBySeverity(findings);
  if (options.json) {
    nlohmann::ordered_json json = FindingsAsJson(findings);
    if (!from.empty()) {
      json["admission"] = AdmissionAsJson(admission);
      json["admission_now"] = now ? AdmissionAsJson(*now) : nlohmann::ordered_json();
    }
    PrintJson(json);
    return StatusOf(findings);
  }
  Page page = NewPage();
  ShowFindings(findings, forecast.document_path, page);
  if (!from.empty()) {
    ShowAdmission(admission, "at the next start", page);
    if (now) {
      ShowAdmission(*now, "now", page);
    }
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

/// Returns whether the output took the records.
bool PrintRecords(LogReader& reader, const Options& options, const Page& page) {
  const std::string content = LogSnapshot().value_or("");
  for (const RingRecord& record : reader.NewRecords(content)) {
    Print(options.json ? RecordAsJsonLine(record) : RecordLine(record, page));
  }
  return std::fflush(stdout) == 0;
}

int RunLog(const Options& options) {
  const auto severity = SeverityFrom(options.severity);
  if (!severity) {
    return Refuse(options, "--severity", options.severity);
  }
  const std::optional<time_t> since =
      options.since.empty() ? 0 : TimeFrom(options.since, std::time(nullptr));
  if (!since) {
    return Refuse(options, "--since", options.since);
  }
  if (!LogSnapshot() && errno == EACCES) {
    return Fail(options, kNotDone, "this user cannot read the log: run it as root");
  }
  LogReader reader({*severity, *since});
  const Page page(OutputTakesColours());
  bool is_taken = PrintRecords(reader, options, page);
  while (is_taken && options.follow && IsStillRead()) {
    is_taken = PrintRecords(reader, options, page);
  }
  return 0;
}

/// The library says only that a command is missing.
int FailToParse(const CLI::App& app, const CLI::ParseError& error, const std::string& first) {
  const bool is_word =
      !first.empty() && first[0] != '-' && first != "show" && first != "check" && first != "log";
  if (is_word) {
    return Fail({}, kUsage, first + " is not a command: show, check or log");
  }
  return app.exit(error) == 0 ? 0 : kUsage;
}

int Run(int argument_count, char** arguments, Options& options) {
  CLI::App app("Looks at the console's installation and foretells a start. Changes nothing.");
  app.require_subcommand(1);
  app.name("qvxctl");
  app.set_version_flag("--version", "qvxctl " QVX_VERSION);
  CLI::App* show = app.add_subcommand("show", "What will be in effect at the next start");
  show->add_option("FILE", options.file, "A document in the place of the settings document");
  show->add_flag("--diff", options.diff, "What the next start changes in the files on disk");
  show->add_flag("--json", options.json, "For machines");
  CLI::App* check = app.add_subcommand(
      "check", "What a start would find and do. Status 0: clean, 1: warnings, 2: failures");
  check->add_option("FILE", options.file, "A document in the place of the settings document");
  check->add_option("--from", options.from,
                    "Whether this address would be let in; the peer of the SSH session otherwise");
  check->add_flag("--daemon", options.daemon, "Let the daemon test the next configuration");
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
    return FailToParse(app, error, argument_count > 1 ? arguments[1] : "");
  }
  if (log->parsed()) {
    return RunLog(options);
  }
  return check->parsed() ? RunCheck(options) : RunShow(options);
}

}  // namespace

}  // namespace qvx::companion

int main(int argument_count, char** arguments) {
  qvx::companion::Options options;
  try {
    const int status = qvx::companion::Run(argument_count, arguments, options);
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
      return status;
    }
    std::fputs("qvxctl: the output could not be written\n", stderr);
  } catch (const std::bad_alloc&) {
    std::fputs("qvxctl: out of memory\n", stderr);
  } catch (...) {
    std::fputs("qvxctl: the installation could not be read\n", stderr);
  }
  return qvx::companion::kNotDone;
}
