#include "settings/generation.h"

#include <gtest/gtest.h>

#include <regex>

#include "log/ring_log.h"
#include "settings/document.h"
#include "settings/record.h"
#include "tests/settings/fresh_machine.h"

namespace qvx::test {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kReplaced =
    "Configuration file is corrupted or missing, a default configuration file has been generated "
    "for you for proper startup,you have to reset the configuration to your desired settings.";

// Nothing for what is no file.
std::string TextOf(const fs::path& path) {
  return is_regular_file(path) ? *Contents(path) : "";
}

// A new installation with these settings, on a machine with three addresses.
class Machine {
 public:
  explicit Machine(const std::string& settings) {
    SetupLogsAndDebug(nullptr);
    RecordIpOutput("inet 127.0.0.1/8\ninet 10.1.2.3/8\ninet 192.168.1.5/24\n");
    WriteText(settings_, settings);
  }

  const fs::path& settings() const { return settings_; }
  std::string configuration() const { return TextOf(installation_.base() / "conf/qvxpd.conf"); }
  std::string log() const { return TextOf(installation_.base() / "logs/qvx.log"); }
  bool has_script_engine() const { return exists(installation_.base() / "bin/php.ini"); }

 private:
  const Installation installation_;
  const fs::path settings_ = installation_.base() / "conf/qvxpd.xml";
};

// The addresses of the virtual hosts for TLS, separated by blanks.
std::string Hosts(const std::string& configuration) {
  static const std::regex host("<VirtualHost ([^:]*):2381>");
  std::string hosts;
  for (std::sregex_iterator found(configuration.begin(), configuration.end(), host), end;
       found != end; ++found) {
    hosts.append(hosts.empty() ? "" : " ").append((*found)[1].str());
  }
  return hosts;
}

}  // namespace

