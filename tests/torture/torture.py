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
from collections import Counter
from concurrent.futures import ThreadPoolExecutor

import disks
from campaigns import CAMPAIGNS
from judge import Judge
from programs import PROGRAMS, run
from scenarios import SCENARIOS
from stage import Stage

ROOT = pathlib.Path(__file__).resolve().parents[2]
SKIPPED = 77  # to ctest
WORKERS = 4 * os.cpu_count()  # at once, because a run waits more than it works
# Disturbances of a scenario in a campaign; workers for a scenario, each of which costs as much as
# some disturbances.
FORMS = {"short": (3, 1), "ci": (15, os.cpu_count()), "long": (None, WORKERS)}


def run_beside(stage, disturbance, holds):
    """Runs, and lets the disturbance work while the run is stopped."""
    process = stage.begin(disturbance.before_launcher)
    while disturbance.beside and process.poll() is None:
        if "stopped by SIGSTOP" in stage.notes():
            holds.append(disturbance.beside())
            os.kill(-1, signal.SIGCONT)  # the run is among the worker's namespace of processes
            break
        time.sleep(0.005)
    return stage.end_of(process)


def play(stage, judge, campaign, disturbance):
    """Returns the findings of one disturbed run."""
    stage.put_back()
    holds = [disturbance.arrange()] if disturbance.arrange else []
    code, output = run_beside(stage, disturbance, holds)
    findings = [finding for hold in holds if hold for finding in hold()]
    findings += judge.of_processes()
    # The daemon was disturbed, by what lasts or was meant for a call that this run did not make; or
    # what lasts has hidden the text that would tell the end.
    notes = stage.notes()
    is_hidden = re.search(r"zxqvxd.* = 0\n(.*\n)*.*INJECTED", notes) or \
        "+" in disturbance.name and re.search(r"^write\(1, .*INJECTED", notes, re.M)
    if "end" in campaign.judged and not is_hidden:
        findings += judge.of_end(code, output)
    if "files" in campaign.judged:
        findings += judge.of_files("place" in campaign.judged)
    if "texts" in campaign.judged:
        findings += judge.of_texts()
    if "daemon" in campaign.judged:
        findings += judge.of_daemon(output)
    return findings + judge.of_next_start(exact="exact" in campaign.judged)


