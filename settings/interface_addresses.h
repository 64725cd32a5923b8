// The machine's IPv4 addresses, from the output of "/sbin/ip addr".
#ifndef QVX_SETTINGS_INTERFACE_ADDRESSES_H
#define QVX_SETTINGS_INTERFACE_ADDRESSES_H

#include <netdb.h>
#include <netinet/in.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Reads the whole output of "/sbin/ip addr". `*holder`, null on entry, gets the text, which the
/// caller releases with free(); a zero byte in the output ends it. Returns 0; -1, with `*holder`
/// null, when the command could not be started or memory ran out.
int getIFConf(char** holder);

/// Finds the IPv4 addresses of the interfaces. `*holder` gets an array of them, in network byte
/// order and ended by a 0, which the caller releases with free(). 0.0.0.0 and 255.255.255.255 are
/// left out, 127.0.0.1 is not. Returns the number of addresses. When memory runs out, 127.0.0.1 is
/// the only one; `*holder` is null and the result 0 when there is none even for that.
int32_t OSFindAvailableIPs(uint32_t** holder);

/// Asks the resolver for `name` (gethostbyname(3)). While no address of this machine is in the
/// cache, a call looks for them (127.0.0.1 left out, at most 255) and replaces the address list of
/// its result by what it found, even by an empty list; once there are some, a call returns the
/// resolver's own list. Returns the resolver's entry, null when the name is unknown.
hostent* OSGetHostByName(const char* name);

inline constexpr int32_t kMaxCachedAddresses = 255;
extern int32_t GlobalIpAddrCount;  ///< addresses in the cache
extern unsigned char GlobalIpAddrList[kMaxCachedAddresses]
                                     [4];            ///< the addresses, in network byte order
extern char* BaseAddrList[kMaxCachedAddresses + 1];  ///< references into it, the rest null

namespace qvx {

/// The whole output of "/sbin/ip addr" up to a zero byte; nothing when the command could not be
/// started. Throws std::bad_alloc.
std::optional<std::string> ReadInterfaceText();

/// The IPv4 addresses of the interfaces, as OSFindAvailableIPs finds them. Without the command's
/// output there are none; when memory runs out for the addresses, 127.0.0.1 is the only one.
std::vector<uint32_t> AvailableAddresses();

/// The addresses in the output of the command, in order, in network byte order. Linear in the text.
std::vector<uint32_t> ParseInterfaceAddresses(std::string_view interface_text);

}  // namespace qvx

#endif
