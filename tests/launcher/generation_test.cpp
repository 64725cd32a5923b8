#include "launcher/generation.h"

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
      EXPECT_PRED_FORMAT2(testing::IsSubstring, line, machine.TextOf("conf/qvxpd.conf"));
    }
    const LoadedSettings left = {.restrict_clients = true,
                                 .bind_to_selected = true,
                                 .bind_to_wildcard = true,
                                 .rotate_logs = false,
                                 .rotate_size = 12,
                                 .refuse_ssl2 = false,
                                 .max_threads = 40,
                                 .log_level = "notice"};
    EXPECT_EQ(RecordedSettings(), left);
    EXPECT_EQ(gVHostPairs, 2);
    EXPECT_EQ(gIPList, nullptr);
  });
}

TEST(Generation, WhatCannotBeReadOrWritten) {
  const struct {
    const char* name;
    const char* prepare;            // with the document <v/>, in its directory
    std::string settings = "<v/>";  // afterwards; empty: no file, and so not protected
    int32_t result = 0;
    bool is_read = true;
    std::string record = {};
  } rows[] = {
      {.name = "cut off",
       .prepare = "echo '<v><max-threads>64</max-threads>' >qvxpd.xml",
       .settings = QVX_XML_DEFAULT,
       .record = kReplaced},
      {.name = "missing settings", .prepare = "rm qvxpd.xml", .settings = QVX_XML_DEFAULT},
      {.name = "link to nothing", .prepare = "ln -sf /none/none qvxpd.xml", .settings = ""},
      {.name = "directory",
       .prepare = "rm qvxpd.xml; mkdir qvxpd.xml",
       .settings = "",
       .result = 1,
       .is_read = false,
       .record = kNotReplaced},
      {.name = "configuration, and what a killed run left",
       .prepare = "mkdir qvxpd.conf; touch .qvxpd.xml.4194305.new",
       .result = 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    OnFreshMachine([&] {
      const Machine machine("<v/>");
      fs::current_path(machine.settings.parent_path());
      ASSERT_EQ(std::system(row.prepare), 0);
      isIPRestrict = 1;
      EXPECT_EQ(ParseQVXInternalXML(), row.result);
      EXPECT_FALSE(fs::exists(".qvxpd.xml.4194305.new"));
      EXPECT_EQ(isIPRestrict, 0);
      EXPECT_EQ(nMaxThreads, row.is_read ? 25 : 64);
      EXPECT_EQ(exists(machine.installation.base() / "bin/php.ini"), row.is_read);
      EXPECT_EQ(machine.TextOf("conf/qvxpd.xml"), row.settings);
      EXPECT_EQ(ModeOf(machine.settings) == 0660, !row.settings.empty());
      EXPECT_EQ(OwnerOf(machine.settings) == ServiceOwner(), !row.settings.empty());
      const std::string log = machine.TextOf("logs/qvx.log");
      EXPECT_EQ(log.substr(log.rfind('\n') + 1), row.record);
    });
  }
}

}  // namespace
}  // namespace qvx::test
