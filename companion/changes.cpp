#include "companion/changes.h"

#include <optional>

#include "companion/diff.h"
#include "companion/installation.h"
#include "settings/document.h"
#include "tls/pem_files.h"

namespace qvx::companion {

namespace {

FileChange ChangeOf(const ForeseenFile& file, bool may_get_proxy_blocks = false) {
  const std::optional<std::string> old_text = ReadText(file.path);
  if (!file.is_written) {
    return {file.path, "is not written", {}};
  }
  if (!old_text) {
    return {file.path, "is made", {}};
  }
  FileChange change{file.path, "", DifferingLines(*old_text, file.text)};
  change.change = change.lines.empty() ? "stays the same" : "changes";
  if (may_get_proxy_blocks) {
    change.change +=
        ", before sbin/genproxyconf decides about the servlet container's proxy blocks";
  }
  return change;
}

}  // namespace

std::vector<FileChange> ForetellChanges(const Forecast& forecast) {
  std::vector<FileChange> changes;
  const bool is_default = forecast.document_fate == DocumentFate::kMade ||
                          forecast.document_fate == DocumentFate::kReplaced;
  if (is_default) {
    changes.push_back(ChangeOf({SettingsPath(), QVX_XML_DEFAULT, forecast.pair.is_usable()}));
  }
  changes.push_back(ChangeOf(forecast.server_conf, forecast.may_get_proxy_blocks));
  changes.push_back(ChangeOf(forecast.php_ini));
  changes.push_back(ChangeOf(forecast.agent_map));
  const bool is_new = forecast.pair.is_usable() && !forecast.pair.is_kept();
  for (const std::string& path : {CertificatePath(), KeyPath()}) {
    changes.push_back({path, is_new ? "is replaced by a new one" : "stays the same", {}});
  }
  return changes;
}

}  // namespace qvx::companion