TEST(Generation, VirtualHosts) {
  const std::string list = "<ip-binding-list>10.0.0.0/255.0.0.0</ip-binding-list>";
  const struct {
    const char* name;
    std::string settings;
    const char* hosts;
  } rows[] = {
      {"every address", "<v/>", "127.0.0.1 10.1.2.3 192.168.1.5"},
      {"wildcard", "<v><monitor-ip-changes>1</monitor-ip-changes></v>", "127.0.0.1 *"},
      {"selected, whatever is monitored",
       "<v><ip-binding>True</ip-binding><monitor-ip-changes>1</monitor-ip-changes>" + list + "</v>",
       "127.0.0.1 10.1.2.3"},
      {"selected without a list", "<v><ip-binding>True</ip-binding></v>", "127.0.0.1"},
      {"selected by an empty list", "<v><ip-binding>True</ip-binding><ip-binding-list/></v>",
       "127.0.0.1"},
      {"list that is not used", "<v><ip-binding>False</ip-binding>" + list + "</v>",
       "127.0.0.1 10.1.2.3 192.168.1.5"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    OnFreshMachine([&] {
      const Machine machine(row.settings);
      EXPECT_EQ(ParseQVXInternalXML(), 0);
      EXPECT_EQ(Hosts(machine.configuration()), row.hosts);
    });
  }
}

TEST(Generation, SettingsReachTheConfiguration) {
  OnFreshMachine([] {
    const Machine machine(
        "<v><ip-restricted-logins>True</ip-restricted-logins>"
        "<ip-restricted-include>10.9.8.7</ip-restricted-include>"
        "<ip-restricted-exclude>10.9.8.6</ip-restricted-exclude>"
        "<log-base-dir>/l</log-base-dir><rotate-logs-size>99</rotate-logs-size>"
        "<max-threads>64</max-threads><log-level>info</log-level></v>");
    EXPECT_EQ(ParseQVXInternalXML(), 0);
    for (const char* line :
         {"order allow,deny\nallow from 127.0.0.1\nallow from 10.9.8.7\ndeny from 10.9.8.6\n",
          "rotatelogs /l/logs/error_log 99M\"\n", "MaxClients           64\n", "LogLevel info\n"}) {
      EXPECT_NE(machine.configuration().find(line), std::string::npos) << line;
    }
  });
}

TEST(Generation, RecordKeepsItsNumbersAndLosesItsTexts) {
  OnFreshMachine([] {
    const Machine machine(
        "<v><ip-restricted-logins>True</ip-restricted-logins>"
        "<ip-restricted-include>10.9.8.7</ip-restricted-include>"
        "<ip-restricted-exclude>10.9.8.6</ip-restricted-exclude>"
        "<ip-binding>True</ip-binding><ip-binding-list>10.0.0.0/255.0.0.0</ip-binding-list>"
        "<monitor-ip-changes>1</monitor-ip-changes><log-base-dir>/l</log-base-dir>"
        "<rotate-logs>2</rotate-logs><rotate-logs-size>12</rotate-logs-size>"
        "<disable-sslv2>False</disable-sslv2><max-threads>40</max-threads>"
        "<log-level>notice</log-level></v>");
    EXPECT_EQ(ParseQVXInternalXML(), 0);
    EXPECT_EQ(isIPRestrict, 1);
    EXPECT_EQ(isIPBinding, 1);
    EXPECT_EQ(bMonitorIPChangesLinux, 1);
    EXPECT_EQ(bRotateLogs, 0);
    EXPECT_EQ(nRotateLogsSize, 12);
    EXPECT_EQ(isSSLV2Disabled, 0);
    EXPECT_EQ(nMaxThreads, 40);
    EXPECT_STREQ(sLogLevelString, "notice");
    EXPECT_EQ(gVHostPairs, 2);
    EXPECT_EQ(sIpRestrictedInclude, nullptr);
    EXPECT_EQ(sIpRestrictedExclude, nullptr);
    EXPECT_EQ(sIpBindingList, nullptr);
    EXPECT_EQ(sLogBaseDir, nullptr);
    EXPECT_EQ(gIPList, nullptr);
  });
}

TEST(Generation, SettingsFileThatCannotBeUsed) {
  const struct {
    const char* name;
    std::string settings;
    const char* prepare;  // in the directory of the file
    bool is_logged;
    std::string settings_afterwards;
  } rows[] = {
      {"cut off", "<v><max-threads>64</max-threads>", ":", true, QVX_XML_DEFAULT},
      {"empty", "", ":", true, QVX_XML_DEFAULT},
      {"missing", "", "rm qvxpd.xml", false, QVX_XML_DEFAULT},
      {"link to nothing", "", "ln -sf /none/none qvxpd.xml", false, ""},
      {"usable", "<v/>", ":", false, "<v/>"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    OnFreshMachine([&] {
      const Machine machine(row.settings);
      fs::current_path(machine.settings().parent_path());
      ASSERT_EQ(std::system(row.prepare), 0);
      EXPECT_EQ(ParseQVXInternalXML(), 0);
      EXPECT_EQ(nMaxThreads, 25);
      EXPECT_EQ(TextOf(machine.settings()), row.settings_afterwards);
      EXPECT_EQ(machine.log().ends_with(kReplaced), row.is_logged);
      EXPECT_EQ(machine.log().find(kReplaced), machine.log().rfind(kReplaced));
      EXPECT_EQ(ModeOf(machine.settings()), row.settings_afterwards.empty() ? 0U : 0660U);
      EXPECT_TRUE(machine.has_script_engine());
    });
  }
}

TEST(Generation, NothingIsReadWhereTheDefaultCannotBeWritten) {
  OnFreshMachine([] {
    const Machine machine("");
    fs::remove(machine.settings());
    fs::create_directory(machine.settings());
    isIPRestrict = 1;
    EXPECT_EQ(ParseQVXInternalXML(), 1);
    EXPECT_EQ(isIPRestrict, 0);
    EXPECT_EQ(nMaxThreads, 64) << "as before reading";
    EXPECT_TRUE(machine.log().ends_with(kReplaced)) << machine.log();
    EXPECT_FALSE(machine.has_script_engine());
  });
}

TEST(Generation, OtherFilesAreWrittenWithoutTheConfiguration) {
  OnFreshMachine([] {
    const Machine machine("<v/>");
    fs::create_directory(machine.settings().parent_path() / "qvxpd.conf");
    EXPECT_EQ(ParseQVXInternalXML(), 1);
    EXPECT_TRUE(machine.has_script_engine());
    EXPECT_EQ(ModeOf(machine.settings()), 0660U);
    EXPECT_EQ(OwnerOf(machine.settings()), ServiceOwner());
  });
}

}  // namespace qvx::test
