// The web server's configuration file.
#ifndef QVX_WEBCONF_SERVER_CONF_H
#define QVX_WEBCONF_SERVER_CONF_H

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "settings/record.h"

/// The configuration file, under the installation directory.
inline constexpr char QVX_CONF_NAME[] = "/conf/qvxpd.conf";

/// Bytes of a line buffer that ConfReplaceStrs works on.
inline constexpr size_t kConfLineCapacity = 2048;

/// Writes the configuration from the settings record and the bind list and protects it. `tomcat`
/// has no effect. Returns 0; or 1 when the file could not be written whole or memory ran out, and
/// an old one is then as it was.
int32_t WriteHttpConfFile(int32_t tomcat);

/// Replaces every occurrence of `placeholder` in `line`, in place. Replaced text is not searched
/// again. `line` is a buffer of kConfLineCapacity bytes; a result that does not fit leaves it
/// unchanged, and so does a null text. Returns 1 when something was replaced, else 0. Throws
/// std::bad_alloc.
int32_t ConfReplaceStrs(char* line, const char* placeholder, const char* replacement);

/// Removes the configuration file. Returns 0, or 1 when the removal failed.
int32_t DeleteHttpConfFile();

namespace qvx {

/// Returns the path of the configuration file.
std::string ServerConfPath();

/// Returns the directory that holds the directory of the web server's logs, without backslashes and
/// cut at 4095 characters.
std::string LogDirectoryFrom(const LoadedSettings& settings);

/// Everything that determines the text of the configuration, apart from the bind addresses.
struct ServerConfValues {
  std::string installation_directory;
  std::string tls_share_directory;
  std::string log_directory;     ///< without backslashes
  LoadedSettings settings = {};  ///< its texts are not looked at; a rotation size of 0 stands for 5
  /// Whole lines; nothing when memory ran out while they were built.
  std::optional<std::string> access_directives = std::nullopt;
};

/// Returns the values for these settings and the launcher's directories. Throws std::bad_alloc.
ServerConfValues ServerConfValuesFrom(const LoadedSettings& settings);

/// Return the targets of the ErrorLog and CustomLog directives.
std::string ErrorLogTarget(const ServerConfValues& values);
std::string AccessLogTarget(const ServerConfValues& values);

/// Receives the pieces of a text in their order. Returns false when it could not take one; it is
/// not called again then.
using TextSink = std::function<bool(std::string_view)>;

/// Hands the text of the configuration for these bind addresses to `sink`. A piece is a section, or
/// one virtual host of a section that is repeated, so the memory does not grow with the addresses.
/// The cost is linear in the addresses. Returns whether the sink took every piece. Throws
/// std::bad_alloc.
bool GenerateServerConf(const ServerConfValues& values, std::span<const std::string> bind_addresses,
                        const TextSink& sink);

/// Returns the pieces of GenerateServerConf as one text.
std::string ServerConfText(const ServerConfValues& values,
                           std::span<const std::string> bind_addresses);

/// Writes the configuration and protects it. Returns false when it could not be written whole or
/// memory ran out; an old one is then as it was.
bool WriteServerConf(const LoadedSettings& settings, std::span<const std::string> bind_addresses);

/// Replaces every occurrence of `placeholder` in `line`. Replaced text is not searched again.
/// Returns whether something was replaced.
bool ReplaceAll(std::string& line, std::string_view placeholder, std::string_view replacement);

}  // namespace qvx

#endif
