// A throw-away installation, helpers to look at files, and environment variables for a scope.
#ifndef QVX_TESTS_HARNESS_INSTALLATION_H
#define QVX_TESTS_HARNESS_INSTALLATION_H

#include <sys/types.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace qvx::test {

std::string Repeated(const std::string& text, size_t count);

/// Returns the whole content of a file; nothing when it cannot be read.
std::optional<std::string> Contents(const std::filesystem::path& path);

/// Creates or replaces a file, and the directories on the way to it.
void WriteText(const std::filesystem::path& path, std::string_view text);

/// What a shell command writes on standard output, and its status.
struct Outcome {
  std::string output;
  int status;
};
Outcome RunShell(const std::string& command);

/// Return the permission bits of a file, 0 when there is none; and "user:group" of its owner in
/// numbers, "none" when there is none.
mode_t ModeOf(const std::filesystem::path& path);
std::string OwnerOf(const std::filesystem::path& path);

/// Returns "user:group" of the service account in numbers. Makes the account when it is missing.
std::string ServiceOwner();

/// Sets an environment variable for a scope; without a value, unsets it.
class Variable {
 public:
  Variable(const std::string& name, const std::optional<std::string>& value);

 private:
  std::shared_ptr<void> put_back_;  // by its deleter
};

/// A temporary directory that the service account can read, as what is made in it from then on. It
/// is removed with its content at the end of the scope, and the working directory is restored.
class TempDirectory {
 public:
  TempDirectory();

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  std::shared_ptr<void> removed_;  // by its deleter
};

/// An installation with conf, bin, sbin, logs and webapp, and beside it a log and a TLS share
/// directory. SYSMGTZX_WRITE_DIR is unset, and the other three directory variables point into it.
/// Its paths are short enough for every protection command.
class Installation {
 public:
  Installation();

  std::filesystem::path base() const { return root_.path() / "zxqvx"; }
  std::filesystem::path tls() const { return root_.path() / "tls"; }
  std::filesystem::path log() const { return root_.path() / "log"; }

 private:
  TempDirectory root_;
  Variable variables_[4];
};

}  // namespace qvx::test

#endif
