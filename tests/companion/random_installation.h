// Installations as they are found in the field: healthy, odd and broken, chosen by a number.
#ifndef QVX_TESTS_COMPANION_RANDOM_INSTALLATION_H
#define QVX_TESTS_COMPANION_RANDOM_INSTALLATION_H

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "settings/document.h"
#include "settings/reader.h"
#include "tests/companion/prepared_installation.h"

namespace qvx::test {

/// Lays out one installation. `output` is the file that "/sbin/ip" prints.
class RandomInstallation {
 public:
  RandomInstallation(uint32_t number, const PairStock& pairs, const std::string& output)
      : random_(number + 1) {
    random_.discard(10);  // neighbouring seeds begin alike
    regenerates_ = OneIn(15);
    WriteText(output, Addresses());
    LayOutSettings();
    LayOutFiles();
    LayOutPrograms();
    LayOutPair(pairs);
    LayOutDescriptors();
  }

  std::filesystem::path base() const { return installation_.base(); }
  std::filesystem::path tls() const { return installation_.tls(); }
  bool regenerates() const { return regenerates_; }

 private:
  using Path = std::filesystem::path;

  bool OneIn(uint32_t count) { return random_() % count == 0; }

  std::string Any(std::initializer_list<const char*> texts) {
    return *(texts.begin() + random_() % texts.size());
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

  std::string Value(const std::string& element) {
    if (element.ends_with("clude")) {
      return Any({"", ";", "10.0.0.5", "10.0.0.1-10.0.0.6;;192.168.1.0-192.168.1.255",
                  "10.0.0.9-10.0.0.1", "10.0.0.1 - 10.0.0.6", "0.0.0.0-255.255.255.255", "one,two",
                  "10.1-10.2", "\n10.0.0.5\n", "255.255.255.255-255.255.255.255",
                  "192.168.100.100-192.168.100.200.1"});
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
      return Any({"", "/var/log/console", "C:\\logs", "NOTICE", "warn", "loud", "QVXLogLevel"});
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
    for (auto count = random_() % 12; count > 0; --count) {
      const std::string& element = elements[random_() % elements.size()];
      document.append("<").append(element).append(">").append(Value(element));
      document.append("</").append(element).append(">\n");
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
           [&] { std::filesystem::create_symlink("nowhere", path); },
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
    for (const char* name : {"conf/qvxpd.conf", "bin/php.ini", "conf/ralolist.map"}) {
      const Path path = base() / name;
      const bool has_folder = std::filesystem::is_directory(path.parent_path());
      if (has_folder && OneIn(2)) {
        WriteText(path, "old\n");
      }
      if (has_folder && OneIn(25)) {
        PutOdd(path);
      }
    }
    if (OneIn(25)) {
      std::filesystem::remove_all(base() / "bin");
    }
  }

  void LayOutPrograms() {
    const Path daemon = base() / "sbin/zxqvxd";
    if (!OneIn(20)) {
      WriteText(daemon, Any({"#!/bin/sh\necho daemon \"$@\"\n", "#!/bin/sh\necho daemon\n",
                             "not a program"}));
      chmod(daemon.c_str(), OneIn(10) ? 0644 : 0755);
    }
    const Path tool = base() / "sbin/genproxyconf";
    if (OneIn(6)) {
      const std::string rules = "\necho rules > " + (base() / "conf/mod_proxy.conf").string();
      WriteText(tool, "#!/bin/sh\n" + Any({"", "echo warning"}) + (OneIn(3) ? "" : rules) + "\n");
      chmod(tool.c_str(), OneIn(4) ? 0644 : 0755);
    }
  }

  void LayOutPair(const PairStock& pairs) {
    PemPair pair = OneIn(4) ? pairs.foreign : pairs.ours;
    const auto be_elsewhere = [&] { pair = pairs.ours_elsewhere; };
    const auto be_damaged = [&] { pair.certificate = "garbage"; };
    const auto mismatch = [&] { pair = {pairs.ours.certificate, pairs.foreign.key}; };
    const auto lose_key = [&] { pair.key = ""; };
    const auto lose_folder = [&] { std::filesystem::remove_all(tls()); };
    if (OneIn(20)) {
      DoOne({be_elsewhere, be_damaged, mismatch, lose_key, lose_folder});
    }
    if (!std::filesystem::exists(tls())) {
      return;
    }
    WriteText(tls() / "cert.pem", pair.certificate);
    WriteText(tls() / "file.pem", pair.key);
    if (OneIn(20)) {  // a name for the copy that lets nothing be put there
      std::filesystem::create_directories(tls() /
                                          Any({"certmm.pem/cert.pem", "filemm.pem/file.pem"}));
    }
    if (OneIn(10)) {
      PutOdd(tls() / Any({"cert.pem", "file.pem"}));
    }
  }

  void LayOutDescriptors() {
    for (auto count = random_() % 3; count > 0; --count) {
      WriteText(base() / "webapp" / (std::to_string(count) + ".xml"),
                Any({"<a><extension name='openssl'/></a>", "<a><extension name=\"DOMXML\"/></a>",
                     "<a><extension/></a>", "<a>", "<extension name='other'>OPENSSL</extension>"}));
    }
  }

  const Installation installation_;
  std::minstd_rand random_;
  bool regenerates_;
};

}  // namespace qvx::test

#endif
