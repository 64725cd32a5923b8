#!/usr/bin/env python3
"""Measures every subject and prints a table for each. The figures are kept in BUILD/results.json.

SUBJECT         the beginning of the names of the cases to measure: "load", "load/deep"
--no-times      leaves out what a busy machine spoils: the times of the cases
--from FILE     measures nothing: the figures are those that an earlier run has kept
--report DIR    also writes DIR/performance.md and its plots
"""
import argparse
import json
import os
import pathlib
import sys
import tempfile

import measure
import page
import start
import tables

SUMMARIZE = """import ipaddress, sys
for line in open(sys.argv[1]):
    first, last = map(ipaddress.ip_address, line.strip().split(':'))
    print(*ipaddress.summarize_address_range(first, last))"""


def say(what):
    print(what, file=sys.stderr, flush=True)


def measured_cases(build, names, with_times):
    say(f'{len(names)} cases: instructions, memory')
    counts = measure.at_once(lambda name: measure.case_instructions(build, name), names)
    memory = measure.at_once(lambda name: measure.case_memory(build, name), names)
    found = {name: {'instructions': counts[name], 'peak': memory[name]['peak'],
                    'faults': memory[name]['faults']} for name in names}
    if with_times:
        say('times')
        largest = {(subject, what, contender): name for name in names
                   for subject, what, _, contender in [measure.split(name)]}.values()
        for name, seconds in measure.case_times(build, largest).items():
            found[name]['seconds'] = seconds
        cold = {name: lambda name=name: measure.case_memory(build, name) for name in largest
                if name.startswith('load/')}
        for name, costs in measure.interleaved(cold, 3).items():
            found[name]['cold'] = costs['cold']
    return found


def ranges_apart(count, directory):
    """The ranges of the input "apart", as the peers read them."""
    def dotted(number):
        return '.'.join(str(number >> shift & 255) for shift in (24, 16, 8, 0))
    path = pathlib.Path(directory, f'ranges-{count}')
    path.write_text(''.join(f'{dotted(first + 1)}:{dotted(first + 32766)}\n'
                            for first in range(0, count * 32768, 32768)))
    return path


def peer_commands(directory):
    """Other programs for the same job. They are measured as processes."""
    certificate, key = (os.path.join(directory, name) for name in ('cert.pem', 'key.pem'))
    yield 'log/records-1/logger', 'logger', '--no-act', '--socket-errors=off', 'a record'
    yield ('certificate/first/openssl', 'openssl', 'req', '-x509', '-newkey', 'rsa:2048', '-nodes',
           '-subj', '/CN=host', '-days', '3652', '-keyout', key, '-out', certificate)
    yield ('certificate/check/openssl', 'sh', '-c',
           f'test "$(openssl x509 -noout -pubkey -in {certificate})" = '
           f'"$(openssl pkey -pubout -in {key})"')
    for count in (1, 1000, 100000):
        path = ranges_apart(count, directory)
        # The costs of netmask grow with the square of the ranges: 100,000 take it many minutes.
        name = 'netmask' if count < 100000 else 'netmask, cut off'
        yield (f'restrict/apart-{count}/{name}', 'sh', '-c',
               'timeout 20 netmask --cidr --files "$1" || test $? = 124', 'sh', path)
        yield f'restrict/apart-{count}/ipaddress', 'python3', '-c', SUMMARIZE, path


def measured_commands(build, beginning):
    say('other programs')
    with tempfile.TemporaryDirectory() as directory:
        return measure.interleaved(
            {name: lambda command=command: measure.process_costs(build, command)
             for name, *command in peer_commands(directory)
             if name.startswith(beginning.partition('/')[0])}, 3)


def measured_starts(build):
    for addresses in (10, 1000):
        say(f'start with {addresses} addresses')
        for name, costs in start.in_namespace(build, addresses, 9).items():
            run, contender = name.split('/')
            yield f'start/{run}-{addresses}/{contender}', costs


def measured(build, beginning, with_times):
    names = [name for name in measure.output(measure.program(build), '--list').split()
             if name.startswith(beginning)]
    found = measured_cases(build, names, with_times)
    found |= measured_commands(build, beginning)
    if 'start/'.startswith(beginning):
        found |= measured_starts(build)
    return {'command': ' '.join(['scripts/bench', *sys.argv[2:]]), 'processors': os.cpu_count(),
            'figures': found}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('build', type=pathlib.Path)
    parser.add_argument('subject', nargs='?', default='')
    parser.add_argument('--no-times', action='store_true')
    parser.add_argument('--from', type=pathlib.Path, dest='earlier')
    parser.add_argument('--report', type=pathlib.Path)
    options = parser.parse_args()
    if options.earlier:
        run = json.loads(options.earlier.read_text())
    else:
        run = measured(options.build.absolute(), options.subject, not options.no_times)
        (options.build / 'results.json').write_text(json.dumps(run, indent=1))
    print(tables.all_tables(run['figures']))
    if options.report:
        page.write(run, options.report)


if __name__ == '__main__':
    main()
