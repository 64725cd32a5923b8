#include "support/trace.h"

#include <cerrno>
#include <cstdarg>

#include "support/msgno.h"
#include "support/trace_buffer.h"

namespace qvx {
namespace {

void StartLine(const TraceSite& site, int32_t code) {
  const int kept_errno = errno;
  const char* message = msgno_msg(code);
  errno = kept_errno;
  _msgno_buf_idx = 0;
  AppendToTrace("%s:%u:%s: %s", site.module, site.line, site.function, message);
}

}  // namespace

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
  AppendToTrace("  %s:%u:%s: \n", site.module, site.line, site.function);
}

void TracePropagationDetails(const TraceSite& site, const char* format, ...) {
  AppendToTrace("  %s:%u:%s: ", site.module, site.line, site.function);
  va_list arguments;
  va_start(arguments, format);
  AppendToTraceV(format, arguments);
  va_end(arguments);
  AppendToTrace("\n");
}

}  // namespace qvx
