#include <gtest/gtest.h>
#include <sys/stat.h>

#include "log/ring_log.h"
#include "tests/harness/installation.h"
#include "webconf/php_ini.h"
#include "webconf/webapp_extensions.h"

using namespace qvx::test;

// Beside each descriptor there lies one that would hold up whoever opened it.
TEST(ScriptEngine, DescriptorTable) {
  const std::tuple<const char*, bool, bool> rows[] = {
      {"<a><b><c/><extension x='1' name='oPenSSL'>text</extension></b></a>", true, false},
      {"<a/>", false, false},
      {"<a><extension name='ZIP'/><extension/><extension name='domxml'/><extension "
       "name='OPENSSL'/></a>",
       true, false},
      {"<a><Extension name='OPENSSL'/><extension id='OPENSSL'/><extension name='OPENSSL2'/></a>",
       false, false},
      {"<a><extension name='OPENSSL'/>", false, true}};
  const Installation installation;
  const std::string base = installation.base().string();
  SetupLogsAndDebug(nullptr);
  ASSERT_EQ(0, mkfifo((base + "/webapp/fifo.xml").c_str(), 0600));
  WriteText(base + "/webapp/app.txt", "<extension name='OPENSSL'/>");
  for (const auto& [descriptor, openssl, broken] : rows) {
    SCOPED_TRACE(descriptor);
    std::filesystem::remove(QvxLogFile);
    WriteText(base + "/webapp/app.xml", descriptor);
    EXPECT_EQ(0, CheckWebAppXMLsForExtensions());
    EXPECT_EQ(1, CreatePHPINIFile());
    std::string ini = "extension_dir=";
    ini.append(base).append("/modules/\nsession.save_path=").append(base).append("/session/php\n");
    ini.append("max_execution_time=60\nextension=php_domxml\n")
        .append(openssl ? "extension=php_openssl\n" : "");
    ini +=
        "\n;Magic quotes\nmagic_quotes_gpc = Off\nmagic_quotes_runtime = Off\nmagic_quotes_sybase "
        "= Off\n"
        "\n;Include Path\ninclude_path = .\n"
        "\n;Error Report\nerror_reporting = E_COMPILE_ERROR|E_ERROR|E_CORE_ERROR|E_PARSE\n";
    EXPECT_EQ(ini, Contents(base + "/bin/php.ini"));
    EXPECT_EQ(0660U, ModeOf(base + "/bin/php.ini"));
    const std::string log = Contents(QvxLogFile).value_or("");
    const std::string message = "Failed to parse webapp configuration file " + base + "/webapp/";
    EXPECT_NE(std::string::npos, log.find(message + "fifo.xml."));
    EXPECT_EQ(broken, log.find(message + "app.xml.") != std::string::npos);
  }
  std::filesystem::remove_all(base + "/bin");
  EXPECT_EQ(0, CreatePHPINIFile());
}
