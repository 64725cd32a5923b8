"""A stage of its own for each worker: namespaces, the installation, and its state before a run.

A worker plays one scenario. The shell functions of tests/attacks lay the installation out under
/opt, once; before each run that state is put back.
"""
import os
import pathlib
import shlex
import shutil
import subprocess

HERE = pathlib.Path(__file__).resolve().parent
ATTACKS = HERE.parent / "attacks"
OPT = pathlib.Path("/opt")
BEFORE = pathlib.Path("/mnt/before")
LAUNCHER = "/opt/zx/zxqvx/sbin/qvxlauncher"
NOTES = pathlib.Path("/mnt/notes")  # of the tracer: the call that is disturbed, and each execve
ERRORS = pathlib.Path("/mnt/errors")  # what the run has written on standard error
CHANGING = ("zx", "tls", "admin", "log", "old")  # what a run may change
HANGS = 60  # seconds; no start takes nearly as long


class Stage:
    """The installation of a scenario. It must be made in a mount namespace of the worker's own."""

    def __init__(self, scenario, build):
        os.umask(0o022)
        self.scenario = scenario
        self.mounts = []
        self.disk = None  # what stands below /opt in the place of the files, if anything
        programs = {"launcher": build / "launcher/qvxlauncher",
                    "attacker": build / "tests/attacks/attacker",
                    "library": build / "tests/attacks/libqvx_starve.so",
                    "zxqvxd": HERE.parent / "harness/zxqvxd"}
        prelude = "".join(f"{name}={shlex.quote(str(path))}\n" for name, path in programs.items())
        # Their text, because a checkout below /opt is out of sight then.
        prelude += (ATTACKS / "stage").read_text() + (ATTACKS / "faults").read_text()
        subprocess.run(["bash", "-c", prelude + scenario.prepare + "\ntrue"], check=True,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
        if not (OPT / "old").exists() and (OPT / "tls/cert.pem").exists():
            shutil.copytree(OPT / "tls", OPT / "old")
        subprocess.run(["mount", "-t", "tmpfs", "none", "/mnt"], check=True)
        BEFORE.mkdir()
        self._copy(OPT, BEFORE)
        self.environment = {"PATH": os.environ["PATH"] + ":/opt", "LC_ALL": "C",
                            "SYSMGTZX_LOG_DIR": "/opt/log", "SSL_SHARE_BASE_DIR": "/opt/tls"}

    @staticmethod
    def _copy(source, target):
        present = [str(source / name) for name in CHANGING if (source / name).exists()]
        subprocess.run(["cp", "-a", "--"] + present + [str(target)], check=True)

    def put_back(self):
        """Makes everything as it was before the first run."""
        for sign in (NOTES, OPT / "hung"):
            sign.unlink(missing_ok=True)
        while self.mounts:
            subprocess.run(["umount", self.mounts.pop()], check=True)
        if self.disk:
            self.disk.put_back()
            return
        for name in CHANGING:
            shutil.rmtree(OPT / name, ignore_errors=True)
        self._copy(BEFORE, OPT)

    def clear(self):
        """Leaves the disk of a campaign."""
        if self.disk:
            self.disk.remove()
        self.disk = None

    def mount(self, *what):
        """Mounts until the next time that everything is put back. The last word is the place."""
        subprocess.run(["mount", *what], check=True)
        self.mounts.append(what[-1])

    def begin(self, before_launcher=()):
        """Starts the scenario's command, with `before_launcher` in front of the launcher."""
        launch = [*before_launcher, LAUNCHER]
        command = [part for word in self.scenario.run
                   for part in (launch if word == "$launcher" else [word])]
        with ERRORS.open("wb") as errors:
            return subprocess.Popen(
                command, cwd="/", env=self.environment, stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE, stderr=errors)

    @staticmethod
    def end_of(process):
        """Returns the wait status of a run, and what it printed on standard output."""
        try:
            output, _ = process.communicate(timeout=HANGS)
        except subprocess.TimeoutExpired:
            process.kill()
            process.communicate()
            return None, "hung"
        return process.returncode, output.decode("utf-8", "replace").strip()

    def run(self, before_launcher=()):
        return self.end_of(self.begin(before_launcher))

    @staticmethod
    def notes():
        return NOTES.read_text(errors="replace") if NOTES.exists() else ""

    def start(self):
        """What an undisturbed start prints."""
        with subprocess.Popen([LAUNCHER], cwd="/", env=self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as process:
            return self.end_of(process)[1]
