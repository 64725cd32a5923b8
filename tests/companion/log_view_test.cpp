#include "companion/log_view.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "log/ring_log.h"
#include "tests/harness/installation.h"

namespace qvx::test {
namespace {

using companion::LogReader;

TEST(LogView, SeveritiesAndTimes) {
  EXPECT_EQ(companion::SeverityFrom("2"), 2);
  EXPECT_EQ(companion::SeverityFrom("crit"), 3);
  EXPECT_EQ(companion::SeverityFrom("Error"), 2);
  EXPECT_EQ(companion::SeverityFrom("4"), std::nullopt);
  EXPECT_EQ(companion::SeverityFrom(""), std::nullopt);
  const Variable zone("TZ", "UTC");
  constexpr time_t kNow = 1795611600;  // 2026-11-25 13:00:00
  constexpr time_t kHour = 3600;
  EXPECT_EQ(companion::TimeFrom("2026-11-25", kNow), kNow - 13 * kHour);
  EXPECT_EQ(companion::TimeFrom("2026-11-25 12:30", kNow), kNow - 1800);
  EXPECT_EQ(companion::TimeFrom("2026-11-25T12:30:05", kNow), kNow - 1795);
  EXPECT_EQ(companion::TimeFrom("12:00", kNow), kNow - kHour);
  EXPECT_EQ(companion::TimeFrom("90s", kNow), kNow - 90);
  EXPECT_EQ(companion::TimeFrom("2h", kNow), kNow - 2 * kHour);
  EXPECT_EQ(companion::TimeFrom("3d", kNow), kNow - 72 * kHour);
  for (const char* text : {"3", "yesterday", "12:00x"}) {
    EXPECT_EQ(companion::TimeFrom(text, kNow), std::nullopt) << text;
  }
}

std::string Messages(const std::vector<RingRecord>& records) {
  std::string text;
  for (const RingRecord& record : records) {
    text.append(record.message).append(" ");
  }
  return text;
}

TEST(LogView, ReaderGivesEachRecordOnce) {
  const Installation installation;
  SetupLogsAndDebug(nullptr);
  LogReader reader({kLogWarning, 0});
  EXPECT_EQ(companion::LogSnapshot(), std::nullopt);
  LogOutput(kLogError, "one");
  LogOutput(kLogInformation, "two");
  EXPECT_EQ(Messages(reader.NewRecords(*companion::LogSnapshot())), "one ");
  EXPECT_EQ(Messages(reader.NewRecords(*companion::LogSnapshot())), "");
  LogOutput(kLogCritical, "three");
  EXPECT_EQ(Messages(reader.NewRecords(*companion::LogSnapshot())), "three ");
  LogReader later({0, std::time(nullptr) + 3600});
  EXPECT_EQ(Messages(later.NewRecords(*companion::LogSnapshot())), "");
}

TEST(LogView, RecordCannotCommandTheTerminal) {
  const struct {
    const char* name;
    std::string message, shown, json;
  } rows[] = {
      {"text", "aä€😀", "aä€😀", R"(a\u00e4\u20ac\ud83d\ude00)"},
      {"control", "a\033[2J\x7f", R"(a\x1b[2J\x7f)", R"(a\u001b[2J\u007f)"},
      {"C1 control", "\u009b1", R"(\xc2\x9b1)", R"(\u009b1)"},
      {"right to left", "\u202ea\u061c\u2067", R"(\xe2\x80\xaea\xd8\x9c\xe2\x81\xa7)",
       R"(\u202ea\u061c\u2067)"},
      {"line of its own", "\u2028", R"(\xe2\x80\xa8)", R"(\u2028)"},
      {"overlong", "\xe0\x80\x9b\xc0\x8a", R"(\xe0\x80\x9b\xc0\x8a)", Repeated(R"(\ufffd)", 5)},
      {"surrogate", "\xed\xa0\x80", R"(\xed\xa0\x80)", Repeated(R"(\ufffd)", 3)},
      {"too high", "\xf4\x90\x80\x80", R"(\xf4\x90\x80\x80)", Repeated(R"(\ufffd)", 4)},
      {"no UTF-8", "\xff\xc3", R"(\xff\xc3)", R"(\ufffd\ufffd)"},
      {"lines", "a\nb", "a\n" + std::string(33, ' ') + "b", R"(a\nb)"},
  };
  const Variable zone("TZ", "UTC");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const RingRecord record{kLogError, 1795611600, row.message, 9};
    EXPECT_EQ(RecordLine(record, companion::Page(false)),
              "2026-11-25 13:00:00 ERROR        " + row.shown + "\n");
    EXPECT_EQ(companion::RecordAsJsonLine(record),
              R"({"time":"2026-11-25 13:00:00","severity":2,"name":"ERROR LOG","message":")" +
                  row.json + "\"}\n");
  }
}

#ifndef __SANITIZE_ADDRESS__  // which needs an address space without limit
TEST(LogView, LogWithoutEndIsReadAsFarAsALogGoes) {
  const Installation installation;
  SetupLogsAndDebug(nullptr);
  LogOutput(kLogError, "one");
  std::filesystem::resize_file(installation.base() / "logs/qvx.log", uint64_t{64} << 30);
  EXPECT_EQ(std::system("(ulimit -v 1000000; timeout 60 \"" QVX_COMPANION
                        "\" log | grep -q 'ERROR  *one')"),
            0);
}
#endif

/// Waits for a line of the program that follows the log.
TEST(LogView, ProgramFollowsTheLog) {
  const Installation installation;
  SetupLogsAndDebug(nullptr);
  LogOutput(kLogError, "before");
  std::FILE* stream = popen("exec timeout 60 \"" QVX_COMPANION "\" log --follow", "r");
  char line[200] = "";
  EXPECT_NE(std::fgets(line, sizeof line, stream), nullptr);
  EXPECT_NE(std::string(line).find("ERROR        before\n"), std::string::npos);
  LogOutput(kLogCritical, "after");
  EXPECT_NE(std::fgets(line, sizeof line, stream), nullptr);
  EXPECT_NE(std::string(line).find("CRITICAL     after\n"), std::string::npos);
  EXPECT_EQ(pclose(stream), 0);  // the program ends when nobody reads
}

}  // namespace
}  // namespace qvx::test
