"""Runs the benchmark program and other programs, and tells what they took.

Instructions are counted by callgrind, which every machine has and no load disturbs.
"""
import json
import os
import re
import statistics
import subprocess
import tempfile

CALLGRIND = ['valgrind', '--tool=callgrind', '--error-exitcode=99']


def program(build):
    return os.path.join(build, 'bench', 'qvx_bench')


def cases(build):
    return subprocess.run([program(build), '--list'], check=True, capture_output=True,
                          text=True).stdout.split()


def split(name):
    """The subject, the input without its size, the size (or None) and the contender."""
    subject, what, contender = name.split('/')
    sized = re.fullmatch(r'(.*)-(\d+)', what)
    return (subject, sized[1], int(sized[2]), contender) if sized else (
        subject, what, None, contender)


def instructions(command, *options, **process):
    """The instructions of a process, without those of its children."""
    with tempfile.NamedTemporaryFile() as counts:
        done = subprocess.run([*CALLGRIND, f'--callgrind-out-file={counts.name}', *options,
                               *command], capture_output=True, text=True, **process)
        total = re.search(r'^totals: (\d+)', open(counts.name).read(), re.M)
    if total is None:
        raise RuntimeError(f'{" ".join(command)}: {done.stderr}')
    return int(total[1])


def case_instructions(build, name):
    return instructions([program(build), '--once', name], '--instr-atstart=no')


def case_memory(build, name):
    """Bytes at the peak, page faults and the result, of a process of its own."""
    done = subprocess.run([program(build), '--once', name], check=True, capture_output=True,
                          text=True)
    return json.loads(done.stdout)


def case_times(build, names, repetitions=5):
    """Medians in seconds. The repetitions of all cases are done in a random order."""
    if not names:
        return {}
    pattern = '|'.join(re.escape(name).replace('\\-', '-') for name in names)
    done = subprocess.run([program(build), f'--benchmark_filter=^({pattern})/manual_time$',
                           f'--benchmark_repetitions={repetitions}', '--benchmark_min_time=0.005',
                           '--benchmark_enable_random_interleaving=true',
                           '--benchmark_format=json'], check=True, capture_output=True, text=True)
    return {run['run_name'].removesuffix('/manual_time'): run['real_time'] / 1e6
            for run in json.loads(done.stdout)['benchmarks']
            if run.get('aggregate_name') == 'median'}


def process_costs(command, **process):
    """Processor seconds, bytes at the peak and page faults of a process and its children."""
    with open(os.devnull, 'r+b') as nothing:
        child = subprocess.Popen(command, stdin=nothing, stdout=nothing, stderr=nothing, **process)
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        raise RuntimeError(f'{" ".join(command)}: status {child.returncode}')
    return {'seconds': usage.ru_utime + usage.ru_stime, 'peak': usage.ru_maxrss * 1024,
            'faults': usage.ru_minflt + usage.ru_majflt}


def interleaved_costs(runs, rounds=5):
    """The medians for several commands, each run once in each round. `runs` has a function for each
    that runs it and returns what it took."""
    costs = {name: [] for name in runs}
    for _ in range(rounds):
        for name, run in runs.items():
            costs[name].append(run())
    return {name: {field: statistics.median(one[field] for one in found) for field in found[0]}
            for name, found in costs.items()}
