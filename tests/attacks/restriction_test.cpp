// No fault and no mistake in a list lets more clients in.
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

// Each of the first allocations fails, some spread over the run, and more from the settings on.
// Where the TLS library waits for itself, the run is not the launcher's any more (docs/limits.md).
TEST(Restriction, StandsWhateverAllocationFails) {
  Play({{"sweep", kRestrict + R"(
starved() {
  rm -f starved hung
  timeout -k 1 $hangs env LD_PRELOAD=/opt/libqvx_starve.so QVX_STARVE_AT=$1 $launcher
}
rules() { grep -E '^(allow|deny) from' $1; }
safe() { cmp -s <(rules $base/conf/qvxpd.conf) <(rules restricted.conf); }
closed() { ! grep -q '^allow from' $base/conf/qvxpd.conf; }
last=0; for ((step = 32768; step > 16; step /= 2)); do
  starved $((last + step)) >/dev/null 2>&1; [[ ! -e starved ]] || ((last += step))
done
((last > 2000)) || echo too few
for at in {1..15} $(seq 16 $((last / 10)) $last) $(seq $((last - 700)) 18 $last); do
  echo none >$base/conf/qvxpd.conf; said=$(starved $at 2>errors); status=$?
  case $status/$said in
    0/daemon) safe || closed ;;
    1/) (($(wc -l <errors) == 1)) ;;
    "1/${texts% status 1}" | 0/*'Cannot start application!') ;;
    *) [[ -e hung ]] ;;
  esac || echo "$at: $status $said"
done)",
         "daemon\n"}});
}

}  // namespace
}  // namespace qvx::test
