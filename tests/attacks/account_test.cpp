// What the service account may try: to become root, to read the key, to stop a start.
#include <gtest/gtest.h>

#include "tests/attacks/scenes.h"

namespace qvx::test {
namespace {

TEST(ServiceAccount, SessionDirectoryIsALinkToAFolderOfRoots) {
  Play({{"session/php", R"(
rmdir $base/session/php; chown zxqvx $base/session; account ln -s $admin $base/session/php)"},
        {"session", "rm -r $base/session; chown zxqvx $base; account ln -s $admin $base/session"},
        {"while it is protected", R"(
chown -R zxqvx $base/session; account ln -s $admin $base/session/php.other
in_background zxqvx attacker exchange $base/session/php
for run in {1..8}; do launch >/dev/null; done; end_background)"}},
       "good_pair; chmod 700 $admin; mkdir -p $base/session/php",
       "launch; stat -c '%U:%G %a' $admin; ls $admin", "daemon\nroot:root 700\n");
}

// What the account can put at the name of its session folder without a link.
TEST(ServiceAccount, GetsNoFolderOfRootsInItsOwn) {
  Play({{"before the start", "rmdir php; account mv backup php; launch"}, {"when php is made", R"(
calls '^mkdirat.*"php"' >/opt/points; rmdir php; read -r call number </opt/points
cd /opt; stopped $call $number "cd $base/session; account mv php own; account mv backup php"
cd $base/session)"}},
       R"(good_pair; launch; cd $base/session; mkdir -m 700 backup; echo secret >backup/secret)",
       "stat -c '%U:%G %a' $(ls -d */secret | xargs dirname) php",
       "daemon\ndaemon\nroot:root 700\nroot:root 700\n");
  Play({{"empty, of a killed run", R"(
good_pair; launch; rmdir $base/session/php; mkdir -m 700 $base/session/php; launch
stat -c '%U:%G %a' $base/session/php)",
         "daemon\ndaemon\nzxqvx:zxqvx 755\n"}});
}

// The victim is a process group of root's. 143 means that the scene ended it, 138 that SIGUSR1 did.
TEST(ServiceAccount, SignalsNobodyWithTheRightToKill) {
  const std::string begin = R"(
good_pair; launch >/dev/null; setcap cap_kill+ep $launcher; mkdir evil
setsid sleep infinity & victim=$!
until [[ $(awk '{print $6}' /proc/$victim/stat) == "$victim" ]]; do :; done
evil() { printf '#!/bin/sh\n%s\n' "$2" >evil/$1; chmod 755 evil/$1; }
)";
  const std::string run = R"(
launch account env PATH=/opt/evil:$PATH $launcher any
{ kill $victim; wait $victim; } 2>/dev/null; echo $?)";
  const std::string awk = R"(evil awk "case \$1 in *2*) echo '(zxqvxd)';; *) echo $victim;; esac")";
  Play({{"false awk", begin + awk + run, "143\n"},
        {"false cat", begin + R"(evil cat "echo '1 (zxqvxd) S 1 $victim $victim'")" + run, "143\n"},
        {"the daemon", begin + "launch zxqvxd leader /opt/account $launcher any",
         "status 0, signals 1\n"}});
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

