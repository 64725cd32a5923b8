#include "companion/show.h"

#include <ctime>
#include <nlohmann/json.hpp>

#include "companion/changes.h"
#include "companion/installation.h"
#include "companion/settings_view.h"
#include "launcher/launcher.h"
#include "tls/certificate_details.h"
#include "tls/pem_files.h"
#include "webconf/servlet_container.h"

namespace qvx::companion {

namespace {

using Rows = std::vector<std::pair<std::string, std::string>>;
using nlohmann::ordered_json;

std::string DocumentSentence(const Forecast& forecast) {
  switch (forecast.document_fate) {
    case DocumentFate::kRead:
      return "as it stands";
    case DocumentFate::kMade:
      return "cannot be opened: a start puts the default in its place";
    case DocumentFate::kReplaced:
      return "does not load: a start replaces it by the default, restrictions included";
    case DocumentFate::kSkipped:
      return "cannot be opened: every setting counts as absent";
    case DocumentFate::kUnusable:
      break;
  }
  return "does not load and cannot be replaced: a start ends";
}

/// For machines; never changes its meaning.
const char* CodeOf(DocumentFate fate) {
  constexpr const char* kCodes[] = {"read", "made", "replaced", "skipped", "unusable"};
  return kCodes[static_cast<size_t>(fate)];
}

const char* CodeOf(const PairForecast& pair) {
  if (!pair.is_usable()) {
    return "unusable";
  }
  if (pair.is_deleted_first()) {
    return "deleted";
  }
  if (pair.is_kept()) {
    return "kept";
  }
  return pair.fate == PairFate::kReplace ? "replaced" : "set-aside";
}

std::string EndSentence(const Forecast& forecast, const Finding* obstacle) {
  if (!forecast.exit_status) {
    return obstacle == nullptr
               ? "becomes the daemon"
               : "becomes the daemon, which does not come up: " + Printable(obstacle->what);
  }
  const std::string printed = forecast.printed.empty() ? "" : ", prints: " + forecast.printed;
  return "ends with status " + std::to_string(*forecast.exit_status) + printed;
}

std::string DateOf(time_t time) {
  char text[32] = "";
  std::tm parts{};
  std::strftime(text, sizeof text, "%Y-%m-%d", gmtime_r(&time, &parts));
  return text;
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    joined.append(joined.empty() ? "" : ", ").append(text);
  }
  return joined;
}

void ShowSettings(const Forecast& forecast, Page& page) {
  page.Heading("Settings at the next start");
  Rows rows = {{"document", Printable(forecast.document_path)}, {"", DocumentSentence(forecast)}};
  for (const EffectiveSetting& setting : EffectiveSettings(forecast)) {
    const bool differs = setting.written && *setting.written != setting.effective;
    std::string note = setting.written ? "" : " (not written)";
    note = differs ? "  (written: \"" + Printable(*setting.written) + "\")" : note;
    rows.emplace_back(setting.element,
                      Printable(setting.effective) + page.Painted(Colour::kDim, note));
  }
  page.Columns(rows);
}

void ShowAddresses(const Forecast& forecast, Page& page) {
  page.Heading("Virtual hosts at the next start (2301 and 2381 listen on every address)");
  Rows rows;
  for (const BoundAddress& bound : BoundAddresses(forecast)) {
    std::string value = "ports 2301 and 2381";
    value += bound.interface.empty() ? "" : ", interface " + Printable(bound.interface);
    value += bound.entry.empty() ? "" : ", by " + Printable(bound.entry);
    rows.emplace_back(bound.address, value);
  }
  if (rows.empty()) {
    rows.emplace_back("none: no address was found", "");
  }
  page.Columns(rows);
  if (!forecast.settings.bind_to_selected) {
    return;
  }
  for (const BindingEntry& entry : BindingEntries(forecast)) {
    if (entry.selected.empty() && !entry.has_loopback) {
      page.Line("  " + page.Painted(Colour::kYellow, Printable(entry.text)) +
                " selects no address besides 127.0.0.1");
    }
  }
}

void ShowAccess(const Forecast& forecast, Page& page) {
  page.Heading("Access at the next start");
  if (!forecast.settings.restrict_clients) {
    page.Line("  Everybody is let in: ip-restricted-logins is not True.");
    return;
  }
  page.Line("  order allow,deny: who is in both is refused");
  for (const std::string& line : AccessLines(forecast)) {
    page.Line("  " + Printable(line));
  }
  page.Line("  The help pages and forwarded requests are open to everybody all the same.");
}

void ShowCertificate(const Forecast& forecast, Page& page) {
  page.Heading("Certificate");
  Rows rows = {{"file", CertificatePath()}};
  if (const std::optional<CertificateDetails> details = ReadCertificateDetails()) {
    rows.emplace_back("common name", Printable(details->common_name));
    rows.emplace_back("further names", Printable(Joined(details->names)));
    rows.emplace_back("issuer", details->is_ours ? "the launcher" : Printable(details->issuer));
    rows.emplace_back("key",
                      details->key_kind + ", " + std::to_string(details->key_bits) + " bits");
    rows.emplace_back("fingerprint", details->fingerprint);
    rows.emplace_back("ends", DateOf(details->end) + ", days left: " +
                                  std::to_string(DaysLeft(details->end, std::time(nullptr))));
  }
  page.Columns(rows);
  page.Line("  " + PairSentence(forecast.pair));
}

/// The daemon, and whether the configuration on disk is that of the next start.
struct Running {
  int process;  ///< 0: none
  bool is_same;
};

Running RunningNow(const Forecast& forecast) {
  const std::string text = ReadText(forecast.server_conf.path).value_or("");
  const bool is_same =
      text == forecast.server_conf.text || text == WithProxyBlocks(forecast.server_conf.text);
  return {RunningDaemon(), is_same};
}

void ShowNow(const Forecast& forecast, Page& page) {
  page.Heading("Now");
  const Running now = RunningNow(forecast);
  page.Line("  the daemon " +
            (now.process == 0 ? "does not run" : "runs as process " + std::to_string(now.process)));
  page.Line(now.is_same ? "  its configuration on disk is that of the next start"
                        : "  its configuration on disk is another one: qvxctl show --diff");
}

}  // namespace

