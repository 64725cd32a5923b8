// What the kernel executes.
#ifndef QVX_COMPANION_PROGRAMS_H
#define QVX_COMPANION_PROGRAMS_H

#include <string>

namespace qvx::companion {

/// Returns whether the kernel would execute the file: a regular file with an execute bit that is a
/// program for this machine or a script, and its loader or interpreter is there, too. A file that
/// can be executed but not read counts as one. Formats that were registered with the kernel are not
/// known here.
bool IsProgram(const std::string& path);

}  // namespace qvx::companion

#endif
