// The access directives for restricted client addresses.
//
// A list holds entries separated by ";": single addresses, or ranges START-END. A range becomes the
// fewest aligned blocks that cover it, at most 62. The blocks grow from its start up to the largest
// that fits, then shrink down to its end. 0.0.0.0 and 255.255.255.255 are in no block: they are
// named behind the blocks. Addresses are compared as numbers in host order. A text that is not an
// address counts as 255.255.255.255 at the end of a range and makes the range empty at its start.
//
// In doubt fewer clients are let in. An include list of separators alone allows only the loopback
// address. An entry of more than 31 characters is skipped in the include list and denies all in the
// exclude list.
#ifndef QVX_WEBCONF_ACCESS_RULES_H
#define QVX_WEBCONF_ACCESS_RULES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Entry k is the network mask of a block of 2^k addresses.
extern const uint32_t dwMasks[33];

/// Builds the allow lines for `include`, then the deny lines for `exclude`. Either list may be
/// null. Both are cut in place. Returns whole lines, which the caller releases with free(); null,
/// and leaves both whole, when memory ran out.
char* GenerateAccessDirectiveStr(char* include, char* exclude);

/// Appends the addresses of one entry and a line feed to `*directives`, a text from malloc or null,
/// which is reallocated. A null or empty `end` makes the entry a single address, which is written
/// without any change. `mode` is ignored. The cost is linear in the text that is there already, so
/// many calls on one text cost the square of it. Returns 0; 1 for a range without an address and
/// for a null `start` (only the line feed is appended); -1 when memory ran out (`*directives` is
/// unchanged).
int32_t CreateIPAddrRestrictionStr(int32_t mode, char** directives, const char* start,
                                   const char* end);

/// Returns the last address of the block that `address` lies in.
uint32_t FindMaxAddrInRange(uint32_t address, uint32_t mask);

namespace qvx {

/// The characters of the longest entry that is no fault: two dotted addresses and the dash.
inline constexpr size_t kLongestEntry = 31;

/// The first allow line, without an include list and with one.
inline constexpr std::string_view kAllowAll = "allow from all\n";
inline constexpr std::string_view kAllowLoopback = "allow from 127.0.0.1\n";

/// Returns the text that GenerateAccessDirectiveStr builds, but leaves the lists whole. The cost is
/// linear in the lists. Throws std::bad_alloc.
std::string AccessDirectives(std::string_view include, std::string_view exclude);

}  // namespace qvx

#endif
