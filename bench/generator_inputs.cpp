#include "bench/generator_inputs.h"

#include <cstdint>

namespace qvx::bench {

namespace {

std::string Dotted(uint32_t address) {
  return std::to_string(address >> 24) + '.' + std::to_string(address >> 16 & 255) + '.' +
         std::to_string(address >> 8 & 255) + '.' + std::to_string(address & 255);
}

constexpr uint32_t kFirstAddress = 10U << 24 | 1;
constexpr uint32_t kRangeSize = 32768;

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
    entries += Dotted(first + 1) + dash + Dotted(first + kRangeSize - 2) + separator;
  }
  return entries;
}

std::string InterfaceText(size_t size) {
  std::string text;
  for (uint32_t index = 0; index < size; ++index) {
    const std::string number = std::to_string(index + 1);
    const uint32_t address = kFirstAddress + index - (index % 10 == 9 ? 1 : 0);
    text += number + ": eth" + number + ": <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1500 qdisc " +
            "noqueue state UP group default qlen 1000\n" +
            "    link/ether 02:42:ac:11:00:02 brd ff:ff:ff:ff:ff:ff\n    inet " + Dotted(address) +
            "/24 brd 10.255.255.255 scope global eth" + number +
            "\n       valid_lft forever preferred_lft forever\n" +
            "    inet6 fe80::42:acff:fe11:2/64 scope link\n" +
            "       valid_lft forever preferred_lft forever\n";
  }
  return text;
}

}  // namespace qvx::bench