void Show(const Forecast& forecast, const Findings& findings, Page& page) {
  ShowSettings(forecast, page);
  ShowAddresses(forecast, page);
  ShowAccess(forecast, page);
  ShowCertificate(forecast, page);
  page.Heading("A start");
  page.Line("  " + EndSentence(forecast, WhatKeepsDown(findings)));
  ShowNow(forecast, page);
}

ordered_json ShowAsJson(const Forecast& forecast, const Findings& findings) {
  ordered_json json;
  json["schema"] = kJsonSchema;
  json["document"] = {{"path", forecast.document_path},
                      {"fate", CodeOf(forecast.document_fate)},
                      {"sentence", DocumentSentence(forecast)}};
  for (const EffectiveSetting& setting : EffectiveSettings(forecast)) {
    ordered_json& entry = json["settings"][setting.element];
    entry["written"] = setting.written ? ordered_json(*setting.written) : ordered_json();
    entry["effective"] = setting.effective;
  }
  json["virtual_hosts"] = ordered_json::array();
  for (const BoundAddress& bound : BoundAddresses(forecast)) {
    json["virtual_hosts"].push_back(
        {{"address", bound.address}, {"interface", bound.interface}, {"entry", bound.entry}});
  }
  json["restricted"] = forecast.settings.restrict_clients;
  json["access"] = AccessLines(forecast);
  ordered_json& certificate = json["certificate"];
  certificate["path"] = CertificatePath();
  if (const std::optional<CertificateDetails> details = ReadCertificateDetails()) {
    certificate["common_name"] = details->common_name;
    certificate["names"] = details->names;
    certificate["issuer"] = details->issuer;
    certificate["is_ours"] = details->is_ours;
    certificate["begin"] = DateOf(details->begin);
    certificate["end"] = DateOf(details->end);
    certificate["key_kind"] = details->key_kind;
    certificate["key_bits"] = details->key_bits;
    certificate["fingerprint_sha256"] = details->fingerprint;
    certificate["days_left"] = DaysLeft(details->end, std::time(nullptr));
  }
  certificate["fate"] = CodeOf(forecast.pair);
  certificate["sentence"] = PairSentence(forecast.pair);
  json["start"] = {
      {"becomes_daemon", !forecast.exit_status},
      {"stays_up", !forecast.exit_status && WhatKeepsDown(findings) == nullptr},
      {"status", forecast.exit_status ? ordered_json(*forecast.exit_status) : ordered_json()},
      {"printed", forecast.printed}};
  const bool has_files = !forecast.exit_status || *forecast.exit_status == kDaemonNotExecuted;
  json["reconfigure"] = {{"writes_files", has_files},
                         {"status", has_files ? 0 : *forecast.exit_status},
                         {"printed", forecast.printed}};
  const Running now = RunningNow(forecast);
  json["now"] = {{"process", now.process == 0 ? ordered_json() : ordered_json(now.process)},
                 {"is_as_at_next_start", now.is_same}};
  return json;
}

void ShowChanges(const Forecast& forecast, Page& page) {
  page.Heading("What a start changes");
  for (const FileChange& change : ForetellChanges(forecast)) {
    page.Line(page.Painted(Colour::kBold, Printable(change.path)) + ": " + change.change);
    for (const std::string& line : change.lines) {
      page.Line("  " +
                page.Painted(line[0] == '-' ? Colour::kRed : Colour::kGreen, Printable(line)));
    }
  }
}

ordered_json ChangesAsJson(const Forecast& forecast) {
  ordered_json json;
  json["schema"] = kJsonSchema;
  json["changes"] = ordered_json::array();
  for (const FileChange& change : ForetellChanges(forecast)) {
    json["changes"].push_back(
        {{"path", change.path}, {"change", change.change}, {"lines", change.lines}});
  }
  return json;
}

}  // namespace qvx::companion
