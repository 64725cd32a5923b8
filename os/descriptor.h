// The owner of an open file.
#ifndef QVX_OS_DESCRIPTOR_H
#define QVX_OS_DESCRIPTOR_H

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

}  // namespace qvx

#endif
