// How the document model and the support library write their lines into the trace buffer
// (trace_buffer.h). Nothing here changes errno, because callers usually report errno after the
// trace.
#ifndef QVX_SUPPORT_TRACE_H
#define QVX_SUPPORT_TRACE_H

#include <cstdint>

namespace qvx {

/// The place in the source where a failure was detected or passed on. It is written at the place
/// itself, as {kModule, __func__}: the name of a module (trace_modules.h) and of the operation. The
/// line is added by itself.
struct TraceSite {
  const char* module;
  const char* function;
  uint32_t line;

  // As a default argument, __builtin_LINE gives the line of the caller. Clang 14 has no
  // std::source_location.
  TraceSite(const char* module_name, const char* function_name,
            uint32_t caller_line = __builtin_LINE())
      : module(module_name), function(function_name), line(caller_line) {}
};

/// Overwrites the trace buffer with "<module>:<line>:<function>: <text of code>\n".
void Trace(const TraceSite& site, int32_t code);

/// As Trace, with ": " and the formatted details in front of the line feed.
[[gnu::format(printf, 3, 4)]] void TraceDetails(const TraceSite& site, int32_t code,
                                                const char* format, ...);

/// Appends the line of an operation that failed because an operation that it called failed:
/// "  <module>:<line>:<function>: \n".
void TracePropagation(const TraceSite& site);

/// As TracePropagation, with the formatted details in front of the line feed.
[[gnu::format(printf, 2, 3)]] void TracePropagationDetails(const TraceSite& site,
                                                           const char* format, ...);

}  // namespace qvx

#endif
