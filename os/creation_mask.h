// A file-creation mask for a scope.
#ifndef QVX_OS_CREATION_MASK_H
#define QVX_OS_CREATION_MASK_H

#include <sys/stat.h>

namespace qvx {

/// Adds the bits `further` to the mask for a scope. The old mask is restored at the end, because
/// the daemon inherits it.
class CreationMask {
 public:
  explicit CreationMask(mode_t further) : before_(umask(0)) { umask(before_ | further); }
  ~CreationMask() { umask(before_); }
  mode_t before() const { return before_; }
  CreationMask(const CreationMask&) = delete;
  CreationMask& operator=(const CreationMask&) = delete;
  CreationMask(CreationMask&&) = delete;
  CreationMask& operator=(CreationMask&&) = delete;

 private:
  mode_t before_;
};

}  // namespace qvx

#endif
