// A healthy installation on a machine of its own, to be spoilt.
#ifndef QVX_TESTS_COMPANION_PREPARED_INSTALLATION_H
#define QVX_TESTS_COMPANION_PREPARED_INSTALLATION_H

#include <string>

#include "tests/companion/random_installation.h"
#include "tests/settings/fresh_machine.h"

namespace qvx::test {

inline void PutProgram(const std::filesystem::path& path, std::string_view text = "#!/bin/sh\n") {
  WriteText(path, text);
  std::filesystem::permissions(path, std::filesystem::perms(0755));
}

inline void PutServiceFile(const std::filesystem::path& path, std::string_view text) {
  WriteText(path, text);
  std::filesystem::permissions(path, std::filesystem::perms(0660));
  const std::string owner = ServiceOwner();
  const auto colon = owner.find(':');
  EXPECT_EQ(chown(path.c_str(), static_cast<uid_t>(std::stoul(owner.substr(0, colon))),
                  static_cast<gid_t>(std::stoul(owner.substr(colon + 1)))),
            0);
}

/// Made once in a process. A test that forks calls it before.
inline const PairStock& Pairs() {
  static const PairStock pairs = MakePairs();
  return pairs;
}

/// The daemon, the rotation program, a pair for this host and a document with `elements`. On a
/// fresh machine; its addresses are 127.0.0.1 and 10.1.2.3.
class PreparedInstallation {
 public:
  explicit PreparedInstallation(const std::string& elements) {
    RecordIpOutput("1: lo: <UP>\n    inet 127.0.0.1/8\n2: eth0: <UP>\n    inet 10.1.2.3/8\n");
    PutProgram(base() / "sbin/zxqvxd");
    PutProgram(base() / "bin/rotatelogs");
    PutServiceFile(tls() / "cert.pem", Pairs().ours.certificate);
    PutServiceFile(tls() / "file.pem", Pairs().ours.key);
    PutServiceFile(settings(), "<velquarn>\n" + elements + "</velquarn>");
  }

  std::filesystem::path base() const { return installation_.base(); }
  std::filesystem::path tls() const { return installation_.tls(); }
  std::filesystem::path log() const { return installation_.log(); }
  std::filesystem::path settings() const { return base() / "conf/qvxpd.xml"; }

 private:
  const Installation installation_;
};

}  // namespace qvx::test

#endif
