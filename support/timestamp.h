// The clock that stamps events.
#ifndef QVX_SUPPORT_TIMESTAMP_H
#define QVX_SUPPORT_TIMESTAMP_H

#include <cstdint>

/// Returns the milliseconds since the epoch (gettimeofday(2)). When the clock cannot be read,
/// returns 1, with errno in the error cell and a trace line.
uint64_t timestamp();

#endif
