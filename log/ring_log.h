// The launcher's log: one file of bounded size.
//
// Bytes 0 to 8 of the file are a header: eight upper-case hexadecimal digits and a line feed. The
// number is the offset behind the newest record, where the next one goes. The file grows until a
// record ends beyond byte 200000. That record is completed, the file is cut right behind it, and
// the next record starts at byte 9, over the oldest ones. So the file never exceeds 200000 bytes by
// more than one record. Records of the previous cycle may stand behind the header's offset, the
// first of them cut. A header that is no number, 0 or beyond the limit starts a new cycle.
//
// The file is opened and closed for each record, so it may be moved away at any time.
#ifndef QVX_LOG_RING_LOG_H
#define QVX_LOG_RING_LOG_H

#include <cstdarg>
#include <cstdint>

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

/// Held as writer for the length of each record. The launcher makes it, in its own pool; while it
/// is null nothing is locked.
extern apr_thread_rwlock_t* rwlock_log_file;

/// Builds the two paths, switches every debug category off and reads the debug settings file.
/// `pool` is not used.
void SetupLogsAndDebug(apr_pool_t* pool);

/// Appends one record: a heading with the severity and the local time, then the formatted message
/// as it stands. Returns the characters of the message; -1 when the record could not be written (no
/// log path yet, the file cannot be opened, the disk is full: the next record then takes its place)
/// or `severity` is not 0 to 3.
[[gnu::format(printf, 2, 3)]] int LogOutput(int severity, const char* format, ...);

/// As LogOutput, without taking the lock.
[[gnu::format(printf, 2, 0)]] int VLogOutput(int severity, const char* format, va_list arguments);

#endif
