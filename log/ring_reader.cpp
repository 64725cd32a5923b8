#include "log/ring_reader.h"

#include <algorithm>
#include <iterator>

#include "log/ring_log.h"

namespace qvx {

namespace {

constexpr std::string_view kStart = "\n\n";
constexpr size_t kTimeSize = 24;

struct Heading {
  int severity;
  time_t time;
  size_t size;
};

time_t TimeFrom(std::string_view text) {
  std::tm parts{};
  parts.tm_isdst = -1;
  const std::string terminated(text);
  const char* end = strptime(terminated.c_str(), "%a %b %d %H:%M:%S %Y", &parts);
  return end == nullptr || *end != '\0' ? -1 : std::mktime(&parts);
}

/// Returns a heading of size 0 when `text` does not begin with one.
Heading HeadingAt(std::string_view text) {
  for (const LogType& type : logType) {
    const std::string start =
        std::string(kStart) + type.name + " (severity=" + std::to_string(type.severity) + ")  ";
    const size_t size = start.size() + kTimeSize + 1;
    if (text.starts_with(start) && text.size() >= size && text[size - 1] == '\n') {
      return {type.severity, TimeFrom(text.substr(start.size(), kTimeSize)), size};
    }
  }
  return {0, -1, 0};
}

/// Returns the place of the next heading from `start` on, or the end of the text.
size_t FindHeading(std::string_view text, size_t start) {
  for (size_t found = text.find(kStart, start); found != std::string_view::npos;
       found = text.find(kStart, found + 1)) {
    if (HeadingAt(text.substr(found)).size > 0) {
      return found;
    }
  }
  return text.size();
}

std::string Message(std::string_view text) {
  return std::string(text.substr(0, text.find_last_not_of('\n') + 1));
}

/// Returns the records of one part of the ring. `offset` is that of the part.
std::vector<RingRecord> RecordsOf(std::string_view text, size_t offset) {
  std::vector<RingRecord> records;
  for (size_t start = FindHeading(text, 0); start < text.size();) {
    const Heading heading = HeadingAt(text.substr(start));
    const size_t message = start + heading.size;
    const size_t end = FindHeading(text, message);
    records.push_back({heading.severity, heading.time, Message(text.substr(message, end - message)),
                       offset + start});
    start = end;
  }
  return records;
}

}  // namespace

std::vector<RingRecord> RecordsInOrder(std::string_view content) {
  const uint64_t header = NextRecordOffset(content);
  const size_t begin = std::min(kLogHeaderSize, content.size());
  const size_t next = std::clamp<size_t>(header, begin, content.size());
  std::vector<RingRecord> newer = RecordsOf(content.substr(begin, next - begin), begin);
  std::vector<RingRecord> records = RecordsOf(content.substr(next), next);
  if (!records.empty() && records.front().offset == header) {
    const RingRecord& newest = newer.empty() ? records.back() : newer.back();
    if (records.front().time >= newest.time) {
      records.erase(records.begin());
    }
  }
  std::move(newer.begin(), newer.end(), std::back_inserter(records));
  return records;
}

}  // namespace qvx
