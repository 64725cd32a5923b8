#include "launcher/generation.h"

#include <new>
#include <string>
#include <vector>

#include "dom/handles.h"
#include "os/protection.h"
#include "settings/bind_addresses.h"
#include "settings/document.h"
#include "settings/interface_addresses.h"
#include "settings/reader.h"
#include "settings/record.h"
#include "settings/usable_document.h"
#include "webconf/php_ini.h"
#include "webconf/server_conf.h"
#include "webconf/webapp_extensions.h"

namespace qvx {

namespace {

std::vector<std::string> BuildBindList(const LoadedSettings& settings) {
  const std::vector<uint32_t> available = AvailableAddresses();
  std::vector<std::string> addresses = SelectBindAddresses(available, settings);
  RecordBindList(addresses, available.size());
  return addresses;
}

/// The steps that need the document. The record is filled in the order in which the settings are
/// read, because the bind list needs the first of them.
bool ReadAndWriteServerConf(DOM_Document* document) {
  LoadedSettings settings = RecordedSettings();
  ReadAccessSettings(document, settings);
  RecordSettings(settings);
  const std::vector<std::string> bind_addresses = BuildBindList(settings);
  ReadServerSettings(document, settings);
  RecordSettings(settings);
  return WriteServerConf(settings, bind_addresses);
}

int32_t ReadAndGenerate() {
  ResetRestriction();
  CheckQVXXML(0);
  DocumentHolder document = LoadOrReplaceSettings();
  if (!document) {
    return 1;
  }
  const bool is_written = ReadAndWriteServerConf(document.get());
  ReleaseBindList();
  ReleaseTexts();
  document.reset();
  CheckWebAppXMLsForExtensions();
  CreatePHPINIFile();
  OsProtectFile(SettingsPath().c_str());
  return is_written ? 0 : 1;
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
