"""The work of scripts/coverage."""
import json
import os
import pathlib
import shutil
import subprocess
import sys
from collections import Counter, defaultdict

ROOT = pathlib.Path(__file__).resolve().parents[1]
BUILD = ROOT / "build/coverage"
COUNTERS = BUILD / "counters"
ROOMS = "companion dom launcher log os settings support tls webconf".split()
LONGEST = 3  # lines of a piece that needs no reason


def run_everything():
    subprocess.run(["cmake", "--preset", "coverage"], check=True)
    subprocess.run(["cmake", "--build", "--preset", "coverage"], check=True)
    shutil.rmtree(COUNTERS, ignore_errors=True)
    COUNTERS.mkdir()
    # What the service account runs is counted, too, whatever the file-creation mask of the run.
    everybody = ",".join(f"{whose}::rwx" for whose in ("u", "g", "o", "d:u", "d:g", "d:o"))
    subprocess.run(["setfacl", "--modify", everybody, COUNTERS], check=True)
    subprocess.run(["ctest", "--preset", "coverage", "--parallel", str(os.cpu_count()),
                    "--label-exclude", "torture"], check=True)
    for campaigns in (["--ci"], ["--long", "--scenario", "mismatched pair",
                                 "faults", "allocations", "races"]):
        subprocess.run([sys.executable, ROOT / "tests/torture/torture.py", "--build", BUILD,
                        *campaigns], check=True)


def counts():
    """For each source file of the rooms: the runs of each line, and those of each branch, by its place
    and outcome."""
    profile = BUILD / "counters.profdata"
    subprocess.run(["llvm-profdata-19", "merge", "--sparse", *COUNTERS.glob("*.profraw"),
                    "--output", profile], check=True)
    programs = [BUILD / "launcher/qvxlauncher", BUILD / "companion/qvxctl",
                *BUILD.glob("tests/*/*_tests")]

    def export(*how):
        return subprocess.run(
            ["llvm-cov-19", "export", *how, "--instr-profile", profile, programs[0],
             *(f"--object={program}" for program in programs[1:]), *(ROOT / room for room in ROOMS)],
            check=True, stdout=subprocess.PIPE, text=True).stdout

    files = defaultdict(lambda: (Counter(), Counter()))
    for line in export("--format=lcov", "--skip-branches").splitlines():
        kind, _, rest = line.partition(":")
        if kind == "SF":
            file = rest
        elif kind == "DA":
            number, count = map(int, rest.split(","))
            files[file][0][number] += count
    for file in json.loads(export("--skip-functions", "--skip-expansions"))["data"][0]["files"]:
        for branch in file["branches"]:  # one for each instantiation of a template
            place, runs = tuple(branch[:4]), branch[4:6]
            for outcome, count in enumerate(runs):
                files[file["filename"]][1][place, outcome] += count
    return {pathlib.Path(file).relative_to(ROOT): counted for file, counted in files.items()}


def missed_pieces(file, lines):
    piece = []
    for number, count in [*sorted(lines.items()), (0, 1)]:
        if count == 0:
            piece.append(number)
            continue
        if len(piece) > LONGEST:
            yield f"{file}:{piece[0]}: {len(piece)} lines to {piece[-1]}"
        piece = []


def share(run, of):
    return f"{run:5} of {of:5} {100 * run / of:5.1f} %" if of else "-"


def main():
    os.chdir(ROOT)
    if not sys.argv[1:]:
        run_everything()
    rooms = defaultdict(lambda: [0, 0, 0, 0])
    files = counts()
    for file, (lines, branches) in files.items():
        numbers = [sum(count > 0 for count in lines.values()), len(lines),
                   sum(count > 0 for count in branches.values()), len(branches)]
        rooms[file.parts[0]] = [*map(sum, zip(rooms[file.parts[0]], numbers))]
    rooms["all"] = [*map(sum, zip(*rooms.values()))]
    for room, (lines, all_lines, branches, all_branches) in rooms.items():
        print(f"{room:10} lines {share(lines, all_lines)}   branches {share(branches, all_branches)}")
    if "--missed" in sys.argv:
        print(*(piece for file, (lines, _) in files.items()
                for piece in missed_pieces(file, lines)), sep="\n")


if __name__ == "__main__":
    main()
