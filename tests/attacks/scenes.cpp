#include "tests/attacks/scenes.h"

#include <gtest/gtest.h>

#include <cstdlib>

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
  const std::string output = scratch.path() / "outcome";
  WriteText(file, kPrelude + script + "\necho " + kEnd);
  const std::string command =
      "unshare --mount --uts --pid --fork --mount-proc timeout 600 bash " + file;
  EXPECT_NE(std::system((command + " >" + output + " 2>&1 </dev/null").c_str()), -1);
  return Contents(output).value_or("");
}

}  // namespace

void Play(const std::vector<Scene>& scenes) {
  ServiceOwner();
  for (const Scene& scene : scenes) {
    SCOPED_TRACE(scene.name);
    EXPECT_EQ(OutputOf(scene.script), scene.outcome + kEnd);
  }
}

}  // namespace qvx::test
