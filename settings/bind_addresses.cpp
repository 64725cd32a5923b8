#include "settings/bind_addresses.h"

#include <arpa/inet.h>

#include <array>
#include <bit>
#include <cstdio>
#include <cstring>
#include <optional>
#include <unordered_set>
#include <utility>

#include "settings/interface_addresses.h"
#include "settings/record.h"
#include "support/malloc_owner.h"

namespace qvx {

namespace {

constexpr char kLoopback[] = "127.0.0.1";
constexpr char kWildcard[] = "*";

// Room beside the available addresses: for 127.0.0.1, and for the wildcard when no address was
// found.
constexpr size_t kExtraEntries = 2;

// The bind list in the making: a text that is there already is not added again.
class UniqueList {
 public:
  void Add(std::string entry) {
    if (seen_.insert(entry).second) {
      entries_.push_back(std::move(entry));
    }
  }
  void Add(uint32_t address) {
    char dotted[INET_ADDRSTRLEN];
    Add(inet_ntop(AF_INET, &address, dotted, sizeof dotted));
  }
  std::vector<std::string> Take() { return std::move(entries_); }

 private:
  std::vector<std::string> entries_;
  std::unordered_set<std::string> seen_;
};

// What one entry of the binding list selects; both in network byte order.
struct Network {
  uint32_t address;
  uint32_t mask;
};

std::optional<uint32_t> ReadDotted(const char* text) {
  std::array<unsigned char, sizeof(uint32_t)> bytes{};
  const int numbers =
      std::sscanf(text, "%hhu.%hhu.%hhu.%hhu", &bytes[0], &bytes[1], &bytes[2], &bytes[3]);
  return numbers == 4 ? std::optional(std::bit_cast<uint32_t>(bytes)) : std::nullopt;
}

std::optional<Network> ReadNetwork(const char* entry) {
  const char* slash = std::strchr(entry, '/');
  if (slash == nullptr) {
    return std::nullopt;
  }
  const auto address = ReadDotted(entry);
  const auto mask = ReadDotted(slash + 1);
  if (!address || !mask) {
    return std::nullopt;
  }
  return Network{*address & *mask, *mask};
}

// Adds the available addresses that lie in the network and zeroes them: each is selected once,
// however many entries it matches.
void AddMatching(const Network& network, std::vector<uint32_t>& available, UniqueList& list) {
  if (network.address == 0) {
    return;
  }
  for (uint32_t& address : available) {
    if ((address & network.mask) == network.address) {
      list.Add(address);
      address = 0;
    }
  }
}

void AddSelected(char* binding_list, std::vector<uint32_t> available, UniqueList& list) {
  char* entry = binding_list;
  while (*entry != '\0') {
    char* separator = std::strchr(entry, ';');
    if (separator != nullptr) {
      *separator = '\0';
    }
    if (const auto network = ReadNetwork(entry)) {
      AddMatching(*network, available, list);
    }
    if (separator == nullptr) {
      return;
    }
    entry = separator + 1;
  }
}

}  // namespace

std::vector<std::string> SelectBindAddresses(std::span<const uint32_t> available,
                                             const BindSelection& selection) {
  UniqueList list;
  if (selection.bind_to_selected) {
    list.Add(kLoopback);
    if (!available.empty() && selection.binding_list != nullptr) {
      AddSelected(selection.binding_list, {available.begin(), available.end()}, list);
    }
    return list.Take();
  }
  if (selection.bind_to_wildcard) {
    list.Add(kLoopback);
    list.Add(kWildcard);
    return list.Take();
  }
  for (const uint32_t address : available) {
    list.Add(address);
  }
  return list.Take();
}

}  // namespace qvx

void SetupIPBindingList(char* binding_list) {
  uint32_t* holder = nullptr;
  const auto found = static_cast<size_t>(OSFindAvailableIPs(&holder));
  const qvx::MallocOwner<uint32_t> available(holder);
  const auto entries = qvx::SelectBindAddresses({available.get(), found},
                                                {.bind_to_selected = isIPBinding != 0,
                                                 .bind_to_wildcard = bMonitorIPChangesLinux != 0,
                                                 .binding_list = binding_list});
  qvx::MakeBindList(found + qvx::kExtraEntries);
  for (const std::string& entry : entries) {
    entry.copy(gIPList[gVHostPairs++], kBindAddressCapacity - 1);
  }
}
