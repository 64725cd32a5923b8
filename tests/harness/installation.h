// A throw-away installation, files to look at, and environment variables that are put back.
#ifndef QVX_TESTS_HARNESS_INSTALLATION_H
#define QVX_TESTS_HARNESS_INSTALLATION_H

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace qvx::test {

/// The whole content of a file; nothing when it cannot be read.
std::optional<std::string> Contents(const std::filesystem::path& path);

/// Creates or replaces a file, and the directories on the way to it.
void WriteText(const std::filesystem::path& path, std::string_view text);

/// Permission bits of a file (0 when there is none), and "user:group" of its owner as numbers.
mode_t ModeOf(const std::filesystem::path& path);
std::string OwnerOf(const std::filesystem::path& path);

/// "user:group" of the service account, made when it is missing.
std::string ServiceOwner();

/// Sets (or with nothing, unsets) an environment variable for a scope.
class Variable {
 public:
  Variable(std::string name, const std::optional<std::string>& value);
  ~Variable();
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  Variable(Variable&&) = delete;
  Variable& operator=(Variable&&) = delete;

 private:
  std::string name_;
  std::optional<std::string> before_;
};

/// A directory that is removed with all that it holds, and from which the working directory is put
/// back.
class TempDirectory {
 public:
  TempDirectory();
  ~TempDirectory();
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;
  TempDirectory(TempDirectory&&) = delete;
  TempDirectory& operator=(TempDirectory&&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  std::filesystem::path working_directory_;
};

/// An installation with conf, bin, sbin, logs and webapp, a log and a TLS share directory beside
/// it; the four directory variables point into it. Its paths are short, so that every protection
/// command fits.
class Installation {
 public:
  Installation();

  std::filesystem::path base() const { return root_.path() / "zxqvx"; }
  std::filesystem::path tls() const { return root_.path() / "tls"; }
  std::filesystem::path log() const { return root_.path() / "log"; }

 private:
  TempDirectory root_;
  Variable base_variable_;
  Variable write_variable_;
  Variable log_variable_;
  Variable tls_variable_;
};

}  // namespace qvx::test

#endif
