#include "webconf/server_conf.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "os/directories.h"
#include "os/files.h"
#include "os/service_files.h"
#include "settings/setting_list.h"
#include "webconf/access_rules.h"
#include "webconf/server_conf_templates.h"

namespace qvx {
namespace {

constexpr std::string_view kBindPlaceholder = "QVXBindIP";
constexpr std::string_view kRestrictionMarker = "IP_RESTRICTION_BLOCK";

struct Replacement {
  std::string_view placeholder;
  std::string value;
};

/// The placeholders in their order, split at the bind address. A value may hold a placeholder that
/// comes later in the order.
struct Replacements {
  std::vector<Replacement> before_bind;
  std::vector<Replacement> after_bind;
};

std::string ThreadCount(int32_t threads) {
  const std::string digits = std::to_string(threads);
  constexpr size_t kColumns = 3;
  return std::string(kColumns - std::min(kColumns, digits.size()), ' ') + digits;
}

Replacements ReplacementsFrom(const ServerConfValues& values) {
  return {{{"QVXBaseDir", values.installation_directory},
           {"QVXSSLDir", values.tls_share_directory},
           {"QVXLogDir", values.log_directory},
           {"QVXphpName", "libphp4.so"}},
          {{"QVXLogLevel", values.settings.log_level},
           {"QVXErrorLog", ErrorLogTarget(values)},
           {"QVXAccessLog", AccessLogTarget(values)},
           {"SSLV2?", values.settings.refuse_ssl2 ? "-SSLv2" : "+SSLv2"},
           {"MaxThreads?", ThreadCount(values.settings.max_threads)}}};
}

void ReplaceEach(std::string& line, const std::vector<Replacement>& replacements) {
  for (const Replacement& replacement : replacements) {
    ReplaceAll(line, replacement.placeholder, replacement.value);
  }
}

/// Appends a finished line. Empty lines are dropped.
void AppendLine(std::string& text, std::string_view line, const ServerConfValues& values) {
  if (values.settings.restrict_clients && line.find(kRestrictionMarker) != std::string_view::npos) {
    text += "#\norder allow,deny\n";
    if (values.access_directives) {
      text += *values.access_directives;
      return;
    }
  }
  if (!line.empty()) {
    text += line;
    text += '\n';
  }
}

/// A run of finished lines, or one line that still needs the bind address.
struct Piece {
  std::string text;
  bool awaits_bind_address;
};

/// Prepares a section as far as it does not depend on the bind address, so that repeating it costs
/// little more than a copy.
std::vector<Piece> PrepareSection(std::string_view section, const Replacements& replacements,
                                  const ServerConfValues& values) {
  std::vector<Piece> pieces;
  for (size_t start = 0, end = 0; (end = section.find('\n', start)) != std::string_view::npos;
       start = end + 1) {
    std::string line(section.substr(start, end - start));
    std::replace(line.begin(), line.end(), '`', '"');
    ReplaceEach(line, replacements.before_bind);
    if (line.find(kBindPlaceholder) != std::string::npos) {
      pieces.push_back({std::move(line), true});
      continue;
    }
    ReplaceEach(line, replacements.after_bind);
    if (pieces.empty() || pieces.back().awaits_bind_address) {
      pieces.push_back({{}, false});
    }
    AppendLine(pieces.back().text, line, values);
  }
  return pieces;
}

void AppendSection(std::string& text, const std::vector<Piece>& pieces,
                   std::string_view bind_address, const Replacements& replacements,
                   const ServerConfValues& values) {
  std::string line;
  for (const Piece& piece : pieces) {
    if (!piece.awaits_bind_address) {
      text += piece.text;
      continue;
    }
    line = piece.text;
    ReplaceAll(line, kBindPlaceholder, bind_address);
    ReplaceEach(line, replacements.after_bind);
    AppendLine(text, line, values);
  }
}

/// The target of a log: the file `name`, then `format` behind the quotes of the rotation program.
std::string LogTarget(const ServerConfValues& values, std::string_view name,
                      std::string_view format) {
  std::string target = values.log_directory;
  target.append("/logs/").append(name);
  if (!values.settings.rotate_logs) {
    return target.append(format.empty() ? "" : " ").append(format);
  }
  const int32_t megabytes = values.settings.rotate_size == 0 ? 5 : values.settings.rotate_size;
  target.append(" ").append(std::to_string(megabytes)).append("M\"");
  if (!format.empty()) {
    target.append(values.settings.rotate_size == 0 ? " " : "  ").append(format);
  }
  return "\"|" + values.installation_directory + "/bin/rotatelogs " + target;
}

/// Returns nothing when memory runs out. The restricted block then has no allow line, so nobody is
/// let in.
std::optional<std::string> DirectivesFrom(const LoadedSettings& settings) {
  try {
    return AccessDirectives(ViewOf(settings.included_clients), ViewOf(settings.excluded_clients));
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

bool WriteConfiguration(const LoadedSettings& settings,
                        std::span<const std::string> bind_addresses) {
  const std::string path = ServerConfPath();
  FileReplacement file(path, ServiceFile());
  return file &&
         GenerateServerConf(ServerConfValuesFrom(settings), bind_addresses,
                            [&file](std::string_view piece) { return file.Write(piece); }) &&
         CommitAndProtect(file, path);
}

}  // namespace

std::string ServerConfPath() {
  return InstallationPath(QVX_CONF_NAME);
}

std::string LogDirectoryFrom(const LoadedSettings& settings) {
  std::string directory = settings.log_directory != nullptr ? settings.log_directory : LogPath();
  // Each placeholder in it is replaced by a text that holds it: a longer one could fill the disk.
  directory.resize(std::min(directory.size(), kPathCapacity - 1));
  std::replace(directory.begin(), directory.end(), '\\', '/');
  return directory;
}

ServerConfValues ServerConfValuesFrom(const LoadedSettings& settings) {
  ServerConfValues values{.installation_directory = InstallationPath(),
                          .tls_share_directory = TlsSharePath(),
                          .log_directory = LogDirectoryFrom(settings),
                          .settings = settings};
  if (settings.restrict_clients) {
    values.access_directives = DirectivesFrom(settings);
  }
  return values;
}

std::string ErrorLogTarget(const ServerConfValues& values) {
  return LogTarget(values, "error_log", "");
}

std::string AccessLogTarget(const ServerConfValues& values) {
  return LogTarget(values, "access_log", "common");
}

bool GenerateServerConf(const ServerConfValues& values, std::span<const std::string> bind_addresses,
                        const TextSink& sink) {
  constexpr bool kPerAddress[kConfSections] = {false, true, false, true};
  const std::string first_address = bind_addresses.empty() ? "" : bind_addresses.front();
  const Replacements replacements = ReplacementsFrom(values);
  std::string piece;
  for (size_t section = 0; section < kConfSections; ++section) {
    const std::vector<Piece> pieces = PrepareSection(confSections[section], replacements, values);
    const auto repetitions = kPerAddress[section] ? bind_addresses : std::span(&first_address, 1);
    for (const std::string& address : repetitions) {
      piece.clear();
      AppendSection(piece, pieces, address, replacements, values);
      if (!sink(piece)) {
        return false;
      }
    }
  }
  return true;
}

std::string ServerConfText(const ServerConfValues& values,
                           std::span<const std::string> bind_addresses) {
  std::string text;
  GenerateServerConf(values, bind_addresses, [&text](std::string_view piece) {
    text += piece;
    return true;
  });
  return text;
}

bool WriteServerConf(const LoadedSettings& settings, std::span<const std::string> bind_addresses) {
  try {
    return WriteConfiguration(settings, bind_addresses);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool ReplaceAll(std::string& line, std::string_view placeholder, std::string_view replacement) {
  size_t found = placeholder.empty() ? std::string::npos : line.find(placeholder);
  const bool is_found = found != std::string::npos;
  for (; found != std::string::npos; found = line.find(placeholder, found + replacement.size())) {
    line.replace(found, placeholder.size(), replacement);
  }
  return is_found;
}

}  // namespace qvx

int32_t WriteHttpConfFile(int32_t /*tomcat*/) {
  try {
    return qvx::WriteServerConf(qvx::RecordedSettings(), qvx::RecordedBindList()) ? 0 : 1;
  } catch (const std::bad_alloc&) {
    return 1;
  }
}

int32_t ConfReplaceStrs(char* line, const char* placeholder, const char* replacement) {
  if (line == nullptr || placeholder == nullptr || replacement == nullptr) {
    return 0;
  }
  std::string text(line, strnlen(line, kConfLineCapacity));
  if (!qvx::ReplaceAll(text, placeholder, replacement) || text.size() >= kConfLineCapacity) {
    return 0;
  }
  std::memcpy(line, text.c_str(), text.size() + 1);
  return 1;
}

int32_t DeleteHttpConfFile() {
  try {
    return qvx::RemoveName(qvx::ServerConfPath()) ? 0 : 1;
  } catch (const std::bad_alloc&) {
    return 1;
  }
}
