#!/usr/bin/env python3
"""Holds what a build costs to the recorded budget.

    budget.py BUILD            fails when a figure has grown by more than the slack
    budget.py BUILD --renew    records the present figures
"""
import json
import pathlib
import sys

import measure
import start

BUDGET = pathlib.Path(__file__).with_name('budget.json')
SLACK = 1.05
COUNTED = ['load/default/ours', 'load/settings-1000/ours', 'load/attributes-500/ours',
           'load/deep-2/ours', 'load/lines-10000/ours', 'load/mixed-1100/ours',
           'change/append-1000/ours', 'change/insert-before-1000/ours',
           'change/replace-1000/ours', 'change/remove-1000/ours', 'change/set-attribute-1000/ours',
           'change/set-text-1000/ours', 'change/clone-1000/ours', 'change/append-1000/ours-heard',
           'restrict/widest-100/ours', 'generate/addresses-100/ours']
WEIGHED = ['load/settings-10000/ours', 'load/attributes-5000/ours', 'load/deep-20/ours',
           'load/lines-100000/ours', 'load/mixed-11000/ours']
STARTED = 'start/steady-10/ours'


def figures(build):
    found = {f'{name}: instructions': measure.case_instructions(build, name) for name in COUNTED}
    found |= {f'{name}: bytes at the peak': measure.case_memory(build, name)['peak']
              for name in WEIGHED}
    costs = start.in_namespace(build, 10, 0)
    found[f'{STARTED}: instructions'] = costs['steady/ours']['instructions']
    return found


def main(build, *options):
    found = figures(build)
    if '--renew' in options:
        BUDGET.write_text(json.dumps(found, indent=2) + '\n')
        return 0
    budget = json.loads(BUDGET.read_text())
    grown = [name for name, value in found.items() if value > budget.get(name, 0) * SLACK]
    for name in grown:
        was = budget.get(name, 0)
        print(f'{name}: grown from {was:,} to {found[name]:,}')
    if grown:
        print('Where that is meant to be, renew the budget with: scripts/bench --renew-budget')
    return 1 if grown else 0


if __name__ == '__main__':
    sys.exit(main(*sys.argv[1:]))
