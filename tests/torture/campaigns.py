"""Where a run is disturbed, and how. A campaign gives the disturbances of a scenario, and says
what is judged afterwards.

What a run calls is read from its own trace, so a new call is never left out.
"""
import array
import os
import pathlib
import re
import shutil
import signal
import subprocess
import time
from collections import Counter
from dataclasses import dataclass
from functools import partial

import disks
import pairs
from judge import SETTINGS, TLS, text_of
from stage import LAUNCHER, NOTES, OPT

TRACE = pathlib.Path("/mnt/trace")
CALLERS = pathlib.Path("/mnt/callers")

# The errors that the manual pages give for what the launcher calls, as far as they can happen to
# it. A call that is missing here fails with EIO.
ERRORS = {
    "open": "EACCES EINTR ELOOP EMFILE ENFILE ENOENT ENOMEM ENOSPC EROFS EWOULDBLOCK",
    "openat2": "EAGAIN ELOOP EMFILE ENOENT ENOMEM ENOSYS",
    "read": "EINTR EIO", "write": "EDQUOT EINTR EIO ENOSPC",
    "fsync": "EINVAL EIO ENOSPC", "fallocate": "EIO ENOSPC EOPNOTSUPP",
    "rename": "EACCES EBUSY EINVAL EIO ENOSPC ENOSYS EROFS", "link": "EACCES EMLINK ENOSPC EPERM",
    "unlink": "EACCES EBUSY EIO ENOENT EROFS", "mkdir": "EACCES EDQUOT ENOSPC EROFS",
    "chown": "EIO EPERM EROFS", "chmod": "EIO EPERM EROFS", "stat": "EACCES EIO ENOENT ENOMEM",
    "statx": "EIO ENOENT ENOMEM ENOSYS", "xattr": "EIO ENODATA EOPNOTSUPP EPERM",
    "fork": "EAGAIN ENOMEM", "pipe": "EMFILE ENFILE", "dup": "EMFILE", "wait": "EINTR",
    "mmap": "ENOMEM", "flock": "EINTR ENOLCK EWOULDBLOCK", "pidfd_open": "EMFILE ENOMEM ENOSYS",
    "getdents": "EIO ENOENT", "signal": "EINVAL", "poll": "EINTR ENOMEM",
    "execve": "EACCES EAGAIN ENOENT ENOMEM", "chdir": "EACCES EIO ENOENT", "kill": "EPERM ESRCH",
    "set": "EPERM", "lock": "EAGAIN", "lseek": "EINVAL", "ioctl": "ENOTTY", "socket": "EACCES EMFILE",
    "prlimit": "EPERM", "readlink": "EIO ENOENT", "truncate": "EIO EPERM", "getrandom": "EINTR ENOSYS",
}
FAMILIES = (
    ("openat2", "openat2"), ("pidfd_open", "pidfd_open"), ("statx", "statx"),
    ("getdents", "getdents"), ("readlink", "readlink"), ("read", "p?read(v|64)?$"),
    ("write", "p?write(v|64)?$"), ("open", "open(at)?$"), ("fsync", "f(data)?sync"),
    ("rename", "rename"), ("link", "link(at)?$"), ("unlink", "unlink|rmdir"), ("mkdir", "mkdir"),
    ("chown", "chown"), ("chmod", "chmod"), ("stat", "stat|access"), ("xattr", "xattr"),
    ("fork", "clone|fork"), ("pipe", "pipe"), ("dup", "dup|fcntl"), ("wait", "wait"),
    ("mmap", "mmap|mprotect"), ("flock", "flock"), ("signal", "rt_sig"), ("poll", "poll"),
    ("execve", "execve"), ("chdir", "chdir"), ("kill", "kill"), ("set", "set.*[ug]id|setgroups"),
    ("truncate", "truncate"), ("fallocate", "fallocate"), ("lseek", "lseek"), ("ioctl", "ioctl"),
    ("socket", "socket|connect"), ("prlimit", "prlimit"), ("getrandom", "getrandom"))
# A refused brk(2) returns the old address, so an error in its place would be a kernel's lie.
NEVER_FAILS = re.compile(r"^(brk|exit|getpid|getppid|get.*[ug]id|umask|close|munmap|arch_prctl|futex|rseq|"
                         r"set_tid|set_robust|sched|uname|sysinfo|alarm|madvise)")

