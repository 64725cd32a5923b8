#include "webconf/server_conf.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "os/directories.h"
#include "os/files.h"
#include "os/service_files.h"
#include "settings/record.h"
#include "support/malloc_owner.h"
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

// The placeholders in their order, parted at the bind address: a value may hold a placeholder that
// comes later.
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
          {{"QVXLogLevel", values.log_level},
           {"QVXErrorLog", ErrorLogTarget(values)},
           {"QVXAccessLog", AccessLogTarget(values)},
           {"SSLV2?", values.refuse_ssl2 ? "-SSLv2" : "+SSLv2"},
           {"MaxThreads?", ThreadCount(values.max_threads)}}};
}

void ReplaceEach(std::string& line, const std::vector<Replacement>& replacements) {
  for (const Replacement& replacement : replacements) {
    ReplaceAll(line, replacement.placeholder, replacement.value);
  }
}

// Blank lines are dropped.
void AppendLine(std::string& text, std::string_view line, const ServerConfValues& values) {
  if (values.restrict_addresses && line.find(kRestrictionMarker) != std::string_view::npos) {
    text += "#\norder allow,deny\n";
    if (values.access_directives != nullptr) {
      text += values.access_directives;
      return;
    }
  }
  if (!line.empty()) {
    text += line;
    text += '\n';
  }
}

// A run of finished lines, or one line that the bind address is still missing in.
struct Piece {
  std::string text;
  bool awaits_bind_address;
};

// A section with everything done that does not depend on the bind address, so that a repetition
// costs little more than a copy.
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
  for (const Piece& piece : pieces) {
    if (!piece.awaits_bind_address) {
      text += piece.text;
      continue;
    }
    std::string line = piece.text;
    ReplaceAll(line, kBindPlaceholder, bind_address);
    ReplaceEach(line, replacements.after_bind);
    AppendLine(text, line, values);
  }
}

// The target of a log: `name` and, behind the rotation program's quotes, `format`.
std::string LogTarget(const ServerConfValues& values, std::string_view name,
                      std::string_view format) {
  std::string target = values.log_directory;
  target.append("/logs/").append(name);
  if (!values.rotate_logs) {
    return target.append(format.empty() ? "" : " ").append(format);
  }
  const int32_t megabytes = values.rotate_size == 0 ? 5 : values.rotate_size;
  target.append(" ").append(std::to_string(megabytes)).append("M\"");
  if (!format.empty()) {
    target.append(values.rotate_size == 0 ? " " : "  ").append(format);
  }
  return "\"|" + values.installation_directory + "/bin/rotatelogs " + target;
}

ServerConfValues ValuesFromRecord() {
  ServerConfValues values;
  values.installation_directory = InstallationPath();
  values.tls_share_directory = TlsSharePath();
  values.log_directory = sLogBaseDir != nullptr ? sLogBaseDir : LogPath();
  std::replace(values.log_directory.begin(), values.log_directory.end(), '\\', '/');
  values.log_level = sLogLevelString;
  values.rotate_logs = bRotateLogs != 0;
  values.rotate_size = nRotateLogsSize;
  values.refuse_ssl2 = isSSLV2Disabled != 0;
  values.max_threads = nMaxThreads;
  values.restrict_addresses = isIPRestrict != 0;
  return values;
}

std::vector<std::string_view> BindAddressesFromRecord() {
  std::vector<std::string_view> addresses;
  for (int32_t i = 0; gIPList != nullptr && i < gVHostPairs; ++i) {
    addresses.emplace_back(gIPList[i], strnlen(gIPList[i], kBindAddressCapacity));
  }
  return addresses;
}

bool WriteConfiguration() {
  ServerConfValues values = ValuesFromRecord();
  const std::string path = InstallationPath(QVX_CONF_NAME);
  RemoveLeftovers(path);
  // Begun before the restriction lists are consumed: a failure here leaves the record as it was.
  FileReplacement file(path, ServiceFile());
  if (!file) {
    return false;
  }
  MallocOwner<char> directives;
  if (values.restrict_addresses) {
    directives.reset(GenerateAccessDirectiveStr(sIpRestrictedInclude, sIpRestrictedExclude));
    values.access_directives = directives.get();
  }
  return file.Write(ServerConfText(values, BindAddressesFromRecord())) &&
         CommitAndProtect(file, path);
}

}  // namespace

std::string ErrorLogTarget(const ServerConfValues& values) {
  return LogTarget(values, "error_log", "");
}

std::string AccessLogTarget(const ServerConfValues& values) {
  return LogTarget(values, "access_log", "common");
}

std::string ServerConfText(const ServerConfValues& values,
                           std::span<const std::string_view> bind_addresses) {
  constexpr bool kPerAddress[kConfSections] = {false, true, false, true};
  const std::string_view first_address =
      bind_addresses.empty() ? std::string_view() : bind_addresses.front();
  const Replacements replacements = ReplacementsFrom(values);
  std::string text;
  for (size_t section = 0; section < kConfSections; ++section) {
    const std::vector<Piece> pieces = PrepareSection(confSections[section], replacements, values);
    const auto repetitions = kPerAddress[section] ? bind_addresses : std::span(&first_address, 1);
    for (std::string_view address : repetitions) {
      AppendSection(text, pieces, address, replacements, values);
    }
  }
  return text;
}

bool ReplaceAll(std::string& line, std::string_view placeholder, std::string_view replacement) {
  size_t found = placeholder.empty() ? std::string::npos : line.find(placeholder);
  if (found == std::string::npos) {
    return false;
  }
  std::string result;
  size_t copied = 0;
  for (; found != std::string::npos; found = line.find(placeholder, copied)) {
    result.append(line, copied, found - copied).append(replacement);
    copied = found + placeholder.size();
  }
  result.append(line, copied);
  line = std::move(result);
  return true;
}

}  // namespace qvx

int32_t WriteHttpConfFile(int32_t /*tomcat*/) {
  try {
    return qvx::WriteConfiguration() ? 0 : 1;
  } catch (const std::bad_alloc&) {
    return 1;
  }
}

int32_t ConfReplaceStrs(char* line, const char* placeholder, const char* replacement) {
  std::string text(line, strnlen(line, kConfLineCapacity));
  if (!qvx::ReplaceAll(text, placeholder, replacement) || text.size() >= kConfLineCapacity) {
    return 0;
  }
  std::memcpy(line, text.c_str(), text.size() + 1);
  return 1;
}

int32_t DeleteHttpConfFile() {
  try {
    return qvx::RemoveName(qvx::InstallationPath(QVX_CONF_NAME)) ? 0 : 1;
  } catch (const std::bad_alloc&) {
    return 1;
  }
}
