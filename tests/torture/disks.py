"""Disks that are full, and disks that lose what was not synchronised."""
import os
import pathlib
import shutil
import subprocess

from stage import OPT

PRISTINE = pathlib.Path("/mnt/pristine")
IMAGE = pathlib.Path("/mnt/disk")
CUT = pathlib.Path("/mnt/cut")

# The file system helps as little as one may: it writes names without the data of their files, no
# sooner than it is asked to, and a rename waits for nothing.
OPTIONS = "loop,data=writeback,noauto_da_alloc,commit=9999"

PLACES = ("", "tls", "zx/zxqvx/conf", "zx/zxqvx/bin", "zx/zxqvx/logs")  # below /opt
PAGE = 4096


def run(*command):
    subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)


def are_possible():
    trial = ("mount -t tmpfs none /mnt && truncate -s 4M /mnt/disk && mkfs.ext4 -q /mnt/disk && "
             f"mount -o {OPTIONS} /mnt/disk /mnt")
    return subprocess.run(["unshare", "--mount", "sh", "-c", trial], check=False,
                          capture_output=True).returncode == 0


class Disk:
    """A file system in an image that holds all of /opt."""

    def __init__(self):
        PRISTINE.unlink(missing_ok=True)
        with open(PRISTINE, "wb") as image:
            image.truncate(32 << 20)
        run("mkfs.ext4", "-q", "-b", "1024", "-m", "0", "-E", "lazy_itable_init=0", PRISTINE)
        run("mkdir", "-p", "/mnt/filling")
        run("mount", "-o", "loop", PRISTINE, "/mnt/filling")
        run("cp", "-a", "--", f"{OPT}/.", "/mnt/filling")
        run("umount", "/mnt/filling")
        self.is_mounted = False

    def put_back(self):
        self.remove()
        self._show(PRISTINE, IMAGE)

    def remove(self):
        if self.is_mounted:
            run("umount", OPT)
        self.is_mounted = False

    def _show(self, source, image):
        run("cp", "--sparse=always", source, image)
        run("mount", "-o", OPTIONS, image, OPT)
        self.is_mounted = True

    def cut(self, names_too):
        """Keeps what the disk has at this moment, with all names when somebody has just
        synchronised a file of his own. Afterwards nothing else is there."""
        if names_too:
            with open(OPT / "somebody's", "wb") as file:
                file.write(b"text")
                file.flush()
                os.fsync(file)
        run("cp", "--sparse=always", IMAGE, CUT)

        def show_cut():
            self.remove()
            self._show(CUT, IMAGE)
            return []
        return show_cut


def cuts(stage, calls):
    """Pairs of a call, its number and a function that cuts the power there."""
    stage.put_back()
    stage.disk = Disk()
    for call, number in calls:
        yield call, number, "as synchronised", lambda: stage.disk.cut(False)
        yield call, number, "with the names", lambda: stage.disk.cut(True)


def used(place):
    status = os.statvfs(place)
    return status.f_blocks - status.f_bfree, status.f_files - status.f_ffree


def limit(place, pages, inodes):
    run("mount", "-o", f"remount,size={pages * PAGE},nr_inodes={inodes}", place)


def put_on_disk(stage, place):
    """Puts a folder on a file system of its own; all of them stand on one already."""
    if place == OPT:
        return
    shutil.rmtree("/mnt/side", ignore_errors=True)
    run("cp", "-a", place, "/mnt/side")
    stage.mount("-t", "tmpfs", "-o", "mode=755", "none", str(place))
    run("cp", "-a", "/mnt/side/.", place)


def fill(stage, place, free_pages, free_inodes):
    """Leaves so much on the disk of a place. Afterwards there is room again."""
    put_on_disk(stage, place)
    pages, inodes = used(place)
    limit(place, pages + free_pages, inodes + free_inodes)

    def make_room():
        limit(place, 1 << 18, 1 << 16)
        return []
    return make_room


def largest_file(folder):
    return max(path.stat().st_size for path in folder.rglob("*") if path.is_file())


def amounts(stage):
    """Places, and the amounts of free pages and files that a run there may miss."""
    for name in PLACES:
        place = OPT / name
        stage.put_back()
        put_on_disk(stage, place)
        before = used(place)
        stage.run()
        grown = [max(0, now - then) for now, then in zip(used(place), before)]
        # What is made beside an old file needs as much as that.
        pages = grown[0] + largest_file(OPT / "zx/zxqvx/conf") // PAGE + 2
        stage.put_back()
        first = 0 if before[0] else 1  # a tmpfs of no page has no limit
        yield from ((place, free, 1 << 10) for free in range(first, pages + 1))
        yield from ((place, 1 << 10, free) for free in range(grown[1] + 3))
