#include "settings/reader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "log/ring_log.h"
#include "settings/document.h"

namespace qvx {

namespace {

constexpr int32_t kDefaultRotateSize = 5;
constexpr size_t kRotateSizeDigits = 2;  // at most 99 megabytes

/// The worker threads that the web server's configuration is laid out for.
constexpr int32_t kFewestThreads = 25;
constexpr int32_t kMostThreads = 64;
constexpr int32_t kDefaultThreads = kFewestThreads;

constexpr const char* kDefaultLogLevel = "error";
constexpr const char* kLogLevels[] = {"debug", "warn", "info", "notice", "alert", "emerg", "crit"};

bool Equals(const char* value, const char* word) {
  return stricmp_chk(value, word) == 0;
}

/// The rule of atoi(3). A number beyond the range is clamped.
int32_t Number(const char* value) {
  return static_cast<int32_t>(
      std::clamp<long>(std::strtol(value, nullptr, 10), INT32_MIN, INT32_MAX));
}

bool IsOneCharacter(const char* value) {
  return value != nullptr && std::strlen(value) == 1;
}

void ReadRestriction(DOM_Document* document, LoadedSettings& settings) {
  if (!Equals(SettingText(document, "ip-restricted-logins"), "True")) {
    return;
  }
  settings.restrict_clients = true;
  settings.included_clients = SettingText(document, "ip-restricted-include");
  settings.excluded_clients = SettingText(document, "ip-restricted-exclude");
}

void ReadBinding(DOM_Document* document, LoadedSettings& settings) {
  const char* value = SettingText(document, "ip-binding");
  settings.bind_to_selected = Equals(value, "True");
  settings.binding_list = value == nullptr ? nullptr : SettingText(document, "ip-binding-list");
}

void ReadMonitoring(DOM_Document* document, LoadedSettings& settings) {
  const char* value = SettingText(document, "monitor-ip-changes");
  if (!IsOneCharacter(value)) {
    return;
  }
  const int32_t number = Number(value);
  if (number == 0 || number == 1) {
    settings.bind_to_wildcard = number == 1;
  }
}

void ReadRotation(DOM_Document* document, LoadedSettings& settings) {
  const char* value = SettingText(document, "rotate-logs");
  if (!IsOneCharacter(value)) {
    return;
  }
  const int32_t number = Number(value);
  if (number == 1 || number == 2) {
    settings.rotate_logs = number == 1;
  }
}

void ReadRotationSize(DOM_Document* document, LoadedSettings& settings) {
  const char* value = SettingText(document, "rotate-logs-size");
  const int32_t number =
      value != nullptr && std::strlen(value) <= kRotateSizeDigits ? Number(value) : 0;
  settings.rotate_size = number > 0 ? number : kDefaultRotateSize;
}

void ReadSsl2(DOM_Document* document, LoadedSettings& settings) {
  if (Equals(SettingText(document, "disable-sslv2"), "False")) {
    settings.refuse_ssl2 = false;
  }
}

void ReadThreads(DOM_Document* document, LoadedSettings& settings) {
  const char* value = SettingText(document, "max-threads");
  const int32_t threads = value == nullptr ? kDefaultThreads : Number(value);
  const bool is_allowed = threads >= kFewestThreads && threads <= kMostThreads;
  if (!is_allowed) {
    LogOutput(kLogInformation,
              "max-threads in XML file is outside of allowed bounds, using default value.");
  }
  settings.max_threads = is_allowed ? threads : kDefaultThreads;
}

void ReadLogLevel(DOM_Document* document, LoadedSettings& settings) {
  const char* value = SettingText(document, "log-level");
  if (value == nullptr) {
    return;
  }
  const auto* known = std::find_if(std::begin(kLogLevels), std::end(kLogLevels),
                                   [&](const char* level) { return Equals(value, level); });
  settings.log_level = known == std::end(kLogLevels) ? kDefaultLogLevel : *known;
}

}  // namespace

void ReadAccessSettings(DOM_Document* document, LoadedSettings& settings) {
  ReadRestriction(document, settings);
  ReadBinding(document, settings);
  ReadMonitoring(document, settings);
}

void ReadServerSettings(DOM_Document* document, LoadedSettings& settings) {
  ReadRotation(document, settings);
  ReadRotationSize(document, settings);
  settings.log_directory = SettingText(document, "log-base-dir");
  ReadSsl2(document, settings);
  ReadThreads(document, settings);
  ReadLogLevel(document, settings);
}

}  // namespace qvx
