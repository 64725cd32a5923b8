#include "webconf/server_conf.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "settings/record.h"
#include "tests/harness/installation.h"

namespace {

using qvx::ServerConfValues;
using Addresses = std::vector<std::string>;

void ExpectLines(const ServerConfValues& values, const std::vector<std::string>& runs_of_lines) {
  const std::string text = qvx::ServerConfText(values, Addresses{"127.0.0.1", "10.0.0.5"});
  for (const std::string& lines : runs_of_lines) {
    EXPECT_NE(std::string::npos, text.find("\n" + lines + "\n")) << lines;
  }
}

const ServerConfValues kDefaults = {
    "/opt/zx/zxqvx", "/etc/opt/zx/sslshare", "/var/spool/opt/zx/zxqvx", "error", true, 5, true, 25};

}  // namespace

// Size and FNV-1a digest of a text that was made from the same template text by other means.
TEST(ServerConf, WholeTextForTwoAddresses) {
  const std::string text = qvx::ServerConfText(kDefaults, Addresses{"127.0.0.1", "10.0.0.5"});
  uint64_t digest = 0xcbf29ce484222325;
  for (const char c : text) {
    digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  }
  EXPECT_EQ(13780U, text.size());
  EXPECT_EQ(0x72aab4830d844151U, digest) << text;
}

TEST(ServerConf, ValuesReachTheirLines) {
  ServerConfValues values = kDefaults;
  values.rotate_size = 0;
  values.restrict_clients = true;
  ExpectLines(
      values,
      {"ErrorLog \"|/opt/zx/zxqvx/bin/rotatelogs /var/spool/opt/zx/zxqvx/logs/error_log 5M\"",
       "CustomLog \"|/opt/zx/zxqvx/bin/rotatelogs /var/spool/opt/zx/zxqvx/logs/access_log 5M\" "
       "common",
       "    AllowOverride None\n#\norder allow,deny\n#IP_RESTRICTION_BLOCK\n</Directory>"});
  // What replaced a placeholder is searched for later ones only.
  const std::string rest = "/" + std::string(3000, 'x');
  values = {"/QVXBaseDir/QVXBindIP/SSLV2?" + rest,
            "",
            "/l",
            "notice",
            false,
            5,
            false,
            100,
            true,
            "allow from all\n"};
  ExpectLines(values, {"    AllowOverride None\n#\norder allow,deny\nallow from all\n</Directory>",
                       "ErrorLog /l/logs/error_log", "CustomLog /l/logs/access_log common",
                       "LogLevel notice", "SSLProtocol All +SSLv2", "MaxClients          100",
                       "ServerRoot \"/QVXBaseDir/127.0.0.1/+SSLv2" + rest + "\"",
                       "DocumentRoot \"/QVXBaseDir/10.0.0.5/+SSLv2" + rest + "/data/htdocs\""});
}

TEST(ServerConf, ReplacementInALineBuffer) {
  const std::string a(kConfLineCapacity - 2, 'a');
  const std::string rows[][4] = {{"x-x", "x", "yxy", "yxy-yxy"},
                                 {"aaa", "aa", "", "a"},
                                 {"x", "", "y", "x"},
                                 {a + "x", "x", "b", a + "b"},
                                 {a + "x", "x", "bb", a + "x"}};
  for (const auto& [before, placeholder, replacement, after] : rows) {
    char line[kConfLineCapacity];
    std::memcpy(line, before.c_str(), before.size() + 1);
    EXPECT_EQ(before != after, ConfReplaceStrs(line, placeholder.c_str(), replacement.c_str()));
    EXPECT_EQ(after, line);
  }
}

TEST(ServerConf, FileIsMadeFromTheRecordAndProtected) {
  const qvx::test::Installation installation;
  const std::filesystem::path path = installation.base() / "conf/qvxpd.conf";
  char include[] = "10.0.0.1;10.0.0.2";
  sIpRestrictedInclude = include;
  sLogBaseDir = "\\\\server\\logs";
  qvx::RecordBindList(Addresses{"255.255.255.255"}, 1);
  isIPRestrict = bRotateLogs = 1;
  nRotateLogsSize = nMaxThreads = 40;
  isSSLV2Disabled = 0;
  std::filesystem::remove(path.parent_path());
  EXPECT_EQ(1, WriteHttpConfFile(0));
  EXPECT_STREQ("10.0.0.1;10.0.0.2", include);
  std::filesystem::create_directory(path.parent_path());
  EXPECT_EQ(0, WriteHttpConfFile(1));
  ServerConfValues values = {
      installation.base(), installation.tls(), "//server/logs", "error", true, 40, false, 40, true};
  values.access_directives = "allow from 127.0.0.1\nallow from 10.0.0.1\nallow from 10.0.0.2\n";
  EXPECT_EQ(qvx::ServerConfText(values, Addresses{"255.255.255.255"}), qvx::test::Contents(path));
  EXPECT_EQ(0660U, qvx::test::ModeOf(path));
  EXPECT_EQ(std::string::npos, qvx::ServerConfText(values, {}).find("<VirtualHost"));
  qvx::ReleaseBindList();
  EXPECT_EQ(0, DeleteHttpConfFile());
  EXPECT_EQ(1, DeleteHttpConfFile());
}
