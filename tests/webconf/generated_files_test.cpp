#include <gtest/gtest.h>

#include <vector>

#include "tests/harness/installation.h"
#include "webconf/agent_map.h"
#include "webconf/php_ini.h"
#include "webconf/server_conf.h"

namespace qvx::test {

namespace {

using Texts = std::vector<std::string>;

const Texts kTwoAddresses = {"127.0.0.1", "10.0.0.5"};

// The lines in which `text` differs from the file `name` in the folder "expected": "< " and a line
// of the file alone, "> " and a line of the text alone. Empty when they are the same.
std::string DifferencesFrom(const std::string& name, std::string_view text) {
  const TempDirectory scratch;
  std::filesystem::current_path(scratch.path());
  WriteText(scratch.path() / "actual", text);
  const std::string command =
      "diff --text --old-line-format='< %L' --new-line-format='> %L' --unchanged-line-format= '" +
      (QVX_EXPECTED + name) + "' actual >differences 2>&1";
  EXPECT_NE(std::system(command.c_str()), -1);
  return Contents("differences").value_or("no diff");
}

// The default directories, and what the default settings say.
ServerConfValues DefaultValues() {
  ServerConfValues values;
  values.installation_directory = "/opt/zx/zxqvx";
  values.tls_share_directory = "/etc/opt/zx/sslshare";
  values.log_directory = "/var/spool/opt/zx/zxqvx";
  values.settings.rotate_size = 5;
  values.settings.max_threads = 25;
  return values;
}

}  // namespace

TEST(ServerConf, EachValueChangesItsLinesOfTheDefault) {
  const std::string ssl2 =
      "< SSLProtocol All -SSLv2\n"
      "< SSLCipherSuite ALL:!ADH:!EXPORT56:!EXPORT40:RC4+RSA:+HIGH:+MEDIUM:-SSLv2:+EXP:-LOW:"
      "+eNULL\n"
      "> SSLProtocol All +SSLv2\n"
      "> SSLCipherSuite ALL:!ADH:!EXPORT56:!EXPORT40:RC4+RSA:+HIGH:+MEDIUM:+SSLv2:+EXP:-LOW:"
      "+eNULL\n";
  const std::string errors =
      "ErrorLog \"|/opt/zx/zxqvx/bin/rotatelogs /var/spool/opt/zx/zxqvx/logs/error_log ";
  const std::string accesses =
      "CustomLog \"|/opt/zx/zxqvx/bin/rotatelogs /var/spool/opt/zx/zxqvx/logs/access_log ";
  const std::string rotated = "< " + accesses + "5M\"  common\n";
  const struct {
    const char* name;
    void (*change)(ServerConfValues& values);
    std::string differences;
  } rows[] = {
      {"nothing", [](ServerConfValues&) {}, ""},
      {"log level", [](ServerConfValues& values) { values.settings.log_level = "notice"; },
       "< LogLevel error\n> LogLevel notice\n"},
      {"logs that are not rotated",
       [](ServerConfValues& values) { values.settings.rotate_logs = false; },
       "< " + errors + "5M\"\n> ErrorLog /var/spool/opt/zx/zxqvx/logs/error_log\n" + rotated +
           "> CustomLog /var/spool/opt/zx/zxqvx/logs/access_log common\n"},
      {"size of rotation", [](ServerConfValues& values) { values.settings.rotate_size = 99; },
       "< " + errors + "5M\"\n> " + errors + "99M\"\n" + rotated + "> " + accesses +
           "99M\"  common\n"},
      {"no size of rotation", [](ServerConfValues& values) { values.settings.rotate_size = 0; },
       rotated + "> " + accesses + "5M\" common\n"},
      {"SSL 2", [](ServerConfValues& values) { values.settings.refuse_ssl2 = false; }, ssl2 + ssl2},
      {"threads", [](ServerConfValues& values) { values.settings.max_threads = 100; },
       "< MaxClients           25\n< MinSpareThreads      25\n"
       "< MaxSpareThreads      25\n< ThreadsPerChild      25\n"
       "> MaxClients          100\n> MinSpareThreads     100\n"
       "> MaxSpareThreads     100\n> ThreadsPerChild     100\n"
       "< ThreadsPerChild  25\n> ThreadsPerChild 100\n"},
      {"restriction",
       [](ServerConfValues& values) {
         values.settings.restrict_clients = true;
         values.access_directives = "allow from 127.0.0.1\nallow from 10.0.0.1\n";
       },
       "< #IP_RESTRICTION_BLOCK\n"
       "> #\n> order allow,deny\n> allow from 127.0.0.1\n> allow from 10.0.0.1\n"},
      {"restriction that memory ran out for",
       [](ServerConfValues& values) { values.settings.restrict_clients = true; },
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
  for (const std::string& line :
       {"ServerRoot \"/QVXBaseDir/127.0.0.1/-SSLv2" + rest + "\"",
        "DocumentRoot \"/QVXBaseDir/10.0.0.5/-SSLv2" + rest + "/data/htdocs\""}) {
    EXPECT_NE(text.find("\n" + line + "\n"), std::string::npos) << line;
  }
}

TEST(ServerConf, NoAddressGivesNoVirtualHost) {
  EXPECT_EQ(ServerConfText(DefaultValues(), {}).find("<VirtualHost"), std::string::npos);
}

TEST(ServerConf, PiecesDoNotGrowWithTheAddresses) {
  const size_t most = ServerConfText(DefaultValues(), kTwoAddresses).size();
  EXPECT_TRUE(GenerateServerConf(DefaultValues(), Texts(1000, "10.0.0.5"),
                                 [&](std::string_view piece) { return piece.size() < most; }));
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
  char line[kConfLineCapacity] = "a";
  EXPECT_EQ(ConfReplaceStrs(nullptr, "a", "b"), 0);
  EXPECT_EQ(ConfReplaceStrs(line, nullptr, "b"), 0);
  EXPECT_EQ(ConfReplaceStrs(line, "a", nullptr), 0);
}

TEST(ServerConf, FileIsMadeFromTheRecordAndRemoved) {
  const Installation installation;
  const Texts addresses = {"255.255.255.255"};
  char include[] = "10.0.0.1;10.0.0.2";
  char exclude[] = "10.0.0.3";
  const LoadedSettings before = RecordedSettings();
  LoadedSettings settings = before;
  settings.restrict_clients = true;
  settings.included_clients = include;
  settings.excluded_clients = exclude;
  settings.rotate_size = 40;
  settings.log_directory = "\\\\server\\logs";
  settings.refuse_ssl2 = false;
  settings.max_threads = 40;
  settings.log_level = "notice";
  RecordSettings(settings);
  RecordBindList(addresses, 1);
  EXPECT_EQ(WriteHttpConfFile(1), 0);
  const std::string text = Contents(installation.base() / "conf/qvxpd.conf").value_or("");
  EXPECT_EQ(text, ServerConfText(ServerConfValuesFrom(settings), addresses));
  for (const std::string& line :
       Texts{"ServerRoot \"" + installation.base().string() + "\"", "LogLevel notice",
             "MaxClients           40", "bin/rotatelogs //server/logs/logs/error_log 40M\"",
             "SSLProtocol All +SSLv2",
             "SSLCertificateFile " + installation.tls().string() + "/cert.pem"}) {
    EXPECT_NE(text.find(line + "\n"), std::string::npos) << line;
  }
  EXPECT_STREQ(include, "10.0.0.1;10.0.0.2") << "the settings stay whole";
  RecordSettings(before);
  ReleaseBindList();
  EXPECT_EQ(DeleteHttpConfFile(), 0);
  EXPECT_EQ(DeleteHttpConfFile(), 1) << "there is none";
}

TEST(PhpIni, NamesWhatIsRequestedOrAlwaysLoaded) {
  const PHPExtensionEntry extensions[] = {{0, 0, "A", "extension=neither\n"},
                                          {1, 0, "B", "extension=requested\n"},
                                          {0, 1, "DOMXML", "extension=php_domxml\n"},
                                          {1, 1, "C", "extension=both\n"}};
  EXPECT_EQ(DifferencesFrom("php.ini", PhpIniText("/opt/zx/zxqvx", extensions)),
            "> extension=requested\n> extension=both\n");
}

TEST(GeneratedFiles, AreReplacedAndProtected) {
  const Installation installation;
  const struct {
    const char* name;
    int32_t (*write)();
    int32_t success;
    int32_t failure;
    std::string text;
  } rows[] = {
      {"conf/ralolist.map", WriteRALOListMapFile, 0, 1, ""},
      {"bin/php.ini", CreatePHPINIFile, 1, 0,
       PhpIniText(installation.base().string(), allowablePHPExtensions)},
      {"conf/qvxpd.conf", [] { return WriteHttpConfFile(0); }, 0, 1,
       ServerConfText(ServerConfValuesFrom(RecordedSettings()), {})},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const std::filesystem::path file = installation.base() / row.name;
    WriteText(file, "agent http://10.0.0.5\n");
    EXPECT_EQ(row.write(), row.success);
    EXPECT_EQ(Contents(file), row.text);
    EXPECT_EQ(ModeOf(file), 0660U);
    EXPECT_EQ(OwnerOf(file), ServiceOwner());
    std::filesystem::remove_all(file.parent_path());
    EXPECT_EQ(row.write(), row.failure) << "without its directory";
  }
}

}  // namespace qvx::test
