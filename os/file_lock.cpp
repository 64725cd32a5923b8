#include "os/file_lock.h"

#include <sys/file.h>

#include <cerrno>
#include <thread>

namespace qvx {

namespace {

constexpr std::chrono::milliseconds kPause(10);

bool Lock(int file, std::chrono::milliseconds& patience) {
  while (flock(file, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) {
      continue;
    }
    if (errno != EWOULDBLOCK || patience < kPause) {
      return false;
    }
    std::this_thread::sleep_for(kPause);
    patience -= kPause;
  }
  return true;
}

}  // namespace

FileLock::FileLock(const Descriptor& file, std::chrono::milliseconds& patience)
    : file_(file.get()), is_held_(file && Lock(file_, patience)) {}

FileLock::~FileLock() {
  if (is_held_) {
    flock(file_, LOCK_UN);
  }
}

}  // namespace qvx
