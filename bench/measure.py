"""Runs the benchmark program and other programs, and tells what they took.

Instructions are counted by callgrind, which every machine has and no load disturbs.
"""
import concurrent.futures
import json
import os
import re
import statistics
import subprocess
import tempfile

# The C library and OpenSSL choose their routines by the processor. The counts are those of any.
PLAIN_PROCESSOR = {'GLIBC_TUNABLES': 'glibc.cpu.hwcaps=-AVX2,-AVX,-ERMS,-EVEX',
                   'OPENSSL_ia32cap': '0'}


def program(build, name='qvx_bench'):
    return os.path.join(build, 'bench', name)


def output(*command, **process):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **process).stdout


def split(name):
    """The subject, the input without its size, the size (or None) and the contender."""
    subject, what, contender = name.split('/')
    sized = re.fullmatch(r'(.*)-(\d+)', what)
    return subject, sized[1] if sized else what, int(sized[2]) if sized else None, contender


def instructions(command, *options, env=None, **process):
    """The instructions of a process, without those of its children."""
    with tempfile.NamedTemporaryFile() as counts:
        done = subprocess.run(['valgrind', '--tool=callgrind', *options,
                               f'--callgrind-out-file={counts.name}', *command], text=True,
                              capture_output=True, env=(env or os.environ) | PLAIN_PROCESSOR,
                              **process)
        total = re.search(r'^totals: (\d+)', open(counts.name).read(), re.M)
    if total is None:
        raise RuntimeError(f'{" ".join(command)}: {done.stderr}')
    return int(total[1])


def case_instructions(build, name):
    return instructions([program(build), '--once', name], '--instr-atstart=no')


def case_memory(build, name):
    """Bytes at the peak, page faults and seconds, in a process of its own."""
    return json.loads(output(program(build), '--once', name))


def at_once(measure, names):
    """What `measure` tells of each name, where other processes do not disturb."""
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return dict(zip(names, pool.map(measure, names)))


def case_times(build, names, repetitions=5):
    """Medians in seconds. The repetitions of all cases are done in a random order."""
    if not names:
        return {}
    done = output(program(build), f'--benchmark_filter=^({"|".join(names)})/',
                  f'--benchmark_repetitions={repetitions}',
                  '--benchmark_enable_random_interleaving=true', '--benchmark_format=json')
    return {re.sub('/iterations.*', '', run['run_name']): run['real_time'] / 1e9
            for run in json.loads(done)['benchmarks'] if run.get('aggregate_name') == 'median'}


def process_costs(build, command, **process):
    """Processor seconds, bytes at the peak and page faults of a process and its children."""
    return json.loads(output(program(build, 'bench_run'), *command, **process))


def interleaved(runs, rounds=5):
    """The medians of several functions, each called once in each round."""
    costs = {name: [] for name in runs}
    for _ in range(rounds):
        for name, run in runs.items():
            costs[name].append(run())
    return {name: {field: statistics.median(one[field] for one in found) for field in found[0]}
            for name, found in costs.items()}
