// The floor of a start: the very shell commands that one runs, one after the other, and nothing
// else. A first start also makes a key; the others do not pay for the library that makes it. It
// reads the same four variables as the launcher.
//
//   bench_start_floor steady|first|reconfigure
#include <dlfcn.h>
#include <openssl/evp.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr size_t kKeyBits = 2048;

void Run(std::string command) {
  std::string shell = "sh";
  std::string option = "-c";
  char* const arguments[] = {shell.data(), option.data(), command.data(), nullptr};
  pid_t child = 0;
  if (posix_spawn(&child, "/bin/sh", nullptr, nullptr, arguments, environ) == 0) {
    waitpid(child, nullptr, 0);
  }
}

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string Protection(const std::string& mode, const std::string& path) {
  return "chmod " + mode + ' ' + path + "; chown zxqvx:zxqvx " + path;
}

/// A command, and the first letters of the runs that need it.
struct Command {
  std::string_view runs;
  std::string text;
};

std::vector<Command> Commands() {
  const std::string base = Variable("SYSMGTZX_BASE_DIR");
  const std::string tls = Variable("SSL_SHARE_BASE_DIR");
  const std::string status = "cat /proc/" + std::to_string(getppid()) + "/stat | awk '{print $";
  return {{"sfr", Protection("755", base + "/session")},
          {"sfr", Protection("755", base + "/session/php")},
          {"f", Protection("660", base + "/logs/qvx.log")},
          {"f", Protection("660", tls + "/cert.pem")},
          {"f", Protection("660", tls + "/file.pem")},
          {"f", Protection("660", base + "/conf/qvxpd.xml")},
          {"sfr", "/sbin/ip addr"},
          {"sfr", Protection("660", base + "/conf/qvxpd.conf")},
          {"sfr", Protection("660", base + "/bin/php.ini")},
          {"sfr", Protection("660", base + "/conf/qvxpd.xml")},
          {"sfr", Protection("660", base + "/conf/ralolist.map")},
          {"r", status + "6}'"},
          {"r", status + "2}'"},
          {"sf", base + "/sbin/genproxyconf 2> /dev/null"}};
}

void MakeKey() {
  void* const library = dlopen("libcrypto.so.3", RTLD_NOW);
  const auto generate =
      reinterpret_cast<decltype(&EVP_PKEY_Q_keygen)>(dlsym(library, "EVP_PKEY_Q_keygen"));
  if (generate == nullptr || generate(nullptr, nullptr, "RSA", kKeyBits) == nullptr) {
    std::exit(EXIT_FAILURE);
  }
}

}  // namespace

int main(int argument_count, char* arguments[]) {
  const char run = argument_count == 2 ? arguments[1][0] : '?';
  for (const Command& command : Commands()) {
    if (command.runs.find(run) != std::string_view::npos) {
      Run(command.text);
    }
  }
  if (run == 'f') {
    MakeKey();
  }
  if (run == 'r') {
    return EXIT_SUCCESS;
  }
  std::string daemon = Variable("SYSMGTZX_BASE_DIR") + "/sbin/zxqvxd";
  char* const command[] = {daemon.data(), nullptr};
  execv(daemon.c_str(), command);
  return 127;
}
