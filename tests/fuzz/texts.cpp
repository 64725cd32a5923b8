// The helpers for texts and paths, beside the standard library.
#include <strings.h>

#include <array>
#include <vector>

#include "os/directories.h"
#include "os/paths.h"
#include "os/strings.h"
#include "support/mbs.h"
#include "tests/fuzz/input.h"
#include "webconf/server_conf.h"

namespace qvx::test {
namespace {

int Sign(int number) {
  return (number > 0 ? 1 : 0) - (number < 0 ? 1 : 0);
}

void CheckComparisons(const std::string& a, const std::string& b, int count) {
  Require(Sign(stricmp(a.c_str(), b.c_str())) == Sign(strcasecmp(a.c_str(), b.c_str())));
  if (a.size() == b.size()) {
    const auto length = static_cast<size_t>(std::max(count, 0));
    Require(Sign(strnicmp(a.c_str(), b.c_str(), count)) ==
            Sign(strncasecmp(a.c_str(), b.c_str(), length)));
  }
  Require(strnicmp(a.c_str(), a.c_str(), count) == 0);
}

void CheckPaths(const std::string& path) {
  std::array<char, kPathCapacity> parts[4];
  uint32_t sizes[4] = {kPathCapacity, kPathCapacity, kPathCapacity, kPathCapacity};
  if (OSSplitPath(path.c_str(), parts[0].data(), &sizes[0], parts[1].data(), &sizes[1],
                  parts[2].data(), &sizes[2], parts[3].data(), &sizes[3]) == 1) {
    std::string whole;
    for (const auto& part : parts) {
      whole += part.data();
    }
    Require(whole == path);
  }
  GetDirFile(path.c_str(), parts[0].data(), parts[1].data());
  if (path.size() < kPathCapacity) {
    const std::string joined = std::string(parts[0].data()) + "/" + parts[1].data();
    Require(joined == (path.find('/') == std::string::npos ? "./" + path : path));
  }
  if (_fullpath(parts[0].data(), path.c_str(), kPathCapacity) != nullptr && path[0] == '/') {
    Require(parts[0].data() == path);
  }
}

void CheckReplacement(const std::string& text, const std::string& from, const std::string& to) {
  if (from.empty() || text.size() >= kConfLineCapacity) {
    return;
  }
  std::string expected;
  size_t start = 0;
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, start)) {
    expected.append(text, start, at - start).append(to);
    start = at + from.size();
  }
  expected.append(text, start);
  std::array<char, kConfLineCapacity> line{};
  text.copy(line.data(), text.size());
  const int32_t result = ConfReplaceStrs(line.data(), from.c_str(), to.c_str());
  const bool is_replaced =
      text.find(from) != std::string::npos && expected.size() < kConfLineCapacity;
  Require(result == (is_replaced ? 1 : 0) && line.data() == (is_replaced ? expected : text));
}

/// Arguments are pieces of the line, in its order, and nothing but delimiters goes.
void CheckArguments(std::string line) {
  const std::string before = line;
  std::vector<char*> arguments(line.size() + 2);
  const int count = strcnargcn(line.data(), arguments.data(), ";,", 0, '#', 0);
  Require(count >= 0 && static_cast<size_t>(count) <= line.size() + 1);
  for (size_t i = 0; i + 1 < static_cast<size_t>(count); ++i) {
    Require(arguments[i] >= line.data() && arguments[i + 1] > arguments[i]);
  }
  for (size_t i = 0; i < line.size(); ++i) {
    Require(line[i] == before[i] || (line[i] == '\0' && (before[i] == ';' || before[i] == ',')));
  }
}

void CheckMultibyte(const std::string& text) {
  if (!IsAscii(text.data(), text.size())) {
    return;
  }
  Require(mbssize(text.c_str()) == static_cast<int>(text.size()));
  Require(mbslen(text.c_str()) == static_cast<int>(text.size()));
  Require(mbsoff(text.c_str(), static_cast<int32_t>(text.size())) == text.c_str() + text.size());
  char* copy = mbsdup(text.c_str());
  Require(copy == text);
  std::free(copy);
}

}  // namespace

void Check(Input input) {
  const auto count = static_cast<int>(input.Take<int8_t>());
  const std::string first = input.Text();
  const std::string second = input.Text();
  const std::string third = input.Text();
  CheckComparisons(first, second, count);
  CheckPaths(first);
  CheckReplacement(first, second, third);
  CheckArguments(first);
  CheckMultibyte(first);
}

}  // namespace qvx::test
