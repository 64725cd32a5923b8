"""The installations that are tormented, each a few lines for the shell functions of tests/attacks.

`prepare` lays the installation out. `run` is the command. `ends` are the ends that the launcher
may have when nothing is disturbed. `keeps` names what must survive every disturbance: the old pair
("pair"), the settings document ("settings").
"""
from dataclasses import dataclass

DAEMON = "daemon"
NO_TLS = "Cannot start application!"
NO_CONTEXT = "SSL_CTX_new() failure\n" + NO_TLS  # the library lacks memory
NO_SETTINGS = ('Invalid configuration file (/opt/zx/zxqvx/conf/qvxpd.xml). Ask your system '
               'administrator to run "/opt/zx/zxqvx/qvxconfig/qvxconfig.sh".')

RESTRICTED = """cat >$base/conf/qvxpd.xml <<'END'
<a><ip-restricted-logins>True</ip-restricted-logins>
<ip-restricted-include>10.1.2.3</ip-restricted-include>
<ip-restricted-exclude>10.1.2.4-10.1.2.9</ip-restricted-exclude>%s</a>
END
chown zxqvx:zxqvx $base/conf/qvxpd.xml; chmod 660 $base/conf/qvxpd.xml
"""
STEADY = "good_pair; " + RESTRICTED % "" + "launch >/dev/null\n"
LONG = ";".join(f"10.{i // 256}.{i % 256}.1-10.{i // 256}.{i % 256}.9" for i in range(400))
OF_ACCOUNT = "chown -R zxqvx:zxqvx $base/{conf,bin,logs} $tls\n"


@dataclass(frozen=True)
class Scenario:
    prepare: str
    run: tuple = ("$launcher",)
    keeps: tuple = ("settings",)
    ends: tuple = (DAEMON,)


UNDER_DAEMON = ("zxqvxd", "worker")
BY_ACCOUNT = ("zxqvxd", "worker", "setpriv", "--reuid=zxqvx", "--regid=zxqvx", "--clear-groups")
APPLIED = ("status 0, signals 1",)

SCENARIOS = {
    "first start": Scenario("", keeps=()),
    "steady start": Scenario(STEADY, keeps=("pair", "settings")),
    "reconfigure": Scenario(STEADY, UNDER_DAEMON + ("$launcher", "any"), ("pair", "settings"),
                            APPLIED),
    "reconfigure by the account": Scenario(
        STEADY + "setcap cap_kill+ep $launcher", BY_ACCOUNT + ("$launcher", "any"),
        ("pair", "settings"), APPLIED),
    "permissions": Scenario(
        STEADY + "echo text >$admin/file; chmod 600 $admin/file",
        ("env", "QVXPERMS=755", "QVXFPATH=/opt/admin/file") + UNDER_DAEMON +
        ("$launcher", "any", "any"), ("pair", "settings"), ("status 0, signals 0",)),
    "corrupt settings": Scenario(STEADY + "echo '<cut' >$base/conf/qvxpd.xml", keeps=("pair",)),
    "mismatched pair": Scenario(STEADY + "mismatched_pair", keeps=("aside", "settings")),
    "foreign certificate": Scenario(
        "pair /OU=Elsewhere/CN=other; " + RESTRICTED % "" + "launch >/dev/null",
        keeps=("pair", "settings")),
    "renamed host": Scenario(
        "pair '/OU=Brennick-Talvar Network Management Software (QVX)/CN=other'; " +
        RESTRICTED % "<multihomed>host1;10.0.0.5</multihomed>"),
    "container needed": Scenario(
        STEADY + r"""mkdir -p $base/tomcat/bin
printf '#!/bin/sh\necho Proxy >/opt/zx/zxqvx/conf/mod_proxy.conf\n' >$base/sbin/genproxyconf
printf '#!/bin/sh\nexit 0\n' >$base/tomcat/bin/startup.sh
chmod 755 $base/sbin/genproxyconf $base/tomcat/bin/startup.sh
""", keeps=("pair", "settings")),
    "long lists": Scenario(
        "good_pair; " + RESTRICTED % f"<ip-binding-list>{LONG}</ip-binding-list>",
        keeps=("pair", "settings")),
    "wrapping log": Scenario(
        "pair /CN=other; " + RESTRICTED % "" + """printf '%08X\\n' 199990 >$base/logs/qvx.log
head -c 199981 /dev/zero | tr '\\0' x >>$base/logs/qvx.log
chown zxqvx:zxqvx $base/logs/qvx.log; chmod 660 $base/logs/qvx.log
""", keeps=("pair", "settings")),
    "folders of the account": Scenario(STEADY + OF_ACCOUNT, keeps=("pair", "settings")),
}
