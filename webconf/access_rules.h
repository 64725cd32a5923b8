// The access directives for restricted client addresses.
//
// A list holds entries separated by ";": single addresses, or ranges START-END. A range becomes the
// fewest aligned blocks that cover it: blocks grow from its start up to the largest that fits, then
// shrink down to its end; at most 62 of them. Addresses are compared as numbers in host order. A
// text that is no address counts as 255.255.255.255 where a range ends, and makes a range empty
// where it starts.
//
// In doubt fewer clients are let in: a list of separators alone allows the loopback address only,
// and of the entries beyond 31 characters one that would allow is skipped and one that would deny
// denies all.
#ifndef QVX_WEBCONF_ACCESS_RULES_H
#define QVX_WEBCONF_ACCESS_RULES_H

#include <cstdint>
#include <string>
#include <string_view>

/// Entry k is the network mask of a block of 2^k addresses.
extern const uint32_t dwMasks[33];

/// Builds the allow lines for `include`, then the deny lines for `exclude`. Both lists are cut in
/// place and either may be null. The text consists of whole lines; the caller releases it with
/// free(). Returns null when memory ran out.
char* GenerateAccessDirectiveStr(char* include, char* exclude);

/// Appends one entry's addresses and a line feed to `*directives`, a text from malloc (or null),
/// which is reallocated. `end` may be null or empty: a single address, written as it stands. `mode`
/// is always 1. Linear in the text that is there already, whose end has to be found: many calls on
/// one text cost the square of it. Returns 0; 1 for a range without an address (only the line feed
/// is appended); -1 when memory ran out (`*directives` is unchanged).
int32_t CreateIPAddrRestrictionStr(int32_t mode, char** directives, const char* start,
                                   const char* end);

/// The last address of the block that `address` lies in.
uint32_t FindMaxAddrInRange(uint32_t address, uint32_t mask);

namespace qvx {

/// The text that GenerateAccessDirectiveStr builds; the lists stay whole. Linear in the lists.
/// Throws std::bad_alloc.
std::string AccessDirectives(std::string_view include, std::string_view exclude);

}  // namespace qvx

#endif
