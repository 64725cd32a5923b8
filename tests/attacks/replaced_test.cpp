// What a start replaces survives every fault, whole.
#include <gtest/gtest.h>

#include "tests/attacks/scenes.h"

namespace qvx::test {
namespace {

TEST(OldPair, StandsSomewhere) {
  Play({{"full disk", R"(
mount -t tmpfs -o size=64K,mode=755 none $tls; mismatched_pair
: >$tls/certmm.pem; : >$tls/filemm.pem
cat /dev/zero >$tls/filler 2>/dev/null; launch >/dev/null; lost)"},
        {"directory with the copy's name", "mismatched_pair; mkdir $tls/filemm.pem; launch; lost",
         "daemon\n"},
        {"both directories", "mismatched_pair; mkdir $tls/{cert,file}mm.pem; launch; lost",
         "daemon\n"}});
  Play({{"key of root's, run of the account's", "launch account $launcher any >/dev/null; lost"},
        {"nothing can keep it", R"(
mkdir $tls/filemm.pem; : >$tls/filemm.pem/a; launch account $launcher any >/dev/null
same old/cert.pem $tls/cert.pem; same old/file.pem $tls/file.pem
ordered='did not match|Unable to (load|get)|secured|Common Name|renamed'
grep -A1 severity=2 $base/logs/qvx.log | grep -vE "severity=|^--|$ordered" >own
[[ -s own ]] || echo no record of our own)"}},
       R"(good_pair; launch >/dev/null; : >$base/logs/qvx.log
chown zxqvx $base/logs/qvx.log $tls; chown root $tls/file.pem; chmod 600 $tls/file.pem; keep_pair)");
}

// What a power cut leaves is what the disk got, in this order.
TEST(OldPair, IsOnTheDiskBeforeItIsReplaced) {
  const std::string all = "cert.pem\ncertmm.pem\nfile.pem\nfilemm.pem\n";
  Play({{"synchronised", R"sh(
good_pair; launch >/dev/null; mismatched_pair; strace -y -o trace $launcher >/dev/null
sed -nE '/ = 0$/{
  s,^fsync.[0-9]+</opt/tls>.*,the folder,p; s,^fsync.*/tls/\.(.*)\.[0-9]+.*,\1,p
  s,^renameat2.*old".*"(.*)".*,exchange \1,p; s,^unlink.*"\.(.*)\.[0-9]+\.undo".*,accept \1,p
}' trace)sh",
         "certmm.pem\nfilemm.pem\nthe folder\ncert.pem\nfile.pem\n"
         "cert.pem\nexchange cert.pem\nfile.pem\nexchange file.pem\nthe folder\n"
         "accept cert.pem\naccept file.pem\nthe folder\n"},
        {"where that or an exchange is refused", R"(
for refused in fsync:error=EINVAL renameat2:error=ENOSYS; do
  rm -f $tls/*; mismatched_pair; strace -o /dev/null -e inject=$refused $launcher; lost; ls -A $tls
done)",
         "daemon\n" + all + "daemon\n" + all}});
}

// Every other fault at every call is left to scripts/torture.
TEST(OldPair, SurvivesAFaultAtEachCall) {
  const std::string mismatch =
      "mismatched_pair; launch >/dev/null; mismatched_pair; cp -a $tls before";
  Play({{"kill at a change in the folder", mismatch + R"(
at_each "^(${changes%%|fsync*}).*/opt/tls.* = [0-9]" '
  faulted $call $number signal=KILL >/dev/null; lost "$call $number: "
  [[ $(launch) == daemon ]] || echo "$call $number: no start"
  lost "$call $number, next start: "
  ls -A $tls | grep -vxE "(cert|file)(mm)?.pem" && echo "$call $number: left over"')"},
        {"input error that lasts", R"(
pair /OU=Elsewhere/CN=other; keep_pair; launch >/dev/null; cp -a old before
at_each '^p?readv?.*/opt/tls/(cert|file).pem.*"-' '
  faulted $call $number+ error=EIO; echo; ls $tls
  same old/cert.pem $tls/cert.pem; same old/file.pem $tls/file.pem
  grep -cE "at the moment.*: $tls/(cert|file).pem: ." $base/logs/qvx.log')",
         "Cannot start application!\ncert.pem\nfile.pem\n1\n"
         "Cannot start application!\ncert.pem\nfile.pem\n2\n"}});
}

// A start is stopped behind each step while somebody else does his whole work. The lock is held by
// then, and the other one waits in vain. The first start makes the log, so that the further ones
// make the same calls.
TEST(OldPair, SurvivesWhoeverElseIsAtWork) {
  const std::string steps = "'^(renameat|fchmod).*/opt/tls' ";
  const std::string mismatch =
      "mismatched_pair; launch >/dev/null; mismatched_pair; cp -a $tls before\n";
  const std::string install = R"(
mismatched_pair; launch >/dev/null; pair /OU=Elsewhere/CN=other; keep_pair; good_pair
openssl genpkey -algorithm ed25519 >$tls/file.pem; cp -a $tls before
)";
  Play({{"a second start", mismatch + "at_each " + steps + R"('
  stopped $call $number "impatient >second" >first; lost "$call $number: "
  [[ $(<first)$(<second) == daemondaemon ]] || echo "$call $number: no start"')"},
        {"an administrator who comes with the key first", install + "at_each " + steps + R"('
  stopped $call $number "cp old/file.pem $tls" >first; cp old/cert.pem $tls
  lost "$call $number: "')"},
        {"the account with the lock", mismatch + R"(
in_background zxqvx flock -F $tls sh -c "echo; exec sleep 60"
impatient; lost; end_background; ls -A $tls)",
         "daemon\ncert.pem\ncertmm.pem\nfile.pem\nfilemm.pem\n"}});
}

TEST(FirstStart, MakesTheShareDirectory) {
  const std::string made = "daemon\ncert.pem\nfile.pem\n";
  const std::string deep = "export SSL_SHARE_BASE_DIR=/opt/etc/opt/zx/sslshare; ";
  Play({{"missing", "rmdir $tls; launch; ls $tls", made},
        {"with the way to it", deep + "launch; ls $SSL_SHARE_BASE_DIR", made}});
}

TEST(GeneratedFile, FullDiskKeepsTheOldOne) {
  Play({{"any file", R"(
good_pair; launch; trap '' XFSZ; echo old | tee old.conf $base/conf/qvxpd.conf >$base/bin/php.ini
(ulimit -f 0; launch) | grep -cx "$texts"
same old.conf $base/conf/qvxpd.conf; same old.conf $base/bin/php.ini
echo '<cut' >$base/conf/qvxpd.xml; (ulimit -f 0; launch) | grep -cx "$texts"
cat $base/conf/qvxpd.xml)",
         "daemon\n1\n1\n<cut\n"},
        {"a write without progress", R"(
good_pair; launch; calls '^write.*qvxpd.conf' >points; read -r call number <points
echo old | tee old.conf >$base/conf/qvxpd.conf
faulted $call $number retval=0 | grep -cx "${texts% status 1}"
same old.conf $base/conf/qvxpd.conf)",
         "daemon\n1\n"}});
}

// Both runs have the same process ID, each in a namespace of its own. One is stopped after each
// call that makes its file.
TEST(GeneratedFile, OfARunInAnotherNamespaceIsLeftAlone) {
  Play({{"same process ID", R"sh(
good_pair; launch; calls '^(openat.*O_CREAT|flock|fch|write|close|rename).*qvxpd.conf' >points
apart() { unshare --pid --fork --mount-proc strace -o "$@" $launcher 2>/dev/null; }
[[ -s points ]] || echo no points
while read -r call number; do
  : >stops; apart stops -e "inject=$call:signal=STOP:when=$number" >out & run=$!
  until grep -q 'stopped by' stops || ! kill -0 $run; do :; done; stopped=$(pgrep -x qvxlauncher)
  [[ $(apart /dev/null -e trace=none) == daemon ]] || echo "$call $number: the other run"
  kill -CONT $stopped; wait $run; [[ $(<out) == daemon ]] || echo "$call $number: $(<out)"
done <points; find $base -name '.*.new')sh",
         "daemon\n"}});
}

TEST(Log, KeepsItsRecords) {
  Play({{"cannot be opened once", R"(
pair /CN=other; launch; calls '^openat.*qvx.log' >points; read -r call number <points
printf '00000014\nold record\n' >$base/logs/qvx.log; faulted $call $number error=EMFILE
grep -c 'old record' $base/logs/qvx.log)",
         "daemon\ndaemon\n1\n"}});
}

}  // namespace
}  // namespace qvx::test