def chosen(arguments, campaign, stage):
    """Those of the disturbances that this worker plays."""
    disturbances = campaign.disturbances(stage)
    if arguments.only:
        return [one for one in disturbances if one.name == arguments.only]
    every = list(disturbances)
    most = len(every)
    if limit := FORMS[arguments.form][0]:
        most = min(most, max(1, int(limit * campaign.share)))
    return [every[number * len(every) // most]
            for number in range(arguments.part, most, arguments.parts)]


def work(arguments):
    """A worker: plays its part of each campaign's disturbances of one scenario."""
    stage = Stage(SCENARIOS[arguments.scenario], arguments.build)
    judge = Judge(stage)
    for name in arguments.campaigns:
        campaign = CAMPAIGNS[name]
        if arguments.scenario not in (campaign.scenarios or SCENARIOS):
            continue
        begin = time.monotonic()
        disturbances = chosen(arguments, campaign, stage)
        for disturbance in disturbances:
            for finding in play(stage, judge, campaign, disturbance):
                print(json.dumps({"campaign": name, "at": disturbance.name, "finding": finding}),
                      flush=True)
        stage.clear()
        print(json.dumps({"campaign": name, "runs": len(disturbances),
                          "seconds": time.monotonic() - begin}), flush=True)


def lines_of_worker(arguments, scenario, part):
    """Starts a worker, and gives its lines as they come."""
    command = ["unshare", "--mount", "--pid", "--fork", "--mount-proc", "--kill-child",
               sys.executable, __file__, "--worker", "--build", str(arguments.build),
               "--scenario", scenario, "--part", str(part), "--parts", str(arguments.parts),
               "--" + arguments.form, *arguments.campaigns]
    command += ["--only", arguments.only] if arguments.only else []
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
        yield from map(json.loads, process.stdout)
    if process.returncode != 0:
        yield {"campaign": arguments.campaigns[0], "at": "the worker itself",
               "finding": f"ends with {process.returncode}"}


def drive_programs(arguments, names):
    """Runs the campaigns that are programs and returns the number of findings."""
    begin = time.monotonic()
    tasks = [(name, *task) for name in names
             for task in PROGRAMS[name](arguments.form, arguments.build)]
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        found = [failure for failure in pool.map(run, tasks) if failure]
    print(*(f"FOUND {failure}" for failure in found), sep="\n", end="\n" if found else "")
    print(f"{', '.join(names)}: {len(tasks)} programs, {len(found)} findings, "
          f"{time.monotonic() - begin:.0f} s")
    return len(found)


def drive(arguments):
    """Plays the campaigns and returns the number of findings."""
    totals = {name: Counter() for name in arguments.campaigns}

    def follow(task):
        scenario, _ = task
        for line in lines_of_worker(arguments, *task):
            totals[line["campaign"]].update(
                {key: line[key] for key in ("runs", "seconds") if key in line})
            if "finding" in line:
                totals[line["campaign"]]["findings"] += 1
                print("FOUND {campaign}: {0}: {at}: {finding}\n  scripts/torture {campaign} "
                      "--scenario '{0}' --only '{at}'".format(scenario, **line), flush=True)

    scenarios = [arguments.scenario] if arguments.scenario else SCENARIOS if totals else []
    tasks = [(scenario, part) for scenario in scenarios for part in range(arguments.parts)]
    with ThreadPoolExecutor(WORKERS) as pool:
        list(pool.map(follow, tasks))
    for name, total in totals.items():
        print(f"{name}: {total['runs']} disturbed runs, {total['findings']} findings, "
              f"{total['seconds']:.0f} s of a worker's time")
    return sum(total["findings"] for total in totals.values())


def main():
    parser = argparse.ArgumentParser(prog="scripts/torture", description=__doc__.split("\n")[0])
    parser.add_argument("campaigns", nargs="*", metavar="campaign",
                        help="of " + ", ".join([*CAMPAIGNS, *PROGRAMS]) + " (all)")
    parser.add_argument("--scenario", choices=SCENARIOS, help="only this one")
    parser.add_argument("--only", metavar="POINT", help="only the disturbance of this name")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/release",
                        help=argparse.SUPPRESS)
    parser.add_argument("--worker", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--part", type=int, default=0, help=argparse.SUPPRESS)
    parser.add_argument("--parts", type=int, help=argparse.SUPPRESS)
    forms = parser.add_mutually_exclusive_group()
    for form in FORMS:
        forms.add_argument("--" + form, dest="form", action="store_const", const=form)
    arguments = parser.parse_args()
    arguments.form = arguments.form or "short"
    arguments.parts = arguments.parts or (1 if arguments.only else FORMS[arguments.form][1])
    if unknown := set(arguments.campaigns) - set(CAMPAIGNS) - set(PROGRAMS):
        parser.error("no such campaign: " + ", ".join(sorted(unknown)))
    if arguments.worker:
        return work(arguments)
    named = arguments.campaigns or [
        *CAMPAIGNS, *{"short": (), "ci": PROGRAMS.keys() - {"fuzz"}, "long": PROGRAMS}[arguments.form]]
    programs = [name for name in PROGRAMS if name in named]
    arguments.campaigns = [name for name in CAMPAIGNS if name in named]
    if "power" in arguments.campaigns and not disks.are_possible():
        print("power did not run: there is no loop device")
        arguments.campaigns.remove("power")
    if not arguments.campaigns and not programs:
        return SKIPPED
    found = drive(arguments) + (drive_programs(arguments, programs) if programs else 0)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
