"""What must hold after a run, however it was disturbed."""
import functools
import hashlib
import os
import pathlib
import pwd
import re
import stat
import subprocess
import time

from scenarios import DAEMON, NO_CONTEXT, NO_SETTINGS, NO_TLS
from stage import ERRORS, OPT

BASE = pathlib.Path("/opt/zx/zxqvx")
TLS = pathlib.Path("/opt/tls")
ADMIN = pathlib.Path("/opt/admin")
SETTINGS = BASE / "conf/qvxpd.xml"
CONFIGURATION = BASE / "conf/qvxpd.conf"

# What the service account may own, relative to /opt; the names of half-made files are added.
GIVEN = {"zx/zxqvx/conf/qvxpd.xml", "zx/zxqvx/conf/qvxpd.conf", "zx/zxqvx/conf/ralolist.map",
         "zx/zxqvx/bin/php.ini", "zx/zxqvx/logs/qvx.log", "zx/zxqvx/session",
         "zx/zxqvx/session/php", "tls/cert.pem", "tls/file.pem"}
OPEN_TO_ALL = re.compile(r"(^|/)(certmm\.pem|\.?mod_proxy\.conf.*|session|php)$")
HALF_MADE = re.compile(r"^\.(.+)\.\d+\.(new|old|undo)$")


def text_of(path):
    try:
        return path.read_bytes()
    except OSError:
        return None


def state(*folders):
    """Type, owner, mode and content of everything below the folders."""
    found = {}
    for folder in folders:
        for top, names, files in os.walk(folder):
            for name in names + files:
                path = pathlib.Path(top) / name
                status = path.lstat()
                content = hashlib.sha256(text_of(path) or b"").hexdigest() \
                    if stat.S_ISREG(status.st_mode) else ""
                found[str(path.relative_to(OPT))] = (
                    stat.filemode(status.st_mode), status.st_uid, status.st_gid, content)
    return found


def rules_of(configuration):
    return re.findall(rb"^(?:allow|deny) from.*$", configuration or b"", re.MULTILINE)


@functools.lru_cache(maxsize=8)
def belong_together(certificate, key):
    """Whether two texts have the same public key."""
    keys = [subprocess.run(["openssl", *command], input=text or b"", capture_output=True,
                           check=False).stdout
            for command, text in ((("x509", "-noout", "-pubkey"), certificate),
                                  (("pkey", "-pubout"), key))]
    return keys[0] and keys[0] == keys[1]


