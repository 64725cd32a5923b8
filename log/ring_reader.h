// Reading the log's ring in the order of time.
//
// The records from the header's offset on are older than those in front of it, and the first of
// them is usually cut. A writer appends its record at the offset before it moves the header, so a
// reader may meet a record that the header does not cover yet, in the place of an old one. It
// begins exactly at the offset and is no older than the newest one that is covered, so it is left
// out until the header covers it. So is a record that a killed writer has left there. In a ring
// that was written within one second, an oldest record that is whole is left out, too.
#ifndef QVX_LOG_RING_READER_H
#define QVX_LOG_RING_READER_H

#include <cstddef>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace qvx {

struct RingRecord {
  int severity;
  time_t time;          ///< local time of the heading; -1 when it is no time
  std::string message;  ///< without the line feeds at its end
  size_t offset;        ///< in the file
};

/// Returns the whole records of a log's content, the oldest first. What is not behind a heading is
/// left out. The cost is linear in the content. Throws std::bad_alloc.
std::vector<RingRecord> RecordsInOrder(std::string_view content);

}  // namespace qvx

#endif
