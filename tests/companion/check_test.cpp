#include <netinet/in.h>
#include <sys/socket.h>

#include <ctime>
#include <regex>
#include <span>

#include "companion/admission.h"
#include "companion/findings.h"
#include "companion/programs.h"
#include "settings/document.h"
#include "tests/companion/prepared_installation.h"

namespace qvx::test {
namespace {

namespace fs = std::filesystem;
using companion::Forecast;

constexpr char kKept[] = "/tmp/kept";

/// Returns each finding on a line: severity, place, and what it is.
std::string Found(const Forecast& forecast, const fs::path& base) {
  std::string text;
  for (const companion::Finding& finding : CheckAll(forecast, kKept)) {
    const std::string name = fs::path(finding.file).lexically_relative(base);
    text.append(1, "nwf"[static_cast<size_t>(finding.severity)]).append(" ");
    text.append(finding.element.empty() ? name : finding.element);
    text.append(finding.line > 0 ? ":" + std::to_string(finding.line) : "");
    text.append(finding.column > 0 ? ":" + std::to_string(finding.column) : "");
    text.append(" ").append(finding.what).append("\n");
  }
  return text;
}

/// Expects such lines. A "*" stands for the words that do not matter.
void ExpectFound(const std::string& found, const std::string& lines) {
  const std::string escaped = std::regex_replace(lines, std::regex(R"([^\w\s*])"), R"(\$&)");
  const std::regex pattern(std::regex_replace(escaped, std::regex(R"(\*)"), ".*"));
  EXPECT_TRUE(std::regex_match(found, pattern)) << found << "is not\n" << lines;
}

struct Row {
  const char* name;
  std::string elements = {};
  std::string spoil = ":";  // in the folder of the installation
  std::optional<PemPair> pair = {};
  std::string found = {};
};

void CheckRows(std::span<const Row> rows) {
  Pairs();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    OnFreshMachine([&row] {
      const PreparedInstallation site(row.elements, row.pair.value_or(Pairs().ours));
      WriteText("/tmp/default.xml", QVX_XML_DEFAULT);
      fs::create_directory(kKept);
      fs::current_path(site.base());
      EXPECT_EQ(std::system(row.spoil.c_str()), 0);
      ExpectFound(Found(companion::Foretell(), site.base()), row.found);
    });
  }
}

std::string Restricted(const std::string& include, const std::string& exclude = "") {
  return "<ip-restricted-logins>True</ip-restricted-logins>\n<ip-restricted-include>" + include +
         "</ip-restricted-include>\n<ip-restricted-exclude>" + exclude +
         "</ip-restricted-exclude>\n";
}

std::string Bound(const std::string& list) {
  return "<ip-binding>True</ip-binding>\n<ip-binding-list>" + list + "</ip-binding-list>\n";
}

TEST(Check, SettingsAccessAndAddresses) {
  const Row rows[] = {
      {.name = "healthy", .elements = "<max-threads>30</max-threads>\n"},
      {.name = "values",
       .elements = "<ip-restricted-logins>yes</ip-restricted-logins>\n"
                   "<ip-binding>\nTrue</ip-binding>\n<disable-sslv2>no</disable-sslv2>\n"
                   "<max-threads>65</max-threads><rotate-logs-size>100</rotate-logs-size>"
                   "<rotate-logs>02</rotate-logs><log-level>loud</log-level><monitor-ip-changes/>",
       .found = R"(f ip-restricted-logins:2 The value "yes" is not an accepted one.
f ip-binding:3 The value "
True" has blanks *
w rotate-logs:6 * "02" *
w rotate-logs-size:6 * "100" *
w disable-sslv2:5 * "no" *
w max-threads:6 * "65" *
w log-level:6 * "loud" *
n monitor-ip-changes:6 The element is empty.
)"},
      {.name = "elements",
       .elements = "<!-- <a> --><ip-bindings>x</ip-bindings>\n<zzz/><log-level>warn</log-level>\n"
                   "<log-level>info</log-level>\n<trustmode><rotate-logs>1</rotate-logs>"
                   "</trustmode>\n",
       .found = "w ip-bindings:2 * not know *\nw zzz:3 * not know *\nw log-level:4 * once.\n"
                "w rotate-logs:5 * nested *\n"},
      {.name = "shapes",
       .elements = "<log-level><!-- c -->warn</log-level>\n<rotate-logs><b/>1</rotate-logs>\n"
                   "<multihomed>a;b c</multihomed>",
       .found = "f log-level:2 A comment *\nf rotate-logs:3 * another element *\n"
                "w log-level:2 * pieces.\nw rotate-logs:3 * pieces.\nw b:3 * not know *\n"
                "w log-level:2 The value \" c \" has blanks *\nw multihomed:4 * \" \" *\n"},
      {.name = "what lacks",
       .elements = "<multihomed>host1;10.0.0.9</multihomed>\n"
                   "<log-base-dir>/tmp/none</log-base-dir>\n",
       .found = "w log-base-dir:3 There is no directory /tmp/none/logs.\n"
                "w multihomed The certificate lacks *: 10.0.0.9.\n"},
      {.name = "what others refuse",
       .elements = "<multihomed>host1;10.0.0.999</multihomed>\n<log-base-dir>${HOME}</log-base-dir>"
                   "<disable-sslv2>False</disable-sslv2>\n",
       .found = "f disable-sslv2:3 SSLv2 is *\nf log-base-dir:3 The path names a variable.\n"
                "w multihomed:2 The TLS library refuses \"10.0.0.999\".\n"},
      {.name = "common addresses",
       .elements = Restricted("10.0.0.1-10.0.0.9;10.0.0.0/29;"
                              "10.0.1.0;10.0.1.5/255.255.255.0;10.0.2.1/32;10.0.2.1",
                              "10.0.0.3"),
       .found = R"(n ip-restricted-include:3 "10.0.0.1-10.0.0.9" overlaps with "10.0.0.0/29".
n ip-restricted-include:3 "10.0.1.0" is covered by "10.0.1.5/255.255.255.0".
n ip-restricted-include:3 "10.0.2.1" is covered by "10.0.2.1/32".
)"},
      {.name = "covered and excluded",
       .elements = Restricted("10.0.0.1;10.0.0.0/24;10.0.0.1;10.0.1.0/24", "10.0.0.1"),
       .found = R"(w ip-restricted-include:3 "10.0.0.1" is refused * "10.0.0.1".
w ip-restricted-include:3 "10.0.0.1" is refused * "10.0.0.1".
n ip-restricted-include:3 "10.0.0.1" is covered by "10.0.0.0/24".
n ip-restricted-include:3 "10.0.0.1" is covered by "10.0.0.0/24".
)"},
      {.name = "what the daemon refuses, and what it reads in another way",
       .elements = Restricted("10.0.0.9-10.0.0.1;300.1.1.1;10.0.0.1 - 10.0.0.6;1.1.1.1,2.2.2.2;"
                              "10.0.0.1\\;10.0.0.2#x;${HOME};env=!x;\"10.0.0.3\"",
                              "x-10.0.0.1"),
       .found = R"(f ip-restricted-include:3 "10.0.0.9-10.0.0.1" is a reversed *
f ip-restricted-include:3 "300.1.1.1" is not an address.
f ip-restricted-include:3 "10.0.0.1 - 10.0.0.6" has an end that is not an *
f ip-restricted-include:3 "1.1.1.1,2.2.2.2" holds a comma *
f ip-restricted-include:3 "10.0.0.1\" ends in a backslash.
f ip-restricted-include:3 "10.0.0.2#x" is not an address.
f ip-restricted-include:3 "${HOME}" is in quotes, or names a variable.
f ip-restricted-include:3 "env=!x" is in quotes*
f ip-restricted-include:3 ""10.0.0.3"" is in quotes*
f ip-restricted-exclude:4 "x-10.0.0.1" * start is not an address.
)"},
      {.name = "what is lost",
       .elements = Restricted("255.255.255.100-255.255.255.1000",
                              "10.0.0.1\n;host1;192.168.100.100 - 192.168.100.200"),
       .found = R"(f ip-restricted-include:3 "255.255.255.100-255.255.255.1000" * 31 characters.
f ip-restricted-exclude:4 "10.0.0.1
" holds a line break.
f ip-restricted-exclude:4 "192.168.100.100 - 192.168.100.200" * 31 characters.
w ip-restricted-exclude:4 The lists let in nobody *
w ip-restricted-exclude:4 "host1" * a name *
n ip-restricted-exclude:4 "10.0.0.1
" is covered by "192.168.100.100 - 192.168.100.200".
)"},
      {.name = "the highest address", .elements = Restricted(";255.255.255.255-", "1.0.0.0")},
      {.name = "up to the highest address", .elements = Restricted("250.0.0.0-255.255.255.255")},
      {.name = "everybody", .elements = Restricted("all")},
      {.name = "empty lists",
       .elements = Restricted(""),
       .found = "w ip-restricted-include:3 The include list is empty, *\n"},
      {.name = "exclude list alone",
       .elements = Restricted("", "10.0.0.1"),
       .found = "n ip-restricted-include:3 The include list is empty, *\n"},
      {.name = "separators alone",
       .elements = Restricted(";;"),
       .found = "w ip-restricted-include:3 The include list has no entry.\n"},
      {.name = "never let in",
       .elements = Restricted("10.0.0.5", "10.0.0.0-10.0.0.255"),
       .found = "w ip-restricted-exclude:4 The lists let in nobody *\n"
                "w ip-restricted-include:3 \"10.0.0.5\" is refused * \"10.0.0.0-10.0.0.255\".\n"},
      {.name = "everybody excluded",
       .elements = Restricted("", "0.0.0.0-255.255.255.255"),
       .found = "w ip-restricted-exclude:4 The lists let in nobody *\n"},
      {.name = "lists without their switches, and every address",
       .elements = "<ip-restricted-include>10.0.0.5</ip-restricted-include>\n"
                   "<ip-binding-list>10.0.0.0/255.0.0.0</ip-binding-list>\n"
                   "<monitor-ip-changes>1</monitor-ip-changes>\n",
       .found = "w ip-restricted-include:2 *, but the restriction is off.\n"
                "w monitor-ip-changes:4 * refuses the address \"*\".\n"
                "w ip-binding-list:3 *, but ip-binding is not True.\n"},
      {.name = "bound to the loopback network, too",
       .elements = Bound("10.0.0.0/255.0.0.0;127.0.0.1/255.0.0.0"),
       .found = "n ip-binding The binding only chooses virtual hosts.\n"},
      {.name = "bound to nothing",
       .elements = Bound("10.1.2.0/24;10.1.0.0-10.2.0.0;11.0.0.0/255.0.0.0;10.1.2.3"),
       .found = R"(f ip-binding-list:3 The binding list selects no address.
w ip-binding-list:3 "10.1.2.0/24" has a prefix length *
w ip-binding-list:3 "10.1.0.0-10.2.0.0" is a range.
w ip-binding-list:3 "11.0.0.0/255.0.0.0" holds no address *
w ip-binding-list:3 "10.1.2.3" has no mask.
n ip-binding *
)"},
      {.name = "no network", .spoil = "echo >/tmp/output", .found = "f ../../../sbin/ip *\n"},
  };
  CheckRows(rows);
}

TEST(Check, Certificates) {
  const std::vector<PemPair>& kept = KeptPairs();
  const Row rows[] = {
      {.name = "none", .spoil = "rm ../tls/*", .found = "n ../tls/cert.pem There is no * yet.\n"},
      {.name = "key alone",
       .spoil = "rm ../tls/cert.pem",
       .found = "w ../tls/cert.pem The certificate is missing.\n"},
      {.name = "damaged key",
       .spoil = "echo garbage >../tls/file.pem",
       .found = "w ../tls/cert.pem The private key does not load*\n"},
      {.name = "for another host",
       .pair = Pairs().foreign,
       .found = "w ../tls/cert.pem * lack this host, " + PairHostName() + ".\n"},
      {.name = "too short for the server",
       .pair = kept[1],
       .found = "f ../tls/cert.pem The web server will refuse the pair: *\n"},
      {.name = "chain that is cut",
       .pair = kept[0],
       .found = "f ../tls/cert.pem The web server will refuse the pair: *\n"},
      {.name = "chain",
       .pair = {{Pairs().ours.certificate + Pairs().foreign.certificate, Pairs().ours.key}}},
      {.name = "a directory as the key",
       .spoil = "rm ../tls/file.pem; mkdir ../tls/file.pem",
       .found = "f ../tls/file.pem There is no usable *. A directory has its name.\n"},
      {.name = "not valid yet", .pair = kept[5], .found = "w ../tls/cert.pem * not valid yet.\n"},
      {.name = "ended", .pair = kept[4], .found = "w ../tls/cert.pem * has ended.\n"},
      {.name = "ends soon",
       .pair = MakePair(PairHostName(), std::time(nullptr) + 10 * kSecondsPerDay + 43200),
       .found = "w ../tls/cert.pem The certificate ends in 10 days.\n"},
  };
  CheckRows(rows);
}

TEST(Check, ProgramsAreJudgedAsByTheKernel) {
  const TempDirectory scratch;
  const std::string path = scratch.path() / "program";
  const std::string native = ProgramWith(0, "");
  const struct {
    const char* name;
    std::string text;
    bool is_program = false;
  } rows[] = {
      {.name = "script", .text = "#! /bin/sh -e\n", .is_program = true},
      {.name = "no interpreter", .text = "#!/none/sh\n"},
      {.name = "line of another system", .text = "#!/bin/sh\r\n"},
      {.name = "text", .text = "echo\n"},
      {.name = "native program", .text = native, .is_program = true},
      {.name = "another machine", .text = ProgramWith(18, std::string("\x02\x00", 2))},
      {.name = "an object file", .text = ProgramWith(16, std::string("\x01\x00", 2))},
      {.name = "no loader", .text = ProgramWith(native.find("/ld-"), "/no-")},
      {.name = "cut", .text = native.substr(0, 60)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    WriteText(path, row.text);
    fs::permissions(path, fs::perms(0755));
    EXPECT_EQ(companion::IsProgram(path), row.is_program);
    const auto execute = [&] { return execl(path.c_str(), "program", nullptr), 111; };
    EXPECT_EQ(RunIsolated(0, execute) != 111, row.is_program);
  }
}

TEST(Check, TakenPortIsNamedWithItsProgram) {
  OnFreshMachine([] {
    const PreparedInstallation site("");
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(2381);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "The port is taken by companion_tests.\n",
                        Found(companion::Foretell(), site.base()));
    close(listener);
  });
}

TEST(Check, Admission) {
  Pairs();
  const struct {
    std::string include, exclude = {};
    const char* from;
    std::string outcome;
  } rows[] = {
      {.include = "10.0.0.1-10.0.0.6", .from = "10.0.0.6", .outcome = "in: The include entry "},
      {.include = "10.0.0.1-10.0.0.6", .from = "10.0.0.7", .outcome = "out: No include entry "},
      {"10.0.0.1-10.0.0.6", "10.0.0.2;10.0.0.3", "10.0.0.3", "out: The exclude entry 10.0.0.3 "},
      {.include = "10.1", .from = "10.1.200.3", .outcome = "in: The include entry 10.1 holds it."},
      {.include = "10.0.0.1", .from = "127.0.0.1", .outcome = "in: 127.0.0.1 is always let in."},
      {"", "10.0.0.1", "10.0.0.2", "in: The empty include list lets everybody in."},
      {.include = "10.0.0.1", .from = "::ffff:10.0.0.1", .outcome = "in: The include entry 10.0"},
      {.include = "10.0.0.1", .from = "fe80::1", .outcome = "out: No include entry holds it."},
      {.include = "host1", .from = "10.0.0.1", .outcome = "out? No include entry holds it."},
      {.include = "env=!x", .from = "10.0.0.1", .outcome = "out? No include entry holds it."},
      {"10.0.0.1\\", "10.0.0.5", "10.0.0.5", "out? The exclude entry 10.0.0.5 holds it."},
      {.include = "10.0.0.1\nallow from all", .from = "10.0.0.7", .outcome = "out? No include "},
      {.include = "10.0.0.1", .from = "10.0.0", .outcome = "none: It is not an address."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.include + " " + row.from);
    OnFreshMachine([&row] {
      const PreparedInstallation site(Restricted(row.include, row.exclude));
      const auto admission = Admit(companion::Foretell(), row.from);
      const std::string verdict = !admission.is_address   ? "none"
                                  : admission.is_admitted ? "in"
                                                          : "out";
      EXPECT_PRED_FORMAT2(testing::IsSubstring, row.outcome,
                          verdict + (admission.is_certain ? ": " : "? ") + admission.reason);
    });
  }
}

/// The entries alone give the same lines as the lists as a whole.
TEST(Check, EntriesMakeUpTheRules) {
  OnFreshMachine([] {
    const PreparedInstallation site(
        Restricted(";10.0.0.1-10.0.0.6;;10.0.0.9-10.0.0.1;255.255.255.100-255.255.255.1000",
                   "1.2.3.4-;255.255.255.100-255.255.255.1000;a-b"));
    const Forecast forecast = companion::Foretell();
    std::string lines;
    for (const companion::AccessEntry& entry : AccessEntries(forecast)) {
      lines += entry.directive;
    }
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "#\norder allow,deny\n" + lines + "</Directory>",
                        forecast.server_conf.text);
  });
}

}  // namespace
}  // namespace qvx::test
