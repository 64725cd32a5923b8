#include "tests/attacks/scenes.h"

#include <gtest/gtest.h>

#include "tests/harness/installation.h"

namespace qvx::test {

namespace {

constexpr char kPrelude[] =
    "launcher='" QVX_LAUNCHER "' zxqvxd='" QVX_DAEMON "' attacker='" QVX_ATTACKER
    "' starve='" QVX_STARVE "' squash='" QVX_SQUASH "'\nfaults=$(cat '" QVX_SCRIPTS
    "/faults')\n. '" QVX_SCRIPTS "/stage'\neval \"$faults\"\n";
constexpr char kEnd[] = "the end\n";  // a script that was ended does not print it

std::string OutputOf(const std::string& script) {
  const TempDirectory scratch;
  const std::string file = scratch.path() / "scene";
  WriteText(file, kPrelude + script + "\necho " + kEnd);
  return RunShell("unshare --mount --uts --pid --fork --mount-proc timeout 600 bash " + file +
                  " 2>&1 </dev/null")
      .output;
}

}  // namespace

void Play(const std::vector<Scene>& scenes, const std::string& begin, const std::string& end,
          const std::string& outcome) {
  ServiceOwner();
  for (const Scene& scene : scenes) {
    SCOPED_TRACE(scene.name);
    EXPECT_EQ(OutputOf(begin + "\n" + scene.script + "\n" + end), outcome + scene.outcome + kEnd);
  }
}

}  // namespace qvx::test
