#include <gtest/gtest.h>
#include <sys/stat.h>

#include "log/ring_log.h"
#include "tests/harness/installation.h"
#include "webconf/php_ini.h"
#include "webconf/webapp_extensions.h"

namespace qvx::test {
namespace {

// Beside each descriptor there lies one that would hold up whoever opened it.
TEST(ScriptEngine, ExtensionsThatADescriptorRequests) {
  const struct {
    const char* name;
    const char* descriptor;
    int32_t requests_domxml;
    int32_t requests_openssl;
    bool is_broken;
  } rows[] = {
      {"deep, in mixed case", "<a><b><c/><extension x='1' name='oPenSSL'>text</extension></b></a>",
       0, 1, false},
      {"several",
       "<a><extension name='ZIP'/><extension/><extension name='domxml'/>"
       "<extension name='OPENSSL'/></a>",
       1, 1, false},
      {"other names and cases of them",
       "<a><Extension name='OPENSSL'/><extension id='OPENSSL'/><extension name='OPENSSL2'/></a>", 0,
       0, false},
      {"not well-formed", "<a><extension name='OPENSSL'/>", 0, 0, true},
  };
  const Installation installation;
  const std::string webapp = installation.base() / "webapp/";
  SetupLogsAndDebug(nullptr);
  ASSERT_EQ(mkfifo((webapp + "fifo.xml").c_str(), 0600), 0);
  WriteText(webapp + "app.txt", "<extension name='OPENSSL'/>");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::filesystem::remove(QvxLogFile);
    WriteText(webapp + "app.xml", row.descriptor);
    EXPECT_EQ(CheckWebAppXMLsForExtensions(), 0);
    EXPECT_EQ(allowablePHPExtensions[0].isRequested, row.requests_domxml);
    EXPECT_EQ(allowablePHPExtensions[1].isRequested, row.requests_openssl);
    const std::string log = Contents(QvxLogFile).value_or("");
    const std::string message = "Failed to parse webapp configuration file " + webapp;
    EXPECT_NE(log.find(message + "fifo.xml."), std::string::npos);
    EXPECT_EQ(log.find(message + "app.xml.") != std::string::npos, row.is_broken);
  }
}

}  // namespace
}  // namespace qvx::test
