"""Campaigns that are existing tests with a larger count."""
import os
import pathlib
import subprocess

TESTS = pathlib.Path(__file__).resolve().parents[1]
CORES = os.cpu_count()


def foretellings(form, build):
    count = {"short": "80", "ci": "300", "long": "10000"}[form]
    yield {"QVX_FORETELLINGS": count}, [build / "tests/companion/companion_tests",
                                        "--gtest_filter=*Foretellings*"]


def space(form, build):
    """Every range of a block of addresses, in a part for each core."""
    prefix = {"short": 24, "ci": 20, "long": 16}[form]
    for part in range(CORES):
        yield {"QVX_EVERY_RANGE": f"{prefix} {part} {CORES}"}, [
            build / "tests/fuzz/fuzz_restriction"]


def records(form, build):
    """Records of the log, by writers that are killed."""
    count = {"short": "2000", "ci": "20000", "long": "1000000"}[form]
    yield {"QVX_RECORDS": count}, [build / "tests/log/log_tests", "--gtest_filter=*KilledWriters*"]


def fuzz(form, build):
    """Each fuzz target for a while, with sanitizers; scripts/torture has built them with Clang."""
    folder = build.parent / "fuzz"
    for seeds in sorted((TESTS / "fuzz/corpus").iterdir()):
        found = folder / "found" / seeds.name
        found.mkdir(parents=True, exist_ok=True)
        yield {}, [folder / "tests/fuzz" / f"fuzz_{seeds.name}", f"-artifact_prefix={found}/",
                   f"-max_total_time={7200 if form == 'long' else 10}", "-print_final_stats=1",
                   found, seeds]


PROGRAMS = {"foretellings": foretellings, "space": space, "records": records, "fuzz": fuzz}


def run(work):
    """Returns nothing, or the name of a program that failed, the end of its output, its command."""
    name, variables, command = work
    result = subprocess.run(list(map(str, command)), env={**os.environ, **variables}, check=False,
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT)
    words = [f"{key}='{value}'" for key, value in variables.items()] + list(map(str, command))
    output = result.stdout.decode(errors="replace")[-2000:]
    return f"{name}: {output}\n  {' '.join(words)}" if result.returncode else ""
