#include "os/descriptor.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace qvx {

Descriptor::~Descriptor() {
  if (descriptor_ >= 0) {
    const int error = errno;  // the caller may still report why it gave up
    close(descriptor_);
    errno = error;
  }
}

Descriptor::Descriptor(Descriptor&& other) noexcept : descriptor_(other.release()) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  const Descriptor old(std::exchange(descriptor_, other.release()));
  return *this;
}

int Descriptor::release() {
  return std::exchange(descriptor_, -1);
}

}  // namespace qvx
