// The owner of an open file, and the calls that read or write all of it.
#ifndef QVX_OS_DESCRIPTOR_H
#define QVX_OS_DESCRIPTOR_H

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qvx {

/// A file descriptor that is closed with the object.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  explicit operator bool() const { return descriptor_ >= 0; }
  int get() const { return descriptor_; }
  int release();

 private:
  int descriptor_ = -1;
};

/// Reads an open file to its end. Returns nothing with errno set when a read fails, or when more
/// than `limit` bytes follow (EFBIG).
std::optional<std::string> ReadRest(const Descriptor& file, size_t limit = SIZE_MAX);

/// Writes the whole text to an open file: at `offset`, or at the file's own position without one.
/// Returns false with errno set when a part is missing, also after a write without progress (EIO).
bool WriteAll(const Descriptor& file, std::string_view text,
              std::optional<off_t> offset = std::nullopt);

/// Writes an open file or directory to the disk (fsync(2)). A file system that cannot do that is no
/// failure. Returns false with errno set when data may be lost.
bool Synchronize(const Descriptor& file);

}  // namespace qvx

#endif
