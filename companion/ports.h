// Who listens on the ports of the web server.
#ifndef QVX_COMPANION_PORTS_H
#define QVX_COMPANION_PORTS_H

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

namespace qvx::companion {

/// Returns the inode numbers of the sockets that listen on `port`, from the text of /proc/net/tcp
/// or /proc/net/tcp6.
std::set<std::string> ListeningSockets(std::string_view table, uint16_t port);

/// Returns the names of the processes that listen on `port`. A socket whose process cannot be seen
/// counts as that of "another process".
std::set<std::string> ListenersOn(uint16_t port);

}  // namespace qvx::companion

#endif
