#include "settings/generation.h"

#include <gtest/gtest.h>

#include <regex>

#include "log/ring_log.h"
#include "settings/document.h"
#include "settings/record.h"
#include "tests/settings/fresh_machine.h"

namespace qvx::test {

namespace {

constexpr std::string_view kReplaced =
    "Configuration file is corrupted or missing, a default configuration file has been generated "
    "for you for proper "
    "startup,you have to reset the configuration to your desired settings.";
constexpr std::string_view kThreads =
    "max-threads in XML file is outside of allowed bounds, using default value.";

// "a=b;c=d;" as a document with the elements a and c.
std::string Xml(const std::string& settings) {
  return "<v>" + std::regex_replace(settings, std::regex("([^=;]+)=([^;]*);"), "<$1>$2</$1>") +
         "</v>";
}

std::string Record() {
  return (testing::Message() << isIPRestrict << isIPBinding << bMonitorIPChangesLinux << bRotateLogs
                             << isSSLV2Disabled << " " << nRotateLogsSize << "M " << nMaxThreads
                             << " " << sLogLevelString)
      .GetString();
}

// Nothing for what is no file.
std::string TextOf(const std::filesystem::path& path) {
  return is_regular_file(path) ? *Contents(path) : "";
}

}  // namespace

TEST(SettingsReader, DocumentToRecordAndFiles) {
  const std::string usual = "00011 5M 25 error";
  const struct {
    std::string document;
    std::string record;  // flags of restriction, binding, monitoring, rotation and SSL 2 refused;
                         // numbers; level
    const char* configuration = "";
    std::string_view message = {};
    std::string content = {};  // of the settings file afterwards; empty: as before
    int32_t result = 0;
    const char* prepare = ":";  // in the directory of the file
  } rows[] = {
      {Xml(""), usual, "LogLevel error\n"},
      {Xml("max-threads=64;rotate-logs-size=99;rotate-logs=1;log-level=NOTICE;"),
       "00011 99M 64 notice", "_log 99M\""},
      {Xml("max-threads=30x;max-threads=40;rotate-logs-size=7x;rotate-logs=2;disable-sslv2=false;"
           "log-level=crit;"),
       "00000 7M 30 crit"},
      {Xml("max-threads=65;rotate-logs-size=100;rotate-logs=02;disable-sslv2=no;log-level=x;"),
       usual, "", kThreads},
      {Xml("max-threads=;rotate-logs-size=;rotate-logs=;log-base-dir=;log-level=;"), usual,
       "rotatelogs /logs/error_log 5M\"\n", kThreads},
      {Xml("max-threads=4294967326;log-base-dir=/l;"), usual, "rotatelogs /l/logs/error_log 5M\"\n",
       kThreads},
      {Xml("ip-restricted-logins=true;log-level=WARN;"), "10011 5M 25 warn", "allow from all\n"},
      {Xml("ip-restricted-logins=True;ip-restricted-include=10.9.8.7;ip-restricted-exclude=10.9.8."
           "6;log-level=info;"),
       "10011 5M 25 info", "allow from 10.9.8.7\ndeny from 10.9.8.6\n"},
      {Xml("monitor-ip-changes=1;log-level=alert;"), "00111 5M 25 alert", "<VirtualHost *:2381>\n"},
      {Xml("ip-binding=TRUE;ip-binding-list=10.0.0.0/"
           "255.0.0.0;monitor-ip-changes=1;log-level=emerg;"),
       "01111 5M 25 emerg", "<VirtualHost 10.1.2.3:2381>\n"},
      {Xml("ip-restricted-logins= "
           "True;ip-binding=False;ip-binding-list=10.0.0.0/255.0.0.0;log-level=debug;"),
       "00011 5M 25 debug", "<VirtualHost 192.168.1.5:2381>\n"},
      {"<v><max-threads>64</max-threads>", usual, "", kReplaced, QVX_XML_DEFAULT},
      {"", usual, "", kReplaced, QVX_XML_DEFAULT},
      {"", usual, "", "", QVX_XML_DEFAULT, 0, "rm qvxpd.xml"},
      {"", usual, "", "", "", 0, "ln -sf /none/none qvxpd.xml"},
      {"", "00011 0M 64 error", "", kReplaced, "", 1, "rm qvxpd.xml; mkdir qvxpd.xml"},
      {"<v/>", usual, "", "", "", 1, "mkdir qvxpd.conf"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.document + row.prepare);
    OnFreshMachine([&] {
      const Installation installation;
      const auto file = installation.base() / "conf/qvxpd.xml";
      SetupLogsAndDebug(nullptr);
      RecordIpOutput("inet 127.0.0.1/8\ninet 10.1.2.3/8\ninet 192.168.1.5/24\n");
      WriteText(file, row.document);
      ASSERT_EQ(0,
                std::system(("cd $SYSMGTZX_BASE_DIR/conf; " + std::string(row.prepare)).c_str()));
      EXPECT_EQ(ParseQVXInternalXML(), row.result);
      EXPECT_EQ(Record(), row.record);
      EXPECT_TRUE(!sIpRestrictedInclude && !sIpRestrictedExclude && !sIpBindingList &&
                  !sLogBaseDir && !gIPList);
      EXPECT_NE(TextOf(installation.base() / "conf/qvxpd.conf").find(row.configuration),
                std::string::npos);
      const std::string log = TextOf(installation.base() / "logs/qvx.log");
      EXPECT_EQ(log.find(row.message), log.size() - row.message.size())
          << "logged once, or nothing\n"
          << log;
      EXPECT_EQ(TextOf(file), row.content.empty() ? row.document : row.content);
      EXPECT_EQ(ModeOf(file) == 0660 && OwnerOf(file) == ServiceOwner(), is_regular_file(file));
      EXPECT_EQ(exists(installation.base() / "bin/php.ini"), nRotateLogsSize != 0)
          << "unless nothing was read";
    });
  }
}

}  // namespace qvx::test
