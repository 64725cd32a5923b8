// Addresses and ranges, the same at every run.
#ifndef QVX_BENCH_GENERATOR_INPUTS_H
#define QVX_BENCH_GENERATOR_INPUTS_H

#include <cstddef>
#include <string>
#include <vector>

namespace qvx::bench {

/// Different addresses from 10.0.0.1 upwards.
std::vector<std::string> DottedAddresses(size_t size);

/// Entries of the range that becomes the most blocks, 62.
std::string WidestRanges(size_t size);

/// At most 131072 ranges that neither meet nor overlap, of 28 blocks each.
std::string RangesApart(size_t size, char dash, char separator);

/// What the interface command prints for so many addresses. Every tenth interface has the address
/// of the one before it.
std::string InterfaceText(size_t size);

}  // namespace qvx::bench

#endif
