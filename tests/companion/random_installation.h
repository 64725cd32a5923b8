// Installations as they are found in the field: healthy, odd and broken, chosen by a number.
#ifndef QVX_TESTS_COMPANION_RANDOM_INSTALLATION_H
#define QVX_TESTS_COMPANION_RANDOM_INSTALLATION_H

#include <sys/stat.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "settings/document.h"
#include "settings/reader.h"
#include "tests/companion/prepared_installation.h"
#include "tests/companion/web_server.h"
#include "webconf/php_ini.h"

namespace qvx::test {

/// Lays out one installation. `output` is the file that "/sbin/ip" prints. With a `server`, that is
/// the daemon, and fewer things are at fault before it comes to its turn.
class RandomInstallation {
 public:
  RandomInstallation(uint32_t number, const std::string& output, const WebServer* server)
      : server_(server), random_(number + 1) {
    random_.discard(10);  // neighbouring seeds begin alike
    regenerates_ = OneIn(15);
    WriteText(output, Addresses());
    LayOutSettings();
    LayOutFiles();
    LayOutPrograms();
    LayOutPair();
    LayOutDescriptors();
    LayOutLogs();
  }
  ~RandomInstallation() {
    for (const Path& path : immutable_) {
      Run("chattr -i", path);
    }
    for (const Path& path : mounted_) {
      umount2(path.c_str(), MNT_DETACH);
    }
  }
  RandomInstallation(const RandomInstallation&) = delete;
  RandomInstallation& operator=(const RandomInstallation&) = delete;
  RandomInstallation(RandomInstallation&&) = delete;
  RandomInstallation& operator=(RandomInstallation&&) = delete;

  std::filesystem::path base() const { return installation_.base(); }
  std::filesystem::path tls() const { return installation_.tls(); }
  std::filesystem::path log() const { return installation_.log(); }
  bool regenerates() const { return regenerates_; }

 private:
  using Path = std::filesystem::path;

  bool OneIn(uint32_t count) { return random_() % count == 0; }

  std::string Any(std::initializer_list<const char*> texts) {
    return *(texts.begin() + random_() % texts.size());
  }

  static bool Run(const std::string& command, const Path& path) {
    return std::system((command + " " + path.string() + " 2>/dev/null").c_str()) == 0;
  }

  void DoOne(std::initializer_list<std::function<void()>> acts) {
    (acts.begin() + random_() % acts.size())->operator()();
  }

  std::string Addresses() {
    std::string text;
    for (auto count = random_() % 6; count > 0; --count) {
      text += "1: if0: <UP>\n    inet ";
      text += Any({"127.0.0.1/8", "10.1.2.3/8", "10.1.9.9/24 brd 1.2.3.4", "192.168.1.5/24",
                   "0.0.0.0/0", "255.255.255.255/32", "10.1.2.3/8", "172.16.0.9/16"});
      text += " scope\n    inet6 ::1/128\n";
    }
    return text;
  }

  /// Most are entries that the web server takes.
  std::string Entry() {
    if (server_ != nullptr && OneIn(5)) {  // which it takes, but reads in its own way
      return Any({"10.0.0.5\\", "\"10.0.0.3\"", "10.0.0.1\nallow from all", "one,two",
                  "10.0.0.1\norder deny,allow"});
    }
    return OneIn(8) ? Any({"10.0.0.9-10.0.0.1", "10.0.0.1 - 10.0.0.6", "one,two", "\n10.0.0.5\n",
                           "255.255.255.255-255.255.255.255", "192.168.100.100-192.168.100.200.1",
                           "10.0.0.5\\", "10.0.0.5#x", "10.0.0.1 # x", "${HOME}", "\"10.0.0.3\"",
                           "'10.0.0.3", "10.0.0.1\nallow from all", "10.0.0.1\norder deny,allow"})
                    : Any({"", "10.0.0.5", "10.0.0.1-10.0.0.6", "192.168.1.0-192.168.1.255", "10.2",
                           "10.1-10.2", "10.0.0.4-10.255.255.255", "127.0.0.1/255.0.0.0", "all",
                           "10.0.0.0/29", "0.0.0.0-255.255.255.255", "192.168.1.9", "127.0.0.1"});
  }

  std::string List() {
    std::string list;
    for (auto count = random_() % 4; count > 0; --count) {
      list += Entry() + (OneIn(9) ? "" : ";");
    }
    return list;
  }

