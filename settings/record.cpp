#include "settings/record.h"

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

// Apart from gIPList, which a caller may point at storage of its own.
std::unique_ptr<char[][kBindAddressCapacity]> owned_bind_list;

}  // namespace

void MakeBindList(size_t capacity) {
  owned_bind_list = std::make_unique<char[][kBindAddressCapacity]>(capacity);
  gIPList = owned_bind_list.get();
  gVHostPairs = 0;
}

void ReleaseBindList() {
  gIPList = nullptr;
  owned_bind_list.reset();
}

}  // namespace qvx
