#include "webconf/server_conf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/harness/installation.h"
#include "tests/webconf/expected.h"

namespace qvx::test {

namespace {

using Addresses = std::vector<std::string>;

const Addresses kTwoAddresses = {"127.0.0.1", "10.0.0.5"};

// The default directories, and what the default settings say.
ServerConfValues DefaultValues() {
  ServerConfValues values;
  values.installation_directory = "/opt/zx/zxqvx";
  values.tls_share_directory = "/etc/opt/zx/sslshare";
  values.log_directory = "/var/spool/opt/zx/zxqvx";
  values.log_level = "error";
  values.rotate_size = 5;
  values.max_threads = 25;
  return values;
}

std::string Rotated(const std::string& log, const std::string& size) {
  return "Log \"|/opt/zx/zxqvx/bin/rotatelogs /var/spool/opt/zx/zxqvx/logs/" + log + " " + size +
         "\"";
}

}  // namespace

TEST(ServerConf, EachValueChangesItsLinesOfTheDefault) {
  const std::string ssl2_refused =
      "< SSLProtocol All -SSLv2\n"
      "< SSLCipherSuite ALL:!ADH:!EXPORT56:!EXPORT40:RC4+RSA:+HIGH:+MEDIUM:-SSLv2:+EXP:-LOW:"
      "+eNULL\n";
  const std::string ssl2_allowed =
      "> SSLProtocol All +SSLv2\n"
      "> SSLCipherSuite ALL:!ADH:!EXPORT56:!EXPORT40:RC4+RSA:+HIGH:+MEDIUM:+SSLv2:+EXP:-LOW:"
      "+eNULL\n";
  const struct {
    const char* name;
    void (*change)(ServerConfValues& values);
    std::string differences;
  } rows[] = {
      {"nothing", [](ServerConfValues&) {}, ""},
      {"log level", [](ServerConfValues& values) { values.log_level = "notice"; },
       "< LogLevel error\n> LogLevel notice\n"},
      {"logs that are not rotated", [](ServerConfValues& values) { values.rotate_logs = false; },
       "< Error" + Rotated("error_log", "5M") +
           "\n> ErrorLog /var/spool/opt/zx/zxqvx/logs/error_log\n"
           "< Custom" +
           Rotated("access_log", "5M") +
           "  common\n> CustomLog /var/spool/opt/zx/zxqvx/logs/access_log common\n"},
      {"size of rotation", [](ServerConfValues& values) { values.rotate_size = 99; },
       "< Error" + Rotated("error_log", "5M") + "\n> Error" + Rotated("error_log", "99M") +
           "\n< Custom" + Rotated("access_log", "5M") + "  common\n> Custom" +
           Rotated("access_log", "99M") + "  common\n"},
      {"no size of rotation", [](ServerConfValues& values) { values.rotate_size = 0; },
       "< Custom" + Rotated("access_log", "5M") + "  common\n> Custom" +
           Rotated("access_log", "5M") + " common\n"},
      {"SSL 2", [](ServerConfValues& values) { values.refuse_ssl2 = false; },
       ssl2_refused + ssl2_allowed + ssl2_refused + ssl2_allowed},
      {"threads", [](ServerConfValues& values) { values.max_threads = 100; },
       "< MaxClients           25\n< MinSpareThreads      25\n"
       "< MaxSpareThreads      25\n< ThreadsPerChild      25\n"
       "> MaxClients          100\n> MinSpareThreads     100\n"
       "> MaxSpareThreads     100\n> ThreadsPerChild     100\n"
       "< ThreadsPerChild  25\n> ThreadsPerChild 100\n"},
      {"restriction",
       [](ServerConfValues& values) {
         values.restrict_clients = true;
         values.access_directives = "allow from 127.0.0.1\nallow from 10.0.0.1\n";
       },
       "< #IP_RESTRICTION_BLOCK\n"
       "> #\n> order allow,deny\n> allow from 127.0.0.1\n> allow from 10.0.0.1\n"},
      {"restriction that memory ran out for",
       [](ServerConfValues& values) { values.restrict_clients = true; },
       "> #\n> order allow,deny\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ServerConfValues values = DefaultValues();
    row.change(values);
    EXPECT_EQ(DifferencesFrom("two_addresses.conf", ServerConfText(values, kTwoAddresses)),
              row.differences);
  }
}

TEST(ServerConf, ReplacedTextIsSearchedForLaterPlaceholdersOnly) {
  const std::string rest = "/" + std::string(3000, 'x');
  ServerConfValues values = DefaultValues();
  values.installation_directory = "/QVXBaseDir/QVXBindIP/SSLV2?" + rest;
  const std::string text = ServerConfText(values, kTwoAddresses);
  const struct {
    const char* name;
    std::string line;
  } rows[] = {
      {"outside of the virtual hosts", "ServerRoot \"/QVXBaseDir/127.0.0.1/-SSLv2" + rest + "\""},
      {"in the second virtual host",
       "DocumentRoot \"/QVXBaseDir/10.0.0.5/-SSLv2" + rest + "/data/htdocs\""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_NE(text.find("\n" + row.line + "\n"), std::string::npos);
  }
}

TEST(ServerConf, NoAddressGivesNoVirtualHost) {
  EXPECT_EQ(ServerConfText(DefaultValues(), {}).find("<VirtualHost"), std::string::npos);
}

TEST(ServerConf, PiecesDoNotGrowWithTheAddresses) {
  const auto largest_piece = [](const Addresses& addresses) {
    size_t largest = 0;
    EXPECT_TRUE(GenerateServerConf(DefaultValues(), addresses, [&](std::string_view piece) {
      largest = std::max(largest, piece.size());
      return true;
    }));
    return largest;
  };
  EXPECT_EQ(largest_piece(Addresses(1000, "10.0.0.5")), largest_piece({"10.0.0.5"}));
}

TEST(ServerConf, NothingIsGeneratedForASinkThatIsFull) {
  int pieces = 0;
  const auto takes_two = [&](std::string_view) { return ++pieces < 3; };
  EXPECT_FALSE(GenerateServerConf(DefaultValues(), kTwoAddresses, takes_two));
  EXPECT_EQ(pieces, 3);
}

TEST(ServerConf, ReplacementInALineBuffer) {
  const std::string filled(kConfLineCapacity - 2, 'a');
  const struct {
    const char* name;
    std::string line;
    const char* placeholder;
    const char* replacement;
    int32_t result;
    std::string line_afterwards;
  } rows[] = {
      {"replacement that holds the placeholder", "x-x", "x", "yxy", 1, "yxy-yxy"},
      {"occurrences that overlap", "aaa", "aa", "", 1, "a"},
      {"absent placeholder", "x", "z", "y", 0, "x"},
      {"empty placeholder", "x", "", "y", 0, "x"},
      {"longest result", filled + "x", "x", "b", 1, filled + "b"},
      {"result that does not fit", filled + "x", "x", "bb", 0, filled + "x"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    char line[kConfLineCapacity] = {};
    row.line.copy(line, sizeof line);
    EXPECT_EQ(ConfReplaceStrs(line, row.placeholder, row.replacement), row.result);
    EXPECT_EQ(line, row.line_afterwards);
  }
}

TEST(ServerConf, FileIsMadeFromTheRecordAndProtected) {
  const Installation installation;
  const std::filesystem::path path = installation.base() / "conf/qvxpd.conf";
  char include[] = "10.0.0.1;10.0.0.2";
  const LoadedSettings before = RecordedSettings();
  LoadedSettings settings = before;
  settings.restrict_clients = true;
  settings.included_clients = include;
  settings.rotate_size = 40;
  settings.log_directory = "\\\\server\\logs";
  settings.refuse_ssl2 = false;
  settings.max_threads = 40;
  settings.log_level = "notice";
  RecordSettings(settings);
  RecordBindList(Addresses{"255.255.255.255"}, 1);
  EXPECT_EQ(WriteHttpConfFile(1), 0);
  ServerConfValues values;
  values.installation_directory = installation.base();
  values.tls_share_directory = installation.tls();
  values.log_directory = "//server/logs";
  values.log_level = "notice";
  values.rotate_size = 40;
  values.refuse_ssl2 = false;
  values.max_threads = 40;
  values.restrict_clients = true;
  values.access_directives = "allow from 127.0.0.1\nallow from 10.0.0.1\nallow from 10.0.0.2\n";
  EXPECT_EQ(Contents(path), ServerConfText(values, Addresses{"255.255.255.255"}));
  EXPECT_EQ(ModeOf(path), 0660U);
  EXPECT_STREQ(include, "10.0.0.1;10.0.0.2") << "the settings stay whole";
  RecordSettings(before);
  ReleaseBindList();
}

TEST(ServerConf, FileThatCannotBeMadeOrIsRemoved) {
  const Installation installation;
  EXPECT_EQ(DeleteHttpConfFile(), 1) << "there is none";
  EXPECT_EQ(WriteHttpConfFile(0), 0);
  EXPECT_EQ(DeleteHttpConfFile(), 0);
  std::filesystem::remove(installation.base() / "conf");
  EXPECT_EQ(WriteHttpConfFile(0), 1);
}

}  // namespace qvx::test
