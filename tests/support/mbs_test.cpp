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

namespace qvx::test {
namespace {

using Text = MallocOwner<char>;
constexpr size_t kNoLimit = SIZE_MAX;

const std::string kLong(1000, 'a');
const std::string kWide = "\xe4\xb8\xad";  // two columns
constexpr char kUtf8[] = "C.UTF-8";
const std::string kMark = "e\xcc\x81x";  // its second character has no column

TEST(MultibyteStrings, MeasuredAndCut) {
  const struct {
    std::string text;
    const char* locale = "C";
    size_t byte_limit = kNoLimit;
    int32_t count_limit = -1;
    // -1: the text cannot be decoded, or, for the width, has a character without a width.
    int size = 0, length = size, offset = size, width = size;
  } rows[] = {
      {.text = ""},
      {.text = "abcd", .count_limit = 2, .size = 2},
      {.text = "abcd", .count_limit = 0},
      {.text = "abcdefghijkl", .byte_limit = 9, .size = 9},
      {.text = "\nx\t\x7f", .size = 4, .width = -1},
      {.text = kLong + "\x80", .size = -1},
      {.text = kLong + "\x80", .count_limit = 1000, .size = 1000},
      {.text = "abcd\x80" + kLong, .size = -1},
      {.text = "abcd\x80" + kLong, .count_limit = 4, .size = 4},
      {.text = "a" + kWide + "b", .locale = kUtf8, .size = 5, .length = 4, .width = 4},
      {"a" + kWide + "b", kUtf8, kNoLimit, 2, 1, 1, 4, 1},
      {.text = "a" + kWide, .locale = kUtf8, .byte_limit = 3, .size = 1},
      {.text = "a\xe4\xb8", .locale = kUtf8, .size = -1},
      {.text = kMark, .locale = kUtf8, .size = 4, .length = 2, .width = 2},
      {"abc" + kWide + kLong, kUtf8, kNoLimit, -1, 1006, 1005, 1006, 1005},
      {kLong + kWide + kLong, kUtf8, kNoLimit, 1004, 1005, 1004, 1006, 1004},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
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
  EXPECT_PRED_FORMAT2(
      testing::IsSubstring,
      ":mbsnsize: Invalid or incomplete multibyte or wide character\n  src/mbs.cpp:", _msgno_buf);
  ExpectTrace(":mbsndup: ");
  EXPECT_EQ(mbsoff(nullptr, 1), nullptr);
  EXPECT_EQ(errno, EINVAL);
  errno = 0;
  EXPECT_EQ(mbsdup(nullptr), nullptr);
  EXPECT_EQ(errno, EINVAL);
  ExpectTrace(":mbsndup: Invalid argument");
  EXPECT_EQ(mbschr("ab\xff", L'x'), nullptr);
  ExpectTrace(":mbsnchr: Invalid or incomplete multibyte or wide character");
}

TEST(MultibyteStrings, AsciiAtEveryPlace) {
  for (size_t length = 0; length <= 40; ++length) {
    SCOPED_TRACE(length);
    EXPECT_TRUE(IsAscii(std::string(length, 'a').data(), length));
    for (size_t i = 0; i < length; ++i) {
      EXPECT_FALSE(IsAscii(std::string(length, 'a').replace(i, 1, "\x80").data(), length));
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
}  // namespace qvx::test
