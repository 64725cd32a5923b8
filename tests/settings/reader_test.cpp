#include "settings/reader.h"

#include <gtest/gtest.h>

#include "dom/handles.h"
#include "log/ring_log.h"
#include "tests/harness/installation.h"

namespace qvx::test {

namespace {

class SettingsReader : public testing::Test {
 protected:
  SettingsReader() { SetupLogsAndDebug(nullptr); }

  // The settings of a document with these elements; its texts stay until the next call.
  LoadedSettings Read(const std::string& elements) {
    const std::string path = installation_.base() / "settings";
    WriteText(path, "<v>" + elements + "</v>");
    document_ = NewDocument();
    EXPECT_EQ(DOM_DocumentLS_load(document_.get(), path.c_str()), 1) << elements;
    LoadedSettings settings = RecordedSettings();
    ReadAccessSettings(document_.get(), settings);
    ReadServerSettings(document_.get(), settings);
    return settings;
  }

  static bool HasLogged(std::string_view message) {
    return Contents(QvxLogFile).value_or("").find(message) != std::string::npos;
  }

 private:
  const Installation installation_;
  DocumentHolder document_;
};

std::string Element(const std::string& name, const std::string& value) {
  return "<" + name + ">" + value + "</" + name + ">";
}

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
}

TEST_F(SettingsReader, Flags) {
  const struct {
    const char* name;
    std::string elements;
    bool LoadedSettings::*flag;
    bool value;
  } rows[] = {
      {"restricted", Element("ip-restricted-logins", "true"), &LoadedSettings::restrict_clients,
       true},
      {"restricted, with a blank", Element("ip-restricted-logins", " True"),
       &LoadedSettings::restrict_clients, false},
      {"not restricted", "", &LoadedSettings::restrict_clients, false},
      {"bound", Element("ip-binding", "TRUE"), &LoadedSettings::bind_to_selected, true},
      {"not bound", Element("ip-binding", "False"), &LoadedSettings::bind_to_selected, false},
      {"binding left out", "", &LoadedSettings::bind_to_selected, false},
      {"monitored", Element("monitor-ip-changes", "1"), &LoadedSettings::bind_to_wildcard, true},
      {"monitoring of two characters", Element("monitor-ip-changes", "01"),
       &LoadedSettings::bind_to_wildcard, false},
      {"monitoring that is no number it knows", Element("monitor-ip-changes", "2"),
       &LoadedSettings::bind_to_wildcard, false},
      {"rotated", Element("rotate-logs", "1"), &LoadedSettings::rotate_logs, true},
      {"not rotated", Element("rotate-logs", "2"), &LoadedSettings::rotate_logs, false},
      {"rotation of two characters", Element("rotate-logs", "02"), &LoadedSettings::rotate_logs,
       true},
      {"rotation 0", Element("rotate-logs", "0"), &LoadedSettings::rotate_logs, true},
      {"empty rotation", Element("rotate-logs", ""), &LoadedSettings::rotate_logs, true},
      {"SSL 2 allowed", Element("disable-sslv2", "false"), &LoadedSettings::refuse_ssl2, false},
      {"SSL 2 refused by any other word", Element("disable-sslv2", "no"),
       &LoadedSettings::refuse_ssl2, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Read(row.elements).*row.flag, row.value);
  }
}

TEST_F(SettingsReader, FlagsThatAreLeftOutKeepTheirValue) {
  bMonitorIPChangesLinux = 1;
  bRotateLogs = 0;
  const LoadedSettings settings = Read("");
  EXPECT_TRUE(settings.bind_to_wildcard);
  EXPECT_FALSE(settings.rotate_logs);
  bMonitorIPChangesLinux = 0;
  bRotateLogs = 1;
}

TEST_F(SettingsReader, SizeOfRotation) {
  const struct {
    const char* name;
    std::string elements;
    int32_t megabytes;
  } rows[] = {
      {"left out", "", 5},
      {"empty", Element("rotate-logs-size", ""), 5},
      {"zero", Element("rotate-logs-size", "0"), 5},
      {"negative", Element("rotate-logs-size", "-3"), 5},
      {"smallest", Element("rotate-logs-size", "1"), 1},
      {"largest", Element("rotate-logs-size", "99"), 99},
      {"three characters", Element("rotate-logs-size", "100"), 5},
      {"letter behind the number", Element("rotate-logs-size", "7x"), 7},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Read(row.elements).rotate_size, row.megabytes);
  }
}

