#include <gtest/gtest.h>
#include <sys/stat.h>

#include "log/ring_log.h"
#include "tests/harness/installation.h"
#include "webconf/agent_map.h"
#include "webconf/php_ini.h"
#include "webconf/webapp_extensions.h"

namespace {

using qvx::test::Contents;

void ExpectProtected(const std::filesystem::path& path, const std::string& content) {
  EXPECT_EQ(content, Contents(path));
  EXPECT_EQ(0660U, qvx::test::ModeOf(path));
  EXPECT_EQ(qvx::test::ServiceOwner(), qvx::test::OwnerOf(path));
}

}  // namespace

// Beside each descriptor there lies one that would hold up whoever opened it.
TEST(ScriptEngine, DescriptorTable) {
  const std::tuple<const char*, bool, bool> rows[] = {
      {"<a><b><c/><extension x='1' name='oPenSSL'>text</extension></b></a>", true, false},
      {"<a/>", false, false},
      {"<a><extension name='ZIP'/><extension/><extension name='domxml'/><extension name='OPENSSL'/></a>", true, false},
      {"<a><Extension name='OPENSSL'/><extension id='OPENSSL'/><extension name='OPENSSL2'/></a>", false, false},
      {"<a><extension name='OPENSSL'/>", false, true}};
  const qvx::test::Installation installation;
  const std::string base = installation.base().string();
  SetupLogsAndDebug(nullptr);
  ASSERT_EQ(0, mkfifo((base + "/webapp/fifo.xml").c_str(), 0600));
  qvx::test::WriteText(base + "/webapp/app.txt", "<extension name='OPENSSL'/>");
  for (const auto& [descriptor, openssl, broken] : rows) {
    SCOPED_TRACE(descriptor);
    std::filesystem::remove(QvxLogFile);
    qvx::test::WriteText(base + "/webapp/app.xml", descriptor);
    EXPECT_EQ(0, CheckWebAppXMLsForExtensions());
    EXPECT_EQ(1, CreatePHPINIFile());
    std::string ini = "extension_dir=";
    ini.append(base).append("/modules/\nsession.save_path=").append(base).append("/session/php\n");
    ini.append("max_execution_time=60\nextension=php_domxml\n").append(openssl ? "extension=php_openssl\n" : "");
    ini +=
        "\n;Magic quotes\nmagic_quotes_gpc = Off\nmagic_quotes_runtime = Off\nmagic_quotes_sybase = Off\n"
        "\n;Include Path\ninclude_path = .\n"
        "\n;Error Report\nerror_reporting = E_COMPILE_ERROR|E_ERROR|E_CORE_ERROR|E_PARSE\n";
    ExpectProtected(base + "/bin/php.ini", ini);
    const std::string log = Contents(QvxLogFile).value_or("");
    const std::string message = "Failed to parse webapp configuration file " + base + "/webapp/";
    EXPECT_NE(std::string::npos, log.find("ERROR LOG (severity=2)"));
    EXPECT_NE(std::string::npos, log.find(message + "fifo.xml."));
    EXPECT_EQ(broken, log.find(message + "app.xml.") != std::string::npos);
  }
  std::filesystem::remove_all(base + "/bin");
  EXPECT_EQ(0, CreatePHPINIFile());
}

TEST(AgentMap, IsEmptiedAndProtected) {
  const qvx::test::Installation installation;
  const std::filesystem::path map = installation.base() / "conf/ralolist.map";
  qvx::test::WriteText(map, "agent http://10.0.0.5\n");
  EXPECT_EQ(0, WriteRALOListMapFile());
  ExpectProtected(map, "");
  std::filesystem::remove_all(map.parent_path());
  EXPECT_EQ(1, WriteRALOListMapFile());
}
