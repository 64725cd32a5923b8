// A start comes up in every environment, and gives nothing away there.
#include <gtest/gtest.h>

#include "tests/attacks/scenes.h"

namespace qvx::test {
namespace {

// What a run refuses, for it and its commands.
std::string Refusing(const std::string& calls, const std::string& error) {
  return "run='strace -f -o /dev/null -e inject=" + calls + ":error=" + error + "'";
}

// Twice on new folders, whose files a foreign group inherits, and once on what a start elsewhere
// has made. Where it can, it goes on with the log that that one has made.
TEST(Environment, StartComesUpAndGivesNothingAway) {
  const std::string squash = "cp $squash /opt; chown -R 65534:65534 $base $tls; ";
  Play({{"as usual", "", "goes on\n"},
        {"without CAP_CHOWN", "run='setpriv --bounding-set=-chown --inh-caps=-chown'", "goes on\n"},
        {"account not mapped", "run='unshare --user --map-root-user'"},
        {"share that squashes root", squash + "run='env LD_PRELOAD=/opt/libqvx_squash.so'"},
        {"without hard links", Refusing("link,linkat", "EPERM"), "goes on\n"},
        {"fsync refused", Refusing("fsync,fdatasync", "EINVAL"), "goes on\n"},
        {"old kernel", Refusing("openat2,statx,pidfd_open,renameat2", "ENOSYS"), "goes on\n"},
        {"without /proc", "mount -t tmpfs none /proc", "goes on\n"},
        {"process 1", "run='unshare --pid --fork --mount-proc'", "goes on\n"},
        {"in /tmp", R"(
mount -t tmpfs -o mode=1777 none /tmp; cp -a $base /tmp; base=/tmp/zxqvx tls=/tmp/tls
cp -a /opt/tls /tmp; launcher=$base/sbin/qvxlauncher
export SYSMGTZX_BASE_DIR=$base SSL_SHARE_BASE_DIR=$tls)",
         "goes on\n"},
        {"tree of a third owner", "chown -R 4712:4712 $base $tls", "goes on\n"}},
       R"(
folders="$base $base/conf $base/bin $base/logs $tls" run=; chgrp 4711 $folders; chmod g+s $folders
stranger() { setpriv --reuid=4711 --regid=4711 --clear-groups "$@"; })",
       R"(
folders="$base $base/conf $base/bin $base/logs $tls"; start() { launch $run $launcher; }
told() { grep -c severity $base/logs/qvx.log; }
start; start; (($(told) > 0)) || echo no log
for file in $tls/{cert,file}.pem $base/{conf/{qvxpd.xml,qvxpd.conf},bin/php.ini}; do
  [[ -s $file ]] || echo "no $file"
done
for file in $tls/file.pem $base/{conf/{qvxpd.xml,qvxpd.conf},logs/qvx.log}; do
  stranger cat $file 2>/dev/null
done
rm $tls/* $base/logs/*; pair /CN=elsewhere; launch; before=$(told); start
find $folders -name '.*.new'; (($(told) > before)) && echo goes on)",
       "daemon\ndaemon\ndaemon\ndaemon\n");
}

}  // namespace
}  // namespace qvx::test
