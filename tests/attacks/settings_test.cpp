// The settings document and what is made of the machine's addresses, under faults and beside others.
#include <gtest/gtest.h>

#include "tests/attacks/scenes.h"

namespace qvx::test {
namespace {

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
