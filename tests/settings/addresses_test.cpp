#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "settings/bind_addresses.h"
#include "settings/interface_addresses.h"
#include "settings/record.h"
#include "support/malloc_owner.h"
#include "tests/settings/fresh_machine.h"

namespace qvx::test {

namespace {

using Texts = std::vector<std::string>;

std::string Dotted(uint32_t address) {
  char text[INET_ADDRSTRLEN];
  return inet_ntop(AF_INET, &address, text, sizeof text);
}

Texts Dotted(const std::vector<uint32_t>& addresses) {
  Texts texts;
  std::transform(addresses.begin(), addresses.end(), std::back_inserter(texts),
                 [](uint32_t address) { return Dotted(address); });
  return texts;
}

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
      {"usual output",
       "  inet 127.0.0.1/8 lo\n  inet6 ::1/128\n  inet 10.1.2.3/8 brd 10.255.255.255\n"
       "  inet 192.168.1.5",
       {"127.0.0.1", "10.1.2.3", "192.168.1.5"}},
      {"no output", "", {}},
      {"peer and nothing behind the last word",
       "inet 10.0.0.2 peer 10.0.0.3/8\ninet 10.0.0.1/8\ninet ",
       {"10.0.0.2", "10.0.0.1"}},
      {"addresses that are left out",
       "inet 0.0.0.0/0\ninet 255.255.255.255/32\ninet 10.0.0.1/8",
       {"10.0.0.1"}},
      {"address on a later line",
       "inet peer\n  more\n  inet 10.0.0.2 x\ninet 10.0.0.3",
       {"10.0.0.2", "10.0.0.3"}},
      {"word right behind an address",
       "inet 1.2.3.4inet 5.6.7.8 inet 9.9.9.9",
       {"1.2.3.4", "9.9.9.9"}},
      {"runs of more than 15 characters",
       "inet 100.100.100.1009 inet 1.2.3.4.....................",
       {"100.100.100.100"}},
      {"runs that are no address", "inet 1.2.3.4.5 inet 256.1.1.1", {}},
      {"short form", "inet 10.1", {"10.0.0.1"}},
      {"bytes above 127", "inet \xff\x80 7.7.7.7\xff inet", {"7.7.7.7"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Dotted(ParseInterfaceAddresses(row.output)), row.addresses);
  }
}

TEST(BindAddresses, SelectedByAList) {
  const std::vector<uint32_t> available =
      ParseInterfaceAddresses("inet 127.0.0.1 inet 10.1.2.3 inet 10.1.2.3 inet 192.168.1.5");
  const struct {
    const char* name;
    const char* list;
    Texts addresses;
  } rows[] = {
      {"in the order of the entries",
       "127.0.0.0/255.0.0.0;192.168.1.0/255.255.255.0;10.0.0.0/255.0.0.0;",
       {"127.0.0.1", "192.168.1.5", "10.1.2.3"}},
      {"by the first entry that matches",
       "10.1.0.0/255.255.0.0;0.0.0.1/0.0.0.1;10.0.0.0/255.0.0.0",
       {"127.0.0.1", "10.1.2.3", "192.168.1.5"}},
      {"no list", "", {"127.0.0.1"}},
      {"entry without a mask", "10.1.2.3", {"127.0.0.1"}},
      {"three numbers", "10.0.0/255.0.0.0;10.0.0.0/255.0.0", {"127.0.0.1"}},
      {"slash alone between empty entries",
       ";/;;192.168.1.9/255.255.255.0",
       {"127.0.0.1", "192.168.1.5"}},
      {"network of zeros", "10.0.0.0/0.0.0.0", {"127.0.0.1"}},
      {"blanks, low bytes of numbers and text behind them",
       " 266. 1.2.3x/ 255.255.255.255/7",
       {"127.0.0.1", "10.1.2.3"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(SelectBindAddresses(available, {true, true, row.list}), row.addresses);
  }
}

TEST(BindAddresses, AllOrTheWildcard) {
  const std::vector<uint32_t> available =
      ParseInterfaceAddresses("inet 10.1.2.3 inet 10.0.0.1 inet 10.1.2.3");
  const std::string_view list = "10.0.0.0/255.255.255.0";
  EXPECT_EQ(SelectBindAddresses(available, {false, false, list}), (Texts{"10.1.2.3", "10.0.0.1"}));
  EXPECT_EQ(SelectBindAddresses(available, {false, true, list}), (Texts{"127.0.0.1", "*"}));
}

TEST(BindAddresses, SelectionIsThatOfAWalkThroughEveryEntry) {
  std::mt19937 random(2381);
  const auto part = [&] { return std::to_string(random() % 4); };
  const auto address = [&] { return "10." + part() + "." + part() + "." + part(); };
  const char* masks[] = {"255.255.255.255", "255.255.255.0", "255.255.0.0", "0.0.0.3", "0.3.3.3"};
  for (int round = 0; round < 200; ++round) {
    std::vector<uint32_t> available;
    std::string list;
    std::vector<std::pair<uint32_t, uint32_t>> networks;
    for (int i = 0; i < 20; ++i) {
      available.push_back(inet_addr(address().c_str()));
      const std::string network = address();
      const char* mask = masks[random() % 5];
      list.append(network).append("/").append(mask).append(";");
      networks.emplace_back(inet_addr(network.c_str()) & inet_addr(mask), inet_addr(mask));
    }
    Texts walked = {"127.0.0.1"};
    for (const auto& [network, mask] : networks) {
      for (const uint32_t candidate : available) {
        const std::string text = Dotted(candidate);
        if (network != 0 && (candidate & mask) == network &&
            std::find(walked.begin(), walked.end(), text) == walked.end()) {
          walked.push_back(text);
        }
      }
    }
    ASSERT_EQ(SelectBindAddresses(available, {true, false, list}), walked) << list;
  }
}

TEST(BindAddresses, OfTheMachine) {
  OnFreshMachine([] {
    char list[] = "10.0.0.0/255.0.0.0;;";
    EXPECT_EQ(BindList(0, 0, list), Texts()) << "no interface is up";
    EXPECT_EQ(BindList(1, 0, list), Texts{"127.0.0.1"});
    EXPECT_STREQ(list, "10.0.0.0/255.0.0.0;;") << "nothing to select from";
    ASSERT_EQ(std::system("/sbin/ip link set lo up && /sbin/ip addr add 10.1.2.3/8 dev lo"), 0);
    const Texts both = {"127.0.0.1", "10.1.2.3"};
    EXPECT_EQ(BindList(0, 0, list), both);
    EXPECT_EQ(BindList(1, 0, nullptr), Texts{"127.0.0.1"});
    EXPECT_EQ(BindList(1, 1, list), both);
    EXPECT_EQ(std::string(list, sizeof list), std::string("10.0.0.0/255.0.0.0\0\0\0", sizeof list));
  });
}

TEST(BindAddresses, OfAMachineWithoutTheCommand) {
  OnFreshMachine([] {
    ASSERT_EQ(mount("/dev/null", "/sbin/ip", "none", MS_BIND, nullptr), 0);
    char list[] = "10.0.0.0/255.0.0.0";
    EXPECT_EQ(BindList(0, 0, list), Texts());
    EXPECT_EQ(BindList(1, 0, list), Texts{"127.0.0.1"});
    EXPECT_EQ(BindList(0, 1, list), (Texts{"127.0.0.1", "*"}));
  });
}

TEST(InterfaceAddresses, ArrayEndsWithZero) {
  OnFreshMachine([] {
    RecordIpOutput("inet 127.0.0.1/8 inet 10.1.2.3/8");
    uint32_t* holder = nullptr;
    ASSERT_EQ(OSFindAvailableIPs(&holder), 2);
    const MallocOwner<uint32_t> addresses(holder);
    EXPECT_EQ(Dotted(holder[1]), "10.1.2.3");
    EXPECT_EQ(holder[2], 0U);
  });
}

TEST(InterfaceAddresses, LongLinesAndAZeroByteInTheOutput) {
  const std::string text =
      std::string(77, 'x') + "inet 127.0.0.1/8 " + std::string(9000, 'y') + "\n";
  OnFreshMachine([&] {
    RecordIpOutput(text + std::string("\0inet 10.0.0.3/8", 16));
    char* holder = nullptr;
    EXPECT_EQ(getIFConf(&holder), 0);
    EXPECT_EQ(MallocOwner<char>(holder).get(), text);
  });
}

TEST(InterfaceAddresses, CacheOfNamesHolds255) {
  std::string output = "inet 127.0.0.1/8\ninet6 fe80::1/64\n";
  for (int number = 0; number < 300; ++number) {
    output += "inet 0.1.2.3/8\ninet 10.0.0." + std::to_string(number % 256) + "/8\n";
  }
  OnFreshMachine([&] {
    RecordIpOutput(output);
    EXPECT_EQ(OSGetHostByName("192.168.7.7")->h_addr_list, BaseAddrList);
    EXPECT_EQ(GlobalIpAddrCount, 255);
    EXPECT_EQ(std::string(BaseAddrList[0], 4), std::string("\x0a\0\0\0", 4));
    EXPECT_EQ(std::string(BaseAddrList[254], 4), std::string("\x0a\0\0\xfe", 4));
    EXPECT_EQ(std::string(OSGetHostByName("192.168.7.7")->h_addr_list[0], 4), "\xc0\xa8\x07\x07")
        << "the resolver's own list";
  });
}

}  // namespace qvx::test
