// Debian's web server as the daemon of an installation, to be asked whom it lets in.
#ifndef QVX_TESTS_COMPANION_WEB_SERVER_H
#define QVX_TESTS_COMPANION_WEB_SERVER_H

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "os/descriptor.h"
#include "tests/companion/prepared_installation.h"

namespace qvx::test {

/// What installations share of the server. Belongs into a network namespace of its own: every IPv4
/// address becomes this machine's, so that a client can come from any.
class WebServer {
 public:
  WebServer() {
    const std::string stock = stock_.path();
    for (const char* folder : {"bin", "conf", "libexec", "modules", "sbin"}) {
      std::filesystem::create_directory(stock_.path() / folder);
    }
    const std::string command = "\"" QVX_SOURCE_DIR "/demo/add_daemon\" " + stock +
                                " \"" QVX_BINARY_DIR
                                "\" && ip link set lo up && "
                                "ip route add local 0.0.0.0/0 dev lo";
    EXPECT_EQ(std::system(command.c_str()), 0);
  }

  /// Makes it the daemon of an installation, as one process that stays where it is.
  void PutInto(const std::filesystem::path& base) const {
    const std::filesystem::path& stock = stock_.path();
    PutProgram(base / "sbin/zxqvxd",
               "#!/bin/sh\nexec " + (stock / "sbin/zxqvxd").string() + " -X \"$@\"\n");
    for (const char* name : {"modules", "bin/rotatelogs", "conf/mime.types"}) {
      std::error_code ignored;  // a folder may be missing
      std::filesystem::create_symlink(stock / name, base / name, ignored);
    }
  }

 private:
  const TempDirectory stock_;
};

/// A start that becomes the server, until the end of the scope.
class ServedStart {
 public:
  ServedStart() : process_(fork()) {
    if (process_ == 0) {
      const int null = open("/dev/null", O_RDWR);
      for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(null, stream);
      }
      execl(QVX_LAUNCHER, QVX_LAUNCHER, nullptr);
      _exit(1);
    }
    constexpr int kLooks = 10000;
    constexpr int kPause = 3000;  // microseconds
    for (int i = 0; i < kLooks && !is_up_ && waitpid(process_, nullptr, WNOHANG) == 0; ++i) {
      is_up_ = AnswerTo("127.0.0.1") != 0;
      usleep(kPause);
    }
  }
  ~ServedStart() {
    if (is_up_) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
  }
  ServedStart(const ServedStart&) = delete;
  ServedStart& operator=(const ServedStart&) = delete;
  ServedStart(ServedStart&&) = delete;
  ServedStart& operator=(ServedStart&&) = delete;

  bool is_up() const { return is_up_; }

  /// Returns the status of the answer to a request from an address, 0 when there is none.
  static int AnswerTo(const std::string& client) {
    constexpr std::string_view kRequest = "GET /none HTTP/1.0\r\n\r\n";
    const Descriptor connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in from{.sin_family = AF_INET,
                           .sin_port = 0,
                           .sin_addr = {inet_addr(client.c_str())},
                           .sin_zero = {}};
    const sockaddr_in to{.sin_family = AF_INET,
                         .sin_port = htons(2301),
                         .sin_addr = {htonl(INADDR_LOOPBACK)},
                         .sin_zero = {}};
    char answer[100] = "";
    int status = 0;
    if (bind(connection.get(), reinterpret_cast<const sockaddr*>(&from), sizeof from) == 0 &&
        connect(connection.get(), reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0 &&
        WriteAll(connection, kRequest) && read(connection.get(), answer, sizeof answer - 1) > 0) {
      std::sscanf(answer, "HTTP/1.1 %d", &status);
    }
    return status;
  }

 private:
  const pid_t process_;
  bool is_up_ = false;
};

}  // namespace qvx::test

#endif
