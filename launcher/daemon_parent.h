// Whether the launcher was started by the running daemon.
#ifndef QVX_LAUNCHER_DAEMON_PARENT_H
#define QVX_LAUNCHER_DAEMON_PARENT_H

#include <sys/types.h>

#include <string>

namespace qvx {

/// Whether the process `parent` is the web server daemon, by the command name in its /proc stat
/// line.
bool IsDaemon(pid_t parent);

/// The session ID of the process `parent` as its /proc stat line gives it, which is the daemon's
/// process group; empty when it could not be read.
std::string SessionOf(pid_t parent);

}  // namespace qvx

#endif
