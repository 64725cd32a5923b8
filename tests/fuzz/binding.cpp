// The bind addresses of a list and an output of "ip addr" are those of a plain search, entry by
// entry and address by address.
#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <optional>
#include <vector>

#include "settings/bind_addresses.h"
#include "settings/interface_addresses.h"
#include "tests/fuzz/input.h"

namespace qvx::test {
namespace {

/// Four numbers, of which the low eight bits count, in network byte order; nothing for fewer.
std::optional<uint32_t> NumberFrom(const std::string& text) {
  std::array<unsigned char, 4> bytes{};
  const int read =
      std::sscanf(text.c_str(), "%hhu.%hhu.%hhu.%hhu", &bytes[0], &bytes[1], &bytes[2], &bytes[3]);
  return read == 4 ? std::optional(std::bit_cast<uint32_t>(bytes)) : std::nullopt;
}

void AddOnce(std::vector<std::string>& addresses, const std::string& address) {
  if (std::find(addresses.begin(), addresses.end(), address) == addresses.end()) {
    addresses.push_back(address);
  }
}

std::string Dotted(uint32_t address) {
  return inet_ntoa({address});
}

void AddSelected(std::vector<std::string>& selected, const std::string& entry,
                 const std::vector<uint32_t>& available) {
  const size_t slash = entry.find('/');
  if (slash == std::string::npos) {
    return;
  }
  const auto address = NumberFrom(entry);
  const auto mask = NumberFrom(entry.substr(slash + 1));
  for (const uint32_t candidate : available) {
    if (address && mask && (*address & *mask) != 0 && (candidate & *mask) == (*address & *mask)) {
      AddOnce(selected, Dotted(candidate));
    }
  }
}

std::vector<std::string> Selected(const std::vector<uint32_t>& available, const std::string& list) {
  std::vector<std::string> selected = {"127.0.0.1"};
  for (size_t start = 0; start < list.size();) {
    const size_t end = std::min(list.find(';', start), list.size());
    AddSelected(selected, list.substr(start, end - start), available);
    start = end + 1;
  }
  return selected;
}

}  // namespace

void Check(Input input) {
  const std::string list = input.Text();
  const std::vector<uint32_t> available = ParseInterfaceAddresses(input.Rest());
  std::vector<std::string> all;
  for (const uint32_t address : available) {
    AddOnce(all, Dotted(address));
  }
  LoadedSettings settings;
  settings.binding_list = list.c_str();
  Require(SelectBindAddresses(available, settings) == all);
  settings.bind_to_selected = true;
  Require(SelectBindAddresses(available, settings) == Selected(available, list));
}

}  // namespace qvx::test
