#include <apr_general.h>
#include <apr_thread_rwlock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "log/debug_categories.h"
#include "log/ring_log.h"
#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

constexpr size_t kHeading = 51;  // characters of the heading of an error record
constexpr size_t kLimit = 200000;

std::string Header(size_t offset) {
  char header[10];
  std::snprintf(header, sizeof(header), "%08zX\n", offset);
  return header;
}

/// What a log of `content` is after a record with `message` at `offset`, written at `time`.
std::string WithRecord(std::string content, size_t offset, const std::string& message,
                       time_t time) {
  char heading[kHeading + 1];
  std::strftime(heading, sizeof(heading), "\n\nERROR LOG (severity=2)  %a %b %d %H:%M:%S %Y\n",
                std::localtime(&time));
  const size_t end = offset + kHeading + message.size();
  content.resize(std::max(content.size(), end));
  content.replace(offset, end - offset, heading + message).replace(0, 9, Header(end));
  return content.substr(0, end > kLimit ? end : content.size());
}

void ExpectRecord(const std::string& content, size_t offset, size_t length) {
  const std::string message(length, 'm');
  WriteText(QvxLogFile, content);
  const time_t before = std::time(nullptr);
  EXPECT_EQ(LogOutput(kLogError, "%s", message.c_str()), static_cast<int>(length));
  const auto actual = Contents(QvxLogFile);
  EXPECT_TRUE(actual == WithRecord(content, offset, message, before) ||
              actual == WithRecord(content, offset, message, std::time(nullptr)))
      << content.substr(0, 9) << offset;
}

TEST(RingLog, RecordGoesWhereHeaderSays) {
  const Installation installation;
  SetupLogsAndDebug(nullptr);
  const std::string old(kLimit + 500, '.');
  for (const std::string& unusable :
       {std::string(9, '\0'), Header(0), Header(kLimit + 1), std::string("-0000001\n"),
        std::string("100000010"), std::string("qvx log \n")}) {
    ExpectRecord(unusable + old, 9, 4);
  }
  ExpectRecord("", 9, 4);
  ExpectRecord("0000001F", 9, 4);
  ExpectRecord(" 0x1f qvx" + old, 31, 4);
  ExpectRecord(Header(5) + old, 5, 0);
  ExpectRecord(Header(999), 999, 4);
  ExpectRecord(Header(kLimit), kLimit, 4);
  ExpectRecord(Header(kLimit - kHeading - 4) + old, kLimit - kHeading - 4, 4);
  ExpectRecord(Header(kLimit - kHeading - 4) + old, kLimit - kHeading - 4, 5);
  ExpectRecord(Header(9) + old, 9, kLimit);
}

TEST(RingLog, NewFileIsProtectedAndUnusableOneRefused) {
  const Installation installation;
  const std::string owner = ServiceOwner();
  QvxLogFile[0] = '\0';
  EXPECT_EQ(LogOutput(kLogError, "early"), -1);
  const Variable variable("SYSMGTZX_WRITE_DIR", installation.base().string() + "\\");
  SetupLogsAndDebug(nullptr);
  EXPECT_EQ(QvxLogFile, installation.base().string() + "//logs/qvx.log");
  EXPECT_EQ(LogOutput(-1, "none") + LogOutput(4, "none"), -2);
  EXPECT_EQ(LogOutput(kLogCritical, "%d%%\n", 7), 3);
  EXPECT_TRUE(ModeOf(QvxLogFile) == 0660 && OwnerOf(QvxLogFile) == owner);
  const std::string log = Contents(QvxLogFile).value();
  EXPECT_EQ(log.substr(0, 44) + log.substr(68),
            Header(log.size()) + "\n\nCRITICAL ERROR LOG (severity=3)  \n7%\n");
  EXPECT_EQ(unlink(QvxLogFile) | mkfifo(QvxLogFile, 0600), 0);
  EXPECT_EQ(LogOutput(kLogError, "pipe"), -1);
  std::filesystem::remove_all(installation.base() / "logs");
  EXPECT_EQ(LogOutput(kLogError, "no directory"), -1);
}

TEST(RingLog, RecordWaitsForLock) {
  const int status = RunIsolated(0, [] {
    apr_pool_t* pool = nullptr;
    EXPECT_EQ(apr_initialize() | apr_pool_create(&pool, nullptr), APR_SUCCESS);
    apr_thread_rwlock_create(&rwlock_log_file, pool);
    LogOutput(kLogError, "free, and free again afterwards");
    apr_thread_rwlock_tryrdlock(rwlock_log_file) == APR_SUCCESS ? ualarm(100'000, 0) : 0;
    return LogOutput(kLogError, "waits for the reader, until the alarm");
  });
  EXPECT_EQ(status, 128 + SIGALRM);
}

TEST(DebugCategories, LinesFlipThem) {
  const Installation installation;
  const std::string all =
      "qvx_startup\nqvx_config\nqvx_aa\nqvx_bc\nqvx_ui\nqvx_help\nqvx_sso\nqvx_elm\n";
  std::string some = "QVX_Config\nqvx_a\nqvx_star\n qvx_bc\n\nqvx_bc\nqvx_bc, too\n";
  some.append(79, 'x').append("qvx_sso\n").append(78, 'x').append("qvx_help\n");
  some.append("qvx_u\0qvx_bc\nqvx_elm", 20);
  for (const auto& [text, categories] : {std::pair(all, 0x1BFU), std::pair(some, 0x196U)}) {
    WriteText(installation.base() / "conf/debug.ini", text);
    SetupLogsAndDebug(nullptr);
    EXPECT_EQ(Categories, categories);
    EXPECT_EQ(DebugCategory(0x182) + DebugCategory(0x40), categories & 0x182);
  }
  std::filesystem::remove(DebugIniFile);
  SetupLogsAndDebug(nullptr);
  EXPECT_EQ(Categories, 0U);
}

}  // namespace
}  // namespace qvx::test
