// How the document model reports a failure. Internal to the document model.
#ifndef QVX_DOM_FAILURE_H
#define QVX_DOM_FAILURE_H

#include <cstdint>

#include "support/memory.h"
#include "support/msgno.h"
#include "support/trace.h"

namespace qvx::dom {

using qvx::HasMemoryFor;

/// Registers dom_codes unless it is registered already.
inline void RegisterCodes() {
  constexpr int32_t kHighestUnregistered = 0xffff;
  if (dom_codes[0].code <= kHighestUnregistered) {
    msgno_add_codes(dom_codes);
  }
}

/// Puts `code` into the error cell and overwrites the trace buffer with its line. `code` is a
/// reference because a code of dom_codes is whole only when the table is registered. This registers
/// it first.
[[gnu::cold]] void Fail(const TraceSite& site, const int32_t& code);

/// As Fail, with ": " and the formatted details in the trace line.
[[gnu::cold, gnu::format(printf, 3, 4)]] void FailDetails(const TraceSite& site,
                                                          const int32_t& code, const char* format,
                                                          ...);

/// Puts errno into the error cell and overwrites the trace buffer with its line.
[[gnu::cold]] void FailErrno(const TraceSite& site);

/// Returns a text as details show it.
inline const char* Shown(const char* text) {
  return text != nullptr ? text : "(null)";
}

/// Appends the line of an operation that failed because a node, map or list could not be made.
[[gnu::cold]] void TraceCreateFailed(const TraceSite& site);

}  // namespace qvx::dom

#endif
