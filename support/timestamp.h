// The clock that stamps events.
#ifndef QVX_SUPPORT_TIMESTAMP_H
#define QVX_SUPPORT_TIMESTAMP_H

#include <cstdint>

/// Returns the milliseconds since the epoch (gettimeofday); 1, with errno in the error cell and a
/// trace line, when the clock cannot be read.
uint64_t timestamp();

#endif