// A start that root types into a shell in a closed directory, with a file, a variable and a key of
// root's. Every command of the account's, and the start script, tell what they have of all that.
TEST(ServiceAccount, GetsNothingOfTheCallers) {
  Play({{"start", "tracer="}, {"without close_range(2)", R"(
tracer='strace -f -o /dev/null -e trace=close_range -e inject=close_range:error=ENOSYS')"}},
       "", R"sh(
mismatched_pair; chown zxqvx $base/{conf,bin,logs} $tls
cat >facts <<'end'
#!/bin/bash
exec 2>/dev/null; ((EUID)) || exit
has=$(readlink /proc/$PPID/fd/* | grep -E '^/(dev/(pts|tty)|opt/admin)' | sort -u | xargs)
attacker type && has+=' types'
: </dev/tty && has+=' terminal'
[[ $(awk '{print $6}' /proc/$$/stat) == "$(</opt/session)" ]] && has+=' session'
grep -q secret /proc/keys && has+=' key'
cat closed && has+=' closed directory'
echo "$1: $has $ROOTS" >>/opt/seen
end
mkdir -p commands $base/tomcat/bin; tool=$base/sbin/genproxyconf; script=$base/tomcat/bin/startup.sh
for name in chmod chown cp; do
  printf '#!/bin/sh\n/opt/facts %s\nexec /bin/%s "$@"\n' $name{,} >commands/$name
done
printf '#!/bin/sh\necho Proxy >%s\n' $base/conf/mod_proxy.conf >$tool
printf '#!/bin/sh\n/opt/facts script\n' >$script
chmod 755 facts commands/* $tool $script; mkdir $admin/open; : >$admin/open/closed; chmod 700 $admin
launch >/dev/null; cp -a old/* $tls # without settings, it would leave the directory
: >seen; chmod 666 seen
cat >typed <<end
exec 7>$admin/file 8</dev/tty
awk '{print \$6}' /proc/\$\$/stat >session
cd $admin/open
export PATH=/opt/commands:$PATH ROOTS=variable
$tracer attacker key $launcher
end
script -qec 'bash typed' /dev/null; sort -u seen)sh",
       "daemon\r\nchmod:  \nchown:  \ncp:  \nscript:  variable\n");
  Play({{"failures are still reported there", R"sh(
good_pair; chown -R zxqvx $base $tls; mount --bind /dev/null /bin/sh
SHELL=/bin/bash script -qec $launcher /dev/null | grep -ao "execute_linux_cmd: .*!" | sort -u)sh",
         "execute_linux_cmd: child's execv failed!\n"}});
}

// Between the change of its identity and its command, such a child still is the launcher.
TEST(ServiceAccount, SeesIntoNoChildBeforeItsCommand) {
  Play({{"each command", R"sh(
good_pair; chown zxqvx $base/{conf,bin,logs}
watch() {
  trap 'sort -u /opt/seen; exit' TERM; echo begun
  while :; do for process in /proc/[0-9]*; do
    [[ $(<$process/comm) == qvxlauncher && $(<$process/status) == *Uid:$'\t'$EUID* ]] || continue
    { echo a child; readlink $process/exe | grep qvxlauncher; } >>/opt/seen
  done; done
} 2>/dev/null
export -f watch; : >seen; chmod 666 seen; in_background zxqvx bash -c watch
strace -f -o /dev/null -e trace=execve -e inject=execve:delay_enter=200000 $launcher
end_background)sh",
         "daemon\na child\n"}});
}

// The database fails once, or from then on. Then too, no command on a path of the account's has
// root's rights, and no file of the account's is root's.
TEST(ServiceAccount, IsNotMissingWhenItCouldNotBeLookedUp) {
  Play({{"each opening of the accounts", R"(
mismatched_pair; mkdir commands; own=($base/{conf,bin,logs} $tls); chown zxqvx ${own[@]}
for name in chmod chown cp; do
  printf '#!/bin/sh\necho $(id -un) "$*" >>/opt/ran\nexec /bin/%s "$@"\n' $name >commands/$name
done
chmod 755 commands/*; run() { : >ran; chmod 666 ran; PATH=/opt/commands:$PATH "$@" >/dev/null 2>&1; }
run strace -o trace -P /etc/passwd -e trace=openat $launcher
grep -q "^zxqvx .*$tls" ran || echo no command; openings=$(grep -c openat trace)
((openings > 5)) || echo no openings
errors=(ENOMEM EIO EMFILE) times=(+ ''); for ((at = 1; at <= openings; at++)); do
  rm -f $base/{conf,bin,logs}/*.* $tls/*; cp -a old/* $tls
  run strace -o /dev/null -P /etc/passwd -e inject=openat:error=${errors[at % 3]}:when=$at${times[at % 2]} \
    $launcher
  for path in ${own[@]}; do grep "^root .*$path" ran; done
  find ${own[@]} -type f -user root ! -name '*mm.pem' ! -name mod_proxy.conf
done | sort | uniq -c)"}});
}

// Three starts whose files `plant` makes, each a name of its own for an administrator's files, in
// directories that `owner` owns. The settings are a case of their own, because they may end a
// start. So are the copies, because they are made of a pair that was read.
TEST(Links, LeadToNothingOfRootsAndToNoDevice) {
  Play({{"missing file", "owner=zxqvx plant='account ln -s $own $file'"},
        {"secret", "owner=zxqvx plant='(umask 077; echo secret >$own); account ln -s $own $file'"},
        {"hard link", "owner=zxqvx plant='(umask 077; echo secret >$own); ln $own $file'"},
        {"device", "owner=zxqvx plant='mknod -m 666 $own c 1 3; account ln -s $own $file'"},
        {"link of root's", "owner=root plant='mknod -m 666 $own c 1 3; ln -s $own $file'"}},
       "", R"(
pair /CN=other; cp -a $tls other; mismatched_pair
others=($tls/{cert,file}.pem $base/{logs/qvx.log,conf/qvxpd.conf,conf/ralolist.map,bin/php.ini})
for group in $base/conf/qvxpd.xml "$tls/certmm.pem $tls/filemm.pem" "${others[*]}"; do
  rm -rf $base/{logs,conf,bin} $tls $admin/*; mkdir $base/{logs,conf,bin} $tls
  case $group in *mm.pem) cp -a old/* $tls ;; *) cp -a other/* $tls ;; esac
  chown $owner $base/{logs,conf,bin} $tls
  for file in $group; do own=$admin/${file##*/}; rm -f $file; eval "$plant"; done
  state $admin >before; [[ $(launch) ]] || echo "$group: no end"
  state $admin | diff before - | grep -o '\./[^ ]*' | sort -u
done)");
}

TEST(Links, OfRootsToAPairThatDoesNotMatch) {
  Play({{"mismatch", R"(
mismatched_pair; mv $tls/*.pem $admin; ln -s $admin/{cert,file}.pem $tls
before=$(state $admin); launch; [[ $(state $admin) == "$before" ]] || echo changed
stat -c '%n %F' $tls/{cert,file}.pem
same old/cert.pem $tls/certmm.pem; same old/file.pem $tls/filemm.pem)",
         "daemon\n/opt/tls/cert.pem regular file\n/opt/tls/file.pem regular file\n"}});
}

// The account may have moved it there, so root does not write into it. The default replaces it.
TEST(Settings, DamagedDocumentOfRootsInADirectoryOfTheAccounts) {
  Play({{"replaced", R"(
good_pair; chown zxqvx $base/conf; echo '<cut' >$base/conf/qvxpd.xml; launch
grep -c 'has been generated' $base/logs/qvx.log; head -c 5 $base/conf/qvxpd.xml
stat -c ' %U %a' $base/conf/qvxpd.xml)",
         "daemon\n1\n<?xml zxqvx 660\n"}});
}

// The calls are slowed down, so a run that looks first and opens later meets the other file.
TEST(ServiceAccount, HoldsUpNoStart) {
  Play({{"pipe exchanged for the settings", "files=$base/conf/qvxpd.xml runs=10"},
        {"for other files", "files=\"$base/conf/debug.ini $base/webapp/a.xml\" runs=14"},
        {"for the certificate", "files=$tls/cert.pem runs=6"},
        {"for the key", "files=$tls/file.pem runs=6"}},
       "", R"(
good_pair; keep_pair; chown zxqvx $base/{conf,webapp} $tls
for ((run = 0; run < runs; run++)); do
  rm -rf $base/{conf,webapp}/* $tls/*; cp -a old/* $tls
  echo '<a/>' | tee $base/webapp/a.xml >$base/conf/qvxpd.xml; : >$base/conf/debug.ini
  for file in $files; do mkfifo $file.other; done
  in_background zxqvx attacker exchange $files
  slow="strace -o /dev/null -e trace=%file -e inject=%file:delay_exit=300"
  timeout -k 1 $hangs $slow $launcher >/dev/null 2>&1; (($? >= 124)) && echo hung && break
  end_background
done)");
  Play({{"a command without end, without pidfd_open(2)", R"(
good_pair; chown zxqvx $base/conf; mkdir commands
printf '#!/bin/sh\ncase $* in *map) sleep infinity ;; *) exec /bin/chmod "$@"; esac\n' >commands/chmod
chmod 755 commands/chmod; export PATH=/opt/commands:$PATH
launch strace -o /dev/null -e trace=pidfd_open -e inject=pidfd_open:error=ENOSYS $launcher)",
         "daemon\n"},
        {"write leases", R"(
pair /CN=other; echo '<a/>' >$base/webapp/a.xml; : >$base/conf/debug.ini
chown zxqvx $base/{webapp/a.xml,conf/debug.ini}; launch
in_background zxqvx attacker lease $tls/{cert,file}.pem \
  $base/{conf/{qvxpd.xml,qvxpd.conf,ralolist.map,debug.ini},bin/php.ini,logs/qvx.log,webapp/a.xml}
launch | grep -E '124|137'; end_background)",
         "daemon\n"}});
}

// Another account opens every file that it can at every moment of a start, and looks again at its
// end. The copy of the certificate is as cp makes it, and everybody may read the rules file.
TEST(Start, MakesNothingThatOthersMayRead) {
  Play({{"default entries", "setfacl -d -m u:65534:rwX,g:65534:rwX $folders"},
        {"set-group-ID", "chgrp 65534 $folders; chmod g+s $folders"},
        {"account missing", R"(
chgrp 65534 $tls; chmod g+s $tls; rm $tls/*
echo root:x:0:0::/:/bin/sh >passwd; mount --bind passwd /etc/passwd)"},
        {"no mask", "umask 0"}},
       R"(folders="$tls $base/conf $base/bin $base/logs"; chmod 755 $folders; mismatched_pair
echo '<a/>' >$base/conf/qvxpd.xml; chmod 660 $base/conf/qvxpd.xml)",
       R"(in_background 65534 bash -c "peek $folders"
calls=%file,fchmod,fchown
strace -f -o /dev/null -e trace=$calls -e inject=$calls:delay_exit=500 $launcher 2>/dev/null
rm -f $tls/certmm.pem
end_background | grep -vE '^$|/(certmm.pem|\.?mod_proxy.conf.*)$' | sort
getfacl -Rncps $folders | grep -v default | grep :65534: | sort -u
find $folders -name mod_proxy.conf -perm /go=w -o ! -name mod_proxy.conf -type f -perm /o=rwx)",
       "daemon\n");
}

// Whether a folder or a new file has a list cannot be told when the file system answers with an
// error.
TEST(AccessLists, CountAsThereWhenTheyCannotBeAskedFor) {
  Play({{"on new files", R"(
good_pair; setfacl -d -m u:65534:rwX $tls $base/{conf,logs}; rm $tls/*
launch strace -o /dev/null -e inject=fremovexattr:error=EIO $launcher; ls $tls $base/{conf,logs})",
         R"(Cannot start application!/opt/tls:

/opt/zx/zxqvx/conf:

/opt/zx/zxqvx/logs:
)"},
        {"on folders", R"(
good_pair; chmod 775 $base/conf; mkdir -m 755 bin; : >who; chmod 666 who
printf '#!/bin/sh\ncase "$*" in */conf/*) id -un >>/opt/who ;; esac\n' >bin/chmod
chmod 755 bin/chmod; launch; export PATH=/opt/bin:$PATH
strace -o /dev/null -e inject=getxattr,fgetxattr:error=EIO $launcher
sort -u who)",
         "daemon\ndaemon\nzxqvx\n"}});
}

TEST(ServiceAccount, LogIsItsOwnHoweverTheCreationEnds) {
  Play({{"killed at each call", R"sh(
pair /CN=other; launch; log=$base/logs/qvx.log; rm $log
calls "^($changes|clone|vfork)" '^write.*logs' >points; [[ -s points ]] || echo no points
while read -r call number; do
  rm -f $log; faulted $call $number signal=KILL >/dev/null
  [[ ! -e $log ]] || account test -r $log -a -w $log || echo "$call $number: unusable"
done <points)sh",
         "daemon\n"},
        {"link of root's to a log elsewhere", R"(
ln -s $admin/qvx.log $base/logs; pair /CN=other; launch
stat -c '%U:%G %a' $admin/qvx.log; grep -c severity $admin/qvx.log)",
         "daemon\nzxqvx:zxqvx 660\n1\n"}});
}

}  // namespace
}  // namespace qvx::test
