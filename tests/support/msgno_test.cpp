#include "support/msgno.h"

#include <array>
#include <cstring>

#include "support/trace.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

TEST(Messages, RegisteringIsIdempotentAndNumbersInPlace) {
  EXPECT_EQ(msgno_add_codes(dom_codes), 0);
  EXPECT_EQ(msgno_add_codes(dom_codes), 0);
  for (const auto& [code, message] : {msgno_entry{0x20001, "The index specified was out of range"},
                                      {DOM_PARSER_ERR, "An XML parser error occured"},
                                      {0x2000F, "A filtered list cannot be modified"},
                                      {0x10000, "A parameter was NULL"},
                                      {ENOENT, std::strerror(ENOENT)},
                                      {0x20010, "No such message in msgno list"},
                                      {0x30000, "No such message in msgno list"},
                                      {0xF0001, "No such message in msgno list"},
                                      {0x100000, "No such msgno list"},
                                      {-1, "No such msgno list"}}) {
    EXPECT_STREQ(msgno_msg(code), message) << code;
  }
}

void RegisterTables() {
  msgno_add_codes(dom_codes);
  std::array<msgno_entry, 4> refused[] = {{{{1, nullptr}}},
                                          {{{5, "five"}, {0, "six"}, {6, "again"}}},
                                          {{{-1, "minus"}}},
                                          {{{65536, "beyond"}}}};
  for (auto& table : refused) {
    EXPECT_EQ(msgno_add_codes(table.data()), -1);
    EXPECT_EQ(errno, &table == &refused[0] ? EINVAL : ERANGE);
    EXPECT_EQ(next_tbl_idx, 2U);
    EXPECT_EQ(list_tbl[2].count, 0U);
  }
  EXPECT_EQ(msgno_add_codes(_builtin_codes), -1) << "the search starts behind it";
  std::array<msgno_entry, 4> accepted[14] = {{{{0, "zero"}, {7, "seven"}, {0, "eight"}}},
                                             {{{0, "zero"}, {65535, "last"}, {0, "unbounded"}}}};
  for (auto& table : accepted) {
    table[0].message = "zero";
    EXPECT_EQ(msgno_add_codes(table.data()), 0);
  }
  EXPECT_STREQ(msgno_msg(0x30000), "zero");
  EXPECT_STREQ(msgno_msg(0x30008), "eight");
  EXPECT_STREQ(msgno_msg(0xF0000), "zero");
  EXPECT_EQ(accepted[1][2].code, 0x40000 | 0x10000);
  EXPECT_EQ(msgno_add_codes(refused[3].data()), -1);
  EXPECT_EQ(errno, ERANGE);
}

// The registry is process-wide, so what changes it for good runs in a child process.
TEST(Messages, RefusedTablesLeaveTheRegistryAsItWas) {
  PassIsolated(0, RegisterTables);
}

TEST(Trace, InnermostFailureFirstAndWhatDoesNotFitIsCut) {
  const TraceSite site("src/node.cpp", "DOM_Node_appendChild");
  const std::string place = "src/node.cpp:" + std::to_string(site.line) + ":DOM_Node_appendChild: ";
  errno = E2BIG;
  TraceDetails({"src/dom.cpp", "overwritten"}, EINVAL, "%ls", L"\u4e2d");  // undecodable
  TraceDetails(site, 0x10000, "doc=NULL,nodeType=%u", 3U);
  TracePropagationDetails(site, "name=%s", "item");
  std::string expected =
      place + "A parameter was NULL: doc=NULL,nodeType=3\n  " + place + "name=item\n";
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(_msgno_buf, expected.substr(0, kTraceBufferSize - 1));
    EXPECT_EQ(_msgno_buf_idx, std::strlen(_msgno_buf));
    TracePropagation(site);
    expected += "  " + place + "\n";
  }
  EXPECT_EQ(errno, E2BIG);
}

TEST(Messages, HandlersAndTheEmptiedBuffer) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(msgno_hdlr("%d;", 1), 0);
  EXPECT_EQ(msgno_hdlr_msg("%d", 2), 0);
  EXPECT_EQ(msgno_hdlr_mno(0x10000), 0);
  EXPECT_EQ(msgno_hdlr_mnf(0x10000, "%s", "name"), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "1;2\nA parameter was NULL\nA parameter was NULL: name\n");

  Trace({"src/dom.cpp", "f"}, 0x10000);
  const std::string line = _msgno_buf;
  testing::internal::CaptureStderr();
  _msgno_printf("in %s", "file");
  EXPECT_EQ(_msgno_buf_idx, 0U);
  _msgno_printf("%s", std::string(5000, 'x').c_str());
  EXPECT_STREQ(_msgno_buf, "");
  int (*const print)(const char*, ...) = _msgno_printf;
  print(nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            line + "  in file" + std::string(kTraceBufferSize - 1, 'x'));
}

}  // namespace
}  // namespace qvx::test
