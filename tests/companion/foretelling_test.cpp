// Lays out installations, asks the companion what a start will do, starts, and compares. The number
// of installations is QVX_FORETELLINGS, or 80; the first one is QVX_FIRST_FORETELLING.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <nlohmann/json.hpp>

#include "companion/findings.h"
#include "companion/forecast.h"
#include "companion/show.h"
#include "settings/document.h"
#include "tests/companion/prepared_installation.h"
#include "tests/companion/random_installation.h"
#include "tests/harness/isolated.h"
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

struct Outcome {
  std::string output;
  int status;
};

/// `command` begins behind the quote that opens the program's path.
Outcome Execute(const std::string& command) {
  std::FILE* stream = popen(("exec \"" + command + " 2>/dev/null").c_str(), "r");
  Outcome outcome{"", -1};
  char block[512];
  while (const size_t count = std::fread(block, 1, sizeof block, stream)) {
    outcome.output.append(block, count);
  }
  outcome.status = WEXITSTATUS(pclose(stream));
  return outcome;
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
              forecast.pair.fate == PairFate::kSetAside && !forecast.pair.is_deleted_first);
    const auto details = ReadCertificateDetails();
    ASSERT_TRUE(details);
    EXPECT_EQ(!details->names.empty(), forecast.pair.names_are_accepted);
  }
}

void CompareEnd(const Forecast& forecast, const Outcome& outcome) {
  if (forecast.exit_status) {
    EXPECT_EQ(outcome.status, *forecast.exit_status);
    EXPECT_EQ(outcome.output, forecast.printed);
  } else {
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output.substr(0, 6), "daemon");
  }
}

/// No loss without a failure that "check" has named before.
void CompareStatus(int status, const Forecast& forecast, const Files& before, const Files& after) {
  const bool loses_settings = before.settings && after.settings != before.settings;
  const bool is_written = after.server_conf && after.php_ini && after.agent_map;
  if (forecast.exit_status || loses_settings || !is_written) {
    EXPECT_EQ(status, 2);
  }
}

void Compare(uint32_t number, const PairStock& pairs, const std::string& output) {
  SCOPED_TRACE("QVX_FIRST_FORETELLING=" + std::to_string(number));
  const RandomInstallation site(number, pairs, output);
  const Variable regenerate("QVX_CERT_REGEN",
                            site.regenerates() ? std::optional<std::string>("1") : std::nullopt);
  const Files before(site);
  const Forecast forecast = companion::Foretell();
  const int status = StatusOf(CheckAll(forecast, "none"));
  if (number % 10 == 0) {
    EXPECT_EQ(Execute(QVX_COMPANION "\" check --from 127.0.0.1 --kept none").status, status);
  }
  const Outcome outcome = Execute(QVX_LAUNCHER "\"");
  const Files after(site);
  CompareEnd(forecast, outcome);
  CompareSettings(forecast, before, after);
  CompareServerConf(forecast, before, after);
  CompareFile(forecast.php_ini, before.php_ini, after.php_ini);
  CompareFile(forecast.agent_map, before.agent_map, after.agent_map);
  ComparePair(forecast, before, after);
  CompareStatus(status, forecast, before, after);
}

void MountOver(const fs::path& path) {
  const fs::path source = fs::path("/tmp") / path.filename();
  WriteText(source, Contents(path).value_or(""));
  WriteText(path, Contents(path).value_or(""));
  ASSERT_EQ(mount(source.c_str(), path.c_str(), nullptr, MS_BIND, nullptr), 0);
}

TEST(Foretelling, PairThatCannotBeMoved) {
  struct Row {
    const char* name;
    const char* regenerate;
    std::function<void(const PreparedInstallation&)> spoil;
    const char* printed;
  };
  const auto unfit = [](const PreparedInstallation& site) {
    PutServiceFile(site.tls() / "file.pem", Pairs().foreign.key);
  };
  const Row rows[] = {
      {.name = "a pair that cannot be deleted stays",
       .regenerate = "1",
       .spoil =
           [](const PreparedInstallation& site) {
             MountOver(site.tls() / "cert.pem");
             MountOver(site.tls() / "file.pem");
           },
       .printed = ""},
      {.name = "a key that can be deleted",
       .regenerate = "1",
       .spoil = [](const PreparedInstallation& site) { MountOver(site.tls() / "cert.pem"); },
       .printed = ""},
      {.name = "a pair that is deleted needs no copy",
       .regenerate = "1",
       .spoil =
           [](const PreparedInstallation& site) {
             fs::create_directories(site.tls() / "certmm.pem/cert.pem");
           },
       .printed = ""},
      {.name = "a copy that is a mount is written anew",
       .regenerate = "0",
       .spoil =
           [&unfit](const PreparedInstallation& site) {
             unfit(site);
             MountOver(site.tls() / "filemm.pem");
           },
       .printed = ""},
      {.name = "a directory in the copy's directory",
       .regenerate = "0",
       .spoil =
           [&unfit](const PreparedInstallation& site) {
             unfit(site);
             fs::create_directories(site.tls() / "certmm.pem/cert.pem");
           },
       .printed = "Cannot start application!"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Pairs();
    OnFreshMachine([&row] {
      const PreparedInstallation site("");
      const Variable regenerate("QVX_CERT_REGEN", row.regenerate);
      row.spoil(site);
      const std::optional<std::string> before = Contents(site.tls() / "cert.pem");
      const Forecast forecast = companion::Foretell();
      EXPECT_EQ(forecast.printed, row.printed);
      EXPECT_EQ(Execute(QVX_LAUNCHER "\"").output.starts_with(row.printed), true);
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
    WriteText(program, "#!/bin/sh\nexec cat " + output + "\n");
    fs::permissions(program, fs::perms(0755));
    ASSERT_EQ(mount(program.c_str(), "/sbin/ip", nullptr, MS_BIND, nullptr), 0);
    const PairStock pairs = MakePairs();
    const uint32_t first = NumberFrom("QVX_FIRST_FORETELLING", 0);
    const uint32_t count = NumberFrom("QVX_FORETELLINGS", 80);
    for (uint32_t i = first + shard; i < first + count; i += kShards) {
      Compare(i, pairs, output);
    }
  });
}

}  // namespace
}  // namespace qvx::test
