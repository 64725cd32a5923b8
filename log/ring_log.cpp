#include "log/ring_log.h"

#include <apr_thread_rwlock.h>
#include <apr_time.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>

#include "log/debug_categories.h"
#include "os/bounded_copy.h"
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

namespace {

constexpr size_t kHeaderSize = 9;

void SetPath(std::string_view tail, char* path) {
  qvx::CopyBounded(qvx::WritablePath(tail), path, kPathCapacity);
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

/// Opens the log for update and creates it when it is missing. The new file belongs to the service
/// account from the start, so a launcher that is killed on the way leaves no log that the account
/// cannot use.
qvx::File OpenLog() {
  if (qvx::File file = qvx::OpenFile(QvxLogFile, "rb+")) {
    return file;
  }
  if (errno != ENOENT) {
    return nullptr;
  }
  qvx::RemoveLeftovers(QvxLogFile);
  if (qvx::FileReplacement(QvxLogFile, qvx::ServiceFile()).CommitNew()) {
    OsProtectLogFile(QvxLogFile);
  }
  return qvx::OpenFile(QvxLogFile, "rb+");
}

/// Returns the header's offset for the next record; 0 when there is no header.
uint64_t ReadHeader(std::FILE* file) {
  char header[kHeaderSize + 1] = "";
  return std::fread(header, 1, kHeaderSize, file) == kHeaderSize
             ? std::strtoull(header, nullptr, 16)
             : 0;
}

void WriteHeader(std::FILE* file, uint64_t offset) {
  std::rewind(file);
  std::fprintf(file, "%08X\n", static_cast<unsigned>(offset));
}

void GoToNextRecord(std::FILE* file) {
  const uint64_t offset = ReadHeader(file);
  if (offset == 0 || offset > static_cast<uint64_t>(MaximumLogFileSize)) {
    WriteHeader(file, kHeaderSize);
    return;
  }
  fseeko(file, static_cast<off_t>(offset), SEEK_SET);
}

void WriteHeading(std::FILE* file, const LogType& type) {
  char time[APR_CTIME_LEN] = "";
  apr_ctime(time, apr_time_now());
  std::fprintf(file, "\n\n%s (severity=%d)  %s\n", type.name, type.severity, time);
}

/// Moves the header behind the record when the record has been written. Returns whether it has.
bool EndRecord(std::FILE* file) {
  const off_t position = ftello(file);
  if (std::fflush(file) != 0 || std::ferror(file) != 0) {
    return false;
  }
  if (position > MaximumLogFileSize) {
    chsize(fileno(file), position);
  }
  WriteHeader(file, static_cast<uint64_t>(position));
  return true;
}

[[gnu::format(printf, 2, 0)]] int AppendRecord(int severity, const char* format,
                                               va_list arguments) {
  const qvx::File file = OpenLog();
  if (!file) {
    return -1;
  }
  GoToNextRecord(file.get());
  WriteHeading(file.get(), logType[severity]);
  // A false alarm when one run reads several files.
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
  const int count = std::vfprintf(file.get(), format, arguments);
  return EndRecord(file.get()) ? count : -1;
}

}  // namespace

void SetupLogsAndDebug(apr_pool_t* /*pool*/) {
  SetPath("/logs/qvx.log", QvxLogFile);
  SetPath("/conf/debug.ini", DebugIniFile);
  qvx::ReadDebugCategories(DebugIniFile);
}

int LogOutput(int severity, const char* format, ...) {
  const LogLock lock = LockLog();
  va_list arguments;
  va_start(arguments, format);
  const int count = VLogOutput(severity, format, arguments);
  va_end(arguments);
  return count;
}

int VLogOutput(int severity, const char* format, va_list arguments) {
  if (QvxLogFile[0] == '\0' || severity < kLogInformation || severity > kLogCritical) {
    return -1;
  }
  try {
    return AppendRecord(severity, format, arguments);
  } catch (const std::bad_alloc&) {
    return -1;
  }
}
