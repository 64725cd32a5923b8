// The addresses that the web server binds to.
#ifndef QVX_SETTINGS_BIND_ADDRESSES_H
#define QVX_SETTINGS_BIND_ADDRESSES_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Fills gIPList and gVHostPairs from the machine's addresses, isIPBinding, bMonitorIPChangesLinux
/// and `binding_list` (may be null). With isIPBinding on and an address found, the list is cut in
/// place: each ";" becomes a zero byte. Throws std::bad_alloc.
void SetupIPBindingList(char* binding_list);

namespace qvx {

/// What the bind list is computed from.
struct BindSelection {
  bool is_to_selected;            ///< only 127.0.0.1 and what `binding_list` selects
  bool is_to_wildcard;            ///< otherwise: 127.0.0.1 and "*"
  std::string_view binding_list;  ///< "address/mask" entries separated by ";"
};

/// The bind addresses in order, without repeats, for the available addresses (network byte order).
/// Selected addresses are in the order of the entries that select them, those of one entry in the
/// order of `available`. Linear in the addresses times the different masks of the binding list,
/// and in its length.
std::vector<std::string> SelectBindAddresses(std::span<const uint32_t> available,
                                             const BindSelection& selection);

}  // namespace qvx

#endif
