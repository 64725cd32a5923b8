"""The work of scripts/coverage. Branches that only exceptions take are not counted."""
import json
import os
import pathlib
import subprocess
import sys
from collections import defaultdict

ROOT = pathlib.Path(__file__).resolve().parents[1]
BUILD = ROOT / "build/coverage"
ROOMS = "companion dom launcher log os settings support tls webconf".split()
LONGEST = 3  # lines of a piece that needs no reason


def run(*command, check=True):
    subprocess.run(list(map(str, command)), check=check, stdout=subprocess.DEVNULL)


def collect(name):
    """Puts what has been counted since the last time into a report."""
    run("gcovr", "--root", ROOT, *(f"--filter={room}/" for room in ROOMS),
        "--exclude-throw-branches", "--json", BUILD / name, BUILD)
    for counters in BUILD.rglob("*.gcda"):
        counters.unlink()


def run_everything():
    run("cmake", "--preset", "coverage")
    run("cmake", "--build", "--preset", "coverage")
    for counters in BUILD.rglob("*.gcda"):
        counters.unlink()
    run("ctest", "--preset", "coverage", "--parallel", os.cpu_count(), "--label-exclude", "attacks")
    collect("tests.json")
    # The counters are a part of what is disturbed from here on. So the findings say nothing, and
    # many a count is lost: those of the other tests must not be among them.
    os.environ["GCOV_ERROR_FILE"] = "/dev/null"
    run("ctest", "--preset", "coverage", "--label-regex", "attacks")
    run("python3", "tests/torture/torture.py", "--build", BUILD, check=False)
    collect("campaigns.json")


def counts():
    """What has been counted in the source files of the rooms."""
    run("gcovr", "--root", ROOT, "--add-tracefile", BUILD / "tests.json",
        "--add-tracefile", BUILD / "campaigns.json", "--json", BUILD / "coverage.json")
    files = json.loads((BUILD / "coverage.json").read_text())["files"]
    for file in files:
        file["lines"] = [line for line in file["lines"] if not line.get("gcovr/noncode")]
    return files


def missed_pieces(file):
    piece = []
    for line in file["lines"] + [{"count": 1}]:
        if line["count"] == 0:
            piece.append(line["line_number"])
            continue
        if len(piece) > LONGEST:
            yield f"{file['file']}:{piece[0]}: {len(piece)} lines to {piece[-1]}"
        piece = []


def share(run, of):
    return f"{run:5} of {of:5} {100 * run / of:5.1f} %" if of else "-"


def main():
    os.chdir(ROOT)
    if not sys.argv[1:]:
        run_everything()
    rooms = defaultdict(lambda: [0, 0, 0, 0])
    files = counts()
    for file in files:
        branches = [branch for line in file["lines"] for branch in line["branches"]]
        numbers = [sum(line["count"] > 0 for line in file["lines"]), len(file["lines"]),
                   sum(branch["count"] > 0 for branch in branches), len(branches)]
        room = file["file"].split("/")[0]
        rooms[room] = [*map(sum, zip(rooms[room], numbers))]
    rooms["all"] = [*map(sum, zip(*rooms.values()))]
    for room, (lines, all_lines, branches, all_branches) in rooms.items():
        print(f"{room:10} lines {share(lines, all_lines)}   branches {share(branches, all_branches)}")
    if "--missed" in sys.argv:
        print(*(piece for file in files for piece in missed_pieces(file)), sep="\n")


if __name__ == "__main__":
    main()
