#include "companion/subnets.h"

#include <apr_general.h>
#include <apr_network_io.h>
#include <apr_pools.h>
#include <arpa/inet.h>

#include <algorithm>
#include <new>

#include "os/strings.h"
#include "webconf/access_rules.h"

namespace qvx::companion {

namespace {

constexpr char kAll[] = "all";
constexpr char kVariable[] = "env=";
constexpr size_t kBytes = 4;

struct Subnet {
  apr_status_t status;
  apr_ipsubnet_t* subnet;
};

/// The library wants the mask apart.
Subnet SubnetOf(apr_pool_t* pool, const std::string& word) {
  Subnet made{APR_EINVAL, nullptr};
  const size_t slash = word.find('/');
  const std::string address = word.substr(0, slash);
  const std::string mask = slash == std::string::npos ? "" : word.substr(slash + 1);
  made.status = apr_ipsubnet_create(&made.subnet, address.c_str(),
                                    slash == std::string::npos ? nullptr : mask.c_str(), pool);
  return made;
}

/// Reads one to four numbers, each behind a "." but the first. Returns how many, or 0.
size_t ReadNumbers(const std::string& text, uint32_t& address) {
  size_t count = 0;
  size_t start = 0;
  address = 0;
  for (; count < kBytes && start < text.size(); ++count) {
    const size_t end = std::min(text.find('.', start), text.size());
    const std::string number = text.substr(start, end - start);
    if (number.empty() || number.size() > 3 ||
        number.find_first_not_of("0123456789") != std::string::npos || std::stoi(number) > 255) {
      return 0;
    }
    address |= static_cast<uint32_t>(std::stoi(number)) << (8 * (kBytes - 1 - count));
    start = end + 1;
  }
  return start < text.size() ? 0 : count;
}

/// Returns the number of free bits at the end of a mask, "24" or "255.255.255.0".
std::optional<uint32_t> MaskOf(const std::string& text) {
  uint32_t mask = 0;
  const size_t numbers = ReadNumbers(text, mask);
  if (numbers == 1) {
    const int bits = std::stoi(text);
    return bits > 32 ? std::nullopt : std::optional(dwMasks[32 - bits]);
  }
  return numbers == kBytes ? std::optional(mask) : std::nullopt;
}

}  // namespace

Subnets::Subnets() {
  if (apr_initialize() != APR_SUCCESS ||
      apr_pool_create_ex(&pool_, nullptr, nullptr, nullptr) != APR_SUCCESS) {
    throw std::bad_alloc();
  }
}

Subnets::~Subnets() {
  apr_pool_destroy(pool_);
  apr_terminate();
}

WordKind Subnets::KindOf(const std::string& word) const {
  if (stricmp(word.c_str(), kAll) == 0) {
    return WordKind::kAll;
  }
  if (word.starts_with('"') || word.starts_with('\'') || word.find("${") != std::string::npos ||
      strnicmp(word.c_str(), kVariable, sizeof kVariable - 1) == 0) {
    return WordKind::kOther;
  }
  const apr_status_t status = SubnetOf(pool_, word).status;
  if (status == APR_SUCCESS) {
    return WordKind::kSubnet;
  }
  // A comment is not allowed there.
  const bool is_name =
      APR_STATUS_IS_EINVAL(status) && word.find_first_of("/#") == std::string::npos;
  return is_name ? WordKind::kHostName : WordKind::kRefused;
}

bool Subnets::Matches(const std::string& word, const std::string& address) const {
  if (stricmp(word.c_str(), kAll) == 0) {
    return true;
  }
  const Subnet subnet = SubnetOf(pool_, word);
  apr_sockaddr_t* client = nullptr;
  return subnet.status == APR_SUCCESS && IsAddress(address) &&
         apr_sockaddr_info_get(&client, address.c_str(), APR_UNSPEC, 0, 0, pool_) == APR_SUCCESS &&
         apr_ipsubnet_test(subnet.subnet, client) != 0;
}

bool Subnets::IsAddress(const std::string& address) {
  in6_addr ignored{};
  return inet_pton(AF_INET, address.c_str(), &ignored) == 1 ||
         inet_pton(AF_INET6, address.c_str(), &ignored) == 1;
}

std::optional<Span> SpanOf(const std::string& word) {
  if (stricmp(word.c_str(), kAll) == 0) {
    return Span{0, UINT32_MAX};
  }
  const size_t slash = std::min(word.find('/'), word.size());
  uint32_t address = 0;
  const size_t numbers = ReadNumbers(word.substr(0, slash), address);
  const std::optional<uint32_t> mask = slash == word.size()
                                           ? std::optional(dwMasks[8 * (kBytes - numbers)])
                                           : MaskOf(word.substr(slash + 1));
  if (numbers == 0 || !mask) {
    return std::nullopt;
  }
  return Span{address & *mask, FindMaxAddrInRange(address & *mask, *mask)};
}

}  // namespace qvx::companion
