#include "log/ring_log.h"

#include <apr_thread_rwlock.h>
#include <apr_time.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "log/debug_categories.h"
#include "os/bounded_copy.h"
#include "os/file_lock.h"
#include "os/file_replacement.h"
#include "os/files.h"
#include "os/protection.h"

const LogType logType[4] = {
    {"INFORMATION LOG", kLogInformation},
    {"WARNING LOG", kLogWarning},
    {"ERROR LOG", kLogError},
    {"CRITICAL ERROR LOG", kLogCritical},
};

char QvxLogFile[kPathCapacity] = "";
char DebugIniFile[kPathCapacity] = "";
int64_t MaximumLogFileSize = 200000;
apr_thread_rwlock_t* rwlock_log_file = nullptr;

namespace qvx {

namespace {

constexpr char kLogName[] = "/logs/qvx.log";

void SetPath(std::string_view tail, char* path) {
  CopyBounded(WritablePath(tail), path, kPathCapacity);
  OSFileAffinity(path);
}

struct LogUnlocker {
  void operator()(apr_thread_rwlock_t* lock) const { apr_thread_rwlock_unlock(lock); }
};
using LogLock = std::unique_ptr<apr_thread_rwlock_t, LogUnlocker>;

LogLock LockLog() {
  const bool locked =
      rwlock_log_file != nullptr && apr_thread_rwlock_wrlock(rwlock_log_file) == APR_SUCCESS;
  return LogLock(locked ? rwlock_log_file : nullptr);
}

/// The service account can sit on the lock of its log, so all records of a run share this wait.
std::chrono::milliseconds patience(1000);

/// Opens the log for update and creates it when it is missing. The new file belongs to the service
/// account from the start, so a launcher that is killed on the way leaves no log that the account
/// cannot use. It may leave the log with a second name, for which the log is refused.
Descriptor OpenLog() {
  Descriptor file = OpenDescriptor(QvxLogFile, O_RDWR);
  const int error = file ? 0 : errno;
  if (error != ENOENT && error != ELOOP) {
    return file;
  }
  RemoveLeftovers(QvxLogFile);
  if (error == ENOENT && FileReplacement(QvxLogFile, ServiceFile()).CommitNew()) {
    OsProtectLogFile(QvxLogFile);
  }
  return OpenDescriptor(QvxLogFile, O_RDWR);
}

uint64_t ReadHeader(const Descriptor& file) {
  char header[kLogHeaderSize] = "";
  const ssize_t count = pread(file.get(), header, sizeof header, 0);
  return NextRecordOffset({header, count < 0 ? 0 : static_cast<size_t>(count)});
}

void WriteHeader(const Descriptor& file, uint64_t offset) {
  char header[kLogHeaderSize + 1];
  std::snprintf(header, sizeof header, "%08X\n", static_cast<unsigned>(offset));
  WriteAll(file, {header, kLogHeaderSize}, 0);
}

/// Returns where the next record begins, behind a new header when a new cycle starts.
uint64_t PlaceOfNextRecord(const Descriptor& file) {
  const uint64_t offset = ReadHeader(file);
  if (offset == 0) {
    WriteHeader(file, kLogHeaderSize);
    return kLogHeaderSize;
  }
  return offset;
}

std::string Heading(const LogType& type) {
  char time[APR_CTIME_LEN] = "";
  apr_ctime(time, apr_time_now());
  std::string heading = "\n\n";
  heading.append(type.name).append(" (severity=").append(std::to_string(type.severity));
  return heading.append(")  ").append(time).append("\n");
}

/// Appends the message. Returns its characters, or -1 when it cannot be formatted.
[[gnu::format(printf, 2, 0)]] int AppendMessage(std::string& record, const char* format,
                                                va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  // A false alarm when one run reads several files.
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
  const int count = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (count > 0) {
    const size_t begin = record.size();
    record.resize(begin + static_cast<size_t>(count));
    std::vsnprintf(record.data() + begin, static_cast<size_t>(count) + 1, format, arguments);
  }
  return count;
}

/// Writes the record, and moves the header behind it when it has been written. A record that
/// crosses the limit ends the file.
bool WriteRecord(const Descriptor& file, std::string_view record) {
  const uint64_t begin = PlaceOfNextRecord(file);
  const uint64_t end = begin + record.size();
  if (!WriteAll(file, record, static_cast<off_t>(begin))) {
    return false;
  }
  if (end > static_cast<uint64_t>(MaximumLogFileSize)) {
    chsize(file.get(), static_cast<int64_t>(end));
  }
  WriteHeader(file, end);
  return true;
}

[[gnu::format(printf, 2, 0)]] int AppendRecord(int severity, const char* format,
                                               va_list arguments) {
  const Descriptor file = OpenLog();
  if (!file) {
    return -1;
  }
  const FileLock lock(file, patience);
  std::string record = Heading(logType[severity]);
  const int count = AppendMessage(record, format, arguments);
  return WriteRecord(file, record) ? count : -1;
}

}  // namespace

std::string LogFilePath() {
  char path[kPathCapacity] = "";
  SetPath(kLogName, path);
  return path;
}

uint64_t NextRecordOffset(std::string_view content) {
  if (content.size() < kLogHeaderSize) {
    return 0;
  }
  const uint64_t offset =
      std::strtoull(std::string(content.substr(0, kLogHeaderSize)).c_str(), nullptr, 16);
  return offset > static_cast<uint64_t>(MaximumLogFileSize) ? 0 : offset;
}

}  // namespace qvx

void SetupLogsAndDebug(apr_pool_t* /*pool*/) {
  try {
    qvx::SetPath(qvx::kLogName, QvxLogFile);
    qvx::SetPath("/conf/debug.ini", DebugIniFile);
  } catch (const std::bad_alloc&) {
    return;
  }
  qvx::ReadDebugCategories(DebugIniFile);
}

int LogOutput(int severity, const char* format, ...) {
  const qvx::LogLock lock = qvx::LockLog();
  va_list arguments;
  va_start(arguments, format);
  const int count = VLogOutput(severity, format, arguments);
  va_end(arguments);
  return count;
}

int VLogOutput(int severity, const char* format, va_list arguments) {
  const bool is_known = severity >= kLogInformation && severity <= kLogCritical;
  if (QvxLogFile[0] == '\0' || !is_known || format == nullptr) {
    return -1;
  }
  try {
    return qvx::AppendRecord(severity, format, arguments);
  } catch (const std::bad_alloc&) {
    return -1;
  }
}
