#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <functional>

#include "companion/admission.h"
#include "companion/daemon_test.h"
#include "companion/findings.h"
#include "companion/installation.h"
#include "companion/programs.h"
#include "companion/settings_view.h"
#include "settings/document.h"
#include "tests/companion/prepared_installation.h"
#include "tls/pair_check.h"

namespace qvx::test {
namespace {

namespace fs = std::filesystem;
using companion::Finding;
using companion::Forecast;
using companion::Severity;

constexpr char kKept[] = "/tmp/kept";

/// Returns each finding on a line: severity, place, and the beginning of what it is.
std::string Found(const Forecast& forecast, const fs::path& base) {
  std::string text;
  for (const Finding& finding : CheckAll(forecast, kKept)) {
    const std::string name = fs::path(finding.file).lexically_relative(base);
    text.append(1, "nwf"[static_cast<size_t>(finding.severity)]).append(" ");
    text.append(finding.element.empty() ? name : finding.element);
    text.append(finding.line > 0 ? ":" + std::to_string(finding.line) : "");
    text.append(finding.column > 0 ? ":" + std::to_string(finding.column) : "");
    text.append(" ").append(finding.what).append("\n");
  }
  return text;
}

struct Row {
  const char* name;
  std::string elements;
  std::string found;
  std::function<void(const PreparedInstallation&)> spoil = [](const PreparedInstallation&) {};
};

void CheckRow(const Row& row) {
  SCOPED_TRACE(row.name);
  Pairs();
  OnFreshMachine([&row] {
    const PreparedInstallation site(row.elements);
    row.spoil(site);
    EXPECT_EQ(Found(companion::Foretell(), site.base()), row.found);
  });
}

std::string Restricted(const std::string& include, const std::string& exclude = "") {
  return "<ip-restricted-logins>True</ip-restricted-logins>\n<ip-restricted-include>" + include +
         "</ip-restricted-include>\n<ip-restricted-exclude>" + exclude +
         "</ip-restricted-exclude>\n";
}

std::string Bound(const std::string& list) {
  return "<ip-binding>True</ip-binding>\n<ip-binding-list>" + list + "</ip-binding-list>\n";
}

constexpr char kBindingNote[] = "n ip-binding The binding only chooses virtual hosts.\n";

TEST(Check, Settings) {
  const Row rows[] = {
      {"healthy", "<max-threads>30</max-threads>\n", ""},
      {"truth values",
       "<ip-restricted-logins>yes</ip-restricted-logins>\n<ip-binding>\nTrue</ip-binding>\n"
       "<disable-sslv2>no</disable-sslv2>\n",
       "f ip-restricted-logins:2 The value \"yes\" is not an accepted one.\n"
       "f ip-binding:3 The value \"\nTrue\" has blanks or line breaks around it.\n"
       "w disable-sslv2:5 The value \"no\" is not an accepted one.\n"},
      {"numbers and words",
       "<max-threads>65</max-threads><rotate-logs-size>100</rotate-logs-size>"
       "<rotate-logs>02</rotate-logs><log-level>loud</log-level><monitor-ip-changes/>",
       "w rotate-logs:2 The value \"02\" is not an accepted one.\n"
       "w rotate-logs-size:2 The value \"100\" is not an accepted one.\n"
       "w max-threads:2 The value \"65\" is not an accepted one.\n"
       "w log-level:2 The value \"loud\" is not an accepted one.\n"
       "n monitor-ip-changes:2 The element is empty.\n"},
      {"elements",
       "<!-- <a> --><ip-bindings>x</ip-bindings>\n<zzz/><log-level>warn</log-level>\n"
       "<log-level>info</log-level>\n<trustmode><rotate-logs>1</rotate-logs></trustmode>\n",
       "w ip-bindings:2 The launcher does not know this element.\n"
       "w zzz:3 The launcher does not know this element.\n"
       "w log-level:4 The element is given more than once.\n"
       "w rotate-logs:5 The setting is nested inside another element.\n"},
      {"shapes", "<log-level><!-- c -->warn</log-level>\n<rotate-logs><b/>1</rotate-logs>\n",
       "f log-level:2 A comment or instruction stands in front of the value.\n"
       "f rotate-logs:3 The element holds another element in front of a value.\n"
       "w log-level:2 The value is in several pieces.\n"
       "w rotate-logs:3 The value is in several pieces.\n"
       "w b:3 The launcher does not know this element.\n"
       "w log-level:2 The value \" c \" has blanks or line breaks around it.\n"},
      {"multihomed list", "<multihomed>a;b c</multihomed>\n",
       "w multihomed:2 The character \" \" is not allowed in the list.\n"},
      {"multihomed entries", "<multihomed>host1;10.0.0.999</multihomed>\n",
       "w multihomed:2 The TLS library refuses \"10.0.0.999\".\n"},
      {"names of the certificate", "<multihomed>host1;10.0.0.9</multihomed>\n",
       "w multihomed The certificate lacks names of the multihomed list: 10.0.0.9.\n"},
      {"log directory", "<log-base-dir>/tmp/none</log-base-dir>\n",
       "w log-base-dir:2 There is no directory /tmp/none/logs.\n"},
      {"log directory of a variable", "<log-base-dir>${HOME}</log-base-dir>\n",
       "f log-base-dir:2 The path names a variable.\n"},
      {"SSLv2", "<disable-sslv2>False</disable-sslv2>\n",
       "f disable-sslv2:2 SSLv2 is wanted, which today's web servers do not have.\n"},
  };
  for (const Row& row : rows) {
    CheckRow(row);
  }
}

TEST(Check, AccessAndAddresses) {
  const Row rows[] = {
      {"healthy", Restricted("10.0.0.1-10.0.0.9;10.0.0.0/29", "10.0.0.3"),
       "n ip-restricted-include:3 \"10.0.0.1-10.0.0.9\" overlaps with \"10.0.0.0/29\".\n"},
      {"covered entries", Restricted("10.0.0.1;10.0.0.0/24;10.0.0.1;10.0.1.0/24", "10.0.0.1"),
       "w ip-restricted-include:3 \"10.0.0.1\" is refused by the exclude entry \"10.0.0.1\".\n"
       "w ip-restricted-include:3 \"10.0.0.1\" is refused by the exclude entry \"10.0.0.1\".\n"
       "n ip-restricted-include:3 \"10.0.0.1\" is covered by \"10.0.0.0/24\".\n"
       "n ip-restricted-include:3 \"10.0.0.1\" is covered by \"10.0.0.0/24\".\n"},
      {"what the daemon refuses", Restricted("10.0.0.9-10.0.0.1;300.1.1.1", "x-10.0.0.1"),
       "f ip-restricted-include:3 \"10.0.0.9-10.0.0.1\" is a reversed range, or its start is not "
       "an "
       "address.\n"
       "f ip-restricted-include:3 \"300.1.1.1\" is not an address.\n"
       "f ip-restricted-exclude:4 \"x-10.0.0.1\" is a reversed range, or its start is not an "
       "address.\n"},
      {"what lets in others", Restricted("10.0.0.1 - 10.0.0.6;1.1.1.1,2.2.2.2"),
       "f ip-restricted-include:3 \"10.0.0.1 - 10.0.0.6\" has an end that is not an address, "
       "perhaps because of a blank.\n"
       "f ip-restricted-include:3 \"1.1.1.1,2.2.2.2\" holds a comma in the place of a "
       "semicolon.\n"},
      {"what is lost",
       Restricted("255.255.255.100-255.255.255.1000",
                  "10.0.0.1\n;host1;192.168.100.100 - 192.168.100.200"),
       "f ip-restricted-include:3 \"255.255.255.100-255.255.255.1000\" has more than 31 "
       "characters.\n"
       "f ip-restricted-exclude:4 \"10.0.0.1\n\" holds a line break.\n"
       "f ip-restricted-exclude:4 \"192.168.100.100 - 192.168.100.200\" has more than 31 "
       "characters.\n"
       "w ip-restricted-exclude:4 The lists let in nobody but, perhaps, this machine.\n"
       "w ip-restricted-exclude:4 \"host1\" is not an address, but a name to the daemon.\n"
       "n ip-restricted-exclude:4 \"10.0.0.1\n\" is covered by \"192.168.100.100 - "
       "192.168.100.200\".\n"},
      {"what the daemon reads in another way",
       Restricted("10.0.0.1\\;10.0.0.2#x;${HOME};env=!x;\"10.0.0.3\""),
       "f ip-restricted-include:3 \"10.0.0.1\\\" ends in a backslash.\n"
       "f ip-restricted-include:3 \"10.0.0.2#x\" is not an address.\n"
       "f ip-restricted-include:3 \"${HOME}\" is in quotes, or names a variable.\n"
       "f ip-restricted-include:3 \"env=!x\" is in quotes, or names a variable.\n"
       "f ip-restricted-include:3 \"\"10.0.0.3\"\" is in quotes, or names a variable.\n"},
      {"the highest address", Restricted(";255.255.255.255-", "1.0.0.0"), ""},
      {"up to the highest address", Restricted("250.0.0.0-255.255.255.255"), ""},
      {"everybody", Restricted("all"), ""},
      {"masks", Restricted("10.0.0.0;10.0.0.5/255.255.255.0;10.0.1.1/32;10.0.1.1"),
       "n ip-restricted-include:3 \"10.0.0.0\" is covered by \"10.0.0.5/255.255.255.0\".\n"
       "n ip-restricted-include:3 \"10.0.1.1\" is covered by \"10.0.1.1/32\".\n"},
      {"empty lists", Restricted(""),
       "w ip-restricted-include:3 The include list is empty, and the restriction is on.\n"},
      {"exclude list alone", Restricted("", "10.0.0.1"),
       "n ip-restricted-include:3 The include list is empty, and the restriction is on.\n"},
      {"every address", "<monitor-ip-changes>1</monitor-ip-changes>\n",
       "w monitor-ip-changes:2 Debian's web server refuses the address \"*\".\n"},
      {"separators alone", Restricted(";;"),
       "w ip-restricted-include:3 The include list has no entry.\n"},
      {"never let in", Restricted("10.0.0.5", "10.0.0.0-10.0.0.255"),
       "w ip-restricted-exclude:4 The lists let in nobody but, perhaps, this machine.\n"
       "w ip-restricted-include:3 \"10.0.0.5\" is refused by the exclude entry "
       "\"10.0.0.0-10.0.0.255\".\n"},
      {"everybody excluded", Restricted("", "0.0.0.0-255.255.255.255"),
       "w ip-restricted-exclude:4 The lists let in nobody but, perhaps, this machine.\n"},
      {"lists without their switches",
       "<ip-restricted-include>10.0.0.5</ip-restricted-include>\n"
       "<ip-binding-list>10.0.0.0/255.0.0.0</ip-binding-list>\n",
       "w ip-restricted-include:2 The list is given, but the restriction is off.\n"
       "w ip-binding-list:3 The list is given, but ip-binding is not True.\n"},
      {"bound", Bound("10.0.0.0/255.0.0.0"), kBindingNote},
      {"bound to the loopback network, too", Bound("10.0.0.0/255.0.0.0;127.0.0.1/255.0.0.0"),
       kBindingNote},
      {"bound to nothing", Bound("10.1.2.0/24;10.1.0.0-10.2.0.0;11.0.0.0/255.0.0.0;10.1.2.3"),
       std::string(
           "f ip-binding-list:3 The binding list selects no address.\n"
           "w ip-binding-list:3 \"10.1.2.0/24\" has a prefix length in the place of a dotted "
           "mask.\n"
           "w ip-binding-list:3 \"10.1.0.0-10.2.0.0\" is a range.\n"
           "w ip-binding-list:3 \"11.0.0.0/255.0.0.0\" holds no address of this machine "
           "besides 127.0.0.1.\n"
           "w ip-binding-list:3 \"10.1.2.3\" has no mask.\n") +
           kBindingNote},
      {"no network", "", "f ../../../sbin/ip \"/sbin/ip addr\" shows no IPv4 address.\n",
       [](const PreparedInstallation&) { WriteText("/tmp/output", "\n"); }},
  };
  for (const Row& row : rows) {
    CheckRow(row);
  }
}

TEST(Check, Certificates) {
  const auto put = [](const PreparedInstallation& site, const PemPair& pair) {
    PutServiceFile(site.tls() / "cert.pem", pair.certificate);
    PutServiceFile(site.tls() / "file.pem", pair.key);
  };
  const auto end_in = [&put](const PreparedInstallation& site, time_t seconds) {
    put(site, MakePair(PairHostName(), std::time(nullptr) + seconds));
  };
  const Row rows[] = {
      {"none", "", "n ../tls/cert.pem There is no certificate and key yet.\n",
       [](const PreparedInstallation& site) {
         fs::remove(site.tls() / "cert.pem");
         fs::remove(site.tls() / "file.pem");
       }},
      {"key alone", "", "w ../tls/cert.pem The certificate is missing.\n",
       [](const PreparedInstallation& site) { fs::remove(site.tls() / "cert.pem"); }},
      {"for another host", "",
       "w ../tls/cert.pem The names of the certificate lack this host, " + PairHostName() + ".\n",
       [&put](const PreparedInstallation& site) { put(site, Pairs().foreign); }},
      {"too short for the server", "",
       "f ../tls/cert.pem The web server will refuse the pair: ee key too small.\n",
       [&put](const PreparedInstallation& site) {
         put(site, MakePair(PairHostName(), 2144468992, 512));
       }},
      {"chain that is cut", "",
       "f ../tls/cert.pem The web server will refuse the pair: bad end line.\n",
       [&put](const PreparedInstallation& site) {
         const PemPair& pair = Pairs().ours;
         put(site, {pair.certificate + pair.certificate.substr(0, 400), pair.key});
       }},
      {"a directory as the key", "",
       "f ../tls/file.pem There is no usable certificate and key, and none can be made. A "
       "directory has its name.\n",
       [](const PreparedInstallation& site) {
         fs::remove(site.tls() / "file.pem");
         fs::create_directories(site.tls() / "file.pem");
       }},
      {"not valid yet", "", "w ../tls/cert.pem The certificate is not valid yet.\n",
       [&end_in](const PreparedInstallation& site) { end_in(site, 9001 * 86400); }},
      {"ended", "", "w ../tls/cert.pem The certificate has ended.\n",
       [&end_in](const PreparedInstallation& site) { end_in(site, -10); }},
      {"ends soon", "", "w ../tls/cert.pem The certificate ends in 10 days.\n",
       [&end_in](const PreparedInstallation& site) { end_in(site, 10 * 86400 + 43200); }},
  };
  for (const Row& row : rows) {
    CheckRow(row);
  }
}

TEST(Check, Files) {
  const Row rows[] = {
      {"damaged", "<log-level>\n",
       "f conf/qvxpd.xml:3:3 The settings document does not load: mismatched tag.\n"},
      {"beyond ASCII", "<!-- \xc3\xa4 -->\n",
       "f conf/qvxpd.xml:2:6 The settings document does not load: a character outside ASCII.\n"},
      {"beyond ASCII by reference", "\n\n<trustmode>&#228;</trustmode>\n",
       "f conf/qvxpd.xml:4:30 The settings document does not load: more levels, entities or "
       "declared attributes than are accepted, or a reference to a character outside ASCII.\n"},
      {"missing", "", "w conf/qvxpd.xml There is no settings document that can be opened.\n",
       [](const PreparedInstallation& site) { fs::remove(site.settings()); }},
      {"in the way", "",
       "f conf/qvxpd.xml The settings document does not load: it is not a regular file, or not one "
       "that is followed. The default cannot be written in its place.\n",
       [](const PreparedInstallation& site) {
         fs::remove(site.settings());
         fs::create_directories(site.settings());
       }},
      {"certificates", "",
       "w ../tls/cert.pem The private key does not load, or has a pass phrase.\n",
       [](const PreparedInstallation& site) {
         PutServiceFile(site.tls() / "file.pem", "garbage");
       }},
      {"rights", "",
       "w ../tls/file.pem zxqvx cannot read the file.\n"
       "w ../tls/file.pem Others than zxqvx can use the private key.\n"
       "w conf The service account can write into the directory.\n"
       "w conf/qvxpd.xml Everybody on the machine can change the file.\n"
       "w sbin/zxqvxd Others than root can change the daemon: it may be a wrong one.\n",
       [](const PreparedInstallation& site) {
         fs::permissions(site.tls() / "file.pem", fs::perms(0602));
         EXPECT_EQ(chown((site.tls() / "file.pem").c_str(), 0, 0), 0);
         fs::permissions(site.base() / "conf", fs::perms(0777));
         fs::permissions(site.settings(), fs::perms(0662));
         fs::permissions(site.base() / "sbin/zxqvxd", fs::perms(0775));
       }},
      {"default directory of the logs", "<rotate-logs>2</rotate-logs>",
       "f ../log/logs The directory is missing.\n",
       [](const PreparedInstallation& site) { fs::remove(site.log() / "logs"); }},
      {"process ID", "",
       "f logs/httpd.pid The file names another process than the daemon: companion_tests.\n",
       [](const PreparedInstallation& site) {
         WriteText(site.base() / "logs/httpd.pid", std::to_string(getpid()) + "\n");
       }},
      {"log directory", "", "f logs The directory is missing.\n",
       [](const PreparedInstallation& site) { fs::remove(site.base() / "logs"); }},
      {"capability", "", "w sbin/qvxlauncher The launcher lacks its capability for signals.\n",
       [](const PreparedInstallation& site) { PutProgram(site.base() / "sbin/qvxlauncher"); }},
      {"lost to the default", "",
       "f conf/qvxpd.xml The default has taken the place of a document that did not load: "
       "/tmp/kept/20260102T000000.xml\n",
       [](const PreparedInstallation& site) {
         WriteText(site.settings(), QVX_XML_DEFAULT);
         WriteText("/tmp/kept/20260102T000000.xml", "<");
         WriteText("/tmp/kept/20260103T000000.xml", QVX_XML_DEFAULT);
       }},
      {"default that was not started with", "",
       "w conf/qvxpd.xml This is the default document, but other settings were in use before.\n",
       [](const PreparedInstallation& site) {
         WriteText(site.settings(), QVX_XML_DEFAULT);
         WriteText("/tmp/kept/20260101T000000.xml", "<velquarn/>");
       }},
      {"missing, but not always", "",
       "f conf/qvxpd.xml There is no settings document that can be opened.\n",
       [](const PreparedInstallation& site) {
         fs::remove(site.settings());
         WriteText("/tmp/kept/20260101T000000.xml", "<velquarn/>");
       }},
      {"back to the default", "", "",
       [](const PreparedInstallation& site) {
         WriteText(site.settings(), QVX_XML_DEFAULT);
         WriteText("/tmp/kept/20260101T000000.xml", "<velquarn/>");
         WriteText("/tmp/kept/20260102T000000.xml", QVX_XML_DEFAULT);
       }},
      {"programs", "",
       "f sbin/zxqvxd The daemon is missing, or is not a program that can be executed.\n"
       "f bin/rotatelogs The program that rotates the logs is missing.\n"
       "w webapp/a.xml The web application's descriptor does not load.\n",
       [](const PreparedInstallation& site) {
         WriteText(site.base() / "sbin/zxqvxd", "nothing");
         fs::remove(site.base() / "bin/rotatelogs");
         WriteText(site.base() / "webapp/a.xml", "<a>");
       }},
      {"proxy block", "",
       "w conf/qvxpd.conf There are forwarding rules for the servlet container, but no proxy "
       "block: a reconfigure run has taken it away.\n",
       [](const PreparedInstallation& site) {
         WriteText(site.base() / "conf/mod_proxy.conf", "rules");
         WriteText(site.base() / "conf/qvxpd.conf", "Listen 2301\n");
       }},
  };
  for (const Row& row : rows) {
    CheckRow(row);
  }
}

TEST(Check, ProgramsAreJudgedAsByTheKernel) {
  const TempDirectory scratch;
  const std::string path = scratch.path() / "program";
  const std::string native = Contents("/bin/true").value_or("");
  const auto with = [&native](size_t offset, const std::string& bytes) {
    return std::string(native).replace(offset, bytes.size(), bytes);
  };
  const struct {
    const char* name;
    std::string text;
    bool is_program;
  } rows[] = {
      {"script", "#! /bin/sh -e\n", true},
      {"no interpreter", "#!/none/sh\n", false},
      {"line of another system", "#!/bin/sh\r\n", false},
      {"text", "echo\n", false},
      {"native program", native, true},
      {"another machine", with(18, std::string("\x02\x00", 2)), false},
      {"an object file", with(16, std::string("\x01\x00", 2)), false},
      {"no loader", with(native.find("/ld-"), "/no-"), false},
      {"cut", native.substr(0, 60), false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    WriteText(path, row.text);
    fs::permissions(path, fs::perms(0755));
    EXPECT_EQ(companion::IsProgram(path), row.is_program);
    const pid_t child = fork();
    if (child == 0) {
      execl(path.c_str(), "program", nullptr);
      _exit(111);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WIFEXITED(status) && WEXITSTATUS(status) != 111, row.is_program);
  }
}

TEST(Check, HundredOfAKindAreEnough) {
  OnFreshMachine([] {
    std::string elements;
    for (int i = 0; i < 250; ++i) {
      elements += "<unknown/>";
    }
    const PreparedInstallation site(elements);
    const companion::Findings findings = CheckAll(companion::Foretell(), kKept);
    ASSERT_EQ(findings.size(), 101U);
    EXPECT_EQ(findings.back().what,
              "150 further findings of the kind \"element-unknown\" are left out.");
  });
}

TEST(Check, CandidateIsJudgedInThePlaceOfTheDocument) {
  OnFreshMachine([] {
    const PreparedInstallation site("");
    WriteText("/tmp/next.xml", "<velquarn>\n" + Restricted("10.0.0.9-10.0.0.1") + "</velquarn>");
    const Forecast forecast = companion::ForetellWith("/tmp/next.xml");
    EXPECT_EQ(
        Found(forecast, "/tmp"),
        "f ip-restricted-include:3 \"10.0.0.9-10.0.0.1\" is a reversed range, or its start is "
        "not an address.\n");
    EXPECT_NE(forecast.server_conf.text.find("allow from\n"), std::string::npos);
    WriteText("/tmp/next.xml", "<velquarn>");
    EXPECT_EQ(Found(companion::ForetellWith("/tmp/next.xml"), "/tmp"),
              "f next.xml:1:11 The document does not load: no element found.\n");
  });
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
    EXPECT_NE(
        Found(companion::Foretell(), site.base()).find("The port is taken by companion_tests.\n"),
        std::string::npos);
    close(listener);
  });
}

/// The stand-ins refuse what the daemon refuses, and say what they have.
TEST(Check, DaemonTestsTheNextConfiguration) {
  const struct {
    const char* name;
    const char* daemon;
    std::string said;
    std::function<void(const PreparedInstallation&)> spoil = [](const PreparedInstallation&) {};
  } rows[] = {
      {.name = "accepted", .daemon = "grep -q '^allow from 10.0.0.1' \"$4\"", .said = ""},
      {.name = "refused",
       .daemon = "echo \"$1 $2 $3 $5\"; echo on line 2 of $4:; exit 1",
       .said = "The daemon refuses the configuration: -DSSL -t -f ; on line 2 of CONF: The line "
               "is: Listen 2301"},
      {.name = "rights of the account",
       .daemon = "id -un; id -Gn; umask; exit 1",
       .said = "The daemon refuses the configuration: zxqvx; zxqvx; 0022"},
      {.name = "nothing of the caller's",
       .daemon = "unset PWD; env | sed 's/=.*//'; pwd; echo $(ls /proc/self/fd); "
                 "[ $(ps -o sid= $$) = $$ ] && echo alone; exit 1",
       .said = "The daemon refuses the configuration: PATH; /; 0 1 2 3; alone"},
      {.name = "without a pair and a map",
       .daemon = "sed -n 's/^SSLCertificate[KF][a-zA-Z]* //p; s/^RewriteMap map1 txt://p' \"$4\" | "
                 "sort | uniq -c; exit 1",
       .said = "The daemon refuses the configuration:       8 CONF",
       .spoil =
           [](const PreparedInstallation& site) {
             fs::remove(site.tls() / "cert.pem");
             fs::remove(site.tls() / "file.pem");
           }},
      {.name = "a process stays behind", .daemon = "sleep 30 & exit 0", .said = ""},
      {.name = "no end",
       .daemon = "exec sleep 1000",
       .said = "The daemon could not be asked with the rights of the account zxqvx, or did not "
               "answer within ten seconds."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    OnFreshMachine([&row] {
      const PreparedInstallation site(Restricted("10.0.0.1"));
      const Variable secret("QVX_SECRET", "1");
      row.spoil(site);
      WriteText(site.base() / "sbin/zxqvxd", std::string("#!/bin/sh\n") + row.daemon + "\n");
      companion::Findings findings;
      CheckWithDaemon(companion::Foretell(), findings);
      std::string said = findings.empty() ? "" : findings[0].what;
      const std::string conf = site.base() / "conf/qvxpd.conf";
      const size_t place = said.find(conf);
      EXPECT_EQ(place == std::string::npos ? said : said.replace(place, conf.size(), "CONF"),
                row.said);
    });
  }
}

TEST(Check, NewestGoodDocumentIsPutBack) {
  OnFreshMachine([] {
    const PreparedInstallation site("<");
    WriteText("/tmp/kept/20260101T000000.xml", "<velquarn/>");
    WriteText("/tmp/kept/20260102T000000.xml", "<velquarn></velquarn>");
    WriteText("/tmp/kept/20260103T000000.xml", "damaged");
    WriteText("/tmp/kept/20260104T000000.xml", "<velquarn>" + Restricted("a-b") + "</velquarn>");
    const auto findings = CheckAll(companion::Foretell(), kKept);
    ASSERT_FALSE(findings.empty());
    EXPECT_EQ(findings[0].cure.find("Correct the file; or put back"), 0U);
    EXPECT_NE(findings[0].cure.find("install -o zxqvx -g zxqvx -m 660 "
                                    "/tmp/kept/20260102T000000.xml " +
                                    site.settings().string()),
              std::string::npos);
    fs::remove(site.settings());
    fs::create_directories(site.settings());  // an installation would go into it
    EXPECT_EQ(CheckAll(companion::Foretell(), kKept)[0].cure.find("Move away what stands"), 0U);
    fs::remove_all("/tmp/kept");
    WriteText("/tmp/kept/20260101T000000.xml", QVX_XML_DEFAULT);
    EXPECT_EQ(CheckAll(companion::Foretell(), kKept)[0].cure,
              "Move away what stands there before the next start. No good document but the default "
              "is kept in /tmp/kept.");
  });
}

TEST(Check, Admission) {
  const struct {
    const char* name;
    std::string elements;
    const char* address;
    const char* outcome;
  } rows[] = {
      {"nobody restricted", "", "8.8.8.8",
       "in: Nobody is restricted: ip-restricted-logins is not True."},
      {"in a range", Restricted("10.0.0.1-10.0.0.6"), "10.0.0.6",
       "in: The include entry 10.0.0.1-10.0.0.6 holds it."},
      {"behind a range", Restricted("10.0.0.1-10.0.0.6"), "10.0.0.7",
       "out: No include entry holds it."},
      {"in both", Restricted("10.0.0.1-10.0.0.6", "10.0.0.2;10.0.0.3"), "10.0.0.3",
       "out: The exclude entry 10.0.0.3 holds it."},
      {"network", Restricted("10.1"), "10.1.200.3", "in: The include entry 10.1 holds it."},
      {"loopback", Restricted("10.0.0.1"), "127.0.0.1", "in: 127.0.0.1 is always let in."},
      {"empty list", Restricted("", "10.0.0.1"), "10.0.0.2",
       "in: The empty include list lets everybody in."},
      {"mapped", Restricted("10.0.0.1"), "::ffff:10.0.0.1",
       "in: The include entry 10.0.0.1 holds it."},
      {"IPv6", Restricted("10.0.0.1"), "fe80::1", "out: No include entry holds it."},
      {"host name", Restricted("host1"), "10.0.0.1", "out? No include entry holds it."},
      {"expanded", Restricted("env=!x"), "10.0.0.1", "out? No include entry holds it."},
      {"joined lines", Restricted("10.0.0.1\\", "10.0.0.5"), "10.0.0.5",
       "out? The exclude entry 10.0.0.5 holds it."},
      {"no address", Restricted("10.0.0.1"), "10.0.0", "none: It is not an address."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    OnFreshMachine([&row] {
      const PreparedInstallation site(row.elements);
      const companion::Admission admission = Admit(companion::Foretell(), row.address);
      const std::string verdict = !admission.is_address   ? "none"
                                  : admission.is_admitted ? "in"
                                                          : "out";
      EXPECT_EQ(verdict + (admission.is_certain ? ": " : "? ") + admission.reason, row.outcome);
    });
  }
}

/// The configuration on disk is that of an earlier document.
TEST(Check, AdmissionNowIsThatOfTheConfigurationOnDisk) {
  OnFreshMachine([] {
    const PreparedInstallation site(Restricted("10.0.0.1", "10.0.0.5"));
    EXPECT_FALSE(AdmitNow(companion::Foretell(), "10.0.0.1"));
    WriteText(site.base() / "conf/qvxpd.conf", companion::Foretell().server_conf.text);
    PutServiceFile(site.settings(), "<velquarn>" + Restricted("10.0.0.2") + "</velquarn>");
    const Forecast forecast = companion::Foretell();
    EXPECT_EQ(AdmitNow(forecast, "10.0.0.1")->reason, "The include entry 10.0.0.1 holds it.");
    EXPECT_EQ(AdmitNow(forecast, "10.0.0.5")->reason, "The exclude entry 10.0.0.5 holds it.");
    EXPECT_FALSE(AdmitNow(forecast, "10.0.0.2")->is_admitted);
    EXPECT_TRUE(Admit(forecast, "10.0.0.2").is_admitted);
  });
}

TEST(Show, AddressesHaveTheEntryThatDecides) {
  OnFreshMachine([] {
    const PreparedInstallation site(
        Bound("11.0.0.0/255.0.0.0;10.1.0.0/255.255.0.0;10.0.0.0/255.0.0.0"));
    std::string found;
    for (const companion::BoundAddress& bound : BoundAddresses(companion::Foretell())) {
      found += bound.address + " by " + bound.entry + "\n";
    }
    EXPECT_EQ(found,
              "127.0.0.1 by the rule that it is always bound\n10.1.2.3 by 10.1.0.0/255.255.0.0\n");
  });
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
    EXPECT_NE(forecast.server_conf.text.find("#\norder allow,deny\n" + lines + "</Directory>"),
              std::string::npos);
  });
}

}  // namespace
}  // namespace qvx::test
