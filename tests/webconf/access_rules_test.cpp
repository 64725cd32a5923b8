#include "webconf/access_rules.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/malloc_owner.h"

namespace qvx::test {
namespace {

TEST(AccessRules, AddressesOfOneEntry) {
  const struct {
    const char* name;
    const char* start;
    const char* end;  // null: a single address
    int32_t result;
    std::string addresses;
  } rows[] = {
      {"no address at all", "no.address # at all", nullptr, 0, " no.address # at all"},
      {"end left out", "10.0.0.5", "", 0, " 10.0.0.5"},
      {"one whole block", "192.168.1.0", "192.168.1.255", 0, " 192.168.1.0/24"},
      {"from odd to odd", "10.0.0.1", "10.0.0.6", 0,
       " 10.0.0.1 10.0.0.2/31 10.0.0.4/31 10.0.0.6/32"},
      {"growing and shrinking", "10.1.2.3", "10.1.3.200", 0,
       " 10.1.2.3 10.1.2.4/30 10.1.2.8/29 10.1.2.16/28 10.1.2.32/27 10.1.2.64/26 10.1.2.128/25"
       " 10.1.3.0/25 10.1.3.128/26 10.1.3.192/29 10.1.3.200/32"},
      {"across the middle", "127.255.255.254", "128.0.0.0", 0, " 127.255.255.254/31 128.0.0.0/32"},
      {"equal ends, as the end is written", "10.0.0.5", "0xA000005", 0, " 0xA000005"},
      {"everything", "0.0.0.0", "255.255.255.255", 0, " all"},
      {"two lowest addresses", "0.0.0.0", "0.0.0.1", 0, " 0.0.0.1 0.0.0.0"},
      {"from the lowest address", "0.0.0.0", "10.0.0.0", 0,
       " 0.0.0.1 0.0.0.2/31 0.0.0.4/30 0.0.0.8/29 0.0.0.16/28 0.0.0.32/27 0.0.0.64/26 0.0.0.128/25"
       " 0.0.1.0/24 0.0.2.0/23 0.0.4.0/22 0.0.8.0/21 0.0.16.0/20 0.0.32.0/19 0.0.64.0/18"
       " 0.0.128.0/17 0.1.0.0/16 0.2.0.0/15 0.4.0.0/14 0.8.0.0/13 0.16.0.0/12 0.32.0.0/11"
       " 0.64.0.0/10 0.128.0.0/9 1.0.0.0/8 2.0.0.0/7 4.0.0.0/6 8.0.0.0/7 10.0.0.0/32 0.0.0.0"},
      {"end that is no address", "255.255.255.252", "nowhere", 0,
       " 255.255.255.252/31 255.255.255.254/32 255.255.255.255"},
      {"end with a dash that is no address", "255.255.255.254", "no-where", 0,
       " 255.255.255.254 255.255.255.255"},
      {"highest address", "255.255.255.255", "255.255.255.255", 1, ""},
      {"start that is no address", "10.0.0.0.0", "10.0.0.9", 1, ""},
      {"reversed", "10.0.0.0", "9.0.0.0", 1, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    char* directives = strdup("deny from");
    EXPECT_EQ(CreateIPAddrRestrictionStr(1, &directives, row.start, row.end), row.result);
    EXPECT_EQ(MallocOwner<char>(directives).get(), "deny from" + row.addresses + "\n");
    const std::string entry = row.start + (row.end == nullptr ? "" : "-" + std::string(row.end));
    EXPECT_EQ(AccessDirectives("", entry), "allow from all\ndeny from" + row.addresses + "\n");
  }
}

TEST(AccessRules, DirectivesForTwoLists) {
  const std::string longest = "100.100.100.100-100.100.100.100";
  const struct {
    const char* name;
    std::string include;
    std::string exclude;
    std::string directives;
  } rows[] = {
      {"excluded alone, the last one too long", "", "10.0.0.0-10.0.0.255;2-1;" + longest + "0",
       "allow from all\ndeny from 10.0.0.0/24\ndeny from\ndeny from all\n"},
      {"empty entries", ";a;;b;", ";c;;",
       "allow from 127.0.0.1\nallow from a\nallow from b\ndeny from c\n"},
      {"separators alone", ";;", ";", "allow from 127.0.0.1\n"},
      {"longest entry, one that is too long", longest + ";" + longest + "0", "",
       "allow from 127.0.0.1\nallow from 100.100.100.100\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(AccessDirectives(row.include, row.exclude), row.directives);
  }
}

TEST(AccessRules, ListsAreCutAndTextsMayBeMissing) {
  char include[] = "10.0.0.1-10.0.0.1;b";
  char exclude[] = "c;d";
  EXPECT_STREQ(MallocOwner<char>(GenerateAccessDirectiveStr(include, exclude)).get(),
               "allow from 127.0.0.1\nallow from 10.0.0.1\nallow from b\ndeny from c\n"
               "deny from d\n");
  EXPECT_STREQ(include, "10.0.0.1");
  EXPECT_STREQ(exclude, "c");
  EXPECT_STREQ(MallocOwner<char>(GenerateAccessDirectiveStr(nullptr, nullptr)).get(),
               "allow from all\n");
  char* directives = nullptr;
  EXPECT_EQ(CreateIPAddrRestrictionStr(1, &directives, "10.0.0.5", nullptr), 0);
  EXPECT_EQ(CreateIPAddrRestrictionStr(1, &directives, nullptr, "10.0.0.5"), 1);
  EXPECT_EQ(CreateIPAddrRestrictionStr(1, &directives, nullptr, nullptr), 1);
  EXPECT_STREQ(MallocOwner<char>(directives).get(), " 10.0.0.5\n\n\n");
}

}  // namespace
}  // namespace qvx::test
