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

/// Reads the whole output of "/sbin/ip addr", up to a zero byte. `*holder` gets the text, which the
/// caller releases with free(). Returns 0; or -1, with `*holder` null, when the command could not
/// be started or read, two times, or memory ran out.
int getIFConf(char** holder);

/// Finds the IPv4 addresses of the interfaces. `*holder` gets an array of them, in network byte
/// order and ended by a 0, which the caller releases with free(). 0.0.0.0 and 255.255.255.255 are
/// left out; 127.0.0.1 is included. Returns the number of addresses. When memory runs out while
/// they are collected, 127.0.0.1 is the only one; when it runs out for the output of the command,
/// there are none. When there is no memory for the array, `*holder` is null and the result 0.
int32_t OSFindAvailableIPs(uint32_t** holder);

/// Asks the resolver for `name` (gethostbyname(3)). While the cache is empty, each call fills it
/// with at most 255 addresses of this machine, without 127.0.0.1 and those that begin with 0, and
/// puts the cache in the place of the result's address list, even when the cache stays empty. Once
/// the cache has addresses, a call returns the resolver's own list. Returns the resolver's entry;
/// null when the name is unknown or null. When memory runs out, the cache keeps what it has by
/// then.
hostent* OSGetHostByName(const char* name);

inline constexpr int32_t kMaxCachedAddresses = 255;
extern int32_t GlobalIpAddrCount;  ///< addresses in the cache
extern unsigned char GlobalIpAddrList[kMaxCachedAddresses]
                                     [4];            ///< the addresses, in network byte order
extern char* BaseAddrList[kMaxCachedAddresses + 1];  ///< pointers into it, the rest null

namespace qvx {

/// Returns the whole output of "/sbin/ip addr" up to a zero byte, or nothing when the command could
/// not be started or read, two times. Throws std::bad_alloc.
std::optional<std::string> ReadInterfaceText();

/// Returns the IPv4 addresses of the interfaces, as OSFindAvailableIPs finds them. Without the
/// command's output there are none. When memory runs out for the addresses, 127.0.0.1 is the only
/// one.
std::vector<uint32_t> AvailableAddresses();

/// Returns the addresses in the output of the command, in its order and in network byte order. The
/// cost is linear in the text.
std::vector<uint32_t> ParseInterfaceAddresses(std::string_view interface_text);

}  // namespace qvx

#endif
