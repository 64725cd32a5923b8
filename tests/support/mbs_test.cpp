#include "support/mbs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstring>
#include <ctime>
#include <string>
#include <tuple>

#include "support/malloc_owner.h"
#include "support/msgno.h"
#include "support/timestamp.h"

namespace {

using Text = qvx::MallocOwner<char>;
constexpr size_t kNoLimit = SIZE_MAX;

const std::string kLong(1000, 'a');
const std::string kWide = "\xe4\xb8\xad";  // two columns
const std::string kMark = "e\xcc\x81x";    // its second character has no column

// Locale, text, bytes and characters at most; then size, length, offset and width.
const std::tuple<const char*, std::string, size_t, int32_t, int, int, int, int> kRows[] = {
    {"C", "", kNoLimit, -1, 0, 0, 0, 0},
    {"C", "abcd", kNoLimit, 2, 2, 2, 2, 2},
    {"C", "abcdefghijkl", 9, -1, 9, 9, 9, 9},
    {"C", "\nx\t\x7f", kNoLimit, -1, 4, 4, 4, -1},
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
  for (const auto& [locale, bytes_of_text, bytes, count, size, length, offset, width] : kRows) {
    SCOPED_TRACE(locale + (": " + bytes_of_text));
    ASSERT_NE(nullptr, std::setlocale(LC_CTYPE, locale));
    const Text exact(strdup(bytes_of_text.c_str()));  // so that a reading past the NUL shows
    const char* text = exact.get();
    EXPECT_EQ(size, mbsnsize(text, bytes, count));
    EXPECT_EQ(length, mbsnlen(text, bytes, count));
    EXPECT_EQ(width, mbswidth(text, bytes, count));
    EXPECT_EQ(size < 0 ? nullptr : text + offset, mbsnoff(text, count, bytes));
    EXPECT_EQ(size < 0 ? nullptr : text + size, mbssub(text, bytes, count));
    const Text copy(mbsndup(text, bytes, count));
    ASSERT_EQ(size < 0, copy == nullptr);
    EXPECT_EQ(bytes_of_text.substr(0, static_cast<size_t>(std::max(size, 0))),
              copy == nullptr ? "" : copy.get());
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
  EXPECT_NE(
      nullptr,
      std::strstr(_msgno_buf,
                  ":mbsnsize: Invalid or incomplete multibyte or wide character\n  src/mbs.cpp:"));
  ExpectTrace(":mbsndup: ");
  EXPECT_EQ(nullptr, mbsdup(nullptr));
  EXPECT_EQ(EINVAL, errno);
  ExpectTrace(":mbsndup: Invalid argument");
  EXPECT_EQ(nullptr, mbschr("ab\xff", L'x'));
  ExpectTrace(":mbsnchr: Invalid or incomplete multibyte or wide character");
}

TEST(Timestamp, IsInMilliseconds) {
  const uint64_t seconds = timestamp() / 1000;
  EXPECT_LE(static_cast<uint64_t>(std::time(nullptr)) - seconds, 1U);
}

}  // namespace
