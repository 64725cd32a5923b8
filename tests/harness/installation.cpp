#include "tests/harness/installation.h"

#include <pwd.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace qvx::test {

namespace fs = std::filesystem;

std::string Repeated(const std::string& text, size_t count) {
  std::string repeated;
  for (; count > 0; --count) {
    repeated += text;
  }
  return repeated;
}

std::optional<std::string> Contents(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  const std::string text(std::istreambuf_iterator<char>(stream), {});
  return stream.is_open() ? std::optional(text) : std::nullopt;
}

void WriteText(const fs::path& path, std::string_view text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

Outcome RunShell(const std::string& command) {
  const TempDirectory scratch;
  const std::string output = scratch.path() / "output";
  const int status = std::system(("exec >" + output + "; " + command).c_str());
  return {Contents(output).value_or(""), WEXITSTATUS(status)};
}

mode_t ModeOf(const fs::path& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

std::string OwnerOf(const fs::path& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0
             ? std::to_string(status.st_uid) + ":" + std::to_string(status.st_gid)
             : "none";
}

std::string ServiceOwner() {
  // A test beside this one may be making it.
  if (getpwnam("zxqvx") == nullptr &&
      std::system(
          "useradd --system --user-group --no-create-home --shell /usr/sbin/nologin zxqvx") != 0 &&
      getpwnam("zxqvx") == nullptr) {
    throw std::runtime_error("the account zxqvx could not be made");
  }
  const passwd* account = getpwnam("zxqvx");
  return std::to_string(account->pw_uid) + ":" + std::to_string(account->pw_gid);
}

namespace {

void Set(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    setenv(name.c_str(), value->c_str(), 1);
  } else {
    unsetenv(name.c_str());
  }
}

}  // namespace

Variable::Variable(const std::string& name, const std::optional<std::string>& value) {
  const char* before = std::getenv(name.c_str());
  const auto kept = before == nullptr ? std::nullopt : std::optional<std::string>(before);
  put_back_.reset(static_cast<void*>(nullptr), [name, kept](void*) { Set(name, kept); });
  Set(name, value);
}

TempDirectory::TempDirectory() {
  std::string name = (fs::temp_directory_path() / "qvx-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("no temporary directory");
  }
  path_ = name;
  removed_.reset(static_cast<void*>(nullptr), [name, before = fs::current_path()](void*) {
    std::error_code ignored;
    fs::current_path(before, ignored);
    fs::remove_all(name, ignored);
  });
  fs::permissions(path_, fs::perms(0755));
  umask(022);
}

Installation::Installation()
    : variables_{{"SYSMGTZX_BASE_DIR", base()},
                 {"SYSMGTZX_WRITE_DIR", std::nullopt},
                 {"SYSMGTZX_LOG_DIR", log()},
                 {"SSL_SHARE_BASE_DIR", tls()}} {
  for (const char* name :
       {"zxqvx/conf", "zxqvx/bin", "zxqvx/sbin", "zxqvx/logs", "zxqvx/webapp", "log/logs", "tls"}) {
    fs::create_directories(root_.path() / name);
  }
}

}  // namespace qvx::test
