#include <apr_general.h>
#include <apr_thread_rwlock.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <utility>

#include "log/debug_categories.h"
#include "log/ring_log.h"
#include "log/ring_reader.h"
#include "os/file_lock.h"
#include "os/files.h"
#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"
#include "tests/harness/lock.h"

namespace {

size_t most_at_once = SIZE_MAX;
size_t bytes_free = SIZE_MAX;
bool is_interrupted = false;

}  // namespace

// The linker gives this what the log writes. With a bound every other call is interrupted.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {
ssize_t __real_pwrite(int file, const void* bytes, size_t size, off_t offset);
ssize_t __wrap_pwrite(int file, const void* bytes, size_t size, off_t offset) {
  is_interrupted = most_at_once != SIZE_MAX && !is_interrupted;
  if (is_interrupted || bytes_free == 0) {
    errno = is_interrupted ? EINTR : ENOSPC;
    return -1;
  }
  const size_t taken = std::min({size, most_at_once, bytes_free});
  bytes_free -= bytes_free == SIZE_MAX ? 0 : taken;
  return __real_pwrite(file, bytes, taken, offset);
}
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace qvx::test {
namespace {

constexpr size_t kHeading = 51;  // characters of the heading of an error record
constexpr size_t kLimit = 200000;

std::string Header(size_t offset) {
  char header[10];
  std::snprintf(header, sizeof header, "%08zX\n", offset);
  return header;
}

/// A record of `length` letters that is written to a log of `content` stands at `offset`. Its time
/// is that of another test.
void ExpectRecord(std::string content, size_t offset, size_t length) {
  const std::string message(length, 'm');
  WriteText(QvxLogFile, content);
  EXPECT_EQ(LogOutput(kLogError, "%s", message.c_str()), static_cast<int>(length));
  std::string log = Contents(QvxLogFile).value_or("none");
  const std::string time(24, 't');
  log.replace(std::min(log.size(), offset + kHeading - 25), 24, time);
  const size_t end = offset + kHeading + length;
  content.resize(std::max(content.size(), end));
  content.replace(offset, end - offset, "\n\nERROR LOG (severity=2)  " + time + "\n" + message);
  content.replace(0, 9, Header(end));
  EXPECT_EQ(log, content.substr(0, end > kLimit ? end : content.size()));
}

TEST(RingLog, RecordGoesWhereHeaderSays) {
  const Installation installation;
  SetupLogsAndDebug(nullptr);
  const std::string old(kLimit + 500, '.');
  const size_t last_fit = kLimit - kHeading - 4;
  const struct {
    const char* name;
    std::string content;
    size_t offset = 9, length = 4;
  } rows[] = {
      {.name = "zero bytes", .content = std::string(9, '\0') + old},
      {.name = "0", .content = Header(0) + old},
      {.name = "beyond the limit", .content = Header(kLimit + 1) + old},
      {.name = "negative", .content = "-0000001\n" + old},
      {.name = "nine digits", .content = "100000010" + old},
      {.name = "no number", .content = "qvx log \n" + old},
      {.name = "empty file", .content = ""},
      {.name = "cut header", .content = "0000001F"},
      {.name = "another form of a number", .content = " 0x1f qvx" + old, .offset = 31},
      {.name = "in the header", .content = Header(5) + old, .offset = 5, .length = 0},
      {.name = "beyond the end", .content = Header(999), .offset = 999},
      {.name = "at the limit", .content = Header(kLimit), .offset = kLimit},
      {.name = "up to the limit", .content = Header(last_fit) + old, .offset = last_fit},
      {"beyond it", Header(last_fit) + old, last_fit, 5},
      {.name = "longer than the ring", .content = Header(9) + old, .length = kLimit},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ExpectRecord(row.content, row.offset, row.length);
  }
}

TEST(RingLog, WritesInPiecesAndNotAtAllWithoutSpace) {
  const Installation installation;
  SetupLogsAndDebug(nullptr);
  most_at_once = 7;
  ExpectRecord(Header(20) + std::string(500, '.'), 20, 100);
  most_at_once = 0;
  EXPECT_EQ(LogOutput(kLogError, "no progress"), -1);
  most_at_once = SIZE_MAX;
  bytes_free = 30;
  EXPECT_EQ(LogOutput(kLogError, "cut"), -1);
  EXPECT_EQ(Contents(QvxLogFile)->substr(0, 9), Header(20 + kHeading + 100));
  WriteText(QvxLogFile, "");
  bytes_free = 9;
  EXPECT_EQ(LogOutput(kLogError, "cut"), -1);
  bytes_free = SIZE_MAX;
  EXPECT_EQ(Contents(QvxLogFile), Header(9));
}

TEST(RingLog, NewFileIsProtected) {
  const Installation installation;
  const std::string owner = ServiceOwner();
  const Variable variable("SYSMGTZX_WRITE_DIR", installation.base().string() + "\\");
  const auto leftover = installation.base() / "logs/.qvx.log.4194305.new";
  WriteText(leftover, "");
  SetupLogsAndDebug(nullptr);
  EXPECT_EQ(QvxLogFile, installation.base().string() + "//logs/qvx.log");
  const auto now = std::chrono::system_clock::now;  // time(2) may be a moment behind it
  const time_t before = std::chrono::system_clock::to_time_t(now());
  EXPECT_EQ(LogOutput(kLogCritical, "%d%%\n", 7), 3);
  EXPECT_EQ(ModeOf(QvxLogFile), 0660U);
  EXPECT_EQ(OwnerOf(QvxLogFile), owner);
  std::string log = Contents(QvxLogFile).value();
  const time_t written = RecordsInOrder(log)[0].time;
  EXPECT_TRUE(written >= before && written <= std::chrono::system_clock::to_time_t(now()));
  const size_t size = log.size();
  EXPECT_EQ(log.erase(44, 24),  // the time
            Header(size) + "\n\nCRITICAL ERROR LOG (severity=3)  \n7%\n");
  EXPECT_FALSE(std::filesystem::exists(leftover));
}

TEST(RingLog, NothingIsWrittenWithoutAUsableFile) {
  const Installation installation;
  QvxLogFile[0] = '\0';
  EXPECT_EQ(LogOutput(kLogError, "early"), -1);
  SetupLogsAndDebug(nullptr);
  EXPECT_EQ(LogOutput(-1, "no severity"), -1);
  EXPECT_EQ(LogOutput(4, "no severity"), -1);
  int (*const log)(int, const char*, ...) = LogOutput;
  EXPECT_EQ(log(kLogError, nullptr), -1);
  EXPECT_EQ(Contents(QvxLogFile), std::nullopt);
  EXPECT_EQ(mkfifo(QvxLogFile, 0600), 0);
  EXPECT_EQ(LogOutput(kLogError, "pipe"), -1);
  std::filesystem::remove_all(installation.base() / "logs");
  EXPECT_EQ(LogOutput(kLogError, "no directory"), -1);
}

// A link from a directory in which the account may make names is refused, so the log was, too.
TEST(RingLog, SecondNameOfAKilledRunIsRemoved) {
  const Installation installation;
  const auto logs = installation.base() / "logs";
  SetupLogsAndDebug(nullptr);
  EXPECT_EQ(LogOutput(kLogError, "first"), 5);
  chmod(logs.c_str(), 0777);
  std::filesystem::create_hard_link(QvxLogFile, logs / ".qvx.log.4194305.new");
  EXPECT_EQ(LogOutput(kLogError, "second"), 6);
  EXPECT_EQ(std::filesystem::hard_link_count(QvxLogFile), 1U);
}

TEST(RingLog, RecordGoesBehindThatOfAProcessThatHadTheLock) {
  const Installation installation;
  SetupLogsAndDebug(nullptr);
  const std::string old(500, '.');
  WriteText(QvxLogFile, Header(20) + old);
  const Descriptor other = OpenDescriptor(QvxLogFile, O_RDONLY);
  ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
  when_lock_is_refused = [&] {
    WriteText(QvxLogFile, Header(60) + old);
    flock(other.get(), LOCK_UN);
  };
  EXPECT_EQ(LogOutput(kLogError, "behind"), 6);
  EXPECT_EQ(Contents(QvxLogFile)->substr(0, 9), Header(60 + kHeading + 6));
}

TEST(RingLog, LockThatSomebodySitsOnIsWaitedForOnce) {
  const Installation installation;
  SetupLogsAndDebug(nullptr);
  LogOutput(kLogError, "makes the log");
  PassIsolated(0, [] {
    const Descriptor file = OpenDescriptor(QvxLogFile, O_RDONLY);
    std::chrono::milliseconds none(0);
    const FileLock held(file, none);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(LogOutput(kLogError, "waits"), 5);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
  });
  EXPECT_EQ(RecordsInOrder(*Contents(QvxLogFile)).size(), 101U);
}

TEST(RingLog, RecordWaitsForLock) {
  const int status = RunIsolated(0, [] {
    apr_pool_t* pool = nullptr;
    EXPECT_EQ(apr_initialize(), APR_SUCCESS);
    EXPECT_EQ(apr_pool_create(&pool, nullptr), APR_SUCCESS);
    apr_thread_rwlock_create(&rwlock_log_file, pool);
    LogOutput(kLogError, "free, and free again afterwards");
    EXPECT_EQ(apr_thread_rwlock_tryrdlock(rwlock_log_file), APR_SUCCESS);
    ualarm(100'000, 0);
    return LogOutput(kLogError, "waits for the reader, until the alarm");
  });
  EXPECT_EQ(status, 128 + SIGALRM);
}

TEST(DebugCategories, LinesFlipThem) {
  const Installation installation;
  const auto categories = [&](const std::string& text) {
    WriteText(installation.base() / "conf/debug.ini", text);
    SetupLogsAndDebug(nullptr);
    return Categories;
  };
  const std::string x(78, 'x');
  EXPECT_EQ(categories("qvx_startup\nqvx_config\nqvx_aa\nqvx_bc\nqvx_ui\nqvx_help\nqvx_sso\n"
                       "qvx_elm\n"),
            0x1BFU);
  EXPECT_EQ(categories("QVX_Config\nqvx_a\n"), 0x6U);
  EXPECT_EQ(categories("qvx_star\n"), 0U);
  EXPECT_EQ(categories(" qvx_bc\n\n"), 0U);
  EXPECT_EQ(categories("qvx_bc\nqvx_bc, too\n"), 0U);
  EXPECT_EQ(categories(x + "xqvx_sso\n" + x + "qvx_help\n"), 0x80U) << "pieces of 79 characters";
  EXPECT_EQ(categories(std::string("qvx_u\0qvx_bc\nqvx_elm", 20)), 0x110U);
  EXPECT_EQ(DebugCategory(0x182), 0x100U);
  EXPECT_EQ(DebugCategory(0x40), 0U);
  EXPECT_EQ(DebugOutput(0x100, "never shown"), 0);
  std::filesystem::remove(DebugIniFile);
  SetupLogsAndDebug(nullptr);
  EXPECT_EQ(Categories, 0U);
}

}  // namespace
}  // namespace qvx::test
