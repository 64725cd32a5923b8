// The floor of a start: the very shell commands that one runs, one after the other, and nothing
// else. A first start also makes a key. It reads the same four variables as the launcher.
//
//   bench_start_floor steady|first|reconfigure
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "tls/openssl_handles.h"

namespace {

constexpr unsigned kKeyBits = 2048;

void Run(std::string command) {
  std::string shell = "sh";
  std::string option = "-c";
  char* const arguments[] = {shell.data(), option.data(), command.data(), nullptr};
  pid_t child = 0;
  if (posix_spawn(&child, "/bin/sh", nullptr, nullptr, arguments, environ) == 0) {
    waitpid(child, nullptr, 0);
  }
}

std::string Protection(const std::string& mode, const std::string& path) {
  return "chmod " + mode + ' ' + path + "; chown zxqvx:zxqvx " + path;
}

std::vector<std::string> Commands(std::string_view run) {
  const std::string base = std::getenv("SYSMGTZX_BASE_DIR");
  const std::string tls = std::getenv("SSL_SHARE_BASE_DIR");
  const std::string process = std::to_string(getppid());
  std::vector<std::string> commands = {Protection("755", base + "/session"),
                                       Protection("755", base + "/session/php")};
  if (run == "first") {
    for (const std::string& path :
         {base + "/logs/qvx.log", tls + "/cert.pem", tls + "/file.pem", base + "/conf/qvxpd.xml"}) {
      commands.push_back(Protection("660", path));
    }
  }
  commands.emplace_back("/sbin/ip addr");
  for (const char* path :
       {"/conf/qvxpd.conf", "/bin/php.ini", "/conf/qvxpd.xml", "/conf/ralolist.map"}) {
    commands.push_back(Protection("660", base + path));
  }
  if (run == "reconfigure") {
    commands.push_back("cat /proc/" + process + "/stat | awk '{print $6}'");
    commands.push_back("cat /proc/" + process + "/stat | awk '{print $2}'");
  } else {
    commands.push_back(base + "/sbin/genproxyconf 2> /dev/null");
  }
  return commands;
}

}  // namespace

int main(int argument_count, char* arguments[]) {
  if (argument_count != 2) {
    return EXIT_FAILURE;
  }
  const std::string_view run = arguments[1];
  for (const std::string& command : Commands(run)) {
    Run(command);
  }
  if (run == "first") {
    const qvx::KeyHandle key(EVP_RSA_gen(kKeyBits));
  }
  if (run == "reconfigure") {
    return EXIT_SUCCESS;
  }
  std::string daemon = std::string(std::getenv("SYSMGTZX_BASE_DIR")) + "/sbin/zxqvxd";
  char* const command[] = {daemon.data(), nullptr};
  execv(daemon.c_str(), command);
  return 127;
}
