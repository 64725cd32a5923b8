// Attacks on the launcher and faults around it, played as shell scripts on a stage of their own.
#ifndef QVX_TESTS_ATTACKS_SCENES_H
#define QVX_TESTS_ATTACKS_SCENES_H

#include <string>
#include <vector>

namespace qvx::test {

struct Scene {
  const char* name;
  std::string script;
  std::string outcome;  // what the script prints on both its streams
};

/// Expects the outcome of each scene. A script runs in mount and process namespaces of its own. It
/// begins with the installation of the file "stage" and has the functions of that and of "faults".
/// One that hangs is ended after ten minutes.
void Play(const std::vector<Scene>& scenes);

}  // namespace qvx::test

#endif
