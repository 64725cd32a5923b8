// Almost every text that the document model measures is ASCII, which every locale decodes byte by
// byte. Runs of ASCII are skipped in words. All else goes through mbrtowc(3) and wcwidth(3), one
// character at a time.
#include "support/mbs.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <optional>

#include "support/trace.h"
#include "support/trace_modules.h"

namespace qvx {

namespace {

constexpr const char* kModule = trace_modules::kMultibyteStrings;
constexpr size_t kMaximum = INT_MAX;  // every result has to fit an int

enum class Unit { kColumns, kCharacters };

/// Every walk ends at the NUL, so the NUL does not count as ASCII.
bool IsAsciiCharacter(char byte) {
  return static_cast<signed char>(byte) > 0;
}

/// The bytes of the ASCII run at the front of `text`, at most `limit` and never beyond the NUL.
/// Nothing behind the NUL may be read, so the NUL is looked for first. It is looked for block by
/// block, so a short run costs little.
size_t AsciiRun(const char* text, size_t limit) {
  constexpr size_t kBlock = 256;
  size_t run = 0;
  while (run < limit && IsAsciiCharacter(text[run])) {
    const size_t end = run + strnlen(text + run, std::min(limit - run, kBlock));
    while (end - run >= sizeof(uint64_t) && (NumberAt<uint64_t>(text + run) & kHighBits) == 0) {
      run += sizeof(uint64_t);
    }
    while ((run < end) && IsAsciiCharacter(text[run])) {
      ++run;
    }
    if (run < end) {
      break;
    }
  }
  return run;
}

struct Limits {
  Limits(size_t byte_limit, int32_t count_limit)
      : bytes(std::min(byte_limit, kMaximum)), count(count_limit < 0 ? INT_MAX : count_limit) {}

  /// The limit for ASCII characters, each of which counts one byte and one column.
  size_t both() const { return std::min(bytes, static_cast<size_t>(count)); }

  size_t bytes;
  int count;
};

/// Goes through the characters of a text that fit the limits, one by one.
class Walk {
 public:
  enum class Step { kCharacter, kEnd, kFailure };

  Walk(const char* text, const Limits& limits, Unit unit)
      : text_(text), at_(text), limits_(limits), left_(limits), unit_(unit) {}

  /// An ASCII character counts as one character and one column. This holds for control characters,
  /// too, although they have no width.
  void SkipAscii() {
    if (at_ != nullptr) {
      const size_t run = AsciiRun(at_, left_.both());
      Take(run, static_cast<int>(run));
    }
  }

  /// Takes the next character. With kFailure, errno is set.
  Step Next() {
    if (at_ == nullptr) {
      errno = EINVAL;
      return Step::kFailure;
    }
    if (left_.count == 0 || left_.bytes == 0 || *at_ == '\0') {
      return Step::kEnd;
    }
    constexpr size_t kUndecodable = static_cast<size_t>(-1);
    constexpr size_t kIncomplete = static_cast<size_t>(-2);
    const size_t bytes = std::mbrtowc(&value_, at_, left_.bytes, &state_);
    if (bytes == kUndecodable) {
      return Step::kFailure;
    }
    if (bytes == 0 || bytes == kIncomplete || Count() > left_.count) {
      return Step::kEnd;
    }
    Take(bytes, Count());
    return Step::kCharacter;
  }

  wchar_t value() const { return value_; }
  size_t bytes() const { return static_cast<size_t>(at_ - text_); }
  int count() const { return limits_.count - left_.count; }

 private:
  int Count() const {
    const int columns = std::abs(wcwidth(value_));
    return unit_ == Unit::kCharacters ? std::min(columns, 1) : columns;
  }

  void Take(size_t bytes, int count) {
    at_ += bytes;
    left_.bytes -= bytes;
    left_.count -= count;
  }

