// A start comes up in every environment, and gives nothing away there.
#include <gtest/gtest.h>

#include "tests/attacks/scenes.h"

namespace qvx::test {
namespace {

struct Environment {
  const char* name;
  std::string prepare;
  std::string run;      // what starts the launcher
  bool goes_on = true;  // with the log that a start elsewhere has made
};

// What a run refuses, for it and its commands.
std::string Refusing(const std::string& calls, const std::string& error) {
  return "strace -f -o /dev/null -e inject=" + calls + ":error=" + error;
}

// Twice on new folders, whose files a foreign group inherits, and once on what a start elsewhere
// has made.
std::string Starts(const Environment& environment) {
  return R"(
folders="$base $base/conf $base/bin $base/logs $tls"; chgrp 4711 $folders; chmod g+s $folders
stranger() { setpriv --reuid=4711 --regid=4711 --clear-groups "$@"; }
)" + environment.prepare +
         R"(
start() { launch )" +
         environment.run + R"( $launcher; }
told() { grep -c severity $base/logs/qvx.log; }
start; start; (($(told) > 0)) || echo no log
for file in $tls/{cert,file}.pem $base/{conf/{qvxpd.xml,qvxpd.conf},bin/php.ini}; do
  [[ -s $file ]] || echo "no $file"
done
for file in $tls/file.pem $base/{conf/{qvxpd.xml,qvxpd.conf},logs/qvx.log}; do
  stranger cat $file 2>/dev/null
done
rm $tls/* $base/logs/*; pair /CN=elsewhere; launch; before=$(told); start
find $folders -name '.*.new'; (($(told) > before)) && echo goes on)";
}

TEST(Environment, StartComesUpAndGivesNothingAway) {
  const std::string squash = "cp $squash /opt; chown -R 65534:65534 $base $tls; ";
  const std::string tree_in_tmp = R"(
mount -t tmpfs -o mode=1777 none /tmp; cp -a $base /tmp; base=/tmp/zxqvx tls=/tmp/tls
cp -a /opt/tls /tmp; launcher=$base/sbin/qvxlauncher
export SYSMGTZX_BASE_DIR=$base SSL_SHARE_BASE_DIR=$tls)";
  const Environment environments[] = {
      {"as usual", "", ""},
      {"without CAP_CHOWN", "", "setpriv --bounding-set=-chown --inh-caps=-chown"},
      {"account not mapped", "", "unshare --user --map-root-user", false},
      {"share that squashes root", squash, "env LD_PRELOAD=/opt/libqvx_squash.so", false},
      {"without hard links", "", Refusing("link,linkat", "EPERM")},
      {"fsync refused", "", Refusing("fsync,fdatasync", "EINVAL")},
      {"old kernel", "", Refusing("openat2,statx,pidfd_open,renameat2", "ENOSYS")},
      {"without /proc", "mount -t tmpfs none /proc", ""},
      {"process 1", "", "unshare --pid --fork --mount-proc"},
      {"in /tmp", tree_in_tmp, ""},
      {"tree of a third owner", "chown -R 4712:4712 $base $tls", ""},
  };
  for (const Environment& environment : environments) {
    Play({{environment.name, Starts(environment),
           std::string("daemon\ndaemon\ndaemon\ndaemon\n") +
               (environment.goes_on ? "goes on\n" : "")}});
  }
}

}  // namespace
}  // namespace qvx::test
