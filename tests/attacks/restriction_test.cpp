// No device in the place of the settings lets more clients in.
#include <gtest/gtest.h>

#include "tests/attacks/scenes.h"

namespace qvx::test {
namespace {

const std::string kRestrict = R"(good_pair; cat >$base/conf/qvxpd.xml <<'END'
<a><ip-restricted-logins>True</ip-restricted-logins>
<ip-restricted-include>10.1.2.3</ip-restricted-include>
<ip-restricted-exclude>10.1.2.4-10.1.2.9</ip-restricted-exclude></a>
END
launch; cp $base/conf/qvxpd.conf restricted.conf
)";

TEST(Restriction, DeviceInThePlaceOfTheSettings) {
  const auto script = [](const std::string& make) {
    return kRestrict + "settings=$base/conf/qvxpd.xml; rm $settings; " + make + R"(
launch | grep -cx "$texts"; grep -c 'corrupted or missing' $base/logs/qvx.log
same restricted.conf $base/conf/qvxpd.conf; stat -c %F $settings)";
  };
  Play({{"pipe", script("mkfifo $settings"), "daemon\n1\n1\nfifo\n"},
        {"null", script("mknod $settings c 1 3"), "daemon\n1\n1\ncharacter special file\n"},
        {"zero", script("mknod $settings c 1 5"), "daemon\n1\n1\ncharacter special file\n"}});
}

}  // namespace
}  // namespace qvx::test
