// What the program prints, and its statuses: session.txt and spoilt.txt, which begin each command
// with "$ ".

#include <expat.h>
#include <fcntl.h>
#include <unistd.h>

#include <regex>
#include <sstream>

#include "os/descriptor.h"
#include "tests/companion/prepared_installation.h"

namespace qvx::test {
namespace {

constexpr char kElements[] =
    "<ip-binding>True</ip-binding>\n<ip-binding-list>11.0.0.0/255.0.0.0;10.1.0.0/255.255.0.0;"
    "10.0.0.0/255.0.0.0</ip-binding-list>\n<ip-restricted-logins>True</ip-restricted-logins>\n"
    "<ip-restricted-include>10.0.0.5;10.0.1.0-10.0.1.255</ip-restricted-include>\n"
    "<ip-restricted-exclude>10.0.1.7;300.0.0.1</ip-restricted-exclude>\n<max-threads>65</"
    "max-threads>\n";

/// Without what differs between machines, moments and versions of the libraries.
std::string Common(std::string text, const std::string& root) {
  const std::pair<std::string, const char*> rows[] = {
      {root, "ROOT"},
      {XML_ErrorString(XML_ERROR_TAG_MISMATCH), "(as the parser says)"},
      {"([0-9A-F]{2}:){31}[0-9A-F]{2}", "DIGEST"},
      {"(days.left\"?: )[0-9]+", "$1DAYS"},
      {"(process\"?:? )[0-9]+", "$1NUMBER"},
      {" = ", "="},
  };
  for (const auto& [pattern, common] : rows) {
    text = std::regex_replace(text, std::regex(pattern), common);
  }
  return text;
}

/// Runs the commands, one after the other, and returns them with what they say.
std::string Said(const std::vector<std::string>& commands, const std::string& elements,
                 const PemPair& pair) {
  const TempDirectory outside;
  const std::string program = Contents(QVX_COMPANION).value_or("");
  const std::string launcher = Contents(QVX_LAUNCHER).value_or("");
  const Descriptor said(
      open((outside.path() / "said").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  OnFreshMachine([&] {
    ASSERT_EQ(sethostname("machine", 7), 0);
    PutProgram("/tmp/qvxctl", program);
    PutProgram("/tmp/qvxlauncher", launcher);
    const PreparedInstallation site(elements, pair);
    const Variable path("PATH", "/tmp:/usr/sbin:/usr/bin:/sbin:/bin");
    const Variable zone("TZ", "UTC");
    const Variable connection("SSH_CONNECTION", "10.0.1.9 1 2 3");
    std::filesystem::current_path(site.base());
    for (const std::string& command : commands) {
      const Outcome outcome = RunShell("exec 2>&1; " + command);
      std::string text = "$ " + command + "\n" + Common(outcome.output, site.base().parent_path());
      text += outcome.status == 0 ? "" : "status " + std::to_string(outcome.status) + "\n";
      EXPECT_TRUE(WriteAll(said, text));
    }
  });
  return Contents(outside.path() / "said").value_or("");
}

std::vector<std::string> CommandsOf(const std::string& session) {
  std::vector<std::string> commands;
  std::istringstream lines(session);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("$ ")) {
      commands.push_back(line.substr(2));
    }
  }
  return commands;
}

TEST(Program, SaysWhatItSaidInTheSession) {
  const std::string session = Contents(QVX_SESSIONS "session.txt").value_or("none");
  const PemPair pair = MakePair("machine", 2144468992);
  EXPECT_EQ(Said(CommandsOf(session), kElements, pair), session);
}

TEST(Program, SaysWhatItSaidOfEachSpoiltInstallation) {
  const std::string session = Contents(QVX_SESSIONS "spoilt.txt").value_or("none");
  const PemPair pair = MakePair("machine", 2144468992);
  std::string said;
  for (const std::string& command : CommandsOf(session)) {
    said += Said({command}, "", pair);
  }
  EXPECT_EQ(said, session);
}

}  // namespace
}  // namespace qvx::test
