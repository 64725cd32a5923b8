#include "settings/reader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <string_view>

#include "dom/handles.h"
#include "log/ring_log.h"
#include "os/directories.h"
#include "os/files.h"
#include "os/protection.h"
#include "settings/bind_addresses.h"
#include "settings/document.h"
#include "settings/record.h"
#include "webconf/php_ini.h"
#include "webconf/server_conf.h"
#include "webconf/webapp_extensions.h"

namespace qvx {

namespace {

constexpr int32_t kDefaultRotateSize = 5;
constexpr size_t kRotateSizeDigits = 2;  // at most 99 megabytes

// The worker threads that the web server's configuration is laid out for.
constexpr int32_t kFewestThreads = 25;
constexpr int32_t kMostThreads = 64;
constexpr int32_t kDefaultThreads = kFewestThreads;

constexpr const char* kDefaultLogLevel = "error";
constexpr const char* kLogLevels[] = {"debug", "warn", "info", "notice", "alert", "emerg", "crit"};

void ResetRestriction() {
  isIPRestrict = 0;
  sIpRestrictedInclude = nullptr;
  sIpRestrictedExclude = nullptr;
}

bool LoadNew(DocumentHolder& document) {
  document = NewDocument();
  return LoadSettings(document.get()) != LoadResult::kNotWellFormed;
}

// Replaces a document that is not well-formed by the default. Returns false when that does not help
// either.
bool LoadOrReplace(DocumentHolder& document) {
  if (LoadNew(document)) {
    return true;
  }
  CheckQVXXML(1);
  LogOutput(kLogInformation,
            "Configuration file is corrupted or missing, a default configuration file has been "
            "generated for you for "
            "proper startup,you have to reset the configuration to your desired settings.");
  return LoadNew(document);
}

bool Equals(const char* value, const char* word) {
  return stricmp_chk(value, word) == 0;
}

// The rule of atoi(3), with a defined result beyond its range.
int32_t Number(const char* value) {
  return static_cast<int32_t>(
      std::clamp<long>(std::strtol(value, nullptr, 10), INT32_MIN, INT32_MAX));
}

bool IsOneCharacter(const char* value) {
  return value != nullptr && std::strlen(value) == 1;
}

void ReadRestriction(DOM_Document* document) {
  if (!Equals(SettingText(document, "ip-restricted-logins"), "True")) {
    return;
  }
  isIPRestrict = 1;
  sIpRestrictedInclude = SettingText(document, "ip-restricted-include");
  sIpRestrictedExclude = SettingText(document, "ip-restricted-exclude");
}

void ReadBinding(DOM_Document* document) {
  const char* value = SettingText(document, "ip-binding");
  isIPBinding = Equals(value, "True") ? 1 : 0;
  sIpBindingList = value == nullptr ? nullptr : SettingText(document, "ip-binding-list");
}

void ReadMonitoring(DOM_Document* document) {
  const char* value = SettingText(document, "monitor-ip-changes");
  if (!IsOneCharacter(value)) {
    return;
  }
  const int32_t number = Number(value);
  if (number == 0 || number == 1) {
    bMonitorIPChangesLinux = number;
  }
}

void ReadRotation(DOM_Document* document) {
  const char* value = SettingText(document, "rotate-logs");
  if (!IsOneCharacter(value)) {
    return;
  }
  const int32_t number = Number(value);
  if (number == 1 || number == 2) {
    bRotateLogs = number == 1 ? 1 : 0;
  }
}

void ReadRotationSize(DOM_Document* document) {
  const char* value = SettingText(document, "rotate-logs-size");
  const int32_t number =
      value != nullptr && std::strlen(value) <= kRotateSizeDigits ? Number(value) : 0;
  nRotateLogsSize = number > 0 ? number : kDefaultRotateSize;
}

void ReadSsl2(DOM_Document* document) {
  if (Equals(SettingText(document, "disable-sslv2"), "False")) {
    isSSLV2Disabled = 0;
  }
}

void ReadThreads(DOM_Document* document) {
  const char* value = SettingText(document, "max-threads");
  const int32_t threads = value == nullptr ? kDefaultThreads : Number(value);
  const bool is_allowed = threads >= kFewestThreads && threads <= kMostThreads;
  if (!is_allowed) {
    LogOutput(kLogInformation,
              "max-threads in XML file is outside of allowed bounds, using default value.");
  }
  nMaxThreads = is_allowed ? threads : kDefaultThreads;
}

void ReadLogLevel(DOM_Document* document) {
  const char* value = SettingText(document, "log-level");
  if (value == nullptr) {
    return;
  }
  const auto* known = std::find_if(std::begin(kLogLevels), std::end(kLogLevels),
                                   [&](const char* level) { return Equals(value, level); });
  const std::string_view level = known == std::end(kLogLevels) ? kDefaultLogLevel : *known;
  sLogLevelString[level.copy(sLogLevelString, sizeof sLogLevelString - 1)] = '\0';
}

// The texts of the record belong to the document.
void ReleaseTexts() {
  sIpRestrictedInclude = nullptr;
  sIpRestrictedExclude = nullptr;
  sIpBindingList = nullptr;
  sLogBaseDir = nullptr;
}

// Everything that needs the document. The bind list needs the settings that are read before it.
// Returns the result of writing the server configuration.
int32_t ReadAndWriteServerConf(DOM_Document* document) {
  ReadRestriction(document);
  ReadBinding(document);
  ReadMonitoring(document);
  SetupIPBindingList(sIpBindingList);
  ReadRotation(document);
  ReadRotationSize(document);
  sLogBaseDir = SettingText(document, "log-base-dir");
  ReadSsl2(document);
  ReadThreads(document);
  ReadLogLevel(document);
  return WriteHttpConfFile(OSCheckTomcat());
}

int32_t ReadAndGenerate() {
  ResetRestriction();
  CheckQVXXML(0);
  DocumentHolder document;
  if (!LoadOrReplace(document)) {
    return 1;
  }
  const int32_t result = ReadAndWriteServerConf(document.get());
  ReleaseBindList();
  ReleaseTexts();
  document.reset();
  CheckWebAppXMLsForExtensions();
  CreatePHPINIFile();
  OsProtectFile(InstallationPath(QVX_INTERNAL_XML_NAME).c_str());
  return result;
}

}  // namespace

}  // namespace qvx

int32_t ParseQVXInternalXML() {
  try {
    return qvx::ReadAndGenerate();
  } catch (const std::bad_alloc&) {
    qvx::ReleaseBindList();
    qvx::ReleaseTexts();
    return 1;
  }
}
