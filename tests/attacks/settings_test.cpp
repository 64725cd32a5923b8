// The settings document and what is made of the machine's addresses, under faults and beside
// others.
#include <gtest/gtest.h>

#include "tests/attacks/scenes.h"

namespace qvx::test {
namespace {

// Somebody writes a document while a start, stopped behind one of its calls, makes or replaces one.
std::string Written(const std::string& before, const std::string& write) {
  return R"(
good_pair; launch >/dev/null; settings=$base/conf/qvxpd.xml
echo '<a><max-threads>40</max-threads></a>' >written
before() { )" +
         before + R"(; }
write() { )" +
         write + R"(; }
before; launch >/dev/null
before; calls '^([nr]|op|[ul]*link).*qvxpd.xml' '^execve.*sbin/zxqvxd' | head -60 >points; write
(($(wc -l <points) > 10)) || echo few points
while read -r call number; do
  before; stopped $call $number write >/dev/null; same written $settings
done <points)";
}

TEST(Settings, WrittenBesideAStartStand) {
  const std::string none = "rm -f $settings";
  const std::string damaged = "echo '<cut' >$settings";
  const std::string in_place = "cat written >$settings";
  const std::string renamed = "cp written $settings.1; mv $settings.1 $settings";
  Play({{"none, written in place", Written(none, in_place), ""},
        {"damaged, written in place", Written(damaged, in_place), ""},
        {"damaged, renamed", Written(damaged, renamed), ""},
        {"half-written", Written("exec 7>$settings", "cat written >&7; exec 7>&-"), ""}});
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
done <points)",
         ""}});
}

TEST(Settings, ReadErrorReplacesNothing) {
  const std::string script = R"(
good_pair; echo '<a><max-threads>40</max-threads></a>' | tee written >$base/conf/qvxpd.xml; launch
calls '^read.*qvxpd.xml' >points; read -r call number <points
)";
  Play({{"once", script + R"(faulted $call $number error=EIO
same written $base/conf/qvxpd.xml; grep 'MaxClients' $base/conf/qvxpd.conf)",
         "daemon\ndaemon\nMaxClients           40\n"},
        {"always",
         script + R"(: >$base/logs/qvx.log; faulted $call $number+ error=EIO | grep -c Invalid
same written $base/conf/qvxpd.xml; grep -c 'no default' $base/logs/qvx.log
grep 'been generated' $base/logs/qvx.log)",
         "daemon\n1\n1\n"}});
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
done <points)",
         ""}});
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
