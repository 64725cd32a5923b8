#include "companion/forecast.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string_view>
#include <utility>

#include "companion/installation.h"
#include "companion/programs.h"
#include "launcher/environment.h"
#include "launcher/launcher.h"
#include "os/directories.h"
#include "os/file_replacement.h"
#include "os/files.h"
#include "settings/bind_addresses.h"
#include "settings/document.h"
#include "settings/interface_addresses.h"
#include "settings/multihomed_names.h"
#include "settings/reader.h"
#include "tls/pem_files.h"
#include "webconf/agent_map.h"
#include "webconf/php_ini.h"
#include "webconf/server_conf.h"
#include "webconf/webapp_extensions.h"

namespace qvx::companion {

namespace {

PairForecast ForetellPair() {
  PairForecast pair;
  pair.facts = ExaminePair();
  // What cannot be deleted stays.
  const bool is_asked = pair.facts && IsNewPairAsked();
  pair.loses_certificate = is_asked && ForeseeRemoval(CertificatePath()) == 0;
  pair.loses_key = is_asked && ForeseeRemoval(KeyPath()) == 0;
  if (pair.loses_certificate) {
    pair.facts = PairFacts{};
  } else if (pair.loses_key) {
    pair.facts->key_loads = pair.facts->they_match = false;
  }
  pair.fate = FateOf(pair.facts.value_or(PairFacts{}));
  pair.refusal = ForeseeStore();
  if (pair.fate == PairFate::kSetAside) {
    pair.certificate_can_be_kept = pair.loses_certificate || ForeseeCertificateAside();
    pair.key_can_be_kept = pair.loses_key || ForeseeKeyAside();
  }
  pair.host = PairHostName();
  pair.names = AlternativeNamesFrom(MultihomedNames().value_or(""));
  pair.names_are_accepted = AreAccepted(pair.names);
  return pair;
}

/// Loads the first `length` bytes. Returns whether the document model has refused them, rather than
/// the parser, which refuses most beginnings.
bool IsRefusedByModel(const std::string& text, size_t length) {
  const DocumentHolder document = LoadText(text.substr(0, length));
  return !document && dom::LastLoadFault().line == 0;
}

/// Returns the length of the shortest beginning that the document model refuses.
size_t FindRefusal(const std::string& text) {
  size_t accepted = 0;
  size_t refused = text.size();
  while (refused - accepted > 1) {
    const size_t middle = accepted + (refused - accepted) / 2;
    if (IsRefusedByModel(text, middle)) {
      refused = middle;
    } else {
      accepted = middle;
    }
  }
  return refused;
}

DocumentFault FaultAt(const std::string& text, size_t offset) {
  DocumentFault fault;
  const std::string_view before = std::string_view(text).substr(0, offset);
  fault.line = static_cast<uint64_t>(std::count(before.begin(), before.end(), '\n')) + 1;
  fault.column =
      offset - (before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1) + 1;
  return fault;
}

/// A fault that the document model found, not the parser.
DocumentFault ModelFault(const std::string& text) {
  const size_t beyond = static_cast<size_t>(
      std::find_if(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; }) -
      text.begin());
  const size_t refused = FindRefusal(text);
  DocumentFault fault = FaultAt(text, std::min(beyond, refused));
  fault.text = beyond < refused ? "a character outside ASCII"
                                : "more levels, entities or declared attributes than are accepted, "
                                  "or a reference to a character outside ASCII";
  return fault;
}

DocumentFault FaultOfFile(const std::string& path) {
  const std::optional<std::string> text = ReadText(path);
  if (!text && errno == EFBIG) {
    return DocumentFault{"it has more than 64 MiB"};
  }
  std::optional<DocumentFault> fault = text ? FaultOf(*text) : std::nullopt;
  return fault ? *fault : DocumentFault{"it is not a regular file, or not one that is followed"};
}

/// Decides which document is read.
void ForetellDocument(Forecast& forecast) {
  forecast.document = NewDocument();
  const LoadResult result = LoadSettings(forecast.document.get());
  if (result == LoadResult::kRead) {
    return;
  }
  const bool is_damaged = result != LoadResult::kNotOpened;
  if (is_damaged) {
    forecast.fault = FaultOfFile(forecast.document_path);
  }
  if (ForeseeDefault(result)) {
    forecast.document_fate = is_damaged ? DocumentFate::kReplaced : DocumentFate::kMade;
    forecast.document = LoadText(QVX_XML_DEFAULT);
    return;
  }
  forecast.document_fate = is_damaged ? DocumentFate::kUnusable : DocumentFate::kSkipped;
  forecast.document = NewDocument();
}

void TakeCandidate(Forecast& forecast) {
  forecast.document = LoadText(forecast.document_text);
  if (!forecast.document) {
    forecast.fault = FaultOfFile(forecast.document_path);
    forecast.document_fate = DocumentFate::kReplaced;
    forecast.document = LoadText(QVX_XML_DEFAULT);
  }
}

void ForetellSettings(Forecast& forecast) {
  forecast.settings = RecordedSettings();
  ReadAccessSettings(forecast.document.get(), forecast.settings);
  ReadServerSettings(forecast.document.get(), forecast.settings);
  forecast.interface_text = ReadInterfaceText().value_or("");
  forecast.available = ParseInterfaceAddresses(forecast.interface_text);
  forecast.bind_addresses = SelectBindAddresses(forecast.available, forecast.settings);
}

/// The directory of the settings document is made with the default.
ForeseenFile Foresee(const char* name, std::string text) {
  const std::string path = InstallationPath(name);
  const int refusal = ForeseeReplacement(path);
  return {path, std::move(text), refusal == 0, refusal};
}

void ForetellFiles(Forecast& forecast) {
  forecast.server_conf =
      Foresee(QVX_CONF_NAME,
              ServerConfText(ServerConfValuesFrom(forecast.settings), forecast.bind_addresses));
  CheckWebAppXMLsForExtensions();
  forecast.php_ini = Foresee(kPhpIniName, PhpIniText(InstallationPath(), allowablePHPExtensions));
  forecast.agent_map = Foresee(RALO_LIST_MAP, "");
  if (forecast.document_fate == DocumentFate::kMade) {  // then the directory is made, too
    forecast.server_conf.is_written |= !HasName(InstallationPath("/conf"));
    forecast.agent_map.is_written |= !HasName(InstallationPath("/conf"));
  }
}

/// A pipe, socket or device is removed first.
void ForetellRules(Forecast& forecast) {
  const std::string path = InstallationPath("/conf/mod_proxy.conf");
  const int refusal = ForeseeReplacement(path, LastLink::kStay);
  const bool is_mended = refusal == ENOENT || refusal == ENXIO;
  forecast.rules = {path, "", is_mended || refusal == 0, is_mended ? 0 : refusal};
  forecast.may_get_proxy_blocks =
      IsProgram(InstallationPath("/sbin/genproxyconf")) || !forecast.rules.is_written;
  forecast.rules.is_written &= forecast.server_conf.is_written;
}

/// Ends the run at its first step that fails. The later files are then not written.
void ForetellEnd(Forecast& forecast) {
  const bool has_settings = forecast.document_fate != DocumentFate::kUnusable;
  forecast.server_conf.is_written &= forecast.pair.is_usable() && has_settings;
  forecast.php_ini.is_written &= forecast.pair.is_usable() && has_settings;
  forecast.agent_map.is_written &= forecast.server_conf.is_written;
  if (!forecast.pair.is_usable()) {
    forecast.printed = kNoTls;
    forecast.exit_status = EXIT_SUCCESS;
  } else if (!forecast.server_conf.is_written) {
    forecast.printed = std::string(kNoSettings) + kAskAdministrator;
    forecast.exit_status = kRefused;
  } else if (!IsProgram(InstallationPath(kDaemonName))) {
    forecast.exit_status = kDaemonNotExecuted;
  }
}

Forecast ForetellFrom(const std::string& path, bool is_candidate) {
  Forecast forecast;
  forecast.document_path = path;
  forecast.document_text = ReadText(path).value_or("");
  forecast.is_candidate = is_candidate;
  forecast.pair = ForetellPair();
  if (is_candidate) {
    TakeCandidate(forecast);
  } else {
    ForetellDocument(forecast);
  }
  ForetellSettings(forecast);
  ForetellFiles(forecast);
  ForetellEnd(forecast);
  ForetellRules(forecast);
  return forecast;
}

}  // namespace

DocumentHolder LoadText(const std::string& text) {
  DocumentHolder document = NewDocument();
  const File stream(fmemopen(const_cast<char*>(text.data()), text.size(), "r"));
  if (!document || !stream) {
    throw std::bad_alloc();
  }
  const bool is_loaded = DOM_DocumentLS_fread(document.get(), stream.get()) == 1;
  return is_loaded ? std::move(document) : nullptr;
}

std::optional<DocumentFault> FaultOf(const std::string& text) {
  if (LoadText(text)) {
    return std::nullopt;
  }
  const dom::LoadFault fault = dom::LastLoadFault();
  return fault.line == 0 ? ModelFault(text) : DocumentFault{fault.text, fault.line, fault.column};
}

Forecast Foretell() {
  return ForetellFrom(SettingsPath(), false);
}

Forecast ForetellWith(const std::string& candidate) {
  return ForetellFrom(candidate, true);
}

}  // namespace qvx::companion
