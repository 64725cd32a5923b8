// Entries of the restriction lists that share addresses.
#ifndef QVX_COMPANION_OVERLAPS_H
#define QVX_COMPANION_OVERLAPS_H

#include <cstddef>
#include <vector>

#include "companion/admission.h"

namespace qvx::companion {

/// An entry and another one that has some or all of its addresses, by their places in the list of
/// all entries.
struct Overlap {
  enum class Kind {
    kShared,   ///< the other entry of the same list has some of the addresses
    kCovered,  ///< entries of the same list have all of them, and the other is one of these
    kRefused,  ///< entries of the exclude list have all of them, and the other is one of these
  };
  Kind kind;
  size_t entry;
  size_t other;
};

/// Returns the overlaps of the entries in their order: for each at most one with its own list and
/// one with the exclude list. Of two equal entries the later one is covered. The launcher's own
/// entries are left out. The cost grows with n log n for n blocks of addresses.
std::vector<Overlap> OverlapsOf(const std::vector<AccessEntry>& entries);

}  // namespace qvx::companion

#endif
