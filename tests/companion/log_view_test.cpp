#include "companion/log_view.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "log/ring_log.h"
#include "tests/harness/installation.h"

namespace qvx::test {
namespace {

TEST(LogView, SeveritiesAndTimes) {
  EXPECT_EQ(companion::SeverityFrom("2"), 2);
  EXPECT_EQ(companion::SeverityFrom("crit"), 3);
  EXPECT_EQ(companion::SeverityFrom("Error"), 2);
  EXPECT_EQ(companion::SeverityFrom("4"), std::nullopt);
  EXPECT_EQ(companion::SeverityFrom(""), std::nullopt);
  constexpr time_t kNow = 1795611600;  // 2026-11-25 13:00:00
  constexpr time_t kHour = 3600;
  {
    const Variable summer("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(companion::TimeFrom("2026-07-01 02:00", kNow), 1782864000);
  }
  const Variable zone("TZ", "UTC");
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

TEST(LogView, SameRecordAtTheSamePlaceIsNewWhenItIsLater) {
  companion::LogReader reader({kLogWarning, 0});
  for (const std::string second : {"5", "6"}) {
    EXPECT_EQ(reader
                  .NewRecords("00000047\n\n\nERROR LOG (severity=2)  Wed Nov 25 14:30:0" + second +
                              " 2026\nagain\n")
                  .size(),
              1U);
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
