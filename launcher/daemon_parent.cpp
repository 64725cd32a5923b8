#include "launcher/daemon_parent.h"

#include <array>
#include <cstdint>
#include <string_view>

#include "os/commands.h"

namespace qvx {

namespace {

/// The space for a command's output, a command name or a number.
constexpr uint32_t kFieldCapacity = 250;

constexpr std::string_view kDaemonName = "(zxqvxd)";
constexpr std::string_view kTextEnds = "\x1a\r\n";

/// Returns a field of the process's stat line, counted as awk counts; empty when it could not be
/// read.
std::string StatField(pid_t process, std::string_view field) {
  std::string command = "cat /proc/" + std::to_string(process) + "/stat | awk '{print $";
  command.append(field).append("}'");
  std::array<char, kFieldCapacity> output{};
  process_linux_cmd(command.c_str(), output.data(), kFieldCapacity);
  const std::string_view text(output.data());
  return std::string(text.substr(0, text.find_first_of(kTextEnds)));
}

}  // namespace

bool IsDaemon(pid_t parent) {
  return StatField(parent, "2") == kDaemonName;
}

std::string SessionOf(pid_t parent) {
  return StatField(parent, "6");
}

}  // namespace qvx
