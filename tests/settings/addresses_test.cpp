#include "settings/interface_addresses.h"

#include <gtest/gtest.h>

#include "settings/bind_addresses.h"
#include "settings/record.h"
#include "support/malloc_owner.h"
#include "tests/settings/fresh_machine.h"

namespace qvx::test {

namespace {

std::string Joined(const std::vector<std::string>& entries) {
  std::string text;
  for (const std::string& entry : entries) {
    text += (text.empty() ? "" : " ") + entry;
  }
  return text;
}

std::string BindList(int32_t binding, int32_t monitoring, std::string list = "10.0.0.0/255.0.0.0") {
  isIPBinding = binding;
  bMonitorIPChangesLinux = monitoring;
  SetupIPBindingList(list.data());
  return Joined({gIPList, gIPList + gVHostPairs});
}

}  // namespace

TEST(Addresses, OutputAndBindingList) {
  const std::string usual =
      "  inet 127.0.0.1/8 lo\n  inet6 ::1/128\n  inet 10.1.2.3/8 brd 10.255.255.255\n  inet "
      "192.168.1.5";
  // What the command prints, the binding list (none: every address), and the addresses.
  const std::tuple<std::string, const char*, const char*> rows[] = {
      {usual, nullptr, "127.0.0.1 10.1.2.3 192.168.1.5"},
      {"inet 10.0.0.2 peer 10.0.0.3/8\ninet 10.0.0.1/8\ninet 10.0.0.2/8\ninet ", nullptr,
       "10.0.0.2 10.0.0.1"},
      {"inet 0.0.0.0/0\ninet 255.255.255.255/32\ninet 10.0.0.1/8", nullptr, "10.0.0.1"},
      {"inet peer\n  more\n  inet 10.0.0.2 x\ninet 10.0.0.3", nullptr, "10.0.0.2 10.0.0.3"},
      {"inet 1.2.3.4inet 5.6.7.8 inet 9.9.9.9", nullptr, "1.2.3.4 9.9.9.9"},
      {"inet 100.100.100.1009 inet 1.2.3.4.....................", nullptr, "100.100.100.100"},
      {"inet 1.2.3.4.5 inet 256.1.1.1 inet 10.1 inet \xff\x80 7.7.7.7\xff inet", nullptr,
       "10.0.0.1 7.7.7.7"},
      {usual, "127.0.0.0/255.0.0.0;192.168.1.0/255.255.255.0;10.0.0.0/255.0.0.0;",
       "127.0.0.1 192.168.1.5 10.1.2.3"},
      {usual, "10.1.0.0/255.255.0.0;0.0.0.1/0.0.0.1;10.0.0.0/255.0.0.0",
       "127.0.0.1 10.1.2.3 192.168.1.5"},
      {usual,
       ";10.1.2.3;10.0.0/255.0.0.0;10.0.0.0/255.0.0;/;10.0.0.0/0.0.0.0;192.168.1.9/255.255.255.0",
       "127.0.0.1 192.168.1.5"},
      {usual, " 266. 1.2.3x/ 255.255.255.255/7;192.168.1.5", "127.0.0.1 10.1.2.3"},
      {"", "10.0.0.0/255.0.0.0", "127.0.0.1"}};
  for (const auto& [output, list, expected] : rows) {
    SCOPED_TRACE(output + (list == nullptr ? "" : list));
    std::string text = list == nullptr ? "" : list;
    EXPECT_EQ(Joined(SelectBindAddresses(ParseInterfaceAddresses(output),
                                         {list != nullptr, false, text})),
              expected);
  }
}

TEST(Addresses, OfTheMachine) {
  OnFreshMachine([] {
    EXPECT_EQ(BindList(0, 0), "") << "no interface is up";
    ASSERT_EQ(0, std::system("/sbin/ip link set lo up && /sbin/ip addr add 10.1.2.3/8 dev lo"));
    uint32_t* holder = nullptr;
    ASSERT_EQ(OSFindAvailableIPs(&holder), 2);
    const MallocOwner<uint32_t> addresses(holder);
    EXPECT_EQ(holder[2], 0U);
    EXPECT_EQ(BindList(0, 0) + ", " + BindList(1, 1), "127.0.0.1 10.1.2.3, 127.0.0.1 10.1.2.3");
    ASSERT_EQ(mount("/dev/null", "/sbin/ip", "none", MS_BIND, nullptr), 0)
        << "a machine without the command";
    EXPECT_EQ(BindList(0, 0) + "," + BindList(1, 0) + "," + BindList(0, 1),
              ",127.0.0.1,127.0.0.1 *");
  });
}

TEST(Addresses, LongLinesZeroBytesAndTheCacheOfNames) {
  std::string lines =
      std::string(77, 'x') + "inet 127.0.0.1/8 " + std::string(9000, 'y') + "inet6 fe80::1/64\n";
  for (int number = 0; number < 300; ++number) {
    lines += "inet 0.1.2.3/8\ninet 10.0.0." + std::to_string(number % 256) + "/8\n";
  }
  OnFreshMachine([&] {
    RecordIpOutput(lines + std::string("\0inet 10.0.0.3/8", 16));
    char* text = nullptr;
    ASSERT_EQ(getIFConf(&text), 0);
    EXPECT_EQ(MallocOwner<char>(text).get(), lines);
    EXPECT_EQ(OSGetHostByName("192.168.7.7")->h_addr_list, BaseAddrList);
    EXPECT_EQ(GlobalIpAddrCount, 255);
    EXPECT_EQ(std::string(BaseAddrList[0], 4) + BaseAddrList[254][3],
              std::string("\x0a\0\0\0\xfe", 5));
    EXPECT_EQ(std::string(OSGetHostByName("192.168.7.7")->h_addr_list[0], 4), "\xc0\xa8\x07\x07");
  });
}

}  // namespace qvx::test