class Judge:
    """Knows a scenario as it is before and after an undisturbed run."""

    def __init__(self, stage):
        self.stage = stage
        self.account = pwd.getpwnam("zxqvx").pw_uid
        stage.put_back()
        self.before = state(OPT / "zx", TLS, ADMIN)
        self.settings = text_of(SETTINGS)
        self.old_pair = [text_of(OPT / "old" / name) for name in ("cert.pem", "file.pem")]
        self.end = stage.run()
        self.admin = state(ADMIN)
        if stage.start() != DAEMON:
            raise RuntimeError("an undisturbed start does not end in the daemon")
        self.after = state(OPT / "zx", TLS)
        self.rules = rules_of(text_of(CONFIGURATION))
        if self.end[1] not in stage.scenario.ends:
            raise RuntimeError(f"an undisturbed run ends with {self.end}")

    def of_end(self, code, output):
        """Whether the run ended as the launcher may end."""
        if code is None:
            return ["hangs"]
        status = re.fullmatch(r"(?s)(.*?)status (\d+), signals [01]", output)
        if status:
            output, code = status[1].strip(), int(status[2])
            code = code if code < 128 else 128 - code
        # The launcher ends itself when no key can be made. The allocator, which says why, may not.
        aborts = "pair" not in self.stage.scenario.keeps and not text_of(ERRORS)
        allowed = (output == DAEMON and code == 0 or output in (NO_TLS, NO_CONTEXT) and code == 0 or
                   output == NO_SETTINGS and code == 1 or output == "" and code in (1, 127) or
                   status and output == "" and code == 0 or aborts and code == -6 or
                   (OPT / "hung").exists())  # the TLS library waits for itself: docs/limits.md
        return [] if allowed else [f"ends with {code}: {output[:100]!r}"]

    def of_files(self, pair_stays):
        """Whether nothing was lost, given away or opened, and a pair that fitted is in its place."""
        findings = []
        now = state(OPT / "zx", TLS)
        if "settings" in self.stage.scenario.keeps and text_of(SETTINGS) != self.settings:
            findings.append("settings lost")
        if {"pair", "aside"} & set(self.stage.scenario.keeps):
            findings += self._lost_pair(pair_stays and "pair" in self.stage.scenario.keeps)
        for path, (mode, user, _, _) in now.items():
            name = HALF_MADE.sub(r"\1", path.rsplit("/", 1)[-1])
            meant = path.rsplit("/", 1)[0] + "/" + name
            known = self.before.get(path)
            is_copy = path.endswith("mm.pem")  # of a file that is the account's, or linked to it
            if user == self.account and meant not in GIVEN and not is_copy and \
                    not (known and known[1] == user):
                findings.append(f"{path} was given to the account")
            if mode[7:] != "---" and not known and not OPEN_TO_ALL.search(path):
                findings.append(f"{path} is open to all: {mode}")
        now_admin = state(ADMIN)
        if now_admin not in (self.admin, {k: v for k, v in self.before.items()
                                          if k.startswith("admin/")}):
            findings.append("a file of an administrator changed")
        return findings

    def _lost_pair(self, stays):
        places = [names[:1] if stays else names
                  for names in (("cert.pem", "certmm.pem"), ("file.pem", "filemm.pem"))]
        return [f"old {names[0]} lost" for names, old in zip(places, self.old_pair)
                if old not in [text_of(TLS / name) for name in names]]

    def of_texts(self):
        """Whether what is written whole is the old text or the new one."""
        now = state(OPT / "zx")
        return [f"{path} is neither old nor new"
                for path in ("zx/zxqvx/conf/qvxpd.conf", "zx/zxqvx/bin/php.ini")
                if (now.get(path) or ())[3:] not in
                [(then.get(path) or ())[3:] for then in (self.before, self.after)]]

    def of_daemon(self, output):
        """Whether a daemon that was started lets in nobody that the settings refuse."""
        if output != DAEMON or not self.rules or "settings" not in self.stage.scenario.keeps:
            return []
        now = rules_of(text_of(CONFIGURATION))
        closed = not any(rule.startswith(b"allow") for rule in now)
        return [] if closed or now == self.rules else ["the daemon lets others in"]

    def of_processes(self):
        """Whether all processes of the run have ended. Orphans are this process's children."""
        for _ in range(100):
            try:
                while os.waitpid(-1, os.WNOHANG) != (0, 0):
                    pass
                time.sleep(0.02)
            except ChildProcessError:
                return []
        return ["a process is left"]

    def of_next_start(self, exact=True):
        """Whether an undisturbed start makes everything as if nothing had happened."""
        end = self.stage.start()
        if end != DAEMON:
            return [f"the next start ends with {end[:100]!r}"]
        findings = []
        now = state(OPT / "zx", TLS)
        for path in sorted(set(now) | set(self.after)):
            content_counts = not path.endswith(".pem")
            # There when there was something for them. A half-made log goes at the next record.
            aside = path.endswith(("mm.pem", "qvx.log")) or "/.qvx.log." in path
            was, is_now = self.after.get(path), now.get(path)
            same = was == is_now if content_counts else (was or ())[:3] == (is_now or ())[:3]
            if exact and not same and not aside:
                findings.append(f"after the next start, {path} is {is_now} and not {was}")
        fits = belong_together(*(text_of(TLS / name) for name in ("cert.pem", "file.pem")))
        return findings + ([] if fits else ["the pair does not fit"])
