// Lays out installations, asks the companion what a start will do, starts, and compares. The number
// of installations is QVX_FORETELLINGS, or 80; the first one is QVX_FIRST_FORETELLING.

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "companion/findings.h"
#include "companion/forecast.h"
#include "companion/show.h"
#include "settings/document.h"
#include "tests/companion/random_installation.h"
#include "tls/certificate_details.h"
#include "webconf/servlet_container.h"

namespace qvx::test {
namespace {

namespace fs = std::filesystem;
using companion::DocumentFate;
using companion::Forecast;
using companion::ForeseenFile;

uint32_t NumberFrom(const char* variable, uint32_t otherwise) {
  const char* value = std::getenv(variable);
  return value == nullptr ? otherwise : static_cast<uint32_t>(std::strtoul(value, nullptr, 10));
}

/// The content of what a path leads to: nothing for what is no regular file.
std::optional<std::string> TextAt(const fs::path& path) {
  return fs::is_regular_file(path) ? Contents(path) : std::nullopt;
}

/// The files that a start may write.
struct Files {
  explicit Files(const RandomInstallation& site)
      : settings(TextAt(site.base() / "conf/qvxpd.xml")),
        server_conf(TextAt(site.base() / "conf/qvxpd.conf")),
        php_ini(TextAt(site.base() / "bin/php.ini")),
        agent_map(TextAt(site.base() / "conf/ralolist.map")),
        certificate(TextAt(site.tls() / "cert.pem")),
        key(TextAt(site.tls() / "file.pem")) {}
  std::optional<std::string> settings, server_conf, php_ini, agent_map, certificate, key;
};

void CompareFile(const ForeseenFile& foreseen, const std::optional<std::string>& before,
                 const std::optional<std::string>& after) {
  SCOPED_TRACE(foreseen.path);
  EXPECT_EQ(after, foreseen.is_written ? foreseen.text : before);
}

/// Only the tool knows whether it will write rules.
void CompareServerConf(const Forecast& forecast, const Files& before, const Files& after) {
  const bool has_blocks = forecast.may_get_proxy_blocks && forecast.server_conf.is_written &&
                          after.server_conf != forecast.server_conf.text;
  ForeseenFile foreseen = forecast.server_conf;
  if (has_blocks) {
    foreseen.text = WithProxyBlocks(foreseen.text);
  }
  CompareFile(foreseen, before.server_conf, after.server_conf);
}

void CompareSettings(const Forecast& forecast, const Files& before, const Files& after) {
  const bool is_default =
      forecast.pair.is_usable() && (forecast.document_fate == DocumentFate::kMade ||
                                    forecast.document_fate == DocumentFate::kReplaced);
  EXPECT_EQ(after.settings,
            is_default ? std::optional<std::string>(QVX_XML_DEFAULT) : before.settings);
}

void ComparePair(const Forecast& forecast, const Files& before, const Files& after) {
  const auto shown = ShowAsJson(forecast, {})["certificate"]["fate"];
  if (forecast.pair.is_kept()) {
    EXPECT_EQ(after.certificate, before.certificate);
    EXPECT_EQ(after.key, before.key);
    EXPECT_EQ(shown, "kept");
  } else if (forecast.pair.is_usable()) {
    EXPECT_NE(after.certificate, before.certificate);
    EXPECT_NE(after.key, before.key);
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
void CompareStatus(int status, const Forecast& forecast, const Files& before, const Files& after) {
  const bool loses_settings = before.settings && after.settings != before.settings;
  const bool is_written = after.server_conf && after.php_ini && after.agent_map;
  if (forecast.exit_status || loses_settings || !is_written) {
    EXPECT_EQ(status, 2);
  }
}

void Compare(uint32_t number, const std::string& output) {
  SCOPED_TRACE("QVX_FIRST_FORETELLING=" + std::to_string(number));
  const RandomInstallation site(number, Pairs(), output);
  const Variable regenerate("QVX_CERT_REGEN",
                            site.regenerates() ? std::optional<std::string>("1") : std::nullopt);
  const Files before(site);
  const Forecast forecast = companion::Foretell();
  const int status = StatusOf(CheckAll(forecast, "none"));
  if (number % 10 == 0) {
    EXPECT_EQ(RunShell("\"" QVX_COMPANION "\" check --from 127.0.0.1 --kept none").status, status);
  }
  const Outcome outcome = RunShell("exec \"" QVX_LAUNCHER "\" 2>/dev/null");
  const Files after(site);
  CompareEnd(forecast, outcome);
  CompareSettings(forecast, before, after);
  CompareServerConf(forecast, before, after);
  CompareFile(forecast.php_ini, before.php_ini, after.php_ini);
  CompareFile(forecast.agent_map, before.agent_map, after.agent_map);
  ComparePair(forecast, before, after);
  CompareStatus(status, forecast, before, after);
}

TEST(Foretelling, PairThatCannotBeMoved) {
  // In the folder of the pair, of which the certificate is ours.
  const std::string unfit = "cp /tmp/foreign file.pem; ";
  const std::string over = "over() { cp $1 /tmp; touch $1; mount --bind /tmp/$1 $1; }; ";
  const struct {
    const char* name;
    const char* regenerate = "0";
    std::string spoil;
    const char* printed = "";
  } rows[] = {
      {.name = "a pair that cannot be deleted stays",
       .regenerate = "1",
       .spoil = over + "over cert.pem; over file.pem"},
      {.name = "a key that can be deleted", .regenerate = "1", .spoil = over + "over cert.pem"},
      {.name = "a pair that is deleted needs no copy",
       .regenerate = "1",
       .spoil = "mkdir -p certmm.pem/cert.pem"},
      {.name = "a copy that is a mount is written anew",
       .spoil = unfit + over + ": >filemm.pem; over filemm.pem"},
      {.name = "a directory in the copy's directory",
       .spoil = unfit + "mkdir -p certmm.pem/cert.pem",
       .printed = "Cannot start application!"},
  };
  // A checkout below /tmp is out of sight on a fresh machine.
  const std::string launcher = Contents(QVX_LAUNCHER).value_or("");
  Pairs();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    OnFreshMachine([&] {
      PutProgram("/tmp/qvxlauncher", launcher);
      const PreparedInstallation site("");
      const Variable regenerate("QVX_CERT_REGEN", row.regenerate);
      WriteText("/tmp/foreign", Pairs().foreign.key);
      EXPECT_EQ(std::system(("cd $SSL_SHARE_BASE_DIR; " + row.spoil).c_str()), 0);
      const std::optional<std::string> before = Contents(site.tls() / "cert.pem");
      const Forecast forecast = companion::Foretell();
      EXPECT_EQ(forecast.printed, row.printed);
      const Outcome outcome = RunShell("exec /tmp/qvxlauncher 2>/dev/null");
      EXPECT_EQ(outcome.output, row.printed);
      EXPECT_EQ(outcome.status, 0);
      EXPECT_EQ(Contents(site.tls() / "cert.pem") == before,
                forecast.pair.is_kept() || !forecast.pair.is_usable());
    });
  }
}

/// Several, so that they can run at once.
constexpr uint32_t kShards = 4;
class Foretellings : public testing::TestWithParam<uint32_t> {};
INSTANTIATE_TEST_SUITE_P(Shards, Foretellings, testing::Range(0U, kShards));

TEST_P(Foretellings, EveryStartIsAsForetold) {
  ServiceOwner();
  PassIsolated(CLONE_NEWNS | CLONE_NEWUTS, [shard = GetParam()] {
    const TempDirectory scratch;
    const std::string output = scratch.path() / "output";
    const std::string program = scratch.path() / "ip";
    PutProgram(program, "#!/bin/sh\nexec cat " + output + "\n");
    ASSERT_EQ(mount(program.c_str(), "/sbin/ip", nullptr, MS_BIND, nullptr), 0);
    const uint32_t first = NumberFrom("QVX_FIRST_FORETELLING", 0);
    const uint32_t count = NumberFrom("QVX_FORETELLINGS", 80);
    for (uint32_t i = first + shard; i < first + count; i += kShards) {
      Compare(i, output);
    }
  });
}

}  // namespace
}  // namespace qvx::test
