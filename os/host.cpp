#include "os/host.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "os/bounded_copy.h"
#include "os/strings.h"

int OSGetHostName(char* buffer, size_t capacity) {
  if (buffer == nullptr) {
    errno = EFAULT;
    return -1;
  }
  return gethostname(buffer, capacity);
}

void OSGetSystemName(char* buffer, size_t capacity) {
  utsname system{};
  qvx::CopyBounded(uname(&system) == 0 ? system.nodename : "", buffer, capacity);
}

hostent* OSGetHostByAddr(const void* address, uint32_t length, int family) {
  return address == nullptr ? nullptr : gethostbyaddr(address, length, family);
}

uint32_t OSGetHostId() {
  return 0;
}

uint16_t OShtons(uint16_t value) {
  return htons(value);
}

uint32_t OShtonl(uint32_t value) {
  return htonl(value);
}

uint32_t OSntohl(uint32_t value) {
  return ntohl(value);
}

uint32_t OSGetLocalNodeIpAddress(const char* dotted) {
  return dotted == nullptr ? INADDR_NONE : inet_addr(dotted);
}

char* OSInetNameToAddress(uint32_t address) {
  return inet_ntoa(in_addr{address});
}

char* OSInt_to_Address(uint32_t address) {
  return OSInetNameToAddress(htonl(address));
}

int OSInitializeSocket() {
  return std::signal(SIGPIPE, SIG_IGN) == SIG_ERR ? errno : 0;
}

void OSSleep(uint32_t milliseconds) {
  const timespec duration{milliseconds / 1000, static_cast<long>(milliseconds % 1000) * 1'000'000};
  nanosleep(&duration, nullptr);
}

std::tm* OSLocalTime(const time_t* time) {
  return time == nullptr ? nullptr : std::localtime(time);
}

const char* OSGetDefaultLanguage() {
  const char* language = std::getenv("LANG");
  return language != nullptr && strnicmp(language, "jp", 2) == 0 ? "jpn" : "ENG";
}

uint32_t OSUnsigned(int64_t value) {
  return static_cast<uint32_t>(value);
}

uint16_t OSUnsignedShort(int64_t value) {
  return static_cast<uint16_t>(value);
}

int OSFileCaseSensitivity() {
  return 1;
}

int OSCheckOSVersion() {
  return 1;
}