  std::string Value(const std::string& element) {
    if (element.ends_with("clude")) {
      return List();
    }
    if (element == "ip-binding-list") {
      return Any({"10.0.0.0/255.0.0.0", "192.168.1.0/255.255.255.0;10.1.0.0/255.255.0.0",
                  "10.1.2.0/24", "127.0.0.0/255.0.0.0;", "0.0.0.0/0.0.0.0", "10.1.2.3",
                  " 10.1.9.9/255.255.255.255"});
    }
    if (element == "multihomed") {
      return Any({"", "host1;10.0.0.5", "host1, host2", "10.0.0.999", "a;;b.example.net"});
    }
    if (element.starts_with("log-")) {
      return OneIn(4) ? log().string()
                      : Any({"", "/var/log/console", "C:\\logs", "NOTICE", "warn", "loud",
                             "QVXLogLevel", "${HOME}"});
    }
    return Any({"True", "true", "False", "False", "yes", " True", "1", "0", "2", "5", "25", "64",
                "65", "30 or so", "100", "", "<!-- c -->True", "<b>1</b>", "99999999999"});
  }

  std::string Document() {
    std::vector<std::string> elements = {"multihomed", "Ip-binding", "trustmode"};
    for (const Setting& row : kSettingRows) {
      elements.emplace_back(row.element);
    }
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<velquarn>\n";
    const auto add = [&document](const std::string& element, const std::string& value) {
      document.append("<").append(element).append(">").append(value);
      document.append("</").append(element).append(">\n");
    };
    if (server_ != nullptr && OneIn(4)) {  // what only a server minds
      add("rotate-logs", "2");
      add("log-base-dir", Any({"/none", "${HOME}", log().c_str()}));
    }
    if (server_ != nullptr && !OneIn(5)) {
      add("ip-restricted-logins", "True");
      add("ip-restricted-include", List());
      add("ip-restricted-exclude", List());
    }
    for (auto count = random_() % (server_ == nullptr ? 12 : 4); count > 0; --count) {
      const std::string& element = elements[random_() % elements.size()];
      add(element, Value(element));
    }
    return document + "</velquarn>" + (OneIn(2) ? "\n" : "");
  }

  void Spoil(std::string& document) {
    const size_t place = random_() % document.size();
    const size_t end = document.find("</velq");
    DoOne({[&] { document.resize(place); }, [&] { document.insert(place, "\xc3\xa4"); },
           [&] { document.insert(place, "&"); }, [&] { document.insert(place, 1, '\0'); },
           [&] { document.insert(end, Repeated("\n", 3000) + "<trustmode>&#228;</trustmode>"); },
           [&] { document.insert(end, Repeated("<a>", 500)); }});
  }

  /// Puts something else than a plain file at a path.
  void PutOdd(const Path& path) {
    const Path target = base() / ("target of " + path.filename().string());
    const auto link_to_file = [&] {
      WriteText(target, QVX_XML_DEFAULT);
      std::filesystem::create_symlink(target, path);
    };
    std::filesystem::remove_all(path);
    DoOne({[&] { std::filesystem::create_directory(path); }, [&] { mkfifo(path.c_str(), 0660); },
           [&] { std::filesystem::create_symlink("/dev/null", path); }, link_to_file,
           [&] { std::filesystem::create_symlink("target of nobody", path); },
           [&] { std::filesystem::create_symlink(base() / "none/file", path); },
           [&] {
             link_to_file();
             EXPECT_EQ(lchown(path.c_str(), 12345, 12345), 0);
           }});
  }

  void LayOutSettings() {
    const Path path = base() / "conf/qvxpd.xml";
    if (OneIn(36)) {
      std::filesystem::remove_all(base() / "conf");
      if (OneIn(2)) {
        WriteText(base() / "conf", "in the way");
      }
    } else if (!OneIn(15)) {
      std::string document = OneIn(8) ? QVX_XML_DEFAULT : Document();
      if (OneIn(6)) {
        Spoil(document);
      }
      WriteText(path, document);
      if (OneIn(15)) {
        PutOdd(path);
      }
    } else if (OneIn(2)) {
      std::filesystem::create_symlink(base() / "none/qvxpd.xml", path);
    }
  }

  void LayOutFiles() {
    // The next script engine's settings, but for the end of the last line.
    std::string next = PhpIniText(base().string(), allowablePHPExtensions);
    next.pop_back();
    for (const char* name :
         {"conf/qvxpd.conf", "bin/php.ini", "conf/ralolist.map", "conf/mod_proxy.conf"}) {
      const Path path = base() / name;
      const bool has_folder = std::filesystem::is_directory(path.parent_path());
      if (has_folder && OneIn(2)) {
        WriteText(path, OneIn(4) ? next : Any({"old\n", "old"}));
      }
      if (has_folder && OneIn(25)) {
        PutOdd(path);
      }
    }
    if (OneIn(25)) {
      std::filesystem::remove_all(base() / "bin");
    }
  }