# Nobody else can tell whether another call than these has been made.
SHARED = re.compile(r"(?!arch_prctl|brk|futex|get|m(un)?map|mprotect|pr?limit|rt_sig|rseq|set_|sysinfo|"
                    r"umask|uname)")

# Between two of these calls nothing changes on the disk, nor does a command begin or end.
CHANGES = re.compile(r"p?write|f?(data)?sync|rename|(un)?link|f?truncate|fallocate|mkdir|rmdir|"
                     r"f?ch(mod|own)|open.*O_CREAT|clone|v?fork|wait|execve|exit")


@dataclass(frozen=True)
class Disturbance:
    """A text that names it, what stands in front of the launcher, and what else is done.

    Either function may give another one that is called after the run and gives findings."""

    name: str
    before_launcher: tuple = ()
    arrange: object = None  # called before the run
    beside: object = None   # called while the run is stopped


def inject(call, number, what):
    return ("strace", "-D", "-qq", "-o", str(NOTES), "-e", f"trace={call},execve", "-e",
            f"inject={call}:{what}:when={number}")


def calls_of(stage, pattern=re.compile("")):
    """The system calls of a run that match, as pairs of a name and its number among those of the
    name.

    Those of the dynamic loader, in front of the launcher's first call, and those of the daemon are
    left out."""
    stage.put_back()
    TRACE.unlink(missing_ok=True)
    stage.run(("strace", "-D", "-qq", "-o", str(TRACE)))
    for _ in range(100):  # the tracer ends after the run
        lines = TRACE.read_text(errors="replace").splitlines()
        if lines and lines[-1].startswith("exit_group"):
            break
        time.sleep(0.02)
    numbers = Counter()
    calls = []
    for line in lines:
        if found := re.match(r"(\w+)\(", line):
            numbers[found[1]] += 1
            call = found[1], numbers[found[1]]
            if call == ("getppid", 1):
                calls.clear()
            if pattern.match(line):
                calls.append(call)
            if call == ("execve", 2):
                break
    return calls


def errors_of(call):
    for family, pattern in FAMILIES:
        if re.search(pattern, call):
            return ERRORS[family].split()
    return ["EIO"]


def faults(stage):
    """Each call fails once, and from then on, with each of its errors."""
    for call, number in calls_of(stage):
        if NEVER_FAILS.match(call):
            continue
        for error in errors_of(call):
            yield Disturbance(f"{call} {number} {error}", inject(call, number, f"error={error}"))
            if error not in ("EINTR", "EAGAIN", "EWOULDBLOCK"):  # the next try may succeed
                yield Disturbance(f"{call} {number}+ {error}",
                                  inject(call, f"{number}+", f"error={error}"))


def starve(setting):
    return ("env", "LD_PRELOAD=/opt/libqvx_starve.so", f"QVX_STARVE_{setting}")


def lose_capabilities():
    # Nothing is preloaded into a program that gains them.
    subprocess.run(["setcap", "-q", "-r", LAUNCHER], check=False, stderr=subprocess.DEVNULL)


def allocations(stage):
    """The first allocation of each chain of callers fails, in the libraries, too."""
    stage.put_back()
    lose_capabilities()
    CALLERS.unlink(missing_ok=True)
    stage.run(starve(f"LIST={CALLERS}"))
    callers = array.array("Q", CALLERS.read_bytes() if CALLERS.exists() else b"")
    for number in dict.fromkeys(callers):
        yield Disturbance(f"allocation of {number}", starve(f"AT={number}"), lose_capabilities)


def kills(stage):
    """The run is killed in front of each call that changes something."""
    for call, number in calls_of(stage, CHANGES):
        yield Disturbance(f"{call} {number} killed", inject(call, number, "signal=KILL"))


def replace(path, text):
    new = path.with_name("editor")
    new.write_bytes(text)
    shutil.copystat(path, new)
    os.chown(new, path.stat().st_uid, path.stat().st_gid)
    new.rename(path)


EDITED = b"<a><ip-restricted-logins>True</ip-restricted-logins>" \
         b"<ip-restricted-include>10.9.9.9</ip-restricted-include></a>"


