// Attacks on the launcher and faults around it, as shell scripts, each with a default installation
// of its own.
#ifndef QVX_TESTS_ATTACKS_SCENES_H
#define QVX_TESTS_ATTACKS_SCENES_H

#include <string>
#include <vector>

namespace qvx::test {

struct Scene {
  const char* name;
  std::string script;
  std::string outcome = {};  // what the script prints on standard output and standard error
};

/// Expects the outcome of each scene between the common scripts `begin` and `end`, and before it
/// `outcome`. A script runs in namespaces of its own for mounts, processes
/// and the host name. It begins with the installation that the file "stage" makes, and has the
/// functions of "stage" and "faults". A script that hangs is ended after ten minutes.
void Play(const std::vector<Scene>& scenes, const std::string& begin = "",
          const std::string& end = "", const std::string& outcome = "");

}  // namespace qvx::test

#endif
