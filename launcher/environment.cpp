#include "launcher/environment.h"

#include <sys/auxv.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvx {

namespace {

constexpr char kNewPair[] = "QVX_CERT_REGEN";
constexpr const char* kReadVariables[] = {
    kNewPair,           "QVXPERMS",           "QVXFPATH", "SYSMGTZX_BASE_DIR", "SYSMGTZX_WRITE_DIR",
    "SYSMGTZX_LOG_DIR", "SSL_SHARE_BASE_DIR", "LANG",
};
constexpr char kPath[] = "/usr/sbin:/usr/bin:/sbin:/bin";

}  // namespace

bool HasMoreRights() {
  return getauxval(AT_SECURE) != 0;
}

void LimitEnvironment() {
  if (!HasMoreRights()) {
    return;
  }
  std::vector<std::pair<const char*, std::string>> kept = {{"PATH", kPath}};
  for (const char* name : kReadVariables) {
    if (const char* value = std::getenv(name)) {
      kept.emplace_back(name, value);
    }
  }
  clearenv();
  for (const auto& [name, value] : kept) {
    setenv(name, value.c_str(), 1);
  }
}

bool IsNewPairAsked() {
  const char* const value = std::getenv(kNewPair);
  return value != nullptr && std::string_view(value) == "1";
}

}  // namespace qvx
