#include "companion/changes.h"

#include <cerrno>
#include <optional>
#include <utility>

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

/// The copies are made first, also where no new pair can be made then. A directory in the place of
/// the key lets the certificate alone be replaced.
void AddPair(const PairForecast& pair, std::vector<FileChange>& changes) {
  const bool is_new = pair.facts && pair.facts->is_known && !pair.is_kept();
  const bool is_set_aside = is_new && pair.fate == PairFate::kSetAside;
  const bool is_stored =
      is_new && pair.certificate_can_be_kept && pair.key_can_be_kept && !pair.host.empty();
  const bool key_is_directory = pair.refusal.path == KeyPath() && pair.refusal.error == EISDIR;
  const struct {
    std::string path, copy;
    bool is_lost, can_be_kept, is_replaced;
  } rows[] = {
      {.path = CertificatePath(),
       .copy = CertificateCopyPath(),
       .is_lost = pair.loses_certificate,
       .can_be_kept = pair.certificate_can_be_kept,
       .is_replaced = is_stored && (pair.refusal.error == 0 || key_is_directory)},
      {.path = KeyPath(),
       .copy = KeyCopyPath(),
       .is_lost = pair.loses_key,
       .can_be_kept = pair.key_can_be_kept,
       .is_replaced = is_stored && pair.refusal.error == 0},
  };
  for (const auto& row : rows) {
    const mode_t type = LookAt(row.path).type();
    const bool is_worth_keeping = type == S_IFREG || type == S_IFLNK;
    if (is_set_aside && !row.is_lost && row.can_be_kept && is_worth_keeping) {
      changes.push_back({row.copy, "becomes a copy of " + row.path, {}});
    }
    const bool makes_way = is_stored && (type == S_IFIFO || type == S_IFSOCK);
    const bool is_removed = row.is_lost || (makes_way && ForeseeRemoval(row.path) == 0);
    const char* otherwise = is_removed ? "is deleted" : "stays the same";
    changes.push_back({row.path, row.is_replaced ? "is replaced by a new one" : otherwise, {}});
  }
}

/// A document that is read gets its owner and mode all the same.
void AddDocument(const Forecast& forecast, std::vector<FileChange>& changes) {
  const bool is_default = forecast.document_fate == DocumentFate::kMade ||
                          forecast.document_fate == DocumentFate::kReplaced;
  const bool is_read = forecast.document_fate == DocumentFate::kRead && !forecast.is_candidate;
  if (is_default || is_read) {
    const std::string text = is_default ? QVX_XML_DEFAULT : forecast.document_text;
    changes.push_back(ChangeOf({SettingsPath(), text, forecast.pair.is_usable()}));
  }
}

/// Only the tool knows whether it will write rules.
void AddRules(const Forecast& forecast, std::vector<FileChange>& changes) {
  const std::string& path = forecast.rules.path;
  if (forecast.rules.is_written && (forecast.may_get_proxy_blocks || ReadText(path) != "")) {
    std::string change = HasName(path) ? "is emptied" : "is made without rules";
    change += forecast.may_get_proxy_blocks ? ", before sbin/genproxyconf writes its rules" : "";
    changes.push_back({path, change, {}});
  }
}

/// What the run itself uses besides.
void AddOthers(const Forecast& forecast, std::vector<FileChange>& changes) {
  const bool makes_document =
      forecast.document_fate == DocumentFate::kMade && forecast.pair.is_usable();
  const bool makes_pair = forecast.pair.is_usable() && !forecast.pair.is_kept();
  const std::pair<std::string, bool> folders[] = {{InstallationPath("/conf"), makes_document},
                                                  {TlsSharePath(), makes_pair},
                                                  {InstallationPath("/session"), true},
                                                  {InstallationPath("/session/php"), true}};
  for (const auto& [path, is_used] : folders) {
    if (is_used && !HasName(path)) {
      changes.push_back({path, "is made", {}});
    }
  }
  if (!HasName(LogFilePath())) {
    changes.push_back({LogFilePath(), "is made with the first record", {}});
  }
}

}  // namespace

std::vector<FileChange> ForetellChanges(const Forecast& forecast) {
  std::vector<FileChange> changes;
  AddDocument(forecast, changes);
  changes.push_back(ChangeOf(forecast.server_conf, forecast.may_get_proxy_blocks));
  changes.push_back(ChangeOf(forecast.php_ini));
  changes.push_back(ChangeOf(forecast.agent_map));
  AddPair(forecast.pair, changes);
  AddRules(forecast, changes);
  AddOthers(forecast, changes);
  return changes;
}

}  // namespace qvx::companion
