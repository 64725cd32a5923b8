// Advisory locks between runs.
//
// The lock is that of flock(2), on an open file or directory. Whoever can open the file can sit on
// its lock, the service account among them, so every wait is bounded. A run that waited in vain
// goes on without the lock, and has to be right without it, too.
#ifndef QVX_OS_FILE_LOCK_H
#define QVX_OS_FILE_LOCK_H

#include <chrono>

#include "os/descriptor.h"

namespace qvx {

/// Holds the exclusive lock of an open file for a scope.
class FileLock {
 public:
  /// Waits for the lock. `patience` is the longest wait, and what was waited is taken off it. A
  /// file system without locks counts as one whose lock is not to be had.
  FileLock(const Descriptor& file, std::chrono::milliseconds& patience);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  FileLock(FileLock&&) = delete;
  FileLock& operator=(FileLock&&) = delete;

  bool is_held() const { return is_held_; }

 private:
  int file_;  // belongs to the caller, who keeps it open
  bool is_held_;
};

}  // namespace qvx

#endif