  /// What the kernel does not execute: text, and programs that are cut, of no kind, of another
  /// machine or without a loader.
  std::string NoProgram() {
    const std::string native = ProgramWith(0, "");
    const std::string texts[] = {"not a program",
                                 "#!/none/sh\n",
                                 "#!/bin/sh\r\n",
                                 native.substr(0, 60),
                                 ProgramWith(16, "/n"),
                                 ProgramWith(18, "/n"),
                                 ProgramWith(native.find("/ld-"), "/n")};
    return texts[random_() % std::size(texts)];
  }

  void LayOutPrograms() {
    if (server_ != nullptr) {
      server_->PutInto(base());
      if (OneIn(15)) {
        std::filesystem::remove(base() / "bin/rotatelogs");
      }
      return;
    }
    const Path daemon = base() / "sbin/zxqvxd";
    if (!OneIn(20)) {
      WriteText(daemon, OneIn(3) ? NoProgram()
                                 : Any({"#!/bin/sh\necho daemon \"$@\"\n",
                                        "#! /bin/sh -e\necho daemon\n"}));
      chmod(daemon.c_str(), OneIn(10) ? 0644 : 0755);
    }
    const Path tool = base() / "sbin/genproxyconf";
    if (OneIn(6)) {
      const std::string rules = "\necho rules > " + (base() / "conf/mod_proxy.conf").string();
      WriteText(tool, "#!/bin/sh\n" + Any({"", "echo warning"}) + (OneIn(3) ? "" : rules) + "\n");
      chmod(tool.c_str(), OneIn(4) ? 0644 : 0755);
    }
  }

  void LayOutPair() {
    const PairStock& pairs = Pairs();
    PemPair pair = OneIn(4) ? pairs.foreign : pairs.ours;
    const auto be_elsewhere = [&] { pair = pairs.ours_elsewhere; };
    const auto be_damaged = [&] { pair.certificate = "garbage"; };
    const auto mismatch = [&] { pair = {pairs.ours.certificate, pairs.foreign.key}; };
    const auto lose_key = [&] { pair.key = ""; };
    const auto lose_folder = [&] { std::filesystem::remove_all(tls()); };
    if (OneIn(12)) {
      DoOne({be_elsewhere, be_damaged, mismatch, lose_key, lose_folder});
    } else if (OneIn(6)) {
      pair = KeptPairs()[random_() % KeptPairs().size()];
    }
    if (!std::filesystem::exists(tls())) {
      return;
    }
    WriteText(tls() / "cert.pem", pair.certificate);
    WriteText(tls() / "file.pem", pair.key);
    if (OneIn(10)) {
      PutOdd(tls() / Any({"cert.pem", "file.pem"}));
    }
    for (const char* name : {"certmm.pem", "filemm.pem", "cert.pem", "file.pem"}) {
      if (OneIn(12)) {
        Hinder(tls() / name);
      }
    }
  }

  /// Lets a file not be replaced. For a copy's name, a directory of the file's name does that, too.
  void Hinder(const Path& path) {
    const std::string name = path.filename().string();
    if (name.ends_with("mm.pem") && OneIn(3)) {
      std::filesystem::create_directories(path / (name.substr(0, 4) + ".pem"));
      return;
    }
    if (std::filesystem::is_symlink(path)) {
      return;
    }
    if (!std::filesystem::exists(path)) {
      WriteText(path, "old copy");
    }
    if (OneIn(2)) {
      EXPECT_EQ(mount(path.c_str(), path.c_str(), nullptr, MS_BIND, nullptr), 0);
      mounted_.push_back(path);
    } else if (Run("chattr +i", path)) {  // not every file system can
      immutable_.push_back(path);
    }
  }

  void LayOutDescriptors() {
    for (auto count = random_() % 3; count > 0; --count) {
      WriteText(base() / "webapp" / (std::to_string(count) + ".xml"),
                Any({"<a><extension name='openssl'/></a>", "<a><extension name=\"DOMXML\"/></a>",
                     "<a><extension/></a>", "<a>", "<extension name='other'>OPENSSL</extension>"}));
    }
  }

  void LayOutLogs() {
    const Path logs = base() / "logs";
    if (OneIn(server_ == nullptr ? 20 : 6)) {
      std::filesystem::remove_all(log() / "logs");
    }
    if (OneIn(15)) {
      WriteText(logs / "httpd.pid", OneIn(2) ? "4194305\n" : std::to_string(getpid()) + "\n");
    }
    if (OneIn(15)) {  // the next record ends the file
      WriteText(logs / "qvx.log", "00030D3A\n" + Repeated("x", 199985));
    } else if (OneIn(15)) {
      EXPECT_EQ(mount("tmpfs", logs.c_str(), "tmpfs", 0, "size=8k"), 0);
      mounted_.push_back(logs);
      WriteText(logs / "full", Repeated("x", 8192));
    }
  }

  const Installation installation_;
  const WebServer* server_;
  std::vector<Path> immutable_, mounted_;
  std::minstd_rand random_;
  bool regenerates_;
};

}  // namespace qvx::test

#endif
