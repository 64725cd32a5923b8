#include "settings/bind_addresses.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "settings/interface_addresses.h"
#include "settings/record.h"
#include "settings/setting_list.h"

namespace qvx {

namespace {

constexpr char kLoopback[] = "127.0.0.1";
constexpr char kWildcard[] = "*";

/// A bind list that ignores an address that it holds already.
class UniqueList {
 public:
  explicit UniqueList(size_t capacity) { entries_.reserve(capacity); }

  void Add(uint32_t address) {
    if (seen_.insert(address).second) {
      char dotted[INET_ADDRSTRLEN];
      entries_.emplace_back(inet_ntop(AF_INET, &address, dotted, sizeof dotted));
    }
  }
  std::vector<std::string> Take() { return std::move(entries_); }

 private:
  std::vector<std::string> entries_;
  std::set<uint32_t> seen_;
};

std::optional<uint32_t> ReadDotted(const char* text) {
  std::array<unsigned char, sizeof(uint32_t)> bytes{};
  const int numbers =
      std::sscanf(text, "%hhu.%hhu.%hhu.%hhu", &bytes[0], &bytes[1], &bytes[2], &bytes[3]);
  return numbers == 4 ? std::optional(std::bit_cast<uint32_t>(bytes)) : std::nullopt;
}

/// The networks of a binding list, grouped by their masks. A long list has few masks, so one
/// look-up for each mask replaces one for each entry.
class Networks {
 public:
  explicit Networks(std::string_view binding_list) {
    while (const auto entry = TakeEntry(binding_list)) {
      if (const std::optional<Network> network = NetworkOf(*entry)) {
        by_mask_[network->mask].emplace(network->address, count_++);
      }
    }
  }

  size_t count() const { return count_; }

  /// Returns the place in the list of the first network that holds `address`; count() when there is
  /// none.
  size_t FirstWith(uint32_t address) const {
    size_t first = count_;
    for (const auto& [mask, places] : by_mask_) {
      const auto found = places.find(address & mask);
      first = found == places.end() ? first : std::min(first, found->second);
    }
    return first;
  }

 private:
  // Ordered, because whoever writes the list could choose networks that share one bucket of a hash.
  std::map<uint32_t, std::map<uint32_t, size_t>> by_mask_;
  size_t count_ = 0;
};

void AddSelected(std::span<const uint32_t> available, std::string_view binding_list,
                 UniqueList& list) {
  const Networks networks(binding_list);
  std::vector<std::vector<uint32_t>> selected(networks.count() + 1);
  for (const uint32_t address : available) {
    selected[networks.FirstWith(address)].push_back(address);
  }
  selected.pop_back();  // the addresses outside all networks
  for (const std::vector<uint32_t>& addresses : selected) {
    std::for_each(addresses.begin(), addresses.end(), [&](uint32_t address) { list.Add(address); });
  }
}

}  // namespace

std::optional<Network> NetworkOf(std::string_view entry) {
  const std::string text(entry);
  const size_t slash = text.find('/');
  if (slash == std::string::npos) {
    return std::nullopt;
  }
  const auto address = ReadDotted(text.c_str());
  const auto mask = ReadDotted(text.c_str() + slash + 1);
  const bool selects = address && mask && (*address & *mask) != 0;
  return selects ? std::optional(Network{*address & *mask, *mask}) : std::nullopt;
}

std::vector<std::string> SelectBindAddresses(std::span<const uint32_t> available,
                                             const LoadedSettings& settings) {
  const uint32_t loopback = htonl(INADDR_LOOPBACK);
  if (!settings.bind_to_selected && settings.bind_to_wildcard) {
    return {kLoopback, kWildcard};
  }
  UniqueList list(available.size() + 1);
  if (settings.bind_to_selected) {
    list.Add(loopback);
    AddSelected(available, ViewOf(settings.binding_list), list);
    return list.Take();
  }
  for (const uint32_t address : available) {
    list.Add(address);
  }
  return list.Take();
}

}  // namespace qvx

void SetupIPBindingList(char* binding_list) {
  const std::vector<uint32_t> available = qvx::AvailableAddresses();
  const bool is_to_selected = isIPBinding != 0;
  const auto addresses =
      qvx::SelectBindAddresses(available, {.bind_to_selected = is_to_selected,
                                           .binding_list = binding_list,
                                           .bind_to_wildcard = bMonitorIPChangesLinux != 0});
  qvx::RecordBindList(addresses, available.size());
  if (is_to_selected && binding_list != nullptr && !available.empty()) {
    std::replace(binding_list, binding_list + std::strlen(binding_list), ';', '\0');
  }
}