def edit_settings():
    """An editor writes another document; afterwards that document stands."""
    replace(SETTINGS, EDITED)
    return lambda: [] if text_of(SETTINGS) == EDITED else ["the edited settings are lost"]


def install_pair():
    """An administrator installs a pair; afterwards that pair stands somewhere."""
    subprocess.run(["openssl", "req", "-x509", "-nodes", "-newkey", "ec", "-pkeyopt",
                    "ec_paramgen_curve:P-256", "-subj", "/O=Installed/CN=installed", "-keyout",
                    "/mnt/file.pem", "-out", "/mnt/cert.pem"], check=True, capture_output=True)
    for name in ("cert.pem", "file.pem"):
        shutil.copyfile(f"/mnt/{name}", TLS / name)

    def lost():
        return [f"the installed {name} is lost" for name, aside in
                (("cert.pem", "certmm.pem"), ("file.pem", "filemm.pem"))
                if text_of(pathlib.Path("/mnt") / name) not in
                (text_of(TLS / name), text_of(TLS / aside))]
    return lost


def stop(call, number):
    return inject(call, number, "signal=STOP")


def races(stage):
    """The run is stopped at each call that others can see, while one of them does all his work."""
    others = [("another start", lambda: stage.start() and None)]
    if "settings" in stage.scenario.keeps:
        others.append(("an editor", edit_settings))
    others.append(("an installer", install_pair))
    for call, number in calls_of(stage, SHARED):
        for name, beside in others:
            yield Disturbance(f"{call} {number} and {name}", stop(call, number), beside=beside)


def rounds(stage):
    """Ten runs at once."""
    def nine_more():
        others = [stage.begin() for _ in range(9)]
        return lambda: ["another run hangs" for other in others if stage.end_of(other)[0] is None]

    return [Disturbance(f"round {number}", arrange=nine_more) for number in range(1, 301)]


def full(stage):
    """Each amount of pages and of files is left that a run may miss, in each folder and in all."""
    for place, pages, inodes in disks.amounts(stage):
        yield Disturbance(f"{place} with {pages} pages and {inodes} files left",
                          arrange=partial(disks.fill, stage, place, pages, inodes))


def power(stage):
    """The power is cut at each call that changes a file."""
    for call, number, what, cut in disks.cuts(stage, calls_of(stage, CHANGES)):
        yield Disturbance(f"{call} {number} {what}", stop(call, number), beside=cut)


def pair_kinds(_):
    """Certificate and key of every kind, in every form, and other things in their places."""
    kinds = pairs.kinds()
    for name, texts in kinds.items():
        yield Disturbance(name, arrange=partial(pairs.lay, texts, name))
    for name, chosen, maker in pairs.entries(kinds["EC"]):
        yield Disturbance(name, arrange=partial(pairs.lay_entry, kinds["EC"], chosen, maker))


def pair_damage(_):
    """Certificate and key cut at each byte, without it, and with a bit of it flipped."""
    for kind, pair in (("EC", pairs.make("ec", pairs.EC)), ("RSA", pairs.make("rsa", pairs.rsa(2048)))):
        for name, texts in pairs.damaged(pair):
            yield Disturbance(f"{kind}: {name}", arrange=partial(pairs.lay, texts))


@dataclass(frozen=True)
class Campaign:
    """`share` is that of the disturbances which the shorter forms play."""

    disturbances: object
    judged: tuple
    share: float = 1
    scenarios: tuple = ()  # none: all of them


CAMPAIGNS = {
    "faults": Campaign(faults, ("end", "files", "daemon", "next")),
    "allocations": Campaign(allocations, ("end", "files", "place", "daemon", "next")),
    "kills": Campaign(kills, ("files", "place", "daemon", "next", "exact")),
    "races": Campaign(races, ("end", "next")),
    "rounds": Campaign(rounds, ("end", "files", "place", "daemon", "next"), 0.1),
    "full": Campaign(full, ("end", "files", "place", "texts", "daemon", "next", "exact")),
    "power": Campaign(power, ("files", "place", "next", "exact")),
    "pairs": Campaign(pair_kinds, ("end", "next"), 4, ("foreign certificate",)),
    "damage": Campaign(pair_damage, ("end", "next"), 4, ("foreign certificate",)),
}
