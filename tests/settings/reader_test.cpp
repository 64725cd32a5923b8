#include "settings/reader.h"

#include <gtest/gtest.h>

#include "dom/handles.h"
#include "log/ring_log.h"
#include "settings/record.h"
#include "tests/harness/installation.h"

namespace qvx::test {

namespace {

// The record is put back after each case.
class SettingsReader : public testing::Test {
 protected:
  SettingsReader() { SetupLogsAndDebug(nullptr); }
  void TearDown() override { RecordSettings(before_); }

  // Puts the settings of a document with these elements into the record. The texts stay until the
  // next call.
  void Read(const std::string& elements) {
    const std::string path = installation_.base() / "settings";
    WriteText(path, "<v>" + elements + "</v>");
    document_ = NewDocument();
    EXPECT_EQ(DOM_DocumentLS_load(document_.get(), path.c_str()), 1) << elements;
    LoadedSettings settings = RecordedSettings();
    ReadAccessSettings(document_.get(), settings);
    ReadServerSettings(document_.get(), settings);
    RecordSettings(settings);
  }

 private:
  const LoadedSettings before_ = RecordedSettings();
  const Installation installation_;
  DocumentHolder document_;
};

}  // namespace

TEST_F(SettingsReader, BeforeReading) {
  EXPECT_EQ(isIPRestrict, 0);
  EXPECT_EQ(isIPBinding, 0);
  EXPECT_EQ(bMonitorIPChangesLinux, 0);
  EXPECT_EQ(bRotateLogs, 1);
  EXPECT_EQ(nRotateLogsSize, 0);
  EXPECT_EQ(sLogBaseDir, nullptr);
  EXPECT_EQ(isSSLV2Disabled, 1);
  EXPECT_EQ(nMaxThreads, 64);
  EXPECT_STREQ(sLogLevelString, "error");
  EXPECT_EQ(gIPList, nullptr);
  EXPECT_EQ(RecordedSettings(), LoadedSettings());
}

TEST_F(SettingsReader, FlagsAndNumbers) {
  const struct {
    std::string elements;
    int32_t* variable;
    int32_t before;
    int32_t after;
    bool is_refused = false;
  } rows[] = {
      {"<ip-restricted-logins>true</ip-restricted-logins>", &isIPRestrict, 0, 1},
      {"<ip-restricted-logins> True</ip-restricted-logins>", &isIPRestrict, 0, 0},
      {"<ip-binding>TRUE</ip-binding>", &isIPBinding, 0, 1},
      {"<ip-binding>False</ip-binding>", &isIPBinding, 1, 0},
      {"<no-ip-binding/>", &isIPBinding, 1, 0},
      {"<monitor-ip-changes>0</monitor-ip-changes>", &bMonitorIPChangesLinux, 1, 0},
      {"<monitor-ip-changes>1</monitor-ip-changes>", &bMonitorIPChangesLinux, 0, 1},
      {"<monitor-ip-changes>01</monitor-ip-changes>", &bMonitorIPChangesLinux, 0, 0},
      {"<monitor-ip-changes>2</monitor-ip-changes>", &bMonitorIPChangesLinux, 1, 1},
      {"<no-monitor-ip-changes/>", &bMonitorIPChangesLinux, 1, 1},
      {"<rotate-logs>1</rotate-logs>", &bRotateLogs, 0, 1},
      {"<rotate-logs>2</rotate-logs>", &bRotateLogs, 1, 0},
      {"<rotate-logs>02</rotate-logs>", &bRotateLogs, 1, 1},
      {"<rotate-logs>0</rotate-logs>", &bRotateLogs, 1, 1},
      {"<no-rotate-logs/>", &bRotateLogs, 0, 0},
      {"<no-rotate-logs-size/>", &nRotateLogsSize, 0, 5},
      {"<rotate-logs-size>0</rotate-logs-size>", &nRotateLogsSize, 0, 5},
      {"<rotate-logs-size>-3</rotate-logs-size>", &nRotateLogsSize, 0, 5},
      {"<rotate-logs-size>1</rotate-logs-size>", &nRotateLogsSize, 0, 1},
      {"<rotate-logs-size>99</rotate-logs-size>", &nRotateLogsSize, 0, 99},
      {"<rotate-logs-size>100</rotate-logs-size>", &nRotateLogsSize, 0, 5},
      {"<rotate-logs-size>7x</rotate-logs-size>", &nRotateLogsSize, 0, 7},
      {"<disable-sslv2>false</disable-sslv2>", &isSSLV2Disabled, 1, 0},
      {"<disable-sslv2>no</disable-sslv2>", &isSSLV2Disabled, 1, 1},
      {"<no-max-threads/>", &nMaxThreads, 64, 25},
      {"<max-threads>25</max-threads>", &nMaxThreads, 64, 25},
      {"<max-threads>64</max-threads>", &nMaxThreads, 25, 64},
      {"<max-threads>24</max-threads>", &nMaxThreads, 64, 25, true},
      {"<max-threads>65</max-threads>", &nMaxThreads, 64, 25, true},
      {"<max-threads></max-threads>", &nMaxThreads, 64, 25, true},
      {"<max-threads>30x</max-threads><max-threads>40</max-threads>", &nMaxThreads, 64, 30},
      {"<max-threads>4294967326</max-threads>", &nMaxThreads, 64, 25, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.elements);
    std::filesystem::remove(QvxLogFile);
    *row.variable = row.before;
    Read(row.elements);
    EXPECT_EQ(*row.variable, row.after);
    const std::string log = Contents(QvxLogFile).value_or("");
    EXPECT_EQ(log.ends_with("\nmax-threads in XML file is outside of allowed bounds, using default "
                            "value."),
              row.is_refused);
  }
}

TEST_F(SettingsReader, LogLevels) {
  const struct {
    std::string word;
    const char* level;
  } rows[] = {{"debug", "debug"}, {"WARN", "warn"},   {"info", "info"},    {"Notice", "notice"},
              {"fatal", "error"}, {"alert", "alert"}, {"", "error"},       {"emerg", "emerg"},
              {"error", "error"}, {"crit", "crit"},   {"notices", "error"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.word);
    Read("<log-level>" + row.word + "</log-level>");
    EXPECT_STREQ(sLogLevelString, row.level);
  }
}

TEST_F(SettingsReader, Texts) {
  const std::string lists =
      "<ip-restricted-include>a;b</ip-restricted-include>"
      "<ip-restricted-exclude>c</ip-restricted-exclude><ip-binding-list>d</ip-binding-list>";
  const std::string switches =
      "<ip-restricted-logins>True</ip-restricted-logins><ip-binding>False</ip-binding>";
  const struct {
    const char* name;
    std::string elements;
    const char* include;
    const char* exclude;
    const char* binding_list;
    const char* log_directory;
  } rows[] = {
      {"lists without their switch", lists, nullptr, nullptr, nullptr, nullptr},
      {"lists, also where none is used", lists + switches + "<log-base-dir/>", "a;b", "c", "d", ""},
      {"left out", switches, nullptr, nullptr, nullptr, nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Read(row.elements);
    EXPECT_STREQ(sIpRestrictedInclude, row.include);
    EXPECT_STREQ(sIpRestrictedExclude, row.exclude);
    EXPECT_STREQ(sIpBindingList, row.binding_list);
    EXPECT_STREQ(sLogBaseDir, row.log_directory);
  }
}

}  // namespace qvx::test
