#include "support/timestamp.h"

#include <sys/time.h>

#include <cerrno>

#include "support/msgno.h"
#include "support/trace.h"
#include "support/trace_modules.h"

uint64_t timestamp() {
  timeval now{};
  if (gettimeofday(&now, nullptr) != 0) {
    _exception = errno;
    qvx::Trace({qvx::trace_modules::kTimestamp, __func__}, errno);
    return 1;
  }
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_usec) / 1000;
}
