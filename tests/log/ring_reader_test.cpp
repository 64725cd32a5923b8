#include "log/ring_reader.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "log/ring_log.h"
#include "tests/harness/installation.h"

namespace qvx::test {
namespace {

/// A record as it stands in the file, `second` seconds after the full minute.
std::string Record(int second, const std::string& message, const char* name = "ERROR LOG",
                   int severity = 2) {
  char time[32];
  std::snprintf(time, sizeof time, "Wed Nov 25 12:00:%02d 2026", second);
  return std::string("\n\n") + name + " (severity=" + std::to_string(severity) + ")  " + time +
         "\n" + message;
}

std::string Header(size_t offset) {
  char header[16];
  std::snprintf(header, sizeof header, "%08zX\n", offset);
  return header;
}

/// Returns the messages in the order in which they are read, each behind its severity.
std::string Read(const std::string& content) {
  std::string text;
  for (const RingRecord& record : RecordsInOrder(content)) {
    text.append(std::to_string(record.severity)).append(record.message).append("|");
  }
  return text;
}

TEST(RingReader, RecordsComeInTheOrderOfTime) {
  const std::string first = Record(1, "one\n");
  const std::string second = Record(2, "two\nlines", "CRITICAL ERROR LOG", 3);
  const std::string old = Record(0, "old");
  const std::string to_one = Header(9 + first.size()) + first;
  const std::string no_heading =
      "\n\nERROR LOG (severity=1)  Wed Nov 25 12:00:01 2026\nx\n\nERROR LOG";
  EXPECT_EQ(Read(""), "");
  EXPECT_EQ(Read(Header(9)), "");
  EXPECT_EQ(Read(Header(9 + first.size() + second.size()) + first + second), "2one|3two\nlines|");
  EXPECT_EQ(Read(to_one + "cut\n\nold" + old), "2old|2one|") << "second cycle";
  EXPECT_EQ(Read(to_one + old), "2old|2one|") << "cut exactly";
  EXPECT_EQ(Read(to_one + second + old), "2old|2one|") << "a writer before its header";
  EXPECT_EQ(Read(to_one + second), "2one|") << "the same in the first cycle";
  EXPECT_EQ(Read("garbage!\n" + first + second), "2one|3two\nlines|");
  EXPECT_EQ(Read("FFFFFFFF\n" + first), "2one|") << "a header beyond the ring";
  EXPECT_EQ(Read(Header(1000) + first), "2one|") << "a header beyond the end";
  EXPECT_EQ(Read(Header(9 + 3 * first.size()) + first + no_heading + "\n"),
            "2one\n" + no_heading + "|");
}

/// Whatever the writer leaves at each moment, the reader sees the newest records in their order.
TEST(RingReader, ReadsWhatTheLogWrites) {
  const Installation installation;
  SetupLogsAndDebug(nullptr);
  const int64_t whole_ring = MaximumLogFileSize;
  MaximumLogFileSize = 1000;
  for (int i = 100; i < 200; ++i) {
    LogOutput(i % 4, "record %d of %s", i, std::string(static_cast<size_t>(i) % 70, 'x').c_str());
    const auto records = RecordsInOrder(Contents(QvxLogFile).value_or(""));
    ASSERT_FALSE(records.empty());
    int number = i + 1 - static_cast<int>(records.size());
    for (const RingRecord& record : records) {
      EXPECT_EQ(record.severity, number % 4);
      EXPECT_EQ(record.message.substr(0, 10), "record " + std::to_string(number));
      ++number;
    }
  }
  MaximumLogFileSize = whole_ring;
}

/// Writers are killed wherever they are. What they have written is read in its order, with the
/// record that the last one was at or without it. QVX_RECORDS is the number of records, or 2000.
TEST(RingReader, KilledWritersLoseNothing) {
  const Installation installation;
  SetupLogsAndDebug(nullptr);
  const char* const wanted = std::getenv("QVX_RECORDS");
  const int count = wanted == nullptr ? 2000 : std::atoi(wanted);
  void* const shared =
      mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  const std::atomic_ref written(*static_cast<int*>(shared));
  for (int last = 0, round = 1; last < count; ++round) {
    const int until = last + round % 200;
    const pid_t writer = fork();
    if (writer == 0) {
      for (int number = last + 1;; ++number) {
        LogOutput(kLogError, "%d", number);
        written = number;
      }
    }
    while (written < until) {
      sched_yield();
    }
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
    const auto records = RecordsInOrder(Contents(QvxLogFile).value_or(""));
    int number = records.empty() ? 0 : std::stoi(records.front().message) - 1;
    for (const RingRecord& record : records) {
      ASSERT_EQ(record.message, std::to_string(++number));
    }
    ASSERT_GE(number, written);
    ASSERT_LE(number, written + 1);
    last = number;
  }
}

}  // namespace
}  // namespace qvx::test
