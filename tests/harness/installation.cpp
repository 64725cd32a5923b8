#include "tests/harness/installation.h"

#include <pwd.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace qvx::test {

namespace fs = std::filesystem;

std::optional<std::string> Contents(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) {
    return std::nullopt;
  }
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

void WriteText(const fs::path& path, std::string_view text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

mode_t ModeOf(const fs::path& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

std::string OwnerOf(const fs::path& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0
             ? std::to_string(status.st_uid) + ":" + std::to_string(status.st_gid)
             : "none";
}

std::string ServiceOwner() {
  const auto look_up = [] { return getpwnam("zxqvx"); };
  if (look_up() == nullptr &&
      std::system(
          "useradd --system --user-group --no-create-home --shell /usr/sbin/nologin zxqvx") != 0) {
    throw std::runtime_error("the account zxqvx could not be made");
  }
  const passwd* account = look_up();
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

Variable::Variable(std::string name, const std::optional<std::string>& value)
    : name_(std::move(name)) {
  if (const char* before = std::getenv(name_.c_str())) {
    before_ = before;
  }
  Set(name_, value);
}

Variable::~Variable() {
  Set(name_, before_);
}

TempDirectory::TempDirectory() : working_directory_(fs::current_path()) {
  std::string name = (fs::temp_directory_path() / "qvx-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("no temporary directory");
  }
  path_ = name;
  fs::permissions(path_, fs::perms(0755));
}

TempDirectory::~TempDirectory() {
  std::error_code ignored;
  fs::current_path(working_directory_, ignored);
  fs::remove_all(path_, ignored);
}

Installation::Installation()
    : base_variable_("SYSMGTZX_BASE_DIR", base().string()),
      write_variable_("SYSMGTZX_WRITE_DIR", std::nullopt),
      log_variable_("SYSMGTZX_LOG_DIR", log().string()),
      tls_variable_("SSL_SHARE_BASE_DIR", tls().string()) {
  for (const char* name : {"conf", "bin", "sbin", "logs", "webapp"}) {
    fs::create_directories(base() / name);
  }
  fs::create_directories(log() / "logs");
  fs::create_directories(tls());
}

}  // namespace qvx::test
