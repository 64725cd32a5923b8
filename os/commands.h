// The one place that makes child processes and waits for them.
//
// Every command line goes to "/bin/sh" "-c" and inherits the environment, unless it has the rights
// of the service account. Waits resume after a signal.
#ifndef QVX_OS_COMMANDS_H
#define QVX_OS_COMMANDS_H

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

/// Runs `command` for its effect and waits for it; its standard streams are the launcher's own.
/// Returns 1 when the child has ended, whatever its exit status; and when the shell could not be
/// executed, with a text on standard error. Returns 0, with a text on standard error, when no child
/// could be created. Both are asked for in one call (posix_spawn(3)), so EAGAIN and ENOMEM count as
/// no child, and every other error as a shell that could not be executed: here, and in the next
/// one.
int32_t execute_linux_cmd(const char* command);

/// Runs `command` and waits for it, but not for processes that it left in the background. `output`
/// gets the result of the first read of its standard output: at most `size` - 1 bytes and a
/// terminating zero. The rest is read and dropped, so the command neither blocks nor gets SIGPIPE.
/// `output` is left as it was when the command prints nothing or `size` is 0 or 1. Returns 0 when
/// the command was run; and, a second later, when the shell could not be executed, with a text on
/// standard error. Returns -1, with a text on standard error, when pipe or child could not be
/// created.
int32_t process_linux_cmd(const char* command, char* output, uint32_t size);

/// Opens "/sbin/ifconfig -a 2>/dev/null" for reading and closes it unread. Returns the status that
/// pclose(3) reports; -1 when the command could not be opened.
int Callpopen();

namespace qvx {

/// The most characters of a protection or copy command.
inline constexpr size_t kMaxCommand = 511;

/// Whose rights a command has. kAccount is the launcher's own unless the launcher is root
/// and the account exists.
enum class Rights { kOwn, kAccount };

/// Returns the rights for a command that names paths. An account that can exchange what a path
/// leads to must not gain rights by the command. `is_held` as in os/path_walk.h.
inline Rights RightsFor(bool is_held) {
  return is_held ? Rights::kOwn : Rights::kAccount;
}

/// As execute_linux_cmd, with the given rights. A command with the account's rights is run as
/// os/account_child.h says, with PATH as its only variable, and is killed after three seconds. It
/// is not run, and the result is 0, when the user database could not be asked.
int32_t RunCommand(const std::string& command, Rights rights);

/// Closes a stream of OpenCommand and waits for its command.
struct CommandCloser {
  void operator()(std::FILE* stream) const;
};
using CommandStream = std::unique_ptr<std::FILE, CommandCloser>;

/// Starts `command` with its standard output readable (popen(3), close-on-exec). Returns null when
/// it could not be started.
CommandStream OpenCommand(const char* command);

/// Creates a child that runs `body` and ends with the status that `body` returns, or with 127 after
/// an exception. The child ends through _exit, because exit handlers and unwritten streams are the
/// launcher's. Returns its process ID, or -1 with errno set.
pid_t StartChild(const std::function<int()>& body);

/// Waits for the child with waitpid's `options`: 0, or WUNTRACED to return also when the child is
/// stopped. Returns its wait status; -1 when there is no such child.
int WaitForChild(pid_t child, int options = 0);

}  // namespace qvx

#endif
