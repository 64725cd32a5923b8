#include "companion/log_view.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

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
  const struct {
    const char* text;
    std::optional<time_t> time;
  } rows[] = {
      {"2026-11-25", kNow - 13 * kHour},
      {"2026-11-25 12:30", kNow - 1800},
      {"2026-11-25T12:30:05", kNow - 1795},
      {"12:00", kNow - kHour},
      {"90s", kNow - 90},
      {"2h", kNow - 2 * kHour},
      {"3d", kNow - 72 * kHour},
      {"3", std::nullopt},
      {"yesterday", std::nullopt},
      {"12:00x", std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(companion::TimeFrom(row.text, kNow), row.time);
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
  EXPECT_EQ(
      Messages(LogReader({0, std::time(nullptr) + 3600}).NewRecords(*companion::LogSnapshot())),
      "");
}

TEST(LogView, RecordCannotCommandTheTerminal) {
  const struct {
    const char* name;
    std::string message;
    std::string shown;
    std::string json;
  } rows[] = {
      {"text", "a\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80", "a\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80",
       "a\\u00e4\\u20ac\\ud83d\\ude00"},
      {"control", "a\033[2J\x7f", "a\\x1b[2J\\x7f", "a\\u001b[2J\\u007f"},
      {"C1 control",
       "\xc2\x9b"
       "2J",
       "\\xc2\\x9b"
       "2J",
       "\\u009b2J"},
      {"right to left",
       "\xe2\x80\xae"
       "a\xd8\x9c\xe2\x81\xa7",
       "\\xe2\\x80\\xae"
       "a\\xd8\\x9c\\xe2\\x81\\xa7",
       "\\u202ea\\u061c\\u2067"},
      {"line of its own", "\xe2\x80\xa8", "\\xe2\\x80\\xa8", "\\u2028"},
      {"overlong", "\xe0\x80\x9b\xc0\x8a", "\\xe0\\x80\\x9b\\xc0\\x8a",
       "\\ufffd\\ufffd\\ufffd\\ufffd\\ufffd"},
      {"surrogate", "\xed\xa0\x80", "\\xed\\xa0\\x80", "\\ufffd\\ufffd\\ufffd"},
      {"too high", "\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80", "\\ufffd\\ufffd\\ufffd\\ufffd"},
      {"no UTF-8", "\xff\xc3", "\\xff\\xc3", "\\ufffd\\ufffd"},
      {"lines", "a\nb", "a\n" + std::string(33, ' ') + "b", "a\\nb"},
  };
  const Variable zone("TZ", "UTC");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const RingRecord record{kLogError, 1795611600, row.message, 9};
    EXPECT_EQ(RecordLine(record, companion::Page(false)),
              "2026-11-25 13:00:00 ERROR        " + row.shown + "\n");
    EXPECT_EQ(companion::RecordAsJsonLine(record),
              "{\"time\":\"2026-11-25 13:00:00\",\"severity\":2,\"name\":\"ERROR LOG\","
              "\"message\":\"" +
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
