#include "companion/changes.h"

#include <cerrno>
#include <optional>

#include "companion/diff.h"
#include "companion/installation.h"
#include "log/ring_log.h"
#include "os/directories.h"
#include "os/file_replacement.h"
#include "os/service_account.h"
#include "settings/document.h"
#include "tls/pem_files.h"

namespace qvx::companion {

namespace {

/// Every generated file gets this owner and mode.
std::string OwnerChange(const std::string& path) {
  const std::optional<Ownership> file = OwnershipOf(path);
  const std::optional<AccountIds> account = LookUpServiceAccount().ids;
  const bool stays = !file || !account ||
                     (file->user == account->user && file->group == account->group &&
                      file->mode == kServiceFileMode);
  return stays ? "" : "; becomes zxqvx:zxqvx, 660";
}

FileChange ChangeOf(const ForeseenFile& file, bool may_get_proxy_blocks = false) {
  const std::optional<std::string> old_text = ReadText(file.path);
  if (!file.is_written) {
    return {file.path, "is not written", {}};
  }
  if (!old_text) {
    return {file.path, HasName(file.path) ? "is replaced" : "is made", {}};
  }
  FileChange change{file.path, "changes", DifferingLines(*old_text, file.text)};
  if (change.lines.empty()) {
    change.change = *old_text == file.text ? "stays the same" : "changes in its last line end";
  }
  if (may_get_proxy_blocks) {
    change.change +=
        ", before sbin/genproxyconf decides about the servlet container's proxy blocks";
  }
  change.change += OwnerChange(file.path);
  return change;
}

/// A directory in the place of the key lets the certificate alone be replaced.
void AddPair(const PairForecast& pair, std::vector<FileChange>& changes) {
  const bool key_is_directory =
      pair.refusal.path == KeyPath() && pair.refusal.error == EISDIR && !pair.host.empty();
  const bool is_new = pair.facts && pair.facts->is_known && !pair.is_kept();
  const bool is_set_aside = is_new && pair.is_usable() && pair.fate == PairFate::kSetAside;
  const struct {
    std::string path;
    const char* aside;
    bool is_replaced;
  } rows[] = {
      {CertificatePath(), kCertificateAsideName, is_new && (pair.is_usable() || key_is_directory)},
      {KeyPath(), kKeyAsideName, is_new && pair.is_usable()},
  };
  for (const auto& row : rows) {
    const bool is_deleted = pair.is_deleted_first && ForeseeRemoval(row.path) == 0;
    if (is_set_aside && !is_deleted && HasName(row.path)) {
      changes.push_back({TlsSharePath("/").append(row.aside), "becomes a copy of " + row.path, {}});
    }
    changes.push_back(
        {row.path, row.is_replaced ? "is replaced by a new one" : "stays the same", {}});
  }
}

/// What the run itself uses besides.
void AddOthers(const Forecast& forecast, std::vector<FileChange>& changes) {
  for (const char* folder : {"/session", "/session/php"}) {
    if (!HasName(InstallationPath(folder))) {
      changes.push_back({InstallationPath(folder), "is made", {}});
    }
  }
  if (forecast.may_get_proxy_blocks && forecast.server_conf.is_written) {
    changes.push_back({InstallationPath("/conf/mod_proxy.conf"),
                       "is emptied, before sbin/genproxyconf writes its rules",
                       {}});
  }
  if (!HasName(LogFilePath())) {
    changes.push_back({LogFilePath(), "is made with the first record", {}});
  }
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
  AddPair(forecast.pair, changes);
  AddOthers(forecast, changes);
  return changes;
}

}  // namespace qvx::companion
