#include "support/mbs.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <cerrno>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "support/msgno.h"
#include "support/timestamp.h"

// Stands in for the C library's, so that the clock can fail.
static bool clock_fails = false;
extern "C" int gettimeofday(timeval* now, void* /*zone*/) noexcept {
  errno = EFAULT;
  *now = {1234567890, 987654};
  return clock_fails ? -1 : 0;
}

namespace {

using Text = std::unique_ptr<char, decltype(&std::free)>;
constexpr size_t kNoLimit = SIZE_MAX;

struct Row {
  const char* locale;
  std::string text;
  size_t bytes;
  int32_t count;
  int size, length, offset, width;
};

const std::string kLong(1000, 'a');
const std::string kWide = "\xe4\xb8\xad";  // two columns
const std::string kMark = "e\xcc\x81x";    // its second character has no column

const Row kRows[] = {
    {"C", "", kNoLimit, -1, 0, 0, 0, 0},
    {"C", "abcd", kNoLimit, 2, 2, 2, 2, 2},
    {"C", "abc", kNoLimit, 0, 0, 0, 0, 0},
    {"C", "abcdefghijkl", 9, -1, 9, 9, 9, 9},
    {"C", "\nx\t\x7f", kNoLimit, -1, 4, 4, 4, -1},
    {"C", "x\n", kNoLimit, 1, 1, 1, 1, 1},
    {"C", kLong + "\x80", kNoLimit, -1, -1, -1, -1, -1},
    {"C", kLong + "\x80", kNoLimit, 1000, 1000, 1000, 1000, 1000},
    {"C.UTF-8", "a" + kWide + "b", kNoLimit, -1, 5, 4, 5, 4},
    {"C.UTF-8", "a" + kWide + "b", kNoLimit, 2, 1, 1, 4, 1},
    {"C.UTF-8", "a" + kWide, 3, -1, 1, 1, 1, 1},
    {"C.UTF-8", "a\xe4\xb8", kNoLimit, -1, -1, -1, -1, -1},
    {"C.UTF-8", kMark, kNoLimit, -1, 4, 2, 4, 2},
    {"C.UTF-8", kLong + kWide + kLong, kNoLimit, 1004, 1005, 1004, 1006, 1004},
};

TEST(MultibyteStrings, MeasuredAndCut) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.locale + (": " + row.text));
    ASSERT_NE(nullptr, std::setlocale(LC_CTYPE, row.locale));
    const Text exact(strdup(row.text.c_str()), std::free);  // so that a reading past the NUL shows
    const char* text = exact.get();
    EXPECT_EQ(row.size, mbsnsize(text, row.bytes, row.count));
    EXPECT_EQ(row.length, mbsnlen(text, row.bytes, row.count));
    EXPECT_EQ(row.width, mbswidth(text, row.bytes, row.count));
    const bool fails = row.size < 0;
    EXPECT_EQ(fails ? nullptr : text + row.offset, mbsnoff(text, row.count, row.bytes));
    EXPECT_EQ(fails ? nullptr : text + row.size, mbssub(text, row.bytes, row.count));
    const Text copy(mbsndup(text, row.bytes, row.count), std::free);
    ASSERT_EQ(fails, copy == nullptr);
    EXPECT_EQ(fails ? "" : row.text.substr(0, static_cast<size_t>(row.size)), fails ? "" : copy.get());
  }
  std::setlocale(LC_CTYPE, "C");
}

TEST(MultibyteStrings, ShortFormsAndSearch) {
  const char* text = "a\nbcd";
  EXPECT_EQ(5, mbssize(text));
  EXPECT_EQ(5, mbslen(text));
  EXPECT_EQ(text + 3, mbsoff(text, 3));
  EXPECT_EQ(text + 3, mbschr(text, L'c'));
  EXPECT_EQ(nullptr, mbsnchr(text, kNoLimit, 3, L'c'));
  EXPECT_EQ(text + 3, mbsnchr(text, 4, 4, L'c'));
}

void ExpectTrace(const std::string& tail) {
  EXPECT_TRUE(std::string(_msgno_buf).ends_with(tail + "\n")) << _msgno_buf;
}

TEST(MultibyteStrings, FailuresAreTraced) {
  EXPECT_EQ(nullptr, mbsdup("ab\xff"));
  EXPECT_EQ(EILSEQ, errno);
  EXPECT_NE(nullptr,
            std::strstr(_msgno_buf, ":mbsnsize: Invalid or incomplete multibyte or wide character\n  src/mbs.cpp:"));
  ExpectTrace(":mbsndup: ");
  EXPECT_EQ(nullptr, mbsdup(nullptr));
  EXPECT_EQ(EINVAL, errno);
  ExpectTrace(":mbsndup: Invalid argument");
  EXPECT_EQ(nullptr, mbschr("ab\xff", L'x'));
  ExpectTrace(":mbsnchr: Invalid or incomplete multibyte or wide character");
}

TEST(Timestamp, MillisecondsOrOne) {
  EXPECT_EQ(1234567890987U, timestamp());
  clock_fails = true;
  EXPECT_EQ(1U, timestamp());
  clock_fails = false;
  EXPECT_EQ(EFAULT, _exception);
  ExpectTrace(":timestamp: Bad address");
}

}  // namespace
