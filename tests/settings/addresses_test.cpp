#include <arpa/inet.h>

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
  EXPECT_EQ(sizeof *gIPList, 16U);
  return {gIPList, gIPList + gVHostPairs};
}

Texts Found(std::string_view output) {
  return SelectBindAddresses(ParseInterfaceAddresses(output), {});
}

TEST(InterfaceAddresses, FromTheOutputOfTheCommand) {
  EXPECT_EQ(Found("inet6 ::1/128\n  inet 10.0.0.2/8 brd 10.0.0.3 lo\n"), Texts{"10.0.0.2"});
  EXPECT_EQ(Found("inet 10.0.0.2 peer 10.0.0.3/8\ninet "), Texts{"10.0.0.2"});
  EXPECT_EQ(Found("inet 0.0.0.0/0\ninet 255.255.255.255/32\ninet 10.0.0.1/8"), Texts{"10.0.0.1"});
  EXPECT_EQ(Found("inet a\n  inet 10.0.0.2 x\ninet 10.0.0.3"), (Texts{"10.0.0.2", "10.0.0.3"}));
  EXPECT_EQ(Found("inet 1.2.3.4inet 5.6.7.8 inet 9.9.9.9"), (Texts{"1.2.3.4", "9.9.9.9"}));
  EXPECT_EQ(Found("inet 100.100.100.1009 inet 1.2.3.4....................."),
            Texts{"100.100.100.100"});
  EXPECT_EQ(Found("inet 1.2.3.4.5 inet 256.1.1.1 inet 10.1"), Texts{"10.0.0.1"});
  EXPECT_EQ(Found("inet \xff\x80 7.7.7.7\xff inet"), Texts{"7.7.7.7"});
}

// What entries select is seen by the fuzz target of the binding.
TEST(BindAddresses, AllOrTheWildcardOrSelected) {
  const std::vector<uint32_t> available =
      ParseInterfaceAddresses("inet 127.0.0.1 inet 10.1.2.3 inet 10.1.2.3 inet 10.9.0.5");
  LoadedSettings settings;
  settings.binding_list = "10.9.0.0/255.255.0.0;10.0.0.0/255.0.0.0";
  EXPECT_EQ(SelectBindAddresses(available, settings), (Texts{"127.0.0.1", "10.1.2.3", "10.9.0.5"}));
  settings.bind_to_wildcard = true;
  EXPECT_EQ(SelectBindAddresses(available, settings), (Texts{"127.0.0.1", "*"}));
  settings.bind_to_selected = true;
  EXPECT_EQ(SelectBindAddresses(available, settings), (Texts{"127.0.0.1", "10.9.0.5", "10.1.2.3"}));
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

}  // namespace
}  // namespace qvx::test
