#include "companion/log_view.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <nlohmann/json.hpp>

#include "companion/installation.h"
#include "log/ring_log.h"
#include "os/strings.h"

namespace qvx::companion {

namespace {

constexpr int kMostReadings = 20;
constexpr size_t kMostLog = 1 << 20;  // the ring has 200000 bytes and one record
constexpr Colour kColours[] = {Colour::kPlain, Colour::kYellow, Colour::kRed, Colour::kRed};

std::string DateOf(time_t time) {
  char text[32] = "";
  std::tm parts{};
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", localtime_r(&time, &parts));
  return text;
}

/// Reads a whole text by a format. What the format leaves out stays as it is.
bool ReadTime(const std::string& text, const char* format, std::tm& parts) {
  const char* end = strptime(text.c_str(), format, &parts);
  return end != nullptr && *end == '\0';
}

std::optional<time_t> AgoFrom(std::string_view text, time_t now) {
  constexpr std::pair<char, time_t> kUnits[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}};
  uint32_t count = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, count);
  for (const auto& [unit, seconds] : kUnits) {
    if (error == std::errc() && end - rest == 1 && *rest == unit) {
      return now - count * seconds;
    }
  }
  return std::nullopt;
}

bool IsSame(const RingRecord& a, const RingRecord& b) {
  return a.offset == b.offset && a.time == b.time && a.message == b.message;
}

}  // namespace

std::optional<int> SeverityFrom(std::string_view text) {
  for (const LogType& type : logType) {
    const std::string name = type.name;
    const bool is_name =
        !text.empty() && text.size() <= name.size() &&
        strnicmp(std::string(text).c_str(), name.c_str(), static_cast<int>(text.size())) == 0;
    if (is_name || text == std::to_string(type.severity)) {
      return type.severity;
    }
  }
  return std::nullopt;
}

std::optional<time_t> TimeFrom(const std::string& text, time_t now) {
  if (const auto ago = AgoFrom(text, now)) {
    return ago;
  }
  for (const char* format : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%d",
                             "%H:%M:%S", "%H:%M"}) {
    std::tm parts{};
    localtime_r(&now, &parts);
    parts.tm_hour = parts.tm_min = parts.tm_sec = 0;
    parts.tm_isdst = -1;
    if (ReadTime(text, format, parts)) {
      return std::mktime(&parts);
    }
  }
  return std::nullopt;
}

std::optional<std::string> LogSnapshot() {
  std::optional<std::string> content = ReadStart(LogFilePath(), kMostLog);
  for (int i = 0; content && i < kMostReadings; ++i) {
    std::optional<std::string> again = ReadStart(LogFilePath(), kMostLog);
    if (again == content) {
      break;
    }
    content = std::move(again);
  }
  return content;
}

std::vector<RingRecord> LogReader::NewRecords(std::string_view content) {
  std::vector<RingRecord> records = RecordsInOrder(content);
  const auto given =
      std::find_if(records.rbegin(), records.rend(),
                   [this](const RingRecord& record) { return last_ && IsSame(record, *last_); });
  records.erase(records.begin(), given.base());  // nothing when the last one is gone
  if (!records.empty()) {
    last_ = records.back();
  }
  std::erase_if(records, [this](const RingRecord& record) {
    return record.severity < selection_.severity || record.time < selection_.since;
  });
  return records;
}

std::string RecordLine(const RingRecord& record, const Page& page) {
  constexpr size_t kWidth = 12;
  const std::string_view type = logType[record.severity].name;
  std::string name(type.substr(0, type.find(' ')));
  name.resize(kWidth, ' ');
  const std::string indent(sizeof "2026-11-25 14:30:05 " + kWidth, ' ');
  std::string text =
      DateOf(record.time) + " " + page.Painted(kColours[record.severity], name) + " ";
  for (size_t start = 0, end = 0; end != std::string::npos; start = end + 1) {
    end = record.message.find('\n', start);
    text +=
        (start == 0 ? "" : indent) + Printable(record.message.substr(start, end - start)) + "\n";
  }
  return text;
}

std::string RecordAsJsonLine(const RingRecord& record) {
  const nlohmann::ordered_json json = {{"time", DateOf(record.time)},
                                       {"severity", record.severity},
                                       {"name", logType[record.severity].name},
                                       {"message", record.message}};
  return JsonText(json, -1);
}

}  // namespace qvx::companion
