// The trace buffer is a text of at most kTraceBufferSize - 1 bytes, always terminated, whose length
// is _msgno_buf_idx. Text that does not fit is cut at the end: what stands at the front names the
// cause of the failure, and it is the far end of a long chain of callers that can be spared.
#include "support/trace.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "support/msgno.h"

namespace qvx {

namespace {

void StartLine(const TraceSite& site, int32_t code) {
  const int kept_errno = errno;
  const char* message = msgno_msg(code);
  errno = kept_errno;
  _msgno_buf_idx = 0;
  AppendToTrace("%s:%u:%s: %s", site.source, site.line, site.function, message);
}

}  // namespace

void AppendToTraceV(const char* format, va_list arguments) {
  if (_msgno_buf_idx >= kTraceBufferSize - 1) {
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

void Trace(const TraceSite& site, int32_t code) {
  StartLine(site, code);
  AppendToTrace("\n");
}

void TraceDetails(const TraceSite& site, int32_t code, const char* format, ...) {
  StartLine(site, code);
  AppendToTrace(": ");
  va_list arguments;
  va_start(arguments, format);
  AppendToTraceV(format, arguments);
  va_end(arguments);
  AppendToTrace("\n");
}

void TracePropagation(const TraceSite& site) {
  AppendToTrace("  %s:%u:%s: \n", site.source, site.line, site.function);
}

void TracePropagationDetails(const TraceSite& site, const char* format, ...) {
  AppendToTrace("  %s:%u:%s: ", site.source, site.line, site.function);
  va_list arguments;
  va_start(arguments, format);
  AppendToTraceV(format, arguments);
  va_end(arguments);
  AppendToTrace("\n");
}

}  // namespace qvx
