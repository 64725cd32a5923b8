// Measuring, cutting and copying NUL-terminated multibyte strings in the process's locale (mbrtowc,
// wcwidth).
//
// Every walk stops at the first of: the byte limit, the count limit (a character that is wider than
// what is left is not taken), the terminating NUL, an incomplete sequence at the byte limit (the
// result so far stands), or a sequence that the locale cannot decode (failure, with a line in the
// trace buffer). A byte limit above 2147483647 counts as 2147483647. A negative count limit counts
// as 2147483647. A null text fails with errno EINVAL. The cost is linear in the bytes walked.
#ifndef QVX_SUPPORT_MBS_H
#define QVX_SUPPORT_MBS_H

#include <cstddef>
#include <cstdint>
#include <cstring>

/// Returns the bytes of the leading characters that fit both limits, without the NUL. The count
/// limit is in columns; a character without a width (a control character) counts 1. Returns -1 on
/// an undecodable sequence.
int mbsnsize(const char* text, size_t byte_limit, int32_t column_limit);
int mbssize(const char* text);

/// Returns the columns of the leading characters that fit both limits. A character without a width
/// counts 1, one of width 0 counts 0. Returns -1 on an undecodable sequence.
int mbsnlen(const char* text, size_t byte_limit, int32_t column_limit);
int mbslen(const char* text);

/// Returns the position after `count` characters of non-zero width, or the end of a shorter text.
/// The result points into `text`. Returns null on an undecodable sequence.
char* mbsnoff(const char* text, int32_t count, size_t byte_limit);
char* mbsoff(const char* text, int32_t count);

/// Returns a new copy of the bytes that mbsnsize measures, which the caller releases with free().
/// Returns null with errno EINVAL (null text), EILSEQ (undecodable) or ENOMEM.
char* mbsndup(const char* text, size_t byte_limit, int32_t column_limit);
char* mbsdup(const char* text);

/// Returns the position after the leading characters whose columns fit the limit. The result points
/// into `text`. Returns null on an undecodable sequence.
char* mbssub(const char* text, size_t byte_limit, int32_t column_limit);

/// Returns the columns of the leading characters that fit both limits. Returns -1 at a character
/// without a width and on an undecodable sequence.
int mbswidth(const char* text, size_t byte_limit, int32_t column_limit);

/// Returns the first occurrence of `wanted` in front of the NUL and within the limits. The count
/// limit is in columns. The result points into `text`. Returns null when there is none, and on an
/// undecodable sequence.
char* mbsnchr(const char* text, size_t byte_limit, int32_t count_limit, wchar_t wanted);
char* mbschr(const char* text, wchar_t wanted);

namespace qvx {

/// What no byte of an ASCII text has.
inline constexpr uint64_t kHighBits = 0x8080808080808080;

/// The number that stands at `place`, which need not be aligned.
template <typename Number>
Number NumberAt(const char* place) {
  Number number = 0;
  std::memcpy(&number, place, sizeof number);
  return number;
}

/// Returns whether `length` bytes are all ASCII. Every locale decodes such a text byte by byte: it
/// has as many characters and, as the operations above count them, columns as bytes.
inline bool IsAscii(const char* text, size_t length) {
  uint64_t bits = 0;
  if (length >= sizeof bits) {
    for (size_t at = 0; at < length - sizeof bits; at += sizeof bits) {
      bits |= NumberAt<uint64_t>(text + at);
    }
    bits |= NumberAt<uint64_t>(text + length - sizeof bits);
  } else if (length >= sizeof(uint32_t)) {
    bits = NumberAt<uint32_t>(text) | NumberAt<uint32_t>(text + length - sizeof(uint32_t));
  } else {
    for (; length > 0; --length) {
      bits |= NumberAt<uint8_t>(text + length - 1);
    }
  }
  return (bits & kHighBits) == 0;
}

}  // namespace qvx

#endif
