// The addresses that the web server binds to.
#ifndef QVX_SETTINGS_BIND_ADDRESSES_H
#define QVX_SETTINGS_BIND_ADDRESSES_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// Fills gIPList and gVHostPairs from the machine's addresses, isIPBinding, bMonitorIPChangesLinux
/// and `binding_list` (may be null). With isIPBinding on and an address found, the list is cut in
/// place: each ";" becomes a zero byte.
void SetupIPBindingList(char* binding_list);

namespace qvx {

/// What the bind list is computed from.
struct BindSelection {
  bool bind_to_selected;  ///< only 127.0.0.1 and what `binding_list` selects
  bool bind_to_wildcard;  ///< otherwise: 127.0.0.1 and "*"
  char* binding_list;     ///< "address/mask" entries separated by ";"; may be null; cut in place
};

/// The bind addresses in order, without repeats, for the available addresses (network byte order).
/// Linear in the addresses times the entries of the binding list.
std::vector<std::string> SelectBindAddresses(std::span<const uint32_t> available,
                                             const BindSelection& selection);

}  // namespace qvx

#endif
