// The settings document and what is made of the machine's addresses, under faults and beside
// others.
#include <gtest/gtest.h>

#include "tests/attacks/scenes.h"

namespace qvx::test {
namespace {

// Somebody writes a document while a start, stopped behind one of its calls, makes or replaces one.
TEST(Settings, WrittenBesideAStartStand) {
  const std::string none = "before() { rm -f $settings; }; ";
  const std::string damaged = "before() { echo '<cut' >$settings; }; ";
  const std::string half = "before() { exec 7>$settings; }; ";
  const std::string in_place = "write() { cat written >$settings; }";
  Play({{"none, written in place", none + in_place},
        {"damaged, written in place", damaged + in_place},
        {"damaged, renamed",
         damaged + "write() { cp written $settings.1; mv $settings.1 $settings; }"},
        {"half-written", half + "write() { cat written >&7; exec 7>&-; }"}},
       "", R"(
good_pair; launch >/dev/null; settings=$base/conf/qvxpd.xml
echo '<a><max-threads>40</max-threads></a>' >written; before; launch >/dev/null
before; calls '^([nr]|op|[ul]*link).*qvxpd.xml' '^execve.*sbin/zxqvxd' | head -60 >points; write
(($(wc -l <points) > 10)) || echo few points
while read -r call number; do
  before; stopped $call $number write >/dev/null; same written $settings
done <points)");
}

TEST(Settings, KilledReplacementLeavesNothing) {
  Play({{"killed at each call", R"(
good_pair; damage() { echo '<cut' >$base/conf/qvxpd.xml; }
damage; launch >/dev/null; ls -A $base/conf >names
damage; calls '^([nrf]|op|[ul]*link).*qvxpd.xml' '^execve.*sbin/zxqvxd' >points
(($(wc -l <points) > 10)) || echo few points
while read -r call number; do
  damage; faulted $call $number signal=KILL >/dev/null; launch >/dev/null
  ls -A $base/conf | diff names - | sed "s/^/$call $number: /"
done <points)"}});
}

TEST(Settings, ReadErrorReplacesNothing) {
  Play({{"once", R"(faulted $call $number error=EIO
same written $base/conf/qvxpd.xml; grep 'MaxClients' $base/conf/qvxpd.conf)",
         "daemon\nMaxClients           40\n"},
        {"always", R"(: >$base/logs/qvx.log; faulted $call $number+ error=EIO | grep -c Invalid
same written $base/conf/qvxpd.xml; grep -c 'no default' $base/logs/qvx.log
grep 'been generated' $base/logs/qvx.log)",
         "1\n1\n"}},
       R"(
good_pair; echo '<a><max-threads>40</max-threads></a>' | tee written >$base/conf/qvxpd.xml; launch
calls '^read.*qvxpd.xml' >points; read -r call number <points)",
       "", "daemon\n");
}

// No mistake lets more clients in.
TEST(Restriction, DeviceInThePlaceOfTheSettings) {
  Play({{"pipe", "mkfifo $settings", "fifo\n"},
        {"null", "mknod $settings c 1 3", "character special file\n"},
        {"zero", "mknod $settings c 1 5", "character special file\n"}},
       R"(good_pair; settings=$base/conf/qvxpd.xml; cat >$settings <<'END'
<a><ip-restricted-logins>True</ip-restricted-logins>
<ip-restricted-include>10.1.2.3</ip-restricted-include></a>
END
launch; cp $base/conf/qvxpd.conf restricted.conf; rm $settings)",
       R"(launch | grep -cx "$texts"; grep -c 'corrupted or missing' $base/logs/qvx.log
same restricted.conf $base/conf/qvxpd.conf; stat -c %F $settings)",
       "daemon\n1\n1\n");
}

TEST(AgentMap, IsEmptiedWhateverFails) {
  Play({{"fault at each call", R"(
good_pair; launch >/dev/null; map=$base/conf/ralolist.map
calls "^($changes|openat).*ralolist" >points; [[ -s points ]] || echo no points
while read -r call number; do
  for error in EIO ENOSPC EACCES; do
    echo 'agent http://10.0.0.5' >$map; faulted $call $number error=$error >/dev/null
    [[ -s $map ]] && echo "$call $number $error: not emptied"
  done
done <points)"}});
}

// The command's output comes in two reads.
TEST(Addresses, ReadErrorIsNotTheEnd) {
  Play({{"once", R"(
good_pair
printf '#!/bin/sh\nfor i in 1 2 3 4; do echo "inet 10.0.0.$i/8"; head -c 3000 /dev/zero | tr "\\0" x; done' >ip
chmod 755 ip; mount --bind ip /sbin/ip; launch; cp $base/conf/qvxpd.conf whole
grep -c 'VirtualHost 10.*:2381' whole
calls '^read\(.*pipe:.*xxxx' >points; [[ -s points ]] || echo no points
while read -r call number; do
  faulted $call $number error=EIO; same whole $base/conf/qvxpd.conf
done <points | sort -u)",
         "daemon\n4\ndaemon\n"}});
}

}  // namespace
}  // namespace qvx::test
