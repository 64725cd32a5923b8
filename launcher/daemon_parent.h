// Finding out whether the running daemon started the launcher.
#ifndef QVX_LAUNCHER_DAEMON_PARENT_H
#define QVX_LAUNCHER_DAEMON_PARENT_H

#include <sys/types.h>

#include <string>

namespace qvx {

/// Returns whether the process `parent` is the web server daemon, by the command name in its /proc
/// stat line.
bool IsDaemon(pid_t parent);

/// Returns the session ID of the process `parent` from its /proc stat line; empty when it could not
/// be read. It is also the daemon's process group.
std::string SessionOf(pid_t parent);

}  // namespace qvx

#endif
