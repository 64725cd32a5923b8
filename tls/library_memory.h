// The memory of the TLS library: whether it lacked any, and what is kept back for it.
#ifndef QVX_TLS_LIBRARY_MEMORY_H
#define QVX_TLS_LIBRARY_MEMORY_H

namespace qvx {

/// Takes over the allocations of the library. Has an effect before its first one only.
void WatchMemory();

/// Returns whether memory ran out for the library, and empties its error queue. What did not load
/// then may load at another time.
bool LibraryLackedMemory();

/// Keeps memory back for a scope. The library gets it when there is no other.
class SpareMemory {
 public:
  SpareMemory();
  ~SpareMemory();
  SpareMemory(const SpareMemory&) = delete;
  SpareMemory& operator=(const SpareMemory&) = delete;
  SpareMemory(SpareMemory&&) = delete;
  SpareMemory& operator=(SpareMemory&&) = delete;

  /// False: there was nothing to keep back, or the library has got it.
  explicit operator bool() const;
};

}  // namespace qvx

#endif
