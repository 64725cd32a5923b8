#include "support/trace_buffer.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

char _msgno_buf[kTraceBufferSize];
uint32_t _msgno_buf_idx = 0;

namespace qvx {

void AppendToTraceV(const char* format, va_list arguments) {
  if (format == nullptr || _msgno_buf_idx >= kTraceBufferSize - 1) {
    return;
  }
  const int kept_errno = errno;
  const uint32_t room = kTraceBufferSize - _msgno_buf_idx;
  char* end = _msgno_buf + _msgno_buf_idx;
  *end = '\0';
  const int length = std::vsnprintf(end, room, format, arguments);
  _msgno_buf_idx += std::min(static_cast<uint32_t>(std::max(length, 0)), room - 1);
  _msgno_buf[_msgno_buf_idx] = '\0';
  errno = kept_errno;
}

void AppendToTrace(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  AppendToTraceV(format, arguments);
  va_end(arguments);
}

}  // namespace qvx
