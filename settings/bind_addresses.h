// The addresses that the web server binds to.
#ifndef QVX_SETTINGS_BIND_ADDRESSES_H
#define QVX_SETTINGS_BIND_ADDRESSES_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "settings/reader.h"

/// Fills gIPList and gVHostPairs from the machine's addresses, isIPBinding, bMonitorIPChangesLinux
/// and `binding_list` (may be null). When isIPBinding is on and an address was found, cuts the list
/// in place: each ";" becomes a zero byte. Throws std::bad_alloc.
void SetupIPBindingList(char* binding_list);

namespace qvx {

/// A network, in network byte order.
struct Network {
  uint32_t address;
  uint32_t mask;

  bool Holds(uint32_t other) const { return (other & mask) == address; }
};

/// Returns the network that an entry of the binding list selects; nothing when the entry is no
/// address and mask, or the network is 0.0.0.0. Throws std::bad_alloc.
std::optional<Network> NetworkOf(std::string_view entry);

/// Returns the bind addresses without repeats, for the available addresses (network byte order) and
/// the settings bind_to_selected, bind_to_wildcard and binding_list: entries "address/mask"
/// separated by ";". Selected addresses are in the order of the entries that select them, and those
/// of one entry in the order of `available`. The cost is linear in the number of addresses times
/// the number of different masks in the binding list, and in the length of the list. Throws
/// std::bad_alloc.
std::vector<std::string> SelectBindAddresses(std::span<const uint32_t> available,
                                             const LoadedSettings& settings);

}  // namespace qvx

#endif
