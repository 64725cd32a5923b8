// What a run takes over from whoever started it.
#ifndef QVX_LAUNCHER_ENVIRONMENT_H
#define QVX_LAUNCHER_ENVIRONMENT_H

namespace qvx {

/// In a run that has more rights than its caller (getauxval(3), AT_SECURE), reduces the environment
/// to the variables that the launcher itself reads and a fixed PATH: what the commands of a run do
/// must not depend on a caller with fewer rights. Throws std::bad_alloc.
void LimitEnvironment();

}  // namespace qvx

#endif
