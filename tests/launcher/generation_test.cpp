#include "launcher/generation.h"

#include <gtest/gtest.h>

#include <regex>

#include "log/ring_log.h"
#include "settings/document.h"
#include "settings/record.h"
#include "tests/settings/fresh_machine.h"

namespace qvx::test {

namespace {

namespace fs = std::filesystem;

const std::string kReplaced =
    "Configuration file is corrupted or missing, a default configuration file has been generated "
    "for you for proper startup,you have to reset the configuration to your desired settings.";
const std::string kNotReplaced =
    "Configuration file is corrupted or missing, and no default configuration file could be "
    "generated.";

// A new installation with these settings, on a machine with three addresses.
struct Machine {
  explicit Machine(const std::string& text) {
    SetupLogsAndDebug(nullptr);
    RecordIpOutput("inet 127.0.0.1/8\ninet 10.1.2.3/8\ninet 192.168.1.5/24\n");
    WriteText(settings, text);
  }

  // Nothing for what is no file.
  std::string TextOf(const char* name) const {
    return is_regular_file(installation.base() / name) ? *Contents(installation.base() / name) : "";
  }

  const Installation installation;
  const fs::path settings = installation.base() / "conf/qvxpd.xml";
};

}  // namespace

TEST(Generation, VirtualHosts) {
  const std::string bound = "<ip-binding>True</ip-binding>";
  const std::string list = "<ip-binding-list>10.0.0.0/255.0.0.0</ip-binding-list>";
  const std::string monitored = "<monitor-ip-changes>1</monitor-ip-changes>";
  const struct {
    const char* name;
    std::string elements;
    const char* hosts;
  } rows[] = {
      {"every address", "", "127.0.0.1 10.1.2.3 192.168.1.5 "},
      {"wildcard", monitored, "127.0.0.1 * "},
      {"selected, whatever is monitored", bound + monitored + list, "127.0.0.1 10.1.2.3 "},
      {"selected without a list", bound, "127.0.0.1 "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    OnFreshMachine([&] {
      const Machine machine("<v>" + row.elements + "</v>");
      EXPECT_EQ(ParseQVXInternalXML(), 0);
      const std::regex host("<VirtualHost ([^:]*):2381>");
      EXPECT_EQ(std::regex_replace(machine.TextOf("conf/qvxpd.conf"), host, "$1 ",
                                   std::regex_constants::format_no_copy),
                row.hosts);
    });
  }
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
    for (const char* line :
         {"order allow,deny\nallow from 127.0.0.1\nallow from 10.9.8.7\ndeny from 10.9.8.6\n",
          "ErrorLog /l/logs/error_log\n", "MaxClients           40\n", "LogLevel notice\n"}) {
      EXPECT_NE(machine.TextOf("conf/qvxpd.conf").find(line), std::string::npos) << line;
    }
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

TEST(Generation, WhatCannotBeReadOrWritten) {
  const struct {
    const char* name;
    const char* settings;
    const char* prepare;  // in the directory of the file
    int32_t result;
    bool is_read;
    std::string record;
    bool is_protected;
    const char* settings_afterwards;
  } rows[] = {
      {"nothing", "<v/>", ":", 0, true, "", true, "<v/>"},
      {"cut off", "<v><max-threads>64</max-threads>", ":", 0, true, kReplaced, true,
       QVX_XML_DEFAULT},
      {"missing settings", "", "rm qvxpd.xml", 0, true, "", true, QVX_XML_DEFAULT},
      {"link to nothing", "", "ln -sf /none/none qvxpd.xml", 0, true, "", false, ""},
      {"directory", "", "rm qvxpd.xml; mkdir qvxpd.xml", 1, false, kNotReplaced, false, ""},
      {"configuration", "<v/>", "mkdir qvxpd.conf", 1, true, "", true, "<v/>"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    OnFreshMachine([&] {
      const Machine machine(row.settings);
      fs::current_path(machine.settings.parent_path());
      ASSERT_EQ(std::system(row.prepare), 0);
      isIPRestrict = 1;
      EXPECT_EQ(ParseQVXInternalXML(), row.result);
      EXPECT_EQ(isIPRestrict, 0);
      EXPECT_EQ(nMaxThreads, row.is_read ? 25 : 64);
      EXPECT_EQ(exists(machine.installation.base() / "bin/php.ini"), row.is_read);
      EXPECT_EQ(machine.TextOf("conf/qvxpd.xml"), row.settings_afterwards);
      EXPECT_EQ(ModeOf(machine.settings) == 0660, row.is_protected);
      EXPECT_EQ(OwnerOf(machine.settings) == ServiceOwner(), row.is_protected);
      const std::string log = machine.TextOf("logs/qvx.log");
      EXPECT_EQ(log.substr(log.rfind('\n') + 1), row.record);
    });
  }
}

}  // namespace qvx::test
