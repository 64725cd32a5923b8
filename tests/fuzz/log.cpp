// Records that are appended to a log of any content: the last ones can be read again, and the file
// never grows beyond its limit and one record.
#include "log/ring_log.h"

#include "log/ring_reader.h"
#include "tests/fuzz/input.h"
#include "tests/harness/installation.h"

namespace qvx::test {
namespace {

constexpr int64_t kLimit = 600;  // so small that a few records are a cycle
constexpr size_t kLongestRecord = 400;

}  // namespace

void Check(Input input) {
  static const Installation installation;
  const std::filesystem::path path = installation.base() / "logs/qvx.log";
  MaximumLogFileSize = kLimit;
  SetupLogsAndDebug(nullptr);
  const size_t records = 1 + input.Below(5);
  const size_t length = input.Below(200);
  WriteText(path, input.Rest().substr(0, kLimit));
  for (size_t i = 0; i < records; ++i) {
    const std::string message = std::to_string(i) + std::string(length, 'x');
    Require(LogOutput(static_cast<int>(i % 4), "%s", message.c_str()) ==
            static_cast<int>(message.size()));
    const std::string content = Contents(path).value();
    Require(content.size() <= kLimit + kLongestRecord);
    const uint64_t next = NextRecordOffset(content);
    Require(next == 0 || next >= kLogHeaderSize);
    Require(next > 0 ? content.substr(next - message.size(), message.size()) == message
                     : content.ends_with(message));
    RecordsInOrder(content);
  }
}

}  // namespace qvx::test
