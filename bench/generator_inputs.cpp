#include "bench/generator_inputs.h"

#include <cstdint>

#include "bench/corpus.h"

namespace qvx::bench {

namespace {

std::string Dotted(uint32_t address) {
  return std::to_string(address >> 24) + '.' + std::to_string(address >> 16 & 255) + '.' +
         std::to_string(address >> 8 & 255) + '.' + std::to_string(address & 255);
}

constexpr uint32_t kFirstAddress = 10U << 24 | 1;
constexpr uint32_t kRangeSize = 32768;

// What the command prints in front of an address and behind it.
constexpr char kInterface[] =
    "#: eth#: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1500 qdisc noqueue state UP group default\n"
    "    link/ether 02:42:ac:11:00:02 brd ff:ff:ff:ff:ff:ff\n"
    "    inet ";
constexpr char kInterfaceEnd[] =
    "/24 brd 10.255.255.255 scope global eth#\n"
    "       valid_lft forever preferred_lft forever\n"
    "    inet6 fe80::42:acff:fe11:2/64 scope link\n"
    "       valid_lft forever preferred_lft forever\n";

}  // namespace

std::vector<std::string> DottedAddresses(size_t size) {
  std::vector<std::string> addresses;
  for (uint32_t index = 0; index < size; ++index) {
    addresses.push_back(Dotted(kFirstAddress + index));
  }
  return addresses;
}

std::string WidestRanges(size_t size) {
  std::string entries;
  for (size_t index = 0; index < size; ++index) {
    entries += "0.0.0.1-255.255.255.254;";
  }
  return entries;
}

std::string RangesApart(size_t size, char dash, char separator) {
  std::string entries;
  for (uint32_t index = 0; index < size; ++index) {
    const uint32_t first = index * kRangeSize;
    entries += Dotted(first + 1);
    entries += dash;
    entries += Dotted(first + kRangeSize - 2);
    entries += separator;
  }
  return entries;
}

std::string InterfaceText(size_t size) {
  std::string text;
  for (uint32_t index = 0; index < size; ++index) {
    text += Numbered(kInterface, index + 1);
    text += Dotted(kFirstAddress + index - (index % 10 == 9 ? 1 : 0));
    text += Numbered(kInterfaceEnd, index + 1);
  }
  return text;
}

}  // namespace qvx::bench
