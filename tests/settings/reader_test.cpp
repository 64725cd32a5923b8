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

TEST_F(SettingsReader, BeforeReading) {
  EXPECT_EQ(RecordedSettings(), LoadedSettings());
  EXPECT_EQ(bRotateLogs, 1);
  EXPECT_EQ(isSSLV2Disabled, 1);
  EXPECT_EQ(nMaxThreads, 64);
  EXPECT_STREQ(sLogLevelString, "error");
  EXPECT_EQ(gIPList, nullptr);
}

TEST_F(SettingsReader, FlagsAndNumbers) {
  struct Case {
    const char* value;  // null: the element is left out
    int32_t before, after;
  };
  const struct {
    std::string element;
    int32_t* variable;
    bool is_refused = false;
    std::vector<Case> cases;
  } rows[] = {
      {.element = "ip-restricted-logins",
       .variable = &isIPRestrict,
       .cases = {{"true", 0, 1}, {" True", 0, 0}}},
      {.element = "ip-binding",
       .variable = &isIPBinding,
       .cases = {{"TRUE", 0, 1}, {"False", 1, 0}, {nullptr, 1, 0}}},
      {.element = "monitor-ip-changes",
       .variable = &bMonitorIPChangesLinux,
       .cases =
           {{"0", 1, 0}, {"x", 1, 0}, {"1", 0, 1}, {"01", 0, 0}, {"2", 1, 1}, {nullptr, 1, 1}}},
      {.element = "rotate-logs",
       .variable = &bRotateLogs,
       .cases = {{"1", 0, 1}, {"2", 1, 0}, {"02", 1, 1}, {"0", 1, 1}, {nullptr, 0, 0}}},
      {.element = "rotate-logs-size",
       .variable = &nRotateLogsSize,
       .cases = {{nullptr, 0, 5},
                 {"0", 0, 5},
                 {"-3", 0, 5},
                 {"1", 0, 1},
                 {"99", 0, 99},
                 {"100", 0, 5},
                 {"010", 0, 5},
                 {"7x", 0, 7}}},
      {.element = "disable-sslv2",
       .variable = &isSSLV2Disabled,
       .cases = {{"false", 1, 0}, {"no", 1, 1}, {"True", 0, 0}}},
      {.element = "max-threads",
       .variable = &nMaxThreads,
       .cases = {{nullptr, 64, 25},
                 {"25", 64, 25},
                 {"64", 25, 64},
                 {"30x</max-threads><max-threads>40", 64, 30}}},
      {.element = "max-threads",
       .variable = &nMaxThreads,
       .is_refused = true,
       .cases = {{"24", 64, 25}, {"65", 64, 25}, {"", 64, 25}, {"4294967326", 64, 25}}},
  };
  for (const auto& row : rows) {
    for (const Case& c : row.cases) {
      SCOPED_TRACE(row.element + " " + (c.value == nullptr ? "left out" : c.value));
      std::filesystem::remove(QvxLogFile);
      *row.variable = c.before;
      Read(c.value == nullptr ? "" : "<" + row.element + ">" + c.value + "</" + row.element + ">");
      EXPECT_EQ(*row.variable, c.after);
      EXPECT_EQ(
          Contents(QvxLogFile)
              .value_or("")
              .ends_with(
                  "\nmax-threads in XML file is outside of allowed bounds, using default value."),
          row.is_refused);
    }
  }
}

TEST_F(SettingsReader, LogLevels) {
  for (const std::string level : {"debug", "info", "notice", "warn", "crit", "alert", "emerg"}) {
    Read("<log-level>" + level + "</log-level>");
    EXPECT_EQ(sLogLevelString, level);
  }
  Read("<log-level>WARN</log-level>");
  EXPECT_STREQ(sLogLevelString, "warn");
  for (const std::string word : {"fatal", "notices", "", "error"}) {
    Read("<log-level>warn</log-level>");
    Read("<log-level>" + word + "</log-level>");
    EXPECT_STREQ(sLogLevelString, "error") << word;
  }
}

TEST_F(SettingsReader, Texts) {
  const std::string lists =
      "<ip-restricted-include>a;b</ip-restricted-include>"
      "<ip-restricted-exclude>c</ip-restricted-exclude><ip-binding-list>d</ip-binding-list>";
  const std::string switches =
      "<ip-restricted-logins>True</ip-restricted-logins><ip-binding>False</ip-binding>";
  for (const std::string& elements : {lists, switches}) {
    Read(elements);
    EXPECT_EQ(sIpRestrictedInclude, nullptr) << elements;
    EXPECT_EQ(sIpRestrictedExclude, nullptr) << elements;
    EXPECT_EQ(sIpBindingList, nullptr) << elements;
    EXPECT_EQ(sLogBaseDir, nullptr) << elements;
  }
  Read(lists + switches + "<log-base-dir/>");
  EXPECT_STREQ(sIpRestrictedInclude, "a;b");
  EXPECT_STREQ(sIpRestrictedExclude, "c");
  EXPECT_STREQ(sIpBindingList, "d") << "also where it is not used";
  EXPECT_STREQ(sLogBaseDir, "");
  ReleaseTexts();
  const char* const released[] = {sIpRestrictedInclude, sIpRestrictedExclude, sIpBindingList,
                                  sLogBaseDir};
  for (const char* const text : released) {
    EXPECT_EQ(text, nullptr);
  }
}

}  // namespace
}  // namespace qvx::test
