#include "support/mbs.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <clocale>
#include <cstring>
#include <string>

#include "support/malloc_owner.h"
#include "support/msgno.h"
#include "support/timestamp.h"

namespace {

using Text = qvx::MallocOwner<char>;
constexpr size_t kNoLimit = SIZE_MAX;

const std::string kLong(1000, 'a');
const std::string kWide = "\xe4\xb8\xad";  // two columns
const std::string kMark = "e\xcc\x81x";    // its second character has no column

struct Row {
  const char* name;
  const char* locale;
  std::string text;
  size_t byte_limit;
  int32_t count_limit;
  // -1: the text cannot be decoded, or, for the width, has a character without a width.
  int size;
  int length;
  int offset;
  int width;
};

const Row kRows[] = {
    {"empty", "C", "", kNoLimit, -1, 0, 0, 0, 0},
    {"count limit", "C", "abcd", kNoLimit, 2, 2, 2, 2, 2},
    {"byte limit", "C", "abcdefghijkl", 9, -1, 9, 9, 9, 9},
    {"control characters", "C", "\nx\t\x7f", kNoLimit, -1, 4, 4, 4, -1},
    {"undecodable at the end", "C", kLong + "\x80", kNoLimit, -1, -1, -1, -1, -1},
    {"undecodable behind the limit", "C", kLong + "\x80", kNoLimit, 1000, 1000, 1000, 1000, 1000},
    {"undecodable within a word", "C", "abcd\x80" + kLong, kNoLimit, -1, -1, -1, -1, -1},
    {"undecodable within a word, behind the limit", "C", "abcd\x80" + kLong, kNoLimit, 4, 4, 4, 4,
     4},
    {"two columns", "C.UTF-8", "a" + kWide + "b", kNoLimit, -1, 5, 4, 5, 4},
    {"two columns do not fit", "C.UTF-8", "a" + kWide + "b", kNoLimit, 2, 1, 1, 4, 1},
    {"cut by the byte limit", "C.UTF-8", "a" + kWide, 3, -1, 1, 1, 1, 1},
    {"cut by the end", "C.UTF-8", "a\xe4\xb8", kNoLimit, -1, -1, -1, -1, -1},
    {"no column", "C.UTF-8", kMark, kNoLimit, -1, 4, 2, 4, 2},
    {"two columns within a word", "C.UTF-8", "abc" + kWide + kLong, kNoLimit, -1, 1006, 1005, 1006,
     1005},
    {"two columns among many", "C.UTF-8", kLong + kWide + kLong, kNoLimit, 1004, 1005, 1004, 1006,
     1004},
};

TEST(MultibyteStrings, MeasuredAndCut) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    ASSERT_NE(std::setlocale(LC_CTYPE, row.locale), nullptr);
    const Text exact(strdup(row.text.c_str()));  // so that a reading past the NUL shows
    const char* const text = exact.get();
    EXPECT_EQ(mbsnsize(text, row.byte_limit, row.count_limit), row.size);
    EXPECT_EQ(mbsnlen(text, row.byte_limit, row.count_limit), row.length);
    EXPECT_EQ(mbswidth(text, row.byte_limit, row.count_limit), row.width);
    EXPECT_EQ(mbsnoff(text, row.count_limit, row.byte_limit),
              row.offset < 0 ? nullptr : text + row.offset);
    EXPECT_EQ(mbssub(text, row.byte_limit, row.count_limit),
              row.size < 0 ? nullptr : text + row.size);
    const Text copy(mbsndup(text, row.byte_limit, row.count_limit));
    EXPECT_EQ(copy == nullptr ? "none" : std::string(copy.get()),
              row.size < 0 ? "none" : row.text.substr(0, static_cast<size_t>(row.size)));
  }
  std::setlocale(LC_CTYPE, "C");
}

TEST(MultibyteStrings, ShortFormsAndSearch) {
  const char* text = "a\nbcd";
  EXPECT_EQ(mbssize(text), 5);
  EXPECT_EQ(mbslen(text), 5);
  EXPECT_EQ(mbsoff(text, 3), text + 3);
  EXPECT_EQ(mbschr(text, L'c'), text + 3);
  EXPECT_EQ(mbsnchr(text, kNoLimit, 3, L'c'), nullptr);
  EXPECT_EQ(mbsnchr(text, 4, 4, L'c'), text + 3);
}

void ExpectTrace(const std::string& tail) {
  EXPECT_TRUE(std::string(_msgno_buf).ends_with(tail + "\n")) << _msgno_buf;
}

TEST(MultibyteStrings, FailuresAreTraced) {
  EXPECT_EQ(mbsdup("ab\xff"), nullptr);
  EXPECT_EQ(errno, EILSEQ);
  EXPECT_NE(
      std::strstr(_msgno_buf,
                  ":mbsnsize: Invalid or incomplete multibyte or wide character\n  src/mbs.cpp:"),
      nullptr);
  ExpectTrace(":mbsndup: ");
  EXPECT_EQ(mbsdup(nullptr), nullptr);
  EXPECT_EQ(errno, EINVAL);
  ExpectTrace(":mbsndup: Invalid argument");
  EXPECT_EQ(mbschr("ab\xff", L'x'), nullptr);
  ExpectTrace(":mbsnchr: Invalid or incomplete multibyte or wide character");
}

TEST(MultibyteStrings, AsciiAtEveryPlace) {
  for (size_t length = 0; length <= 40; ++length) {
    SCOPED_TRACE(length);
    std::string text(length, 'a');
    EXPECT_TRUE(qvx::IsAscii(text.data(), length));
    for (char& byte : text) {
      byte = '\x80';
      EXPECT_FALSE(qvx::IsAscii(text.data(), length));
      byte = 'a';
    }
  }
}

TEST(Timestamp, IsInMilliseconds) {
  using std::chrono::system_clock;  // and not time(2), which may be a moment behind it
  const auto before = system_clock::now().time_since_epoch();
  const std::chrono::milliseconds stamp(timestamp());
  EXPECT_GE(stamp, std::chrono::floor<std::chrono::milliseconds>(before));
  EXPECT_LE(stamp, system_clock::now().time_since_epoch());
}

}  // namespace
