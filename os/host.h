// Host, address, time and language: thin names over the platform's own calls. What is null gets the
// result of a failure: -1, null, or the address 255.255.255.255; a null buffer gets nothing.
#ifndef QVX_OS_HOST_H
#define QVX_OS_HOST_H

#include <netdb.h>

#include <cstddef>
#include <cstdint>
#include <ctime>

/// Writes the host name (gethostname(2)). Returns 0 or -1.
int OSGetHostName(char* buffer, size_t capacity);

/// Writes the node name (uname(2)), cut at `capacity` - 1 characters and always terminated; empty
/// when uname fails.
void OSGetSystemName(char* buffer, size_t capacity);

/// gethostbyaddr(3). The entry belongs to the resolver.
hostent* OSGetHostByAddr(const void* address, uint32_t length, int family);

uint32_t OSGetHostId();  ///< 0

uint16_t OShtons(uint16_t value);
uint32_t OShtonl(uint32_t value);
uint32_t OSntohl(uint32_t value);

/// Returns the address in network order (inet_addr(3)).
uint32_t OSGetLocalNodeIpAddress(const char* dotted);

/// Returns the dotted text of an address in network order (inet_ntoa(3)). The text stays until the
/// next call of either operation.
char* OSInetNameToAddress(uint32_t address);
/// Returns the dotted text of an address in host order.
char* OSInt_to_Address(uint32_t address);

/// Makes the process ignore SIGPIPE. Returns 0, or the error number.
int OSInitializeSocket();

void OSSleep(uint32_t milliseconds);

/// localtime(3).
std::tm* OSLocalTime(const time_t* time);

/// "jpn" when LANG begins with "jp" in any case, else "ENG".
const char* OSGetDefaultLanguage();

uint32_t OSUnsigned(int64_t value);
uint16_t OSUnsignedShort(int64_t value);
int OSFileCaseSensitivity();  ///< 1: file names are case-sensitive
int OSCheckOSVersion();       ///< 1

#endif
