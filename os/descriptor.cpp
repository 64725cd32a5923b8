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

std::optional<std::string> ReadRest(const Descriptor& file, size_t limit) {
  std::string text;
  char block[8192];
  for (;;) {
    const ssize_t count = read(file.get(), block, sizeof block);
    if (count == 0) {
      return text;
    }
    if (count < 0 && errno != EINTR) {
      return std::nullopt;
    }
    text.append(block, count < 0 ? 0 : static_cast<size_t>(count));
    if (text.size() > limit) {
      errno = EFBIG;
      return std::nullopt;
    }
  }
}

bool WriteAll(const Descriptor& file, std::string_view text, std::optional<off_t> offset) {
  while (!text.empty()) {
    const ssize_t count = offset ? pwrite(file.get(), text.data(), text.size(), *offset)
                                 : write(file.get(), text.data(), text.size());
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      errno = count < 0 ? errno : EIO;
      return false;
    }
    text.remove_prefix(static_cast<size_t>(count));
    offset = offset ? std::optional(*offset + count) : std::nullopt;
  }
  return true;
}

bool Synchronize(const Descriptor& file) {
  return fsync(file.get()) == 0 || errno == EINVAL || errno == EROFS || errno == EOPNOTSUPP;
}

}  // namespace qvx
