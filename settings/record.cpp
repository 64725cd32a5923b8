#include "settings/record.h"

#include <cstring>
#include <memory>

int32_t isIPRestrict = 0;
char* sIpRestrictedInclude = nullptr;
char* sIpRestrictedExclude = nullptr;
int32_t isIPBinding = 0;
char* sIpBindingList = nullptr;
int32_t bMonitorIPChangesLinux = 0;
int32_t bRotateLogs = 1;
int32_t nRotateLogsSize = 0;
const char* sLogBaseDir = nullptr;
int32_t isSSLV2Disabled = 1;
int32_t nMaxThreads = 64;
char sLogLevelString[7] = "error";

char (*gIPList)[kBindAddressCapacity] = nullptr;
int32_t gVHostPairs = 0;

namespace qvx {

namespace {

/// For 127.0.0.1, and for the wildcard when no address was found.
constexpr size_t kExtraEntries = 2;

/// The owner is not gIPList itself, because a caller may point that at storage of its own.
std::unique_ptr<char[][kBindAddressCapacity]> owned_bind_list;

/// For the settings that have no variable.
LoadedSettings recorded;

}  // namespace

LoadedSettings RecordedSettings() {
  LoadedSettings settings = recorded;
  settings.restrict_clients = isIPRestrict != 0;
  settings.included_clients = sIpRestrictedInclude;
  settings.excluded_clients = sIpRestrictedExclude;
  settings.bind_to_selected = isIPBinding != 0;
  settings.binding_list = sIpBindingList;
  settings.bind_to_wildcard = bMonitorIPChangesLinux != 0;
  settings.rotate_logs = bRotateLogs != 0;
  settings.rotate_size = nRotateLogsSize;
  settings.log_directory = sLogBaseDir;
  settings.refuse_ssl2 = isSSLV2Disabled != 0;
  settings.max_threads = nMaxThreads;
  settings.log_level = sLogLevelString;
  return settings;
}

void RecordSettings(const LoadedSettings& settings) {
  recorded = settings;
  // The document's texts may be cut in place.
  isIPRestrict = settings.restrict_clients ? 1 : 0;
  sIpRestrictedInclude = const_cast<char*>(settings.included_clients);
  sIpRestrictedExclude = const_cast<char*>(settings.excluded_clients);
  isIPBinding = settings.bind_to_selected ? 1 : 0;
  sIpBindingList = const_cast<char*>(settings.binding_list);
  bMonitorIPChangesLinux = settings.bind_to_wildcard ? 1 : 0;
  bRotateLogs = settings.rotate_logs ? 1 : 0;
  nRotateLogsSize = settings.rotate_size;
  sLogBaseDir = settings.log_directory;
  isSSLV2Disabled = settings.refuse_ssl2 ? 1 : 0;
  nMaxThreads = settings.max_threads;
  const size_t length = settings.log_level.copy(sLogLevelString, sizeof sLogLevelString - 1);
  sLogLevelString[length] = '\0';
}

void ResetRestriction() {
  isIPRestrict = 0;
  sIpRestrictedInclude = nullptr;
  sIpRestrictedExclude = nullptr;
}

void ReleaseTexts() {
  sIpRestrictedInclude = nullptr;
  sIpRestrictedExclude = nullptr;
  sIpBindingList = nullptr;
  sLogBaseDir = nullptr;
  recorded = {};
}

void RecordBindList(std::span<const std::string> addresses, size_t available) {
  owned_bind_list = std::make_unique<char[][kBindAddressCapacity]>(available + kExtraEntries);
  gIPList = owned_bind_list.get();
  gVHostPairs = 0;
  for (const std::string& address : addresses) {
    address.copy(gIPList[gVHostPairs++], kBindAddressCapacity - 1);
  }
}

std::vector<std::string> RecordedBindList() {
  std::vector<std::string> addresses;
  for (int32_t i = 0; gIPList != nullptr && i < gVHostPairs; ++i) {
    addresses.emplace_back(gIPList[i], strnlen(gIPList[i], kBindAddressCapacity));
  }
  return addresses;
}

void ReleaseBindList() {
  gIPList = nullptr;
  owned_bind_list.reset();
}

}  // namespace qvx