TEST_F(SettingsReader, Threads) {
  const struct {
    const char* name;
    std::string elements;
    int32_t threads;
    bool is_refused;
  } rows[] = {
      {"left out", "", 25, false},
      {"fewest", Element("max-threads", "25"), 25, false},
      {"most", Element("max-threads", "64"), 64, false},
      {"too few", Element("max-threads", "24"), 25, true},
      {"too many", Element("max-threads", "65"), 25, true},
      {"empty", Element("max-threads", ""), 25, true},
      {"letters behind the number", Element("max-threads", "30x"), 30, false},
      {"first of two", Element("max-threads", "30") + Element("max-threads", "40"), 30, false},
      {"30 beyond the range of 32 bits", Element("max-threads", "4294967326"), 25, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::filesystem::remove(QvxLogFile);
    EXPECT_EQ(Read(row.elements).max_threads, row.threads);
    EXPECT_EQ(HasLogged("max-threads in XML file is outside of allowed bounds, using default "
                        "value."),
              row.is_refused);
  }
}

TEST_F(SettingsReader, LogLevels) {
  const struct {
    const char* word;
    const char* level;
  } rows[] = {{"debug", "debug"}, {"WARN", "warn"},   {"info", "info"},    {"Notice", "notice"},
              {"alert", "alert"}, {"emerg", "emerg"}, {"crit", "crit"},    {"error", "error"},
              {"fatal", "error"}, {"", "error"},      {"notices", "error"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.word);
    EXPECT_EQ(Read(Element("log-level", row.word)).log_level, row.level);
  }
}

TEST_F(SettingsReader, TextsThatAreLeftOutAreNull) {
  const LoadedSettings settings = Read(
      "<ip-restricted-logins>True</ip-restricted-logins>"
      "<ip-binding>True</ip-binding>");
  EXPECT_EQ(settings.included_clients, nullptr);
  EXPECT_EQ(settings.excluded_clients, nullptr);
  EXPECT_EQ(settings.binding_list, nullptr);
  EXPECT_EQ(settings.log_directory, nullptr);
}

TEST_F(SettingsReader, TextsOfTheDocument) {
  const LoadedSettings settings = Read(
      "<ip-restricted-logins>True</ip-restricted-logins>"
      "<ip-restricted-include>a;b</ip-restricted-include>"
      "<ip-restricted-exclude>c</ip-restricted-exclude>"
      "<ip-binding>False</ip-binding><ip-binding-list>d</ip-binding-list>"
      "<log-base-dir></log-base-dir>");
  EXPECT_STREQ(settings.included_clients, "a;b");
  EXPECT_STREQ(settings.excluded_clients, "c");
  EXPECT_STREQ(settings.binding_list, "d") << "also where it is not used";
  EXPECT_STREQ(settings.log_directory, "");
}

TEST_F(SettingsReader, ListsWithoutTheirSwitchAreNotRead) {
  const LoadedSettings settings = Read(
      "<ip-restricted-include>a;b</ip-restricted-include>"
      "<ip-restricted-exclude>c</ip-restricted-exclude><ip-binding-list>d</ip-binding-list>");
  EXPECT_EQ(settings.included_clients, nullptr);
  EXPECT_EQ(settings.excluded_clients, nullptr);
  EXPECT_EQ(settings.binding_list, nullptr);
}

}  // namespace qvx::test
