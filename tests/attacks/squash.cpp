// A preloaded library. The file system sees the process as an account without rights, whatever the
// process is itself, as a share does that squashes root.
#include <sys/fsuid.h>

namespace {

constexpr unsigned kNobody = 65534;

[[gnu::constructor]] void Begin() {
  setfsgid(kNobody);
  setfsuid(kNobody);
}

}  // namespace
