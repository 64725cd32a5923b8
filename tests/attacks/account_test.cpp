// What the service account may try to become root, to read the key, or to stop a start.
#include <gtest/gtest.h>

#include "tests/attacks/scenes.h"

namespace qvx::test {
namespace {

TEST(ServiceAccount, SessionDirectoryIsALinkToAFolderOfRoots) {
  const auto script = [](const std::string& attack) {
    return R"(
good_pair; chmod 700 $admin; mkdir -p $base/session/php
)" + attack +
           "\nstat -c '%U:%G %a' $admin; ls $admin";
  };
  Play({{"session/php", script(R"(
rmdir $base/session/php; chown zxqvx $base/session; account ln -s $admin $base/session/php
launch)"),
         "daemon\nroot:root 700\n"},
        {"session", script(R"(
rm -r $base/session; chown zxqvx $base; account ln -s $admin $base/session; launch)"),
         "daemon\nroot:root 700\n"},
        {"while it is protected", script(R"(
chown -R zxqvx $base/session; account ln -s $admin $base/session/php.other
in_background zxqvx attacker exchange $base/session/php
for run in {1..8}; do launch >/dev/null; done; end_background)"),
         "root:root 700\n"}});
}

// The victim is a process group of root's; 143 is its end by the scene, 138 that by SIGUSR1.
TEST(ServiceAccount, SignalsNobodyWithTheRightToKill) {
  const std::string begin = R"(
good_pair; launch >/dev/null; setcap cap_kill+ep $launcher; mkdir evil
setsid sleep 60 & victim=$!
until [[ $(awk '{print $6}' /proc/$victim/stat) == "$victim" ]]; do :; done
evil() { printf '#!/bin/sh\n%s\n' "$2" >evil/$1; chmod 755 evil/$1; }
)";
  const std::string run = R"(
launch account env PATH=/opt/evil:$PATH $launcher any
{ kill $victim; wait $victim; } 2>/dev/null; echo $?)";
  const std::string awk = R"(evil awk "case \$1 in *2*) echo '(zxqvxd)';; *) echo $victim;; esac")";
  Play({{"false awk", begin + awk + run, "143\n"},
        {"false cat", begin + R"(evil cat "echo '1 (zxqvxd) S 1 $victim $victim'")" + run, "143\n"},
        {"the daemon", begin + "launch zxqvxd leader /opt/account $launcher any", "status 0, signals 1\n"}});
}

TEST(ServiceAccount, EnvironmentOfARunWithRightsEndsThere) {
  Play({{"commands", R"(
good_pair; launch >/dev/null; setcap cap_kill+ep $launcher; : >seen
printf '#!/bin/sh\nenv >/opt/seen\n' >$base/sbin/genproxyconf; chmod 755 $base/sbin/genproxyconf
chown -R zxqvx seen $base/conf
launch account env EVIL=1 PERL5OPT=evil PATH=/opt/evil:$PATH $launcher
grep -c SSL_SHARE_BASE_DIR seen; grep -i evil seen)",
         "daemon\n1\n"}});
}

}  // namespace
}  // namespace qvx::test
