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

// Three starts with files that are what `plant` makes of them, each with a name of its own among an
// administrator's files, in directories that `owner` owns. The settings are apart, because they may
// end a start, and so are the copies, because they are made of a pair that was read.
std::string Planted(const std::string& owner, const std::string& plant) {
  return "owner=" + owner + "; plant='" + plant + R"('
pair /CN=other; cp -a $tls other; mismatched_pair
others=($tls/{cert,file}.pem $base/{logs/qvx.log,conf/qvxpd.conf,conf/ralolist.map,bin/php.ini})
for group in $base/conf/qvxpd.xml "$tls/certmm.pem $tls/filemm.pem" "${others[*]}"; do
  rm -rf $base/{logs,conf,bin} $tls $admin/*; mkdir $base/{logs,conf,bin} $tls
  case $group in *mm.pem) cp -a old/* $tls ;; *) cp -a other/* $tls ;; esac
  chown $owner $base/{logs,conf,bin} $tls
  for file in $group; do own=$admin/${file##*/}; rm -f $file; eval "$plant"; done
  state $admin >before; [[ $(launch) ]] || echo "$group: no end"
  state $admin | diff before - | grep -o '\./[^ ]*' | sort -u
done)";
}

TEST(ServiceAccount, LinksLeadToNothingOfRoots) {
  const std::string secret = "(umask 077; echo secret >$own); ";
  Play({{"missing file", Planted("zxqvx", "account ln -s $own $file"), ""},
        {"secret", Planted("zxqvx", secret + "account ln -s $own $file"), ""},
        {"hard link to a secret", Planted("zxqvx", secret + "ln $own $file"), ""}});
}

TEST(Links, LeadToNoDevice) {
  const std::string device = "mknod -m 666 $own c 1 3; ";
  Play({{"of the account's", Planted("zxqvx", device + "account ln -s $own $file"), ""},
        {"of root's", Planted("root", device + "ln -s $own $file"), ""}});
}

TEST(Links, OfRootsToAPairThatDoesNotMatch) {
  Play({{"mismatch", R"(
mismatched_pair; mv $tls/*.pem $admin; ln -s $admin/{cert,file}.pem $tls
before=$(state $admin); launch; [[ $(state $admin) == "$before" ]] || echo changed
stat -c '%n %F' $tls/{cert,file}.pem
same old/cert.pem $tls/certmm.pem; same old/file.pem $tls/filemm.pem)",
         "daemon\n/opt/tls/cert.pem regular file\n/opt/tls/file.pem regular file\n"}});
}

}  // namespace
}  // namespace qvx::test
