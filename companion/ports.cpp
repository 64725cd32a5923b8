#include "companion/ports.h"

#include <filesystem>
#include <optional>
#include <sstream>

#include "companion/installation.h"

namespace qvx::companion {

namespace {

namespace fs = std::filesystem;

constexpr char kListens[] = "0A";
constexpr char kUnseen[] = "another process";

/// A socket is open in a process as "socket:[INODE]".
bool Holds(const fs::path& process, const std::set<std::string>& sockets) {
  std::error_code error;
  for (fs::directory_iterator file(process / "fd", error), end; !error && file != end;
       file.increment(error)) {
    std::error_code ignored;
    const std::string target = fs::read_symlink(*file, ignored).string();
    if (target.starts_with("socket:[") && sockets.count(target.substr(8, target.size() - 9)) > 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

std::set<std::string> ListeningSockets(std::string_view table, uint16_t port) {
  std::set<std::string> sockets;
  std::istringstream lines{std::string(table)};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string number, local, remote, state, queues, timer, retries, user, timeout, inode;
    fields >> number >> local >> remote >> state >> queues >> timer >> retries >> user >> timeout >>
        inode;
    const size_t colon = local.rfind(':');
    if (state == kListens && colon != std::string::npos &&
        std::strtoul(local.c_str() + colon + 1, nullptr, 16) == port) {
      sockets.insert(inode);
    }
  }
  return sockets;
}

std::set<std::string> ListenersOn(uint16_t port) {
  std::set<std::string> sockets;
  for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
    sockets.merge(ListeningSockets(ReadText(table).value_or(""), port));
  }
  std::set<std::string> names;
  std::error_code error;
  for (fs::directory_iterator process("/proc", error), end;
       !sockets.empty() && !error && process != end; process.increment(error)) {
    const bool is_process =
        process->path().filename().string().find_first_not_of("0123456789") == std::string::npos;
    if (is_process && Holds(process->path(), sockets)) {
      const std::string name = ReadText(process->path() / "comm").value_or(kUnseen);
      names.insert(name.substr(0, name.find('\n')));
    }
  }
  if (!sockets.empty() && names.empty()) {
    names.insert(kUnseen);
  }
  return names;
}

}  // namespace qvx::companion
