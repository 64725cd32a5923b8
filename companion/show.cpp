#include "companion/show.h"

#include <ctime>
#include <nlohmann/json.hpp>

#include "companion/diff.h"
#include "companion/installation.h"
#include "companion/settings_view.h"
#include "settings/document.h"
#include "tls/certificate_details.h"
#include "tls/pem_files.h"

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

std::string EndSentence(const Forecast& forecast) {
  if (!forecast.exit_status) {
    return "becomes the daemon";
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
  page.Heading("Settings in effect");
  Rows rows = {{"document", SettingsPath()}, {"", DocumentSentence(forecast)}};
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
  page.Heading("Virtual hosts (the ports 2301 and 2381 listen on every address)");
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
  page.Heading("Access");
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
    rows.emplace_back("ends", DateOf(details->end) + ", days left: " +
                                  std::to_string(DaysLeft(details->end, std::time(nullptr))));
  }
  page.Columns(rows);
  page.Line("  " + PairSentence(forecast.pair));
}

FileChange ChangeOf(const ForeseenFile& file, bool may_get_proxy_blocks = false) {
  const std::optional<std::string> old_text = ReadText(file.path);
  if (!file.is_written) {
    return {file.path, "is not written", {}};
  }
  if (!old_text) {
    return {file.path, "is made", {}};
  }
  FileChange change{file.path, "", DifferingLines(*old_text, file.text)};
  change.change = change.lines.empty() ? "stays the same" : "changes";
  if (may_get_proxy_blocks) {
    change.change +=
        ", before sbin/genproxyconf decides about the servlet container's proxy blocks";
  }
  return change;
}

}  // namespace

void Show(const Forecast& forecast, Page& page) {
  ShowSettings(forecast, page);
  ShowAddresses(forecast, page);
  ShowAccess(forecast, page);
  ShowCertificate(forecast, page);
  page.Heading("A start");
  page.Line("  " + EndSentence(forecast));
}

ordered_json ShowAsJson(const Forecast& forecast) {
  ordered_json json;
  json["document"] = {{"path", SettingsPath()}, {"fate", DocumentSentence(forecast)}};
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
    certificate["end"] = DateOf(details->end);
    certificate["days_left"] = DaysLeft(details->end, std::time(nullptr));
  }
  certificate["fate"] = PairSentence(forecast.pair);
  json["start"] = {
      {"becomes_daemon", !forecast.exit_status},
      {"status", forecast.exit_status ? ordered_json(*forecast.exit_status) : ordered_json()},
      {"printed", forecast.printed}};
  return json;
}

std::vector<FileChange> ForetellChanges(const Forecast& forecast) {
  std::vector<FileChange> changes;
  const bool is_default = forecast.document_fate == DocumentFate::kMade ||
                          forecast.document_fate == DocumentFate::kReplaced;
  if (is_default) {
    changes.push_back(ChangeOf({SettingsPath(), QVX_XML_DEFAULT, forecast.pair.is_usable()}));
  }
  changes.push_back(ChangeOf(forecast.server_conf, forecast.may_get_proxy_blocks));
  changes.push_back(ChangeOf(forecast.php_ini));
  changes.push_back(ChangeOf(forecast.agent_map));
  const bool is_new = forecast.pair.is_usable() && !forecast.pair.is_kept();
  for (const std::string& path : {CertificatePath(), KeyPath()}) {
    changes.push_back({path, is_new ? "is replaced by a new one" : "stays the same", {}});
  }
  return changes;
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
  ordered_json json = ordered_json::array();
  for (const FileChange& change : ForetellChanges(forecast)) {
    json.push_back({{"path", change.path}, {"change", change.change}, {"lines", change.lines}});
  }
  return json;
}

}  // namespace qvx::companion
