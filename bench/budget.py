#!/usr/bin/env python3
"""Holds what a build costs to the recorded budget.

Each figure is a ratio within one run, so every machine can be held to it. Instructions are counted
in units: one is what the parser alone takes for a thousand settings. Those of a load are the ones
beyond the parser's own. A start is compared with the start of the same libraries, and the memory of
a load beyond the parser's with the size of the document.

    budget.py BUILD            fails when a figure has grown by more than the slack
    budget.py BUILD --renew    records the present figures
"""
import json
import os
import pathlib
import sys

import measure
import start

BUDGET = pathlib.Path(__file__).with_name('budget.json')
SLACK = 1.3  # another compiler or library makes up to a quarter more of the same sources
UNIT = 'load/settings-1000/floor'
COUNTED = [f'load/{what}/ours' for what in (
    'default', 'settings-1000', 'attributes-500', 'deep-2', 'lines-10000', 'references-100',
    'entities-100', 'mixed-1300')]
COUNTED += [f'change/{what}-1000/ours' for what in (
    'append', 'insert-before', 'replace', 'remove', 'set-attribute', 'set-text', 'clone')]
COUNTED += ['change/append-1000/ours-heard', 'restrict/widest-100/ours',
            'generate/addresses-100/ours']
WEIGHED = [f'load/{what}/ours' for what in (
    'settings-10000', 'attributes-5000', 'deep-20', 'lines-100000', 'mixed-13000')]


def floor_of(name):
    """The parser alone: what it takes depends on its version, which the machine's updates change."""
    return name.replace('/ours', '/floor')


def figures(build):
    loads = [name for name in COUNTED if name.startswith('load/')]
    counts = measure.at_once(lambda name: measure.case_instructions(build, name),
                             COUNTED + [floor_of(name) for name in loads])
    own = {name: counts[name] - (counts[floor_of(name)] if name in loads else 0)
           for name in COUNTED}
    memory = measure.at_once(lambda name: measure.case_memory(build, name),
                             WEIGHED + [floor_of(name) for name in WEIGHED])
    steady = start.in_namespace(build, 10, 0)['steady/ours']['instructions']
    libraries = measure.instructions([measure.program(build, 'bench_start_libraries')])
    return ({f'{name}: units': own[name] / counts[UNIT] for name in COUNTED} |
            {'start/steady-10/ours: starts of its libraries': steady / libraries} |
            {f'{name}: bytes for each of the document':
             (memory[name]['peak'] - memory[floor_of(name)]['peak']) / memory[name]['input']
             for name in WEIGHED})


def main(build, *options):
    found = {name: float(f'{value:.4g}') for name, value in figures(build).items()}
    if options == ('--renew',):
        BUDGET.write_text(json.dumps(found, indent=2) + '\n')
        return 0
    budget = json.loads(BUDGET.read_text())
    grown = [name for name, value in found.items() if value > budget.get(name, 0) * SLACK]
    for name in grown:
        print(f'{name}: grown from {budget.get(name, 0)} to {found[name]}')
    if grown:
        print('Where that is meant to be, renew the budget with: scripts/bench --renew-budget')
    return 1 if grown else 0


if __name__ == '__main__':
    sys.exit(main(os.path.abspath(sys.argv[1]), *sys.argv[2:]))
