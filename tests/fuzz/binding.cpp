// The bind addresses of a list and an output of "ip addr" are those of a plain search, entry by
// entry and address by address.
#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "settings/bind_addresses.h"
#include "settings/interface_addresses.h"
#include "tests/fuzz/input.h"

namespace qvx::test {
namespace {

struct Number {
  bool is_whole;
  uint32_t value;  // network byte order
};

/// Four numbers, of which the low eight bits count.
Number NumberFrom(const std::string& text) {
  unsigned char bytes[4] = {};
  const int read =
      std::sscanf(text.c_str(), "%hhu.%hhu.%hhu.%hhu", &bytes[0], &bytes[1], &bytes[2], &bytes[3]);
  Number number{read == 4, 0};
  std::memcpy(&number.value, bytes, sizeof bytes);
  return number;
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
  const Number address = NumberFrom(entry);
  const Number mask = NumberFrom(entry.substr(slash + 1));
  const uint32_t network = address.value & mask.value;
  if (!address.is_whole || !mask.is_whole || network == 0) {
    return;
  }
  for (const uint32_t candidate : available) {
    if ((candidate & mask.value) == network) {
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

void Check(Input& input) {
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

}  // namespace
}  // namespace qvx::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  qvx::test::Input input(data, size);
  qvx::test::Check(input);
  return 0;
}
