#include "tests/companion/random_installation.h"

#include <openssl/pem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "settings/document.h"
#include "settings/reader.h"
#include "tls/certificate.h"
#include "tls/pair_check.h"

namespace qvx::test {

namespace fs = std::filesystem;

namespace {

template <typename Write>
std::string Pem(Write write) {
  const StreamHandle stream(BIO_new(BIO_s_mem()));
  write(stream.get());
  char* text = nullptr;
  const long size = BIO_get_mem_data(stream.get(), &text);
  return {text, static_cast<size_t>(size)};
}

std::vector<std::string> Elements() {
  std::vector<std::string> elements;
  for (const Setting& row : kSettingRows) {
    elements.emplace_back(row.element);
  }
  elements.insert(elements.end(), {"multihomed", "Ip-binding", "trustmode"});
  return elements;
}

}  // namespace

PemPair MakePair(const std::string& host, time_t end, int bits) {
  constexpr int kDays = 9000;
  constexpr time_t kSecondsPerDay = 86400;
  const Pair pair =
      Build({host, {"DNS: host1, DNS: " + host, 0}, end - kDays * kSecondsPerDay, bits, kDays});
  return {Pem([&](BIO* to) { PEM_write_bio_X509(to, pair.certificate.get()); }), Pem([&](BIO* to) {
            PEM_write_bio_PrivateKey(to, pair.key.get(), nullptr, nullptr, 0, nullptr, nullptr);
          })};
}

PairStock MakePairs() {
  constexpr time_t kEnd = 2144468992;  // the latest one
  PairStock stock{MakePair(PairHostName(), kEnd), MakePair("elsewhere", kEnd), {}};
  const std::string unit = tmkCertOuName;
  std::strcpy(tmkCertOuName, "Somebody else");
  stock.foreign = MakePair("elsewhere", kEnd);
  std::strcpy(tmkCertOuName, unit.c_str());
  return stock;
}

RandomInstallation::RandomInstallation(uint32_t number, const PairStock& pairs,
                                       const std::string& output)
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

std::string RandomInstallation::Any(std::initializer_list<const char*> texts) {
  return *(texts.begin() + random_() % texts.size());
}

std::string RandomInstallation::Addresses() {
  std::string text;
  for (auto count = random_() % 6; count > 0; --count) {
    text += "1: if0: <UP>\n    inet ";
    text += Any({"127.0.0.1/8", "10.1.2.3/8", "10.1.9.9/24 brd 1.2.3.4", "192.168.1.5/24",
                 "0.0.0.0/0", "255.255.255.255/32", "10.1.2.3/8", "172.16.0.9/16"});
    text += " scope\n    inet6 ::1/128\n";
  }
  return text;
}

std::string RandomInstallation::Value(const std::string& element) {
  if (element.find("restricted-") != std::string::npos &&
      element.find("logins") == std::string::npos) {
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
  if (element.find("log-") == 0) {
    return Any({"", "/var/log/console", "C:\\logs", "NOTICE", "warn", "loud", "QVXLogLevel"});
  }
  return Any({"True", "true", "False", "False", "yes", " True", "1", "0", "2", "5", "25", "64",
              "65", "30 or so", "100", "", "<!-- c -->True", "<b>1</b>", "99999999999"});
}

std::string RandomInstallation::Document() {
  std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<velquarn>\n";
  const std::vector<std::string> elements = Elements();
  for (auto count = random_() % 12; count > 0; --count) {
    const std::string& element = elements[random_() % elements.size()];
    document.append("<").append(element).append(">").append(Value(element));
    document.append("</").append(element).append(">\n");
  }
  return document + "</velquarn>" + (OneIn(2) ? "\n" : "");
}

void RandomInstallation::Spoil(std::string& document) {
  switch (random_() % 6) {
    case 0:
      document.resize(random_() % document.size());
      break;
    case 1:
      document.insert(random_() % document.size(), "\xc3\xa4");
      break;
    case 2:
      document.insert(random_() % document.size(), "&");
      break;
    case 3:
      document.insert(document.find("</velq"),
                      std::string(3000, '\n') + "<trustmode>&#228;</trustmode>");
      break;
    case 4:
      for (int i = 0; i < 500; ++i) {
        document.insert(document.find("</velq"), "<a>");
      }
      break;
    default:
      document.insert(random_() % document.size(), 1, '\0');
  }
}

/// Puts something else than a plain file at a path.
void RandomInstallation::PutOdd(const fs::path& path) {
  const fs::path target = base() / ("target of " + path.filename().string());
  fs::remove_all(path);
  switch (random_() % 6) {
    case 0:
      fs::create_directory(path);
      break;
    case 1:
      mkfifo(path.c_str(), 0660);
      break;
    case 2:
      fs::create_symlink("/dev/null", path);
      break;
    case 3:
      WriteText(target, QVX_XML_DEFAULT);
      fs::create_symlink(target, path);
      break;
    case 4:
      WriteText(target, QVX_XML_DEFAULT);
      fs::create_symlink(target, path);
      [[fallthrough]];
    default:
      if (lchown(path.c_str(), 12345, 12345) != 0) {
        fs::create_symlink("nowhere", path);
      }
  }
}

void RandomInstallation::LayOutSettings() {
  const fs::path path = base() / "conf/qvxpd.xml";
  if (OneIn(12)) {
    if (OneIn(3)) {
      fs::remove_all(base() / "conf");
      if (OneIn(2)) {
        WriteText(base() / "conf", "in the way");
      }
    }
    return;
  }
  std::string document = OneIn(8) ? QVX_XML_DEFAULT : Document();
  if (OneIn(6)) {
    Spoil(document);
  }
  WriteText(path, document);
  if (OneIn(15)) {
    PutOdd(path);
  } else if (OneIn(30)) {
    fs::remove(path);
    fs::create_symlink(base() / "none/qvxpd.xml", path);
  }
}

void RandomInstallation::LayOutFiles() {
  for (const char* name : {"conf/qvxpd.conf", "bin/php.ini", "conf/ralolist.map"}) {
    const fs::path path = base() / name;
    if (!fs::is_directory(path.parent_path())) {
      continue;
    }
    if (OneIn(2)) {
      WriteText(path, "old\n");
    }
    if (OneIn(25)) {
      PutOdd(path);
    }
  }
  if (OneIn(25)) {
    fs::remove_all(base() / "bin");
  }
}

void RandomInstallation::LayOutPrograms() {
  const std::string daemon =
      Any({"#!/bin/sh\necho daemon \"$@\"\n", "#!/bin/sh\necho daemon\n", "not a program"});
  if (!OneIn(20)) {
    WriteText(base() / "sbin/zxqvxd", daemon);
    chmod((base() / "sbin/zxqvxd").c_str(), OneIn(10) ? 0644 : 0755);
  }
  if (OneIn(6)) {
    const std::string rules = "\necho rules > " + (base() / "conf/mod_proxy.conf").string() + "\n";
    WriteText(base() / "sbin/genproxyconf",
              "#!/bin/sh\n" + Any({"", "echo warning"}) + (OneIn(3) ? "" : rules));
    chmod((base() / "sbin/genproxyconf").c_str(), OneIn(4) ? 0644 : 0755);
  }
}

void RandomInstallation::LayOutPair(const PairStock& pairs) {
  PemPair pair = OneIn(4) ? pairs.foreign : pairs.ours;
  switch (random_() % 100) {
    case 0:
      pair = pairs.ours_elsewhere;
      break;
    case 1:
      pair.key = pairs.foreign.key;
      pair.certificate = pairs.ours.certificate;
      break;
    case 2:
      pair.certificate = "garbage";
      break;
    case 3:
      fs::remove_all(tls());
      return;
    case 4:
      pair.key.clear();
      break;
    default:
      break;
  }
  WriteText(tls() / "cert.pem", pair.certificate);
  WriteText(tls() / "file.pem", pair.key);
  if (OneIn(20)) {  // a name for the copy that lets nothing be put there
    fs::create_directories(OneIn(2) ? tls() / "certmm.pem/cert.pem"
                                    : tls() / "filemm.pem/file.pem");
  }
  if (OneIn(10)) {
    PutOdd(tls() / (OneIn(2) ? "cert.pem" : "file.pem"));
  }
}

void RandomInstallation::LayOutDescriptors() {
  for (auto count = random_() % 3; count > 0; --count) {
    WriteText(base() / "webapp" / (std::to_string(count) + ".xml"),
              Any({"<a><extension name='openssl'/></a>", "<a><extension name=\"DOMXML\"/></a>",
                   "<a><extension/></a>", "<a>", "<extension name='other'>OPENSSL</extension>"}));
  }
}

}  // namespace qvx::test
