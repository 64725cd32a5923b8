#include "dom/failure.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace qvx::dom {

void Fail(const TraceSite& site, const int32_t& code) {
  RegisterCodes();
  _exception = code;
  Trace(site, code);
}

void FailDetails(const TraceSite& site, const int32_t& code, const char* format, ...) {
  RegisterCodes();
  _exception = code;

  // Nothing longer would fit into the trace buffer.
  char details[kTraceBufferSize];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(details, sizeof details, format, arguments);
  va_end(arguments);
  TraceDetails(site, code, "%s", details);
}

void FailErrno(const TraceSite& site) {
  const int32_t code = errno;
  _exception = code;
  Trace(site, code);
}

void TraceCreateFailed(const TraceSite& site) {
  RegisterCodes();
  TracePropagationDetails(site, "%s", msgno_msg(DOM_CREATE_ERR));
}

}  // namespace qvx::dom
