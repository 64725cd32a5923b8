// The launcher's log: one file of bounded size.
//
// Bytes 0 to 8 of the file are a header: eight upper-case hexadecimal digits and a line feed. The
// number is the offset of the next record, right behind the newest one. The file grows until a
// record ends beyond byte 200000. That record is completed, the file is cut right behind it, and
// the next record starts at byte 9, over the oldest ones. So the file never exceeds 200000 bytes by
// more than one record. Records of the previous cycle may follow the header's offset, the first of
// them cut. When the header is not a number, 0 or beyond the limit, a new cycle starts.
//
// The file is opened and closed for each record, so it may be moved away at any time. Processes
// that log at once take turns by the lock of the file (os/file_lock.h). A process waits a second
// for it, in all its records together, and then writes without it.
#ifndef QVX_LOG_RING_LOG_H
#define QVX_LOG_RING_LOG_H

#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>

#include "os/directories.h"

struct apr_pool_t;
struct apr_thread_rwlock_t;

/// Severities of a record.
inline constexpr int kLogInformation = 0;
inline constexpr int kLogWarning = 1;
inline constexpr int kLogError = 2;
inline constexpr int kLogCritical = 3;

struct LogType {
  const char* name;
  int severity;
};
extern const LogType logType[4];

extern char QvxLogFile[kPathCapacity];  ///< path of the log; empty until SetupLogsAndDebug has run
extern char DebugIniFile[kPathCapacity];  ///< path of the debug settings file
extern int64_t MaximumLogFileSize;        ///< ring size in bytes: 200000

/// Held as writer for the length of each record. The launcher makes it, in its own pool. While it
/// is null, nothing is locked.
extern apr_thread_rwlock_t* rwlock_log_file;

/// Builds the two paths, switches every debug category off and reads the debug settings file.
/// `pool` is not used. When memory runs out for a path, that path and what follows stay as they
/// were.
void SetupLogsAndDebug(apr_pool_t* pool);

/// Appends one record: a heading with the severity and the local time, then the formatted message
/// without any change. Returns the characters of the message. Returns -1 when `severity` is not 0
/// to 3, when `format` is null, and when the record could not be written: there is no log path yet,
/// the file cannot be opened, or the disk is full. A record that was written in part is overwritten
/// by the next one.
[[gnu::format(printf, 2, 3)]] int LogOutput(int severity, const char* format, ...);

/// As LogOutput, without taking the lock.
[[gnu::format(printf, 2, 0)]] int VLogOutput(int severity, const char* format, va_list arguments);

namespace qvx {

/// Returns the path that SetupLogsAndDebug builds for the log, without starting the log.
std::string LogFilePath();

inline constexpr size_t kLogHeaderSize = 9;

/// Returns the offset of the next record, from the first bytes of a log; 0 when a new cycle starts.
uint64_t NextRecordOffset(std::string_view content);

}  // namespace qvx

#endif
