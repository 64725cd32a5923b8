// How the document model and the support library write their lines into the trace buffer of
// msgno.h. Nothing here changes errno: who traces a failure usually reports errno after it.
#ifndef QVX_SUPPORT_TRACE_H
#define QVX_SUPPORT_TRACE_H

#include <cstdarg>
#include <cstdint>

namespace qvx {

/// A place in the source that detected or passed on a failure. It is made where it is used, from
/// the module's source name ("src/node.cpp") and the operation's name, and picks up the line by
/// itself.
struct TraceSite {
  const char* source;
  const char* function;
  uint32_t line;

  // __builtin_LINE where it stands as a default argument is the caller's line; Clang 14 has no
  // std::source_location.
  TraceSite(const char* source_name, const char* function_name,
            uint32_t caller_line = __builtin_LINE())
      : source(source_name), function(function_name), line(caller_line) {}
};

/// Overwrites the trace buffer with "<source>:<line>:<function>: <text of code>\n".
void Trace(const TraceSite& site, int32_t code);

/// As Trace, with ": " and the formatted details in front of the line feed.
[[gnu::format(printf, 3, 4)]] void TraceDetails(const TraceSite& site, int32_t code,
                                                const char* format, ...);

/// Appends the line of an operation that failed because one that it called failed:
/// "  <source>:<line>:<function>: \n".
void TracePropagation(const TraceSite& site);

/// As TracePropagation, with the formatted details in front of the line feed.
[[gnu::format(printf, 2, 3)]] void TracePropagationDetails(const TraceSite& site,
                                                           const char* format, ...);

/// Appends the formatted text to the trace buffer as it stands; what does not fit is cut.
[[gnu::format(printf, 1, 2)]] void AppendToTrace(const char* format, ...);
[[gnu::format(printf, 1, 0)]] void AppendToTraceV(const char* format, va_list arguments);

}  // namespace qvx

#endif
