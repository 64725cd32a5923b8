#!/usr/bin/env python3
"""Disturbs runs of the launcher at every point, and judges what is left.

The driver starts a worker for each scenario and part of a campaign, in namespaces of its own. A
worker prints one line of JSON for each finding, and one at its end.
"""
import argparse
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor

from campaigns import CAMPAIGNS
from judge import Judge
from scenarios import SCENARIOS
from stage import HANGS, Stage

ROOT = pathlib.Path(__file__).resolve().parents[2]
FORMS = {"short": 12, "ci": 60, "long": None}  # disturbances of a scenario in a campaign


def stopped_run(stage, disturbance):
    """Runs beside `disturbance.beside`, which works while the run is stopped."""
    process = subprocess.Popen(
        [*disturbance.before_launcher, "/opt/zx/zxqvx/sbin/qvxlauncher"], cwd="/",
        env=stage.environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL)
    holds = list
    while process.poll() is None:
        if "stopped by SIGSTOP" in stage.notes():
            holds = disturbance.beside()
            os.kill(process.pid, signal.SIGCONT)
            break
        time.sleep(0.005)
    try:
        output, _ = process.communicate(timeout=HANGS)
    except subprocess.TimeoutExpired:
        process.kill()
        return None, "hung", holds
    return process.returncode, output.decode("utf-8", "replace").strip(), holds


def play(stage, judge, campaign, disturbance):
    """Returns the findings of one disturbed run."""
    stage.put_back()
    holds = list
    if disturbance.beside:
        code, output, holds = stopped_run(stage, disturbance)
    else:
        code, output = stage.run(disturbance.before_launcher)
    findings = judge.of_processes()
    if campaign != "kills":
        # What lasts disturbs the daemon, too.
        is_daemons = "+" in disturbance.name and re.search(r"zxqvxd.* = 0$", stage.notes(), re.M)
        findings += [] if is_daemons else judge.of_end(code, output)
    if campaign == "races":
        findings += holds()
        edited = "editor" in disturbance.name
        return findings + ([] if edited else judge.of_next_start(exact=False))
    findings += judge.of_files() + judge.of_daemon(output)
    return findings + judge.of_next_start(exact=campaign == "kills")


def work(arguments):
    """A worker: plays each disturbance whose number belongs to its part."""
    stage = Stage(SCENARIOS[arguments.scenario], arguments.build)
    judge = Judge(stage)
    disturbances = CAMPAIGNS[arguments.campaign](stage)
    if arguments.only:
        chosen = (one for one in disturbances if one.name == arguments.only)
    else:
        every = list(disturbances)
        step = 1 if arguments.most is None else max(1, len(every) // arguments.most)
        chosen = every[::step]
    runs = 0
    for number, disturbance in enumerate(chosen):
        if number % arguments.parts != arguments.part:
            continue
        runs += 1
        for finding in play(stage, judge, arguments.campaign, disturbance):
            print(json.dumps({"at": disturbance.name, "finding": finding}), flush=True)
    print(json.dumps({"runs": runs}), flush=True)


def start_worker(arguments, campaign, scenario, part, parts):
    command = ["unshare", "--mount", "--pid", "--fork", "--mount-proc", "--kill-child",
               sys.executable, __file__, "--worker", "--build", str(arguments.build),
               "--scenario", scenario, "--part", str(part), "--parts", str(parts), campaign]
    command += ["--only", arguments.only] if arguments.only else []
    command += ["--" + arguments.form]
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    lines = [json.loads(line) for line in result.stdout.decode().splitlines()]
    if result.returncode != 0 or not lines or "runs" not in lines[-1]:
        lines.append({"at": "the worker itself", "finding": result.stderr.decode()[-800:]})
    return lines


def drive(arguments):
    """Plays the campaigns and returns the number of findings."""
    parts = os.cpu_count()
    found = 0
    for campaign in arguments.campaigns or CAMPAIGNS:
        runs = 0
        begin = time.monotonic()
        for scenario in [arguments.scenario] if arguments.scenario else SCENARIOS:
            if campaign == "races" and SCENARIOS[scenario].run != ("$launcher",):
                continue  # there the launcher is not the driver's own child
            with ThreadPoolExecutor(parts) as pool:
                results = pool.map(
                    lambda part: start_worker(arguments, campaign, scenario, part, parts),
                    range(parts))
            for line in (line for lines in results for line in lines):
                runs += line.get("runs", 0)
                if "finding" in line:
                    found += 1
                    print(f"FOUND {campaign}: {scenario}: {line['at']}: {line['finding']}\n"
                          f"  scripts/torture {campaign} --scenario '{scenario}' "
                          f"--only '{line['at']}'", flush=True)
        print(f"{campaign}: {runs} disturbed runs in {time.monotonic() - begin:.0f} s", flush=True)
    return found


def main():
    parser = argparse.ArgumentParser(prog="scripts/torture", description=__doc__.split("\n")[0])
    parser.add_argument("campaigns", nargs="*", metavar="campaign",
                        help="of " + ", ".join(CAMPAIGNS) + " (all)")
    parser.add_argument("--scenario", choices=SCENARIOS, help="only this one")
    parser.add_argument("--only", metavar="POINT", help="only the disturbance of this name")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/release",
                        help=argparse.SUPPRESS)
    parser.add_argument("--worker", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--part", type=int, default=0, help=argparse.SUPPRESS)
    parser.add_argument("--parts", type=int, default=1, help=argparse.SUPPRESS)
    forms = parser.add_mutually_exclusive_group()
    for form in FORMS:
        forms.add_argument("--" + form, dest="form", action="store_const", const=form)
    arguments = parser.parse_args()
    arguments.form = arguments.form or "short"
    arguments.most = FORMS[arguments.form]
    if unknown := set(arguments.campaigns) - set(CAMPAIGNS):
        parser.error("no such campaign: " + ", ".join(sorted(unknown)))
    if arguments.worker:
        arguments.campaign = arguments.campaigns[0]
        return work(arguments)
    return 1 if drive(arguments) else 0


if __name__ == "__main__":
    sys.exit(main())
