// The command "log": the records of the launcher's log.
#ifndef QVX_COMPANION_LOG_VIEW_H
#define QVX_COMPANION_LOG_VIEW_H

#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "companion/presentation.h"
#include "log/ring_reader.h"

namespace qvx::companion {

struct LogSelection {
  int severity = 0;  ///< the least
  time_t since = 0;
};

/// Returns the severity of a number or of the beginning of a name, in any case; nothing for another
/// text.
std::optional<int> SeverityFrom(std::string_view text);

/// Returns the time of "2026-11-25", with " 14:30" or " 14:30:05" behind it, of a time alone, which
/// is of today, and of "15m", "2h" or "3d", which is so long before `now`; nothing for another
/// text.
std::optional<time_t> TimeFrom(const std::string& text, time_t now);

/// Returns the content of the log, its first MiB at most. It is read until two readings are the
/// same, so that no record is seen half written. Returns nothing when there is no log.
std::optional<std::string> LogSnapshot();

/// Remembers which records have been given.
class LogReader {
 public:
  explicit LogReader(const LogSelection& selection) : selection_(selection) {}

  /// Returns the selected records of a log's content that have not been given yet.
  std::vector<RingRecord> NewRecords(std::string_view content);

 private:
  LogSelection selection_;
  std::optional<RingRecord> last_;
};

/// Returns one record as it is shown.
std::string RecordLine(const RingRecord& record, const Page& page);
std::string RecordAsJsonLine(const RingRecord& record);

}  // namespace qvx::companion

#endif
