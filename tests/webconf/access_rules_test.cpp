#include "webconf/access_rules.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/malloc_owner.h"
#include "tests/harness/allocator.h"

namespace qvx::test {
namespace {

/// What an entry adds to a directive. Without an address it is the line feed, and the result 1. A
/// null `end` is a single address.
std::string Added(const char* start, const char* end) {
  char* directives = strdup("deny from");
  const int32_t result = CreateIPAddrRestrictionStr(1, &directives, start, end);
  const std::string line = MallocOwner<char>(directives).get();
  EXPECT_EQ(result, line == "deny from\n" ? 1 : 0);
  const std::string entry = start + (end == nullptr ? "" : "-" + std::string(end));
  EXPECT_EQ(AccessDirectives("", entry), "allow from all\n" + line);
  return line.substr(strlen("deny from"));
}

// That the blocks of a range are its addresses is seen by the fuzz target of the restriction.
TEST(AccessRules, AddressesOfOneEntry) {
  EXPECT_EQ(Added("no.address # at all", nullptr), " no.address # at all\n");
  EXPECT_EQ(Added("10.0.0.5", ""), " 10.0.0.5\n");
  EXPECT_EQ(Added("192.168.1.0", "192.168.1.255"), " 192.168.1.0/24\n");
  EXPECT_EQ(Added("10.1.2.3", "10.1.3.200"),
            " 10.1.2.3 10.1.2.4/30 10.1.2.8/29 10.1.2.16/28 10.1.2.32/27 10.1.2.64/26"
            " 10.1.2.128/25 10.1.3.0/25 10.1.3.128/26 10.1.3.192/29 10.1.3.200/32\n");
  EXPECT_EQ(Added("10.0.0.5", "0xA000005"), " 0xA000005\n") << "as the end is written";
  EXPECT_EQ(Added("0.0.0.0", "255.255.255.255"), " all\n");
  EXPECT_EQ(Added("0.0.0.0", "0.0.0.1"), " 0.0.0.1 0.0.0.0\n");
  EXPECT_EQ(Added("255.255.255.254", "no-where"), " 255.255.255.254 255.255.255.255\n");
  EXPECT_EQ(Added("255.255.255.255", "255.255.255.255"), "\n");
  EXPECT_EQ(Added("10.0.0.0.0", "10.0.0.9"), "\n");
  EXPECT_EQ(Added("10.0.0.0", "9.0.0.0"), "\n");
}

TEST(AccessRules, DirectivesForTwoLists) {
  const std::string longest = "100.100.100.100-100.100.100.100";
  const std::string loopback = "allow from 127.0.0.1\n";
  EXPECT_EQ(AccessDirectives("", "10.0.0.0-10.0.0.255;2-1;" + longest + "0"),
            "allow from all\ndeny from 10.0.0.0/24\ndeny from\ndeny from all\n");
  EXPECT_EQ(AccessDirectives(";a;;b;", ";c;;"),
            loopback + "allow from a\nallow from b\ndeny from c\n");
  EXPECT_EQ(AccessDirectives(";;", ";"), loopback);
  EXPECT_EQ(AccessDirectives(longest + ";" + longest + "0", ""),
            loopback + "allow from 100.100.100.100\n");
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

/// A caller who asks again gets the rules for all that he has listed.
TEST(AccessRules, NothingIsLostWhenMemoryRunsOut) {
  bool has_failed = true;
  for (int calls = 0; has_failed; ++calls) {
    SCOPED_TRACE(calls);
    char* directives = strdup("deny from");
    FailAllocation(calls);
    const int32_t result = CreateIPAddrRestrictionStr(1, &directives, "10.0.0.0", "10.0.2.0");
    has_failed = HasFailedAllocation();
    EXPECT_EQ(result, has_failed ? -1 : 0);
    EXPECT_STREQ(MallocOwner<char>(directives).get(),
                 has_failed ? "deny from" : "deny from 10.0.0.0/23 10.0.2.0/32\n");
  }
  has_failed = true;
  for (int calls = 0; has_failed; ++calls) {
    SCOPED_TRACE(calls);
    char include[] = "a;b";
    char exclude[] = "c;d";
    FailAllocation(calls);
    const MallocOwner<char> directives(GenerateAccessDirectiveStr(include, exclude));
    has_failed = HasFailedAllocation();
    EXPECT_EQ(directives == nullptr, has_failed);
    EXPECT_STREQ(include, has_failed ? "a;b" : "a");
    EXPECT_STREQ(exclude, has_failed ? "c;d" : "c");
  }
}

}  // namespace
}  // namespace qvx::test
