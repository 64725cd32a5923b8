#include "webconf/access_rules.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <sstream>

#include "os/host.h"
#include "support/malloc_owner.h"

namespace {

std::string Directives(std::string include, std::string exclude) {
  return qvx::MallocOwner<char>(GenerateAccessDirectiveStr(include.data(), exclude.data())).get();
}

// Entries and the addresses that they become, one after the other.
constexpr char kEntries[] =
    R"(255.255.255.252-nowhere => 255.255.255.252/31 255.255.255.254/32 255.255.255.255;
0.0.0.0-0.0.0.3 => 0.0.0.1 0.0.0.2/31 0.0.0.0;255.255.255.255-255.255.255.255 =>;10.0.0.0.0-10.0.0.9 =>;
255.255.255.254-no-where => 255.255.255.254 255.255.255.255;10.1.2.3-10.1.2.8 => 10.1.2.3 10.1.2.4/30 10.1.2.8/32;
192.168.1.0-192.168.1.255 => 192.168.1.0/24;no.address # at all => no.address # at all;0.0.0.0-255.255.255.255 => all;
0.0.0.0-0.0.0.1 => 0.0.0.1 0.0.0.0;10.0.0.5-0xA000005 => 0xA000005;255.255.255.255-nowhere =>;
0.0.0.0-0.0.0.0 => 0.0.0.0;10.0.0.5- => 10.0.0.5;10.0.0.5 => 10.0.0.5;10.0.0.0-9.0.0.0 =>;nobody-nowhere =>)";

}  // namespace

TEST(AccessRules, EntryTable) {
  std::istringstream rows(kEntries);
  for (std::string row; std::getline(rows >> std::ws, row, ';');) {
    SCOPED_TRACE(row);
    const std::string entry = row.substr(0, row.find(" =>"));
    const std::string addresses = row.substr(entry.size() + sizeof " =>" - 1) + "\n";
    EXPECT_EQ("allow from 127.0.0.1\nallow from" + addresses, Directives(entry, ""));
  }
}

TEST(AccessRules, ListTable) {
  const std::string longest = "100.100.100.100-100.100.100.100";
  const std::string rows[][3] = {
      {"", "10.0.0.0-10.0.0.255;2-1", "allow from all\ndeny from 10.0.0.0/24\ndeny from\n"},
      {";a;;b;", ";c;;", "allow from 127.0.0.1\nallow from a\nallow from b\ndeny from c\n"},
      {";;", ";", "allow from 127.0.0.1\n"},
      {longest, "", "allow from 127.0.0.1\nallow from 100.100.100.100\n"},
      {longest + "0", "b;" + longest + "0", "allow from 127.0.0.1\ndeny from b\ndeny from all\n"}};
  for (const auto& [include, exclude, text] : rows) {
    EXPECT_EQ(text, Directives(include, exclude)) << include;
  }
  EXPECT_STREQ("allow from all\n",
               qvx::MallocOwner<char>(GenerateAccessDirectiveStr(nullptr, nullptr)).get());
}

TEST(AccessRules, AnyRangeIsCoveredExactlyByTheFewestBlocks) {
  const uint32_t bases[] = {0, 0x0A000000, 0x7FFFFFE0, 0xC0A80170, 0xFFFFFFC0};
  std::mt19937 random(2301);
  const auto address = [&] { return static_cast<uint32_t>(bases[random() % 5] + random() % 64); };
  for (int i = 0; i < 5000; ++i) {
    const auto [first, last] = std::minmax({address(), address()});
    std::string entry = OSInt_to_Address(first);
    entry.append("-").append(OSInt_to_Address(last));
    std::istringstream words(Directives("", entry).substr(sizeof "allow from all\ndeny from" - 1));
    std::map<uint64_t, uint64_t> sizes;
    for (std::string word; words >> word;) {
      const std::string block = word.substr(0, word.find('/'));
      const int prefix = block == word ? 32 : std::stoi(word.substr(block.size() + 1));
      sizes[OSntohl(inet_addr(block.c_str()))] = uint64_t{1} << (32 - prefix);
    }
    uint64_t next = first;
    uint64_t size_before = 0;
    for (const auto& [block, size] : sizes) {
      // Two halves of a block would be one entry too many; only the ends of the address space
      // always stand alone.
      const bool is_half =
          size == size_before && block % (2 * size) == size && block != 1 && block != 0xFFFFFFFF;
      ASSERT_TRUE(block == next && block % size == 0 && !is_half) << entry;
      next += size_before = size;
    }
    ASSERT_TRUE(next == uint64_t{last} + 1) << entry;
  }
}
