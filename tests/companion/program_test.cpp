// What the program prints, and its statuses: session.txt, which begins each command with "$ ".

#include <unistd.h>

#include <regex>
#include <sstream>

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

TEST(Program, SaysWhatItSaidInTheSession) {
  const std::string session = Contents(QVX_SESSION).value_or("none");
  const std::string program = Contents(QVX_COMPANION).value_or("");
  const std::string launcher = Contents(QVX_LAUNCHER).value_or("");
  OnFreshMachine([&] {
    ASSERT_EQ(sethostname("machine", 7), 0);
    PutProgram("/tmp/qvxctl", program);
    PutProgram("/tmp/qvxlauncher", launcher);
    const PreparedInstallation site(kElements, MakePair("machine", 2144468992));
    const Variable path("PATH", "/tmp:/usr/sbin:/usr/bin:/sbin:/bin");
    const Variable zone("TZ", "UTC");
    const Variable connection("SSH_CONNECTION", "10.0.1.9 1 2 3");
    std::filesystem::current_path(site.base());
    std::istringstream lines(session);
    std::string said;
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("$ ")) {
        const Outcome outcome = RunShell("exec 2>&1; " + line.substr(2));
        said.append(line).append("\n").append(outcome.output);
        said += outcome.status == 0 ? "" : "status " + std::to_string(outcome.status) + "\n";
      }
    }
    EXPECT_EQ(Common(said, site.base().parent_path()), session);
  });
}

}  // namespace
}  // namespace qvx::test
