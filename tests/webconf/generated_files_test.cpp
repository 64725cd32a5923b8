#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <vector>

#include "log/ring_log.h"
#include "tests/harness/installation.h"
#include "webconf/agent_map.h"
#include "webconf/php_ini.h"
#include "webconf/server_conf.h"
#include "webconf/webapp_extensions.h"

namespace qvx::test {
namespace {

using Texts = std::vector<std::string>;

const Texts kTwoAddresses = {"127.0.0.1", "10.0.0.5"};

// The lines in which `text` differs from the file `name` in the folder "expected": "< " and a line
// of the file alone, "> " and a line of the text alone. Empty when they are the same.
std::string DifferencesFrom(const std::string& name, std::string_view text) {
  const TempDirectory scratch;
  const std::string actual = scratch.path() / "actual";
  WriteText(actual, text);
  return RunShell(
             "diff --text --old-line-format='< %L' --new-line-format='> %L' "
             "--unchanged-line-format= '" QVX_EXPECTED +
             name + "' " + actual + " 2>&1")
      .output;
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

using V = ServerConfValues;

TEST(ServerConf, EachValueChangesItsLinesOfTheDefault) {
  const std::string suites = "SSLCipherSuite ALL:!ADH:!EXPORT56:!EXPORT40:RC4+RSA:+HIGH:+MEDIUM:";
  const std::string ssl2 = "< SSLProtocol All -SSLv2\n< " + suites + "-SSLv2:+EXP:-LOW:+eNULL\n" +
                           "> SSLProtocol All +SSLv2\n> " + suites + "+SSLv2:+EXP:-LOW:+eNULL\n";
  const std::string errors =
      "ErrorLog \"|/opt/zx/zxqvx/bin/rotatelogs /var/spool/opt/zx/zxqvx/logs/error_log ";
  const std::string accesses =
      "CustomLog \"|/opt/zx/zxqvx/bin/rotatelogs /var/spool/opt/zx/zxqvx/logs/access_log ";
  const std::string rotated = "< " + accesses + "5M\"  common\n";
  const struct {
    const char* name;
    void (*change)(V& values);
    std::string lines = {};  // that differ
  } rows[] = {
      {.name = "nothing", .change = [](V&) {}},
      {.name = "log level",
       .change = [](V& v) { v.settings.log_level = "notice"; },
       .lines = "< LogLevel error\n> LogLevel notice\n"},
      {.name = "logs that are not rotated",
       .change = [](V& v) { v.settings.rotate_logs = false; },
       .lines = "< " + errors + "5M\"\n> ErrorLog /var/spool/opt/zx/zxqvx/logs/error_log\n" +
                rotated + "> CustomLog /var/spool/opt/zx/zxqvx/logs/access_log common\n"},
      {.name = "size of rotation",
       .change = [](V& v) { v.settings.rotate_size = 99; },
       .lines = "< " + errors + "5M\"\n> " + errors + "99M\"\n" + rotated + "> " + accesses +
                "99M\"  common\n"},
      {.name = "no size of rotation",
       .change = [](V& v) { v.settings.rotate_size = 0; },
       .lines = rotated + "> " + accesses + "5M\" common\n"},
      {.name = "SSL 2",
       .change = [](V& v) { v.settings.refuse_ssl2 = false; },
       .lines = ssl2 + ssl2},
      {.name = "threads",
       .change = [](V& v) { v.settings.max_threads = 100; },
       .lines = "< MaxClients           25\n< MinSpareThreads      25\n"
                "< MaxSpareThreads      25\n< ThreadsPerChild      25\n"
                "> MaxClients          100\n> MinSpareThreads     100\n"
                "> MaxSpareThreads     100\n> ThreadsPerChild     100\n"
                "< ThreadsPerChild  25\n> ThreadsPerChild 100\n"},
      {.name = "restriction",
       .change =
           [](V& v) {
             v.settings.restrict_clients = true;
             v.access_directives = "allow from 127.0.0.1\n";
           },
       .lines = "< #IP_RESTRICTION_BLOCK\n> #\n> order allow,deny\n> allow from 127.0.0.1\n"},
      {.name = "restriction that memory ran out for",
       .change = [](V& v) { v.settings.restrict_clients = true; },
       .lines = "> #\n> order allow,deny\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ServerConfValues values = DefaultValues();
    row.change(values);
    EXPECT_EQ(DifferencesFrom("two_addresses.conf", ServerConfText(values, kTwoAddresses)),
              row.lines);
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
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "\n" + line + "\n", text);
  }
}

TEST(ServerConf, LogDirectoryIsAPathAtMost) {
  const std::string longest = "/" + std::string(4094, 'x');
  EXPECT_EQ(LogDirectoryFrom({.log_directory = longest.c_str()}), longest);
  EXPECT_EQ(LogDirectoryFrom({.log_directory = (longest + "y").c_str()}), longest);
}

TEST(ServerConf, PiecesDoNotGrowWithTheAddresses) {
  EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "<VirtualHost", ServerConfText(DefaultValues(), {}));
  const size_t most = ServerConfText(DefaultValues(), kTwoAddresses).size();
  EXPECT_TRUE(GenerateServerConf(DefaultValues(), Texts(1000, "10.0.0.5"),
                                 [&](std::string_view piece) { return piece.size() < most; }));
  int pieces = 0;  // none is generated for a sink that is full
  const auto takes_two = [&](std::string_view) { return ++pieces < 3; };
  EXPECT_FALSE(GenerateServerConf(DefaultValues(), kTwoAddresses, takes_two));
  EXPECT_EQ(pieces, 3);
}

// What is replaced is seen by the fuzz target of the texts.
TEST(ServerConf, NoLineHasNothingToReplace) {
  char line[kConfLineCapacity] = "a";
  EXPECT_EQ(ConfReplaceStrs(nullptr, "a", "b"), 0);
  EXPECT_EQ(ConfReplaceStrs(line, nullptr, "b"), 0);
  EXPECT_EQ(ConfReplaceStrs(line, "a", nullptr), 0);
  EXPECT_EQ(ConfReplaceStrs(line, "", "b"), 0);
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
  settings.rotate_size = nRotateLogsSize = 40;
  settings.log_directory = sLogBaseDir = "\\\\server\\logs";
  settings.refuse_ssl2 = false;
  settings.max_threads = nMaxThreads = 30;
  settings.log_level = "warn";
  isIPRestrict = 1;
  sIpRestrictedInclude = include;
  sIpRestrictedExclude = exclude;
  isSSLV2Disabled = 0;
  std::strcpy(sLogLevelString, "warn");
  RecordBindList(addresses, 1);
  EXPECT_EQ(WriteHttpConfFile(1), 0);
  const std::string text = Contents(installation.base() / "conf/qvxpd.conf").value_or("");
  EXPECT_EQ(text, ServerConfText(ServerConfValuesFrom(settings), addresses));
  for (const std::string& line :
       Texts{"ServerRoot \"" + installation.base().string() + "\"",
             "bin/rotatelogs //server/logs/logs/error_log 40M\"",
             "SSLCertificateFile " + installation.tls().string() + "/cert.pem"}) {
    EXPECT_PRED_FORMAT2(testing::IsSubstring, line + "\n", text);
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

TEST(ScriptEngine, ExtensionsThatADescriptorRequests) {
  const Installation installation;
  const std::string webapp = installation.base() / "webapp/";
  SetupLogsAndDebug(nullptr);
  ASSERT_EQ(mkfifo((webapp + "fifo.xml").c_str(), 0600), 0);  // would hold up whoever opened it
  WriteText(webapp + "app.txt", "<extension name='OPENSSL'/>");
  const auto requested = [&](const char* descriptor) {
    std::filesystem::remove(QvxLogFile);
    WriteText(webapp + "app.xml", descriptor);
    ParseWebAppXML(nullptr);
    EXPECT_EQ(CheckWebAppXMLsForExtensions(), 0);
    const std::string log = Contents(QvxLogFile).value_or("");
    const std::string message = "Failed to parse webapp configuration file " + webapp;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, message + "fifo.xml.", log);
    EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "(null)", log);
    return std::string(allowablePHPExtensions[0].isRequested == 1 ? "domxml " : "") +
           (allowablePHPExtensions[1].isRequested == 1 ? "openssl " : "") +
           (log.find(message + "app.xml.") != std::string::npos ? "broken" : "");
  };
  EXPECT_EQ(requested("<a><b><c/><extension x='1' name='oPenSSL'>text</extension></b></a>"),
            "openssl ");
  EXPECT_EQ(requested("<a><extension name='ZIP'/><extension/><extension name='domxml'/>"
                      "<extension name='OPENSSL'/></a>"),
            "domxml openssl ");
  EXPECT_EQ(requested("<a><Extension name='OPENSSL'/><extension id='OPENSSL'/>"
                      "<extension name='OPENSSL2'/></a>"),
            "");
  EXPECT_EQ(requested("<a><extension name='OPENSSL'/>"), "broken");
}

TEST(GeneratedFiles, AreReplacedAndProtected) {
  const Installation installation;
  const struct {
    const char* name;
    int32_t (*write)();
    std::string text = {};
    int32_t success = 0;
  } rows[] = {
      {.name = "conf/ralolist.map", .write = WriteRALOListMapFile},
      {.name = "bin/php.ini",
       .write = CreatePHPINIFile,
       .text = PhpIniText(installation.base().string(), allowablePHPExtensions),
       .success = 1},
      {.name = "conf/qvxpd.conf",
       .write = [] { return WriteHttpConfFile(0); },
       .text = ServerConfText(ServerConfValuesFrom(RecordedSettings()), {})},
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
    EXPECT_EQ(row.write(), 1 - row.success) << "without its directory";
  }
}

}  // namespace
}  // namespace qvx::test
