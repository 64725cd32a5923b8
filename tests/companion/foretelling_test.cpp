// Lays out installations, asks the companion what a start will do, starts, and compares. The number
// of installations is QVX_FORETELLINGS, or 80; the first one is QVX_FIRST_FORETELLING. One in
// kServedOneIn has Debian's web server as its daemon, which is asked whom it lets in.

#include <algorithm>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "companion/admission.h"
#include "companion/changes.h"
#include "companion/daemon_test.h"
#include "companion/findings.h"
#include "companion/forecast.h"
#include "companion/show.h"
#include "settings/document.h"
#include "tests/companion/random_installation.h"
#include "tls/certificate_details.h"
#include "tls/pem_files.h"
#include "webconf/servlet_container.h"

namespace qvx::test {
namespace {

namespace fs = std::filesystem;
using companion::DocumentFate;
using companion::Findings;
using companion::Forecast;
using companion::ForeseenFile;

/// Of so many starts one becomes a real web server.
constexpr uint32_t kServedOneIn = 15;

uint32_t NumberFrom(const char* variable, uint32_t otherwise) {
  const char* value = std::getenv(variable);
  return value == nullptr ? otherwise : static_cast<uint32_t>(std::strtoul(value, nullptr, 10));
}

/// The content of what a path leads to: nothing for what is no regular file.
std::optional<std::string> TextAt(const fs::path& path) {
  return fs::is_regular_file(path) ? Contents(path) : std::nullopt;
}

/// Everything in an installation, by its path.
struct Entry {
  int type = 0;
  std::optional<std::string> text{};  ///< of what the path leads to
  std::string rights{};               ///< of that, in numbers
  bool operator==(const Entry&) const = default;
};
using Tree = std::map<std::string, Entry>;

Tree TreeOf(const RandomInstallation& site) {
  Tree tree;
  for (const fs::path& root : {site.base(), site.tls(), site.log()}) {
    std::error_code ignored;
    std::vector<fs::directory_entry> entries(fs::recursive_directory_iterator(root, ignored), {});
    entries.emplace_back(root);
    for (const fs::directory_entry& entry : entries) {
      tree[entry.path()] = {static_cast<int>(entry.symlink_status().type()), TextAt(entry),
                            OwnerOf(entry) + " " + std::to_string(ModeOf(entry))};
    }
  }
  return tree;
}

/// What is foretold of each path has happened, and nothing else.
void CompareChanges(const std::vector<companion::FileChange>& changes, Tree before, Tree after) {
  const std::string service = ServiceOwner() + " " + std::to_string(kServiceFileMode);
  for (const auto& [path, change, lines] : changes) {
    SCOPED_TRACE(testing::Message() << path << ": " << change);
    const bool stays = change.starts_with("stays the same") || change.starts_with("is not written");
    const bool is_sure = change.find("first record") == std::string::npos &&
                         change.find("emptied") == std::string::npos;
    if (is_sure) {
      EXPECT_EQ(before[path].text == after[path].text && before[path].type == after[path].type,
                stays);
    }
    if (change.ends_with("becomes zxqvx:zxqvx, 660")) {
      EXPECT_EQ(after[path].rights, service);
    } else if (stays) {
      EXPECT_EQ(after[path].rights, before[path].rights);
    }
    after[path] = before[path];
  }
  for (const auto& [path, entry] : after) {
    const bool is_target = path.find("/target of ") != std::string::npos;  // of a link
    const bool is_new_log = path.ends_with("/qvx.log") && !before.contains(path);
    const bool is_servers = path.find("/logs") != std::string::npos && !is_new_log;
    EXPECT_TRUE(is_servers || is_target || entry == before[path]) << path << " is not foretold";
  }
}

std::optional<std::string> TextIn(const Tree& tree, const std::string& path) {
  const auto found = tree.find(path);
  return found == tree.end() ? std::nullopt : found->second.text;
}

void CompareFile(const ForeseenFile& foreseen, const Tree& before, const Tree& after) {
  EXPECT_EQ(TextIn(after, foreseen.path),
            foreseen.is_written ? foreseen.text : TextIn(before, foreseen.path));
}

/// Only the tool knows whether it will write rules.
void CompareServerConf(const Forecast& forecast, const Tree& before, const Tree& after) {
  ForeseenFile foreseen = forecast.server_conf;
  if (forecast.may_get_proxy_blocks && TextIn(after, foreseen.path) != foreseen.text) {
    foreseen.text = WithProxyBlocks(foreseen.text);
  }
  CompareFile(foreseen, before, after);
}

void CompareSettings(const Forecast& forecast, const Tree& before, const Tree& after) {
  const bool is_default =
      forecast.pair.is_usable() && (forecast.document_fate == DocumentFate::kMade ||
                                    forecast.document_fate == DocumentFate::kReplaced);
  CompareFile({forecast.document_path, QVX_XML_DEFAULT, is_default}, before, after);
}

void ComparePair(const Forecast& forecast, const Tree& before, const Tree& after) {
  const auto shown = ShowAsJson(forecast, {})["certificate"]["fate"];
  EXPECT_EQ(shown == "kept", forecast.pair.is_kept());
  for (const std::string& path : {CertificatePath(), KeyPath()}) {
    if (forecast.pair.is_usable()) {
      EXPECT_EQ(TextIn(after, path) == TextIn(before, path), forecast.pair.is_kept());
    }
  }
  if (forecast.pair.is_usable() && !forecast.pair.is_kept()) {
    EXPECT_EQ(shown == "set-aside",
              forecast.pair.fate == PairFate::kSetAside && !forecast.pair.is_deleted_first());
    const auto details = ReadCertificateDetails();
    ASSERT_TRUE(details);
    EXPECT_EQ(!details->names.empty(), forecast.pair.names_are_accepted);
  }
}

void CompareEnd(const Forecast& forecast, const Outcome& outcome) {
  EXPECT_EQ(outcome.status, forecast.exit_status.value_or(0));
  EXPECT_EQ(forecast.exit_status ? outcome.output : outcome.output.substr(0, 6),
            forecast.exit_status ? forecast.printed : "daemon");
}

/// No loss without a failure that "check" has named before.
void CompareStatus(int status, const Forecast& forecast, const Tree& before, const Tree& after) {
  const auto settings = TextIn(before, forecast.document_path);
  const bool loses_settings = settings && TextIn(after, forecast.document_path) != settings;
  const bool is_written = TextIn(after, forecast.server_conf.path) &&
                          TextIn(after, forecast.php_ini.path) &&
                          TextIn(after, forecast.agent_map.path);
  if (forecast.exit_status || loses_settings || !is_written) {
    EXPECT_EQ(status, 2);
  }
}

/// The ends of what the entries hold, their neighbours, and addresses that few lists name.
std::set<std::string> ClientsOf(const Forecast& forecast) {
  std::set<std::string> clients = {"127.0.0.1", "127.9.9.9", "8.8.8.8", "10.0.0.3"};
  for (const companion::AccessEntry& entry : AccessEntries(forecast)) {
    for (const companion::Span& span : SpansOf(entry)) {
      for (const uint32_t address : {span.first - 1, span.first, span.last, span.last + 1}) {
        const in_addr client{htonl(address)};
        const uint32_t network = address >> 24;
        if (network > 0 && network < 224) {  // the others are no client's
          clients.insert(inet_ntoa(client));
        }
      }
    }
  }
  return clients;
}

void CompareAnswer(int answer, const companion::Admission& foretold) {
  if (foretold.is_certain) {
    EXPECT_EQ(answer, foretold.is_admitted ? 404 : 403) << foretold.reason;
  }
}

/// A client that trusts the kept certificate refuses it for this host when a finding says so.
void CompareClient(const Forecast& forecast, const Findings& findings) {
  const auto& hosts = forecast.bind_addresses;
  const auto host = std::find_if(hosts.begin(), hosts.end(), [](const std::string& address) {
    return address.starts_with("1");  // the others cannot be reached
  });
  if (!forecast.pair.is_kept() || host == hosts.end()) {
    return;
  }
  const bool is_foretold = std::any_of(findings.begin(), findings.end(), [](const auto& finding) {
    const std::string code = finding.code;
    return code == "certificate-lacks-host" || code == "certificate-ends" ||
           code == "certificate-not-yet-valid";
  });
  const std::string server = forecast.pair.host + ":2381";
  constexpr int kNotVerified = 60;
  const Outcome outcome =
      RunShell("curl -s --noproxy '*' --max-time 20 --cacert " + CertificatePath() + " --resolve " +
               server + ":" + *host + " https://" + server + "/");
  EXPECT_EQ(outcome.status, is_foretold ? kNotVerified : 0);
}

/// No console stays down, and no client complains, without a finding that says so.
void CompareServer(const Forecast& forecast, const Findings& findings) {
  const ServedStart start;
  SCOPED_TRACE(FindingsAsJson(findings).dump(1));
  if (!start.is_up()) {
    EXPECT_EQ(StatusOf(findings), 2);
    return;
  }
  EXPECT_EQ(WhatKeepsDown(findings), nullptr);
  CompareClient(forecast, findings);
  for (const std::string& client : ClientsOf(forecast)) {
    SCOPED_TRACE(client);
    const int answer = ServedStart::AnswerTo(client);
    CompareAnswer(answer, Admit(forecast, client));
    CompareAnswer(answer, AdmitNow(forecast, client).value());
  }
}

void Compare(uint32_t number, const std::string& output, const WebServer& server) {
  SCOPED_TRACE("QVX_FIRST_FORETELLING=" + std::to_string(number));
  const bool is_served = number % kServedOneIn == 0;
  const RandomInstallation site(number, output, is_served ? &server : nullptr);
  const Variable regenerate("QVX_CERT_REGEN",
                            site.regenerates() ? std::optional<std::string>("1") : std::nullopt);
  const Tree before = TreeOf(site);
  const Forecast forecast = companion::Foretell();
  const auto changes = ForetellChanges(forecast);
  Findings findings = CheckAll(forecast, "none");
  const int status = StatusOf(findings);
  if (number % 10 == 0) {
    EXPECT_EQ(RunShell("\"" QVX_COMPANION "\" check --from 127.0.0.1 --kept none").status, status);
  }
  if (is_served && !forecast.exit_status) {
    CheckWithDaemon(forecast, findings);
    CompareServer(forecast, findings);
  } else {
    CompareEnd(forecast, RunShell("exec \"" QVX_LAUNCHER "\" 2>/dev/null"));
  }
  const Tree after = TreeOf(site);
  CompareChanges(changes, before, after);
  CompareSettings(forecast, before, after);
  CompareServerConf(forecast, before, after);
  CompareFile(forecast.php_ini, before, after);
  CompareFile(forecast.agent_map, before, after);
  ComparePair(forecast, before, after);
  CompareStatus(status, forecast, before, after);
}

/// Several, so that they can run at once.
constexpr uint32_t kShards = 4;
class Foretellings : public testing::TestWithParam<uint32_t> {};
INSTANTIATE_TEST_SUITE_P(Shards, Foretellings, testing::Range(0U, kShards));

TEST_P(Foretellings, EveryStartIsAsForetold) {
  ServiceOwner();
  const Variable home("HOME", std::nullopt);  // as for a service
  PassIsolated(CLONE_NEWNS | CLONE_NEWUTS | CLONE_NEWNET, [shard = GetParam()] {
    const WebServer server;
    const TempDirectory scratch;
    const std::string output = scratch.path() / "output";
    const std::string program = scratch.path() / "ip";
    PutProgram(program, "#!/bin/sh\nexec cat " + output + "\n");
    ASSERT_EQ(mount(program.c_str(), "/sbin/ip", nullptr, MS_BIND, nullptr), 0);
    const uint32_t first = NumberFrom("QVX_FIRST_FORETELLING", 0);
    const uint32_t count = NumberFrom("QVX_FORETELLINGS", 80);
    for (uint32_t i = first + shard; i < first + count; i += kShards) {
      Compare(i, output, server);
    }
  });
}

}  // namespace
}  // namespace qvx::test
