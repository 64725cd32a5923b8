// The values of the settings: each is compared with what the launcher has read.
#include <algorithm>
#include <iterator>
#include <utility>

#include "companion/elements.h"
#include "companion/findings.h"
#include "companion/installation.h"
#include "companion/settings_view.h"
#include "os/directories.h"
#include "os/strings.h"
#include "settings/document.h"
#include "settings/multihomed_names.h"
#include "settings/setting_list.h"
#include "tls/certificate.h"
#include "webconf/server_conf.h"

namespace qvx::companion {

namespace {

std::string Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const size_t start = std::min(text.find_first_not_of(kBlanks), text.size());
  const size_t end = text.find_last_not_of(kBlanks) + 1;
  return std::string(text.substr(start, end < start ? 0 : end - start));
}

bool IsOneOf(const std::string& text, std::initializer_list<const char*> words) {
  return std::any_of(words.begin(), words.end(),
                     [&](const char* word) { return stricmp(text.c_str(), word) == 0; });
}

/// A switch that is meant to be on, but is off, loses what it should have switched on.
struct Protection {
  std::string_view element;
  const char* loss;
};
constexpr Protection kProtections[] = {
    {.element = "ip-restricted-logins", .loss = " The restriction is off: everybody is let in."},
    {.element = "ip-binding", .loss = ""},
};

/// Returns null for a setting that loses no protection.
const Protection* LostProtection(const EffectiveSetting& setting) {
  const auto* found = std::find_if(
      std::begin(kProtections), std::end(kProtections),
      [&](const Protection& protection) { return protection.element == setting.element; });
  return found == std::end(kProtections) ||
                 IsOneOf(Trimmed(*setting.written), {"", "False", "0", "no", "off", "2"})
             ? nullptr
             : found;
}

std::string WhatOf(const EffectiveSetting& setting) {
  const std::string trimmed = Trimmed(*setting.written);
  if (trimmed.empty()) {
    return "The element is empty.";
  }
  const std::string quoted = "The value \"" + *setting.written + "\" ";
  return quoted + (trimmed != *setting.written ? "has blanks or line breaks around it."
                                               : "is not an accepted one.");
}

void CheckWord(const Forecast& forecast, const EffectiveSetting& setting, uint64_t line,
               Findings& findings) {
  if (!setting.written || setting.accepted.empty() ||
      stricmp(setting.written->c_str(), setting.effective.c_str()) == 0) {
    return;
  }
  Finding finding{
      .severity = Severity::kWarning,
      .code = "value-not-accepted",
      .file = forecast.document_path,
      .line = line,
      .element = setting.element,
      .what = WhatOf(setting),
      .effect = "It uses " + setting.effective + ".",
      .cure = "Write " + setting.accepted + ", without blanks or line breaks around it."};
  if (const Protection* lost = LostProtection(setting)) {
    finding.severity = Severity::kFailure;
    finding.effect += lost->loss;
  } else if (Trimmed(*setting.written).empty()) {
    finding.severity = Severity::kNote;
    finding.code = "value-empty";
  }
  findings.push_back(std::move(finding));
}

void CheckSsl2(const Forecast& forecast, uint64_t line, Findings& findings) {
  if (!forecast.settings.refuse_ssl2) {
    findings.push_back({.severity = Severity::kFailure,
                        .code = "ssl2-wanted",
                        .file = forecast.document_path,
                        .line = line,
                        .element = "disable-sslv2",
                        .what = "SSLv2 is wanted, which today's web servers do not have.",
                        .effect = "The daemon refuses its configuration: the console stays down.",
                        .cure = "Set disable-sslv2 to True.",
                        .keeps_down = true});
  }
}

/// Without the directory, the server has no logs; without rotation, it does not even start.
Finding LacksLogDirectory(const Forecast& forecast) {
  const bool keeps_down = !forecast.settings.rotate_logs;
  return {.severity = keeps_down ? Severity::kFailure : Severity::kWarning,
          .code = "log-directory-missing",
          .effect = "The daemon cannot write its logs, and without rotation it does not start.",
          .keeps_down = keeps_down};
}

void CheckDefaultLogDirectory(const Forecast& forecast, Findings& findings) {
  const std::string path = LogPath("/logs");
  if (!HasName(path + "/.")) {
    Finding finding = LacksLogDirectory(forecast);
    finding.file = path;
    finding.what = "The directory is missing.";
    finding.cure = "install -d -m 0750 " + Quoted(path);
    findings.push_back(std::move(finding));
  }
}

/// Adds findings about the directory of the web server's logs.
void CheckLogDirectory(const Forecast& forecast, uint64_t line, Findings& findings) {
  if (forecast.settings.log_directory == nullptr) {
    CheckDefaultLogDirectory(forecast, findings);
    return;
  }
  const std::string path = LogDirectoryFrom(forecast.settings);
  const auto add = [&](Finding finding) {
    finding.file = forecast.document_path;
    finding.line = line;
    finding.element = "log-base-dir";
    finding.cure =
        "Write the absolute path of a directory that holds a directory \"logs\", without "
        "blanks and quotes.";
    findings.push_back(std::move(finding));
  };
  if (path.find("${") != std::string::npos) {
    add({.severity = Severity::kFailure,
         .code = "log-directory-variable",
         .what = "The path names a variable.",
         .effect = "The daemon puts a value in its place, which a service does not have. It cannot "
                   "write its logs, and without rotation it does not start.",
         .keeps_down = !forecast.settings.rotate_logs});
  } else if (path.find_first_of(" \t\r\n\"'") != std::string::npos) {
    add({.severity = Severity::kFailure,
         .code = "log-directory-form",
         .what = "The path holds blanks, line breaks or quotes.",
         .effect = "It writes them into the server's configuration as they are."});
  } else if (forecast.server_conf.text.find(path + "/logs/error_log") == std::string::npos) {
    add({.severity = Severity::kWarning,
         .code = "log-directory-replaced",
         .what = "The path holds a word that the launcher replaces.",
         .effect = "It writes another path."});
  } else if (!HasName(path + "/logs/.")) {
    Finding finding = LacksLogDirectory(forecast);
    finding.what = "There is no directory " + path + "/logs.";
    add(std::move(finding));
  }
}

std::string FirstRefusedCharacter(std::string_view list) {
  const auto found = std::find_if(list.begin(), list.end(), [](const char& character) {
    return !IsNameList(std::string_view(&character, 1));
  });
  return found == list.end() ? "" : std::string(1, *found);
}

void CheckNames(const Forecast& forecast, uint64_t line, Findings& findings) {
  const char* text = SettingText(forecast.document.get(), "multihomed");
  const auto add = [&](Finding finding) {
    finding.severity = Severity::kWarning;
    finding.file = forecast.document_path;
    finding.line = line;
    finding.element = "multihomed";
    findings.push_back(std::move(finding));
  };
  std::string_view list = ViewOf(text);
  if (!IsNameList(list)) {
    add({.code = "names-refused",
         .what =
             "The character \"" + FirstRefusedCharacter(list) + "\" is not allowed in the list.",
         .effect = "It refuses the whole list: a new certificate has no further names.",
         .cure = "Separate names and addresses by \";\" alone, without blanks."});
    return;
  }
  while (const auto entry = TakeEntry(list)) {
    const AlternativeNames names = AlternativeNamesFrom(*entry);
    if (names.left_out > 0) {
      add({.code = "name-too-long",
           .what =
               "A name has more than 127 characters: " + std::string(entry->substr(0, 20)) + "...",
           .effect = "It leaves the name out of a new certificate.",
           .cure = "Shorten the name."});
    } else if (!AreAccepted(names)) {
      add({.code = "name-refused",
           .what = "The TLS library refuses \"" + std::string(*entry) + "\".",
           .effect = "A new certificate has no further names at all.",
           .cure = "Correct the entry."});
    }
  }
}

}  // namespace

void CheckValues(const Forecast& forecast, Findings& findings) {
  const std::vector<SeenElement> elements = SettingsElements(forecast);
  for (const EffectiveSetting& setting : EffectiveSettings(forecast)) {
    CheckWord(forecast, setting, LineOf(elements, setting.element), findings);
  }
  CheckSsl2(forecast, LineOf(elements, "disable-sslv2"), findings);
  CheckLogDirectory(forecast, LineOf(elements, "log-base-dir"), findings);
  CheckNames(forecast, LineOf(elements, "multihomed"), findings);
}

}  // namespace qvx::companion