  const char* text_;
  const char* at_;
  Limits limits_;
  Limits left_;
  Unit unit_;
  std::mbstate_t state_{};
  wchar_t value_ = 0;
};

/// The size of the leading characters that fit the limits; `count` is in the unit of the limit.
struct Measured {
  size_t bytes;
  int count;
};

/// Returns nothing, with errno set and the trace line of `site` written, when the text cannot be
/// decoded.
std::optional<Measured> MeasureByCharacter(const TraceSite& site, Walk walk) {
  Walk::Step step = Walk::Step::kCharacter;
  while (step == Walk::Step::kCharacter) {
    walk.SkipAscii();
    step = walk.Next();
  }
  if (step == Walk::Step::kFailure) {
    Trace(site, errno);
    return std::nullopt;
  }
  return Measured{walk.bytes(), walk.count()};
}

std::optional<Measured> Measure(const TraceSite& site, const char* text, size_t byte_limit,
                                int32_t count_limit, Unit unit) {
  const Limits limits(byte_limit, count_limit);
  if (text != nullptr) {
    const size_t run = AsciiRun(text, limits.both());
    if (run == limits.both() || text[run] == '\0') {
      return Measured{run, static_cast<int>(run)};
    }
  }
  return MeasureByCharacter(site, {text, limits, unit});
}

/// The caller knows whether its text may be written to, as with strchr(3).
char* Position(const char* text, size_t offset) {
  return const_cast<char*>(text) + offset;
}

}  // namespace

}  // namespace qvx

using namespace qvx;

int mbsnsize(const char* text, size_t byte_limit, int32_t column_limit) {
  const auto measured =
      Measure({kModule, __func__}, text, byte_limit, column_limit, Unit::kColumns);
  return measured ? static_cast<int>(measured->bytes) : -1;
}

int mbssize(const char* text) {
  return mbsnsize(text, kMaximum, -1);
}

int mbsnlen(const char* text, size_t byte_limit, int32_t column_limit) {
  const auto measured =
      Measure({kModule, __func__}, text, byte_limit, column_limit, Unit::kColumns);
  return measured ? measured->count : -1;
}

int mbslen(const char* text) {
  return mbsnlen(text, kMaximum, -1);
}

char* mbsnoff(const char* text, int32_t count, size_t byte_limit) {
  const auto measured = Measure({kModule, __func__}, text, byte_limit, count, Unit::kCharacters);
  return measured ? Position(text, measured->bytes) : nullptr;
}

char* mbsoff(const char* text, int32_t count) {
  return mbsnoff(text, count, kMaximum);
}

char* mbsndup(const char* text, size_t byte_limit, int32_t column_limit) {
  if (text == nullptr) {
    errno = EINVAL;
    Trace({kModule, __func__}, errno);
    return nullptr;
  }
  const int size = mbsnsize(text, byte_limit, column_limit);
  if (size < 0) {
    TracePropagation({kModule, __func__});
    return nullptr;
  }
  const auto bytes = static_cast<size_t>(size);
  char* copy = static_cast<char*>(std::malloc(bytes + 1));
  if (copy == nullptr) {
    Trace({kModule, __func__}, errno);
    return nullptr;
  }
  std::memcpy(copy, text, bytes);
  copy[bytes] = '\0';
  return copy;
}

char* mbsdup(const char* text) {
  return mbsndup(text, kMaximum, -1);
}

char* mbssub(const char* text, size_t byte_limit, int32_t column_limit) {
  const auto measured =
      Measure({kModule, __func__}, text, byte_limit, column_limit, Unit::kColumns);
  return measured ? Position(text, measured->bytes) : nullptr;
}

int mbswidth(const char* text, size_t byte_limit, int32_t column_limit) {
  Walk walk(text, Limits(byte_limit, column_limit), Unit::kColumns);
  Walk::Step step = walk.Next();
  for (; step == Walk::Step::kCharacter; step = walk.Next()) {
    if (wcwidth(walk.value()) < 0) {
      return -1;
    }
  }
  if (step == Walk::Step::kFailure) {
    Trace({kModule, __func__}, errno);
    return -1;
  }
  return walk.count();
}

char* mbsnchr(const char* text, size_t byte_limit, int32_t count_limit, wchar_t wanted) {
  Walk walk(text, Limits(byte_limit, count_limit), Unit::kColumns);
  size_t before = 0;
  Walk::Step step = walk.Next();
  for (; step == Walk::Step::kCharacter; step = walk.Next()) {
    if (walk.value() == wanted) {
      return Position(text, before);
    }
    before = walk.bytes();
  }
  if (step == Walk::Step::kFailure) {
    Trace({kModule, __func__}, errno);
  }
  return nullptr;
}

char* mbschr(const char* text, wchar_t wanted) {
  return mbsnchr(text, kMaximum, -1, wanted);
}
