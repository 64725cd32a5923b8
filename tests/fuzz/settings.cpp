// From a settings document to the configuration: every value is in its bounds, and what is no
// document is not taken for one.
#include <algorithm>
#include <string>

#include "dom/handles.h"
#include "settings/bind_addresses.h"
#include "settings/document.h"
#include "settings/reader.h"
#include "settings/record.h"
#include "tests/fuzz/input.h"
#include "tests/harness/installation.h"
#include "webconf/server_conf.h"

namespace qvx::test {
namespace {

void CheckValues(const LoadedSettings& settings) {
  constexpr std::string_view kLevels[] = {"debug", "warn",  "info", "notice",
                                          "alert", "emerg", "crit", "error"};
  Require(settings.max_threads >= 25 && settings.max_threads <= 64);
  Require(settings.rotate_size >= 1 && settings.rotate_size <= 99);
  Require(std::count(std::begin(kLevels), std::end(kLevels), settings.log_level) == 1);
  Require(settings.restrict_clients || settings.included_clients == nullptr);
}

}  // namespace

void Check(Input input) {
  static const Installation installation;
  WriteText(installation.base() / "conf/qvxpd.xml", input.Rest());
  const DocumentHolder document = NewDocument();
  if (LoadSettings(document.get()) != LoadResult::kRead) {
    return;
  }
  ResetRestriction();
  LoadedSettings settings = RecordedSettings();
  ReadAccessSettings(document.get(), settings);
  ReadServerSettings(document.get(), settings);
  CheckValues(settings);
  const auto addresses = SelectBindAddresses({}, settings);
  const std::string configuration = ServerConfText(ServerConfValuesFrom(settings), addresses);
  Require(configuration.ends_with('\n'));
  Require((configuration.find("\norder allow,deny\nallow from 127.0.0.1\n") != std::string::npos) ==
              (settings.restrict_clients && settings.included_clients != nullptr &&
               settings.included_clients[0] != '\0') ||
          settings.log_directory != nullptr);
}

}  // namespace qvx::test
