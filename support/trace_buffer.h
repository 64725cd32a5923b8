// The trace buffer: a text of at most kTraceBufferSize - 1 bytes, always terminated, whose length
// is _msgno_buf_idx. Text that does not fit is cut at the end, because the front names the cause of
// the failure.
#ifndef QVX_SUPPORT_TRACE_BUFFER_H
#define QVX_SUPPORT_TRACE_BUFFER_H

#include <cstdarg>
#include <cstdint>

inline constexpr uint32_t kTraceBufferSize = 1024;

extern char _msgno_buf[kTraceBufferSize];  ///< the trace buffer, always terminated
extern uint32_t _msgno_buf_idx;            ///< where the next trace line is appended

namespace qvx {

/// Appends the formatted text to the trace buffer. What does not fit is cut. A null format is an
/// empty text. Leaves errno alone.
[[gnu::format(printf, 1, 2)]] void AppendToTrace(const char* format, ...);
[[gnu::format(printf, 1, 0)]] void AppendToTraceV(const char* format, va_list arguments);

}  // namespace qvx

#endif
