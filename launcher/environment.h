// The environment that a run takes over from its caller.
#ifndef QVX_LAUNCHER_ENVIRONMENT_H
#define QVX_LAUNCHER_ENVIRONMENT_H

namespace qvx {

/// Returns whether the run has more rights than its caller (getauxval(3), AT_SECURE).
bool HasMoreRights();

/// In such a run, reduces the environment to the variables that the launcher itself reads and a
/// fixed PATH. A caller with fewer rights must not influence the commands of a run. Throws
/// std::bad_alloc.
void LimitEnvironment();

/// Returns whether the caller asks for a new pair (QVX_CERT_REGEN).
bool IsNewPairAsked();

}  // namespace qvx

#endif
