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

constexpr std::string_view kFirst = "first";
constexpr std::string_view kReconfigure = "reconfigure";
constexpr std::string_view kStarts = "steady first";
constexpr std::string_view kEvery = "steady first reconfigure";

/// A command, and the runs that need it.
struct Command {
  std::string_view runs;
  std::string text;
};

std::vector<Command> Commands() {
  const std::string base = Variable("SYSMGTZX_BASE_DIR");
  const std::string tls = Variable("SSL_SHARE_BASE_DIR");
  const std::string status = "cat /proc/" + std::to_string(getppid()) + "/stat | awk '{print $";
  return {{kEvery, Protection("755", base + "/session")},
          {kEvery, Protection("755", base + "/session/php")},
          {kFirst, Protection("660", base + "/logs/qvx.log")},
          {kFirst, Protection("660", tls + "/cert.pem")},
          {kFirst, Protection("660", tls + "/file.pem")},
          {kFirst, Protection("660", base + "/conf/qvxpd.xml")},
          {kEvery, "/sbin/ip addr"},
          {kEvery, Protection("660", base + "/conf/qvxpd.conf")},
          {kEvery, Protection("660", base + "/bin/php.ini")},
          {kEvery, Protection("660", base + "/conf/qvxpd.xml")},
          {kEvery, Protection("660", base + "/conf/ralolist.map")},
          {kReconfigure, status + "6}'"},
          {kReconfigure, status + "2}'"},
          {kStarts, base + "/sbin/genproxyconf 2> /dev/null"}};
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
  const std::string_view run = argument_count == 2 ? arguments[1] : "none";
  for (const Command& command : Commands()) {
    if (command.runs.find(run) != std::string_view::npos) {
      Run(command.text);
    }
  }
  if (run == kFirst) {
    MakeKey();
  }
  if (run == kReconfigure) {
    return EXIT_SUCCESS;
  }
  std::string daemon = Variable("SYSMGTZX_BASE_DIR") + "/sbin/zxqvxd";
  char* const command[] = {daemon.data(), nullptr};
  execv(daemon.c_str(), command);
  return 127;
}
