// The values of the settings: each is compared with what the launcher has read.
#include <algorithm>
#include <utility>

#include "companion/elements.h"
#include "companion/findings.h"
#include "companion/installation.h"
#include "companion/settings_view.h"
#include "os/strings.h"
#include "settings/document.h"
#include "settings/multihomed_names.h"
#include "settings/setting_list.h"
#include "tls/certificate.h"

namespace qvx::companion {

namespace {

constexpr std::pair<std::string_view, const char*> kAccepted[] = {
    {"ip-restricted-logins", "True or False"},
    {"ip-binding", "True or False"},
    {"monitor-ip-changes", "1 (on) or 0 (off)"},
    {"rotate-logs", "1 (on) or 2 (off)"},
    {"rotate-logs-size", "a number from 1 to 99"},
    {"disable-sslv2", "True or False"},
    {"max-threads", "a number from 25 to 64"},
    {"log-level", "debug, info, notice, warn, error, crit, alert or emerg"},
};

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
bool LosesProtection(const EffectiveSetting& setting) {
  return IsOneOf(setting.element, {"ip-restricted-logins", "ip-binding"}) &&
         !IsOneOf(Trimmed(*setting.written), {"", "False", "0", "no", "off", "2"});
}

std::string CureFor(const EffectiveSetting& setting) {
  for (const auto& [element, accepted] : kAccepted) {
    if (element == setting.element) {
      return std::string("Write ") + accepted + ", without blanks or line breaks around it.";
    }
  }
  return {};
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

void CheckWord(const EffectiveSetting& setting, uint64_t line, Findings& findings) {
  if (!setting.written || setting.is_list ||
      stricmp(setting.written->c_str(), setting.effective.c_str()) == 0) {
    return;
  }
  const bool is_empty = Trimmed(*setting.written).empty();
  const Severity severity = LosesProtection(setting) ? Severity::kFailure
                            : is_empty               ? Severity::kNote
                                                     : Severity::kWarning;
  const bool opens = severity == Severity::kFailure && setting.element[3] == 'r';
  findings.push_back({severity, SettingsPath(), line, 0, setting.element, WhatOf(setting),
                      "It uses " + setting.effective + "." +
                          (opens ? " The restriction is off: everybody is let in." : ""),
                      CureFor(setting)});
}

/// Adds findings about the directory of the web server's logs.
void CheckLogDirectory(const Forecast& forecast, uint64_t line, Findings& findings) {
  const char* directory = forecast.settings.log_directory;
  if (directory == nullptr) {
    return;
  }
  std::string path = directory;
  std::replace(path.begin(), path.end(), '\\', '/');
  const auto add = [&](Severity severity, std::string what, std::string effect) {
    findings.push_back({severity, SettingsPath(), line, 0, "log-base-dir", std::move(what),
                        std::move(effect),
                        "Write the absolute path of a directory that holds a "
                        "directory \"logs\", without blanks and quotes."});
  };
  if (path.find_first_of(" \t\r\n\"'") != std::string::npos) {
    add(Severity::kFailure, "The path holds blanks, line breaks or quotes.",
        "It writes them into the server's configuration as they are.");
  } else if (forecast.server_conf.text.find(path + "/logs/error_log") == std::string::npos) {
    add(Severity::kWarning, "The path holds a word that the launcher replaces.",
        "It writes another path.");
  } else if (!HasName(path + "/logs/.")) {
    add(forecast.settings.rotate_logs ? Severity::kWarning : Severity::kFailure,
        "There is no directory " + path + "/logs.",
        "The daemon cannot write its logs, and without rotation it does not start.");
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
  const auto add = [&](std::string what, std::string effect, std::string cure) {
    findings.push_back({Severity::kWarning, SettingsPath(), line, 0, "multihomed", std::move(what),
                        std::move(effect), std::move(cure)});
  };
  std::string_view list = ViewOf(text);
  if (!IsNameList(list)) {
    add("The character \"" + FirstRefusedCharacter(list) + "\" is not allowed in the list.",
        "It refuses the whole list: a new certificate has no further names.",
        "Separate names and addresses by \";\" alone, without blanks.");
    return;
  }
  while (const auto entry = TakeEntry(list)) {
    const AlternativeNames names = AlternativeNamesFrom(*entry);
    if (names.left_out > 0) {
      add("A name has more than 127 characters: " + std::string(entry->substr(0, 20)) + "...",
          "It leaves the name out of a new certificate.", "Shorten the name.");
    } else if (!AreAccepted(names)) {
      add("The TLS library refuses \"" + std::string(*entry) + "\".",
          "A new certificate has no further names at all.", "Correct the entry.");
    }
  }
}

}  // namespace

void CheckValues(const Forecast& forecast, Findings& findings) {
  const std::vector<SeenElement> elements = SettingsElements(forecast);
  for (const EffectiveSetting& setting : EffectiveSettings(forecast)) {
    CheckWord(setting, LineOf(elements, setting.element), findings);
  }
  CheckLogDirectory(forecast, LineOf(elements, "log-base-dir"), findings);
  CheckNames(forecast, LineOf(elements, "multihomed"), findings);
}

}  // namespace qvx::companion
