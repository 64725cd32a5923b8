#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "settings/bind_addresses.h"
#include "settings/interface_addresses.h"
#include "settings/record.h"
#include "support/malloc_owner.h"
#include "tests/settings/fresh_machine.h"

namespace qvx::test {

namespace {

using Texts = std::vector<std::string>;

// What SetupIPBindingList makes of the machine's addresses.
Texts BindList(int32_t is_binding, int32_t is_monitoring, char* list) {
  isIPBinding = is_binding;
  bMonitorIPChangesLinux = is_monitoring;
  SetupIPBindingList(list);
  return {gIPList, gIPList + gVHostPairs};
}

}  // namespace

TEST(InterfaceAddresses, FromTheOutputOfTheCommand) {
  const struct {
    const char* name;
    std::string output;
    Texts addresses;
  } rows[] = {
      {"inet lines alone", "inet6 ::1/128\n  inet 10.0.0.2/8 brd 10.0.0.3 lo\n", {"10.0.0.2"}},
      {"nothing behind the last word", "inet 10.0.0.2 peer 10.0.0.3/8\ninet ", {"10.0.0.2"}},
      {"left out", "inet 0.0.0.0/0\ninet 255.255.255.255/32\ninet 10.0.0.1/8", {"10.0.0.1"}},
      {"on a later line", "inet a\n  inet 10.0.0.2 x\ninet 10.0.0.3", {"10.0.0.2", "10.0.0.3"}},
      {"word behind an address", "inet 1.2.3.4inet 5.6.7.8 inet 9.9.9.9", {"1.2.3.4", "9.9.9.9"}},
      {"long runs", "inet 100.100.100.1009 inet 1.2.3.4.....................", {"100.100.100.100"}},
      {"no address, short form", "inet 1.2.3.4.5 inet 256.1.1.1 inet 10.1", {"10.0.0.1"}},
      {"bytes above 127", "inet \xff\x80 7.7.7.7\xff inet", {"7.7.7.7"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(SelectBindAddresses(ParseInterfaceAddresses(row.output), {}), row.addresses);
  }
}

TEST(BindAddresses, AllOrTheWildcardOrSelected) {
  const std::vector<uint32_t> available = ParseInterfaceAddresses(
      "inet 127.0.0.1 inet 10.1.2.3 inet 10.1.2.3 inet 10.9.0.5 inet 1.1.1.1");
  const struct {
    const char* name;
    LoadedSettings settings;
    Texts addresses;
  } rows[] = {
      {"all",
       {.binding_list = "1.1.1.1/1.1.1.1"},
       {"127.0.0.1", "10.1.2.3", "10.9.0.5", "1.1.1.1"}},
      {"wildcard",
       {.binding_list = "10.0.0.0/255.0.0.0", .bind_to_wildcard = true},
       {"127.0.0.1", "*"}},
      {"in the order of the first entries that match",
       {.bind_to_selected = true,
        .binding_list =
            "127.0.0.0/255.0.0.0;10.9.0.0/255.255.0.0;10.0.0.0/255.0.0.0;1.0.0.0/255.0.0.0;"
            "10.1.0.0/255.255.0.0;10.9.0.0/255.255.0.0;",
        .bind_to_wildcard = true},
       {"127.0.0.1", "10.9.0.5", "10.1.2.3", "1.1.1.1"}},
      {"entry without a mask",
       {.bind_to_selected = true, .binding_list = "10.1.2.3"},
       {"127.0.0.1"}},
      {"three numbers",
       {.bind_to_selected = true, .binding_list = "10.0.0/255.0.0.0;10.0.0.0/255.0.0"},
       {"127.0.0.1"}},
      {"slash alone",
       {.bind_to_selected = true, .binding_list = ";/;;10.9.0.7/255.255.0.0"},
       {"127.0.0.1", "10.9.0.5"}},
      {"networks of zeros",
       {.bind_to_selected = true, .binding_list = "9.9.9.9/0.0.0.0;9.9.0.9/0.0.255.0"},
       {"127.0.0.1"}},
      {"loose numbers",
       {.bind_to_selected = true, .binding_list = " 266. 1.2.3x/ 255.255.255.255/7"},
       {"127.0.0.1", "10.1.2.3"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(SelectBindAddresses(available, row.settings), row.addresses);
  }
}

TEST(BindAddresses, OfTheMachine) {
  OnFreshMachine([] {
    char list[] = "10.0.0.0/255.0.0.0;;";
    EXPECT_EQ(BindList(0, 0, list), Texts()) << "no interface is up";
    EXPECT_EQ(BindList(1, 0, list), Texts{"127.0.0.1"});
    EXPECT_STREQ(list, "10.0.0.0/255.0.0.0;;") << "nothing to select from";
    ASSERT_EQ(std::system("/sbin/ip link set lo up && /sbin/ip addr add 10.1.2.3/8 dev lo"), 0);
    EXPECT_EQ(BindList(0, 0, list), (Texts{"127.0.0.1", "10.1.2.3"}));
    EXPECT_EQ(BindList(1, 0, nullptr), Texts{"127.0.0.1"});
    EXPECT_EQ(BindList(1, 1, list), (Texts{"127.0.0.1", "10.1.2.3"}));
    EXPECT_EQ(std::string(list, sizeof list), std::string("10.0.0.0/255.0.0.0\0\0\0", sizeof list));
    ASSERT_EQ(mount("/dev/null", "/sbin/ip", "none", MS_BIND, nullptr), 0);
    EXPECT_EQ(BindList(0, 0, list), Texts()) << "no command";
    EXPECT_EQ(BindList(0, 1, list), (Texts{"127.0.0.1", "*"}));
  });
}

TEST(InterfaceAddresses, InALongOutputUpToAZeroByte) {
  std::string output = "inet6 fe80::1/64\ninet 127.0.0.1/8 " + std::string(9000, 'y') + "\n";
  for (int number = 0; number < 300; ++number) {
    output += "inet 0.1.2.3/8\ninet 10.0.0." + std::to_string(number % 256) + "/8\n";
  }
  OnFreshMachine([&] {
    RecordIpOutput(output + std::string("\0inet 10.0.0.3/8", 16));
    char* text = nullptr;
    EXPECT_EQ(getIFConf(&text), 0);
    EXPECT_EQ(MallocOwner<char>(text).get(), output);
    uint32_t* found = nullptr;
    ASSERT_EQ(OSFindAvailableIPs(&found), 601);
    const MallocOwner<uint32_t> addresses(found);
    EXPECT_EQ(found[600], inet_addr("10.0.0.43"));
    EXPECT_EQ(found[601], 0U) << "the array's end";
    EXPECT_EQ(OSGetHostByName(nullptr), nullptr);
    GlobalIpAddrCount = 0;
    EXPECT_EQ(OSGetHostByName("192.168.7.7")->h_addr_list, BaseAddrList);
    EXPECT_EQ(GlobalIpAddrCount, 255);
    EXPECT_EQ(std::string(BaseAddrList[0], 4), std::string("\x0a\0\0\0", 4));
    EXPECT_EQ(std::string(BaseAddrList[254], 4), std::string("\x0a\0\0\xfe", 4));
    EXPECT_EQ(std::string(OSGetHostByName("192.168.7.7")->h_addr_list[0], 4), "\xc0\xa8\x07\x07")
        << "the resolver's own list";
  });
}

}  // namespace qvx::test
