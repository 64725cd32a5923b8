#include "webconf/access_rules.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <sstream>

#include "os/host.h"
#include "support/malloc_owner.h"

namespace qvx::test {

TEST(AccessRules, AddressesOfOneEntry) {
  const struct {
    const char* name;
    const char* start;
    const char* end;  // null: a single address
    int32_t result;
    std::string addresses;
  } rows[] = {
      {"single address", "10.0.0.5", nullptr, 0, " 10.0.0.5"},
      {"end left out", "10.0.0.5", "", 0, " 10.0.0.5"},
      {"no address at all", "no.address # at all", nullptr, 0, " no.address # at all"},
      {"one whole block", "192.168.1.0", "192.168.1.255", 0, " 192.168.1.0/24"},
      {"from odd to odd", "10.0.0.1", "10.0.0.6", 0,
       " 10.0.0.1 10.0.0.2/31 10.0.0.4/31 10.0.0.6/32"},
      {"block that ends alone", "10.1.2.3", "10.1.2.8", 0, " 10.1.2.3 10.1.2.4/30 10.1.2.8/32"},
      {"equal ends, as the end is written", "10.0.0.5", "0xA000005", 0, " 0xA000005"},
      {"everything", "0.0.0.0", "255.255.255.255", 0, " all"},
      {"lowest address", "0.0.0.0", "0.0.0.0", 0, " 0.0.0.0"},
      {"two lowest addresses", "0.0.0.0", "0.0.0.1", 0, " 0.0.0.1 0.0.0.0"},
      {"from the lowest address", "0.0.0.0", "0.0.0.3", 0, " 0.0.0.1 0.0.0.2/31 0.0.0.0"},
      {"end that is no address", "255.255.255.252", "nowhere", 0,
       " 255.255.255.252/31 255.255.255.254/32 255.255.255.255"},
      {"end with a dash that is no address", "255.255.255.254", "no-where", 0,
       " 255.255.255.254 255.255.255.255"},
      {"highest address", "255.255.255.255", "255.255.255.255", 1, ""},
      {"highest address and none", "255.255.255.255", "nowhere", 1, ""},
      {"start that is no address", "10.0.0.0.0", "10.0.0.9", 1, ""},
      {"neither is an address", "nobody", "nowhere", 1, ""},
      {"reversed", "10.0.0.0", "9.0.0.0", 1, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    char* directives = strdup("deny from");
    EXPECT_EQ(CreateIPAddrRestrictionStr(1, &directives, row.start, row.end), row.result);
    EXPECT_EQ(MallocOwner<char>(directives).get(), "deny from" + row.addresses + "\n");
    std::string entry = row.start;
    entry.append(row.end == nullptr ? "" : "-").append(row.end == nullptr ? "" : row.end);
    EXPECT_EQ(AccessDirectives("", entry), "allow from all\ndeny from" + row.addresses + "\n");
  }
}

TEST(AccessRules, TextOfDirectivesMayBeMissing) {
  char* directives = nullptr;
  EXPECT_EQ(CreateIPAddrRestrictionStr(1, &directives, "10.0.0.5", nullptr), 0);
  EXPECT_STREQ(MallocOwner<char>(directives).get(), " 10.0.0.5\n");
}

TEST(AccessRules, DirectivesForTwoLists) {
  const std::string longest = "100.100.100.100-100.100.100.100";
  const struct {
    const char* name;
    std::string include;
    std::string exclude;
    std::string directives;
  } rows[] = {
      {"empty lists", "", "", "allow from all\n"},
      {"excluded alone", "", "10.0.0.0-10.0.0.255;2-1",
       "allow from all\ndeny from 10.0.0.0/24\ndeny from\n"},
      {"empty entries", ";a;;b;", ";c;;",
       "allow from 127.0.0.1\nallow from a\nallow from b\ndeny from c\n"},
      {"separators alone", ";;", ";", "allow from 127.0.0.1\n"},
      {"longest entry", longest, "", "allow from 127.0.0.1\nallow from 100.100.100.100\n"},
      {"included entry that is too long", longest + "0", "", "allow from 127.0.0.1\n"},
      {"excluded entry that is too long", "", "b;" + longest + "0",
       "allow from all\ndeny from b\ndeny from all\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(AccessDirectives(row.include, row.exclude), row.directives);
  }
}

TEST(AccessRules, PublicFunctionCutsItsLists) {
  char include[] = "10.0.0.1-10.0.0.1;b";
  char exclude[] = "c;d";
  EXPECT_STREQ(MallocOwner<char>(GenerateAccessDirectiveStr(include, exclude)).get(),
               "allow from 127.0.0.1\nallow from 10.0.0.1\nallow from b\ndeny from c\n"
               "deny from d\n");
  EXPECT_STREQ(include, "10.0.0.1");
  EXPECT_STREQ(exclude, "c");
  EXPECT_STREQ(MallocOwner<char>(GenerateAccessDirectiveStr(nullptr, nullptr)).get(),
               "allow from all\n");
}

TEST(AccessRules, AnyRangeIsCoveredExactlyByTheFewestBlocks) {
  const uint32_t bases[] = {0, 0x0A000000, 0x7FFFFFE0, 0xC0A80170, 0xFFFFFFC0};
  std::mt19937 random(2301);
  const auto address = [&] { return static_cast<uint32_t>(bases[random() % 5] + random() % 64); };
  for (int i = 0; i < 5000; ++i) {
    const auto [first, last] = std::minmax({address(), address()});
    std::string entry = OSInt_to_Address(first);
    entry.append("-").append(OSInt_to_Address(last));
    SCOPED_TRACE(entry);
    const std::string directives = AccessDirectives("", entry);
    std::istringstream words(directives.substr(sizeof "allow from all\ndeny from" - 1));
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
      ASSERT_EQ(block, next);
      ASSERT_EQ(block % size, 0U);
      ASSERT_FALSE(is_half) << block;
      next += size;
      size_before = size;
    }
    ASSERT_EQ(next, uint64_t{last} + 1);
  }
}

}  // namespace qvx::test
