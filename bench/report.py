#!/usr/bin/env python3
"""Measures every subject and prints a table for each.

SUBJECT         the beginning of the names of the cases to measure: "load", "load/deep"
--no-times      leaves out what a busy machine spoils: the times of the cases
--json FILE     also writes the figures there
--report DIR    also writes DIR/performance.md, and plots of cost against size beside it
"""
import argparse
import json
import math
import os
import pathlib
import re
import sys
import tempfile

import measure
import start

PAGE = pathlib.Path(__file__).parent.parent / 'docs' / 'performance.in.md'
OURS = ('ours', 'ours-heard')
# Their floor is done by the system, whose instructions nobody counts.
FLOOR_IN_SYSTEM = ('save', 'generate', 'log')
# Of these a table shows the largest input alone; the plots show all.
LARGEST = ('load', 'read', 'change', 'save', 'free', 'growth')
WITHOUT_PEAK = ('free',)
FIELDS = {'instructions': 1, 'ms': 1e3, 'cold ms': 1e3, 'peak KiB': 1 / 1024}
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
    found = {name: {'instructions': counts[name], 'peak KiB': memory[name]['peak'],
                    'faults': memory[name]['faults']} for name in names}
    if with_times:
        say('times')
        largest = {(subject, what, contender): name for name in names
                   for subject, what, _, contender in [measure.split(name)]}.values()
        for name, seconds in measure.case_times(build, largest).items():
            found[name]['ms'] = seconds
        cold = {name: lambda name=name: measure.case_memory(build, name) for name in largest
                if name.startswith('load/')}
        for name, costs in measure.interleaved(cold, 3).items():
            found[name]['cold ms'] = costs['cold']
    return found


def of_process(costs):
    """The seconds of a process are those of the processor."""
    names = {'seconds': 'ms', 'peak': 'peak KiB'}
    return {names.get(field, field): value for field, value in costs.items()}


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
        return {name: of_process(costs) for name, costs in measure.interleaved(
            {name: lambda command=command: measure.process_costs(build, command)
             for name, *command in peer_commands(directory)
             if name.startswith(beginning.partition('/')[0])}, 3).items()}


def measured_starts(build):
    for addresses in (10, 1000):
        say(f'start with {addresses} addresses')
        for name, costs in start.in_namespace(build, addresses, 9).items():
            run, contender = name.split('/')
            yield f'start/{run}-{addresses}/{contender}', of_process(costs)


def lines_of(found):
    """For each quantity that grows and each contender, the sizes and their instructions."""
    lines = {}
    for name, costs in found.items():
        subject, what, size, contender = measure.split(name)
        if size and 'instructions' in costs and subject != 'start':
            line = lines.setdefault(f'{subject}-{what}', {}).setdefault(contender, [])
            line.append((size, costs['instructions']))
            line.sort()
    return lines


def exponent(line):
    """The slope of the logarithms at the largest sizes."""
    (x, y), (last_x, last_y) = line[-2:]
    return math.log(last_y / y) / math.log(last_x / x)


def exponents(found):
    return ['| quantity | exponent |', '|---|--:|',
            *(f'| {quantity}{"" if contender == "ours" else ", heard"} | {exponent(line):.2f} |'
              for quantity, contenders in sorted(lines_of(found).items())
              for contender, line in contenders.items() if contender in OURS and len(line) > 1)]


def cells(contenders, contender, field, has_floor):
    """A figure; for ours also its ratios to the floor and to the best peer. The memory of a whole
    process is not compared with that of a work."""
    value = contenders[contender].get(field)
    bases = [None, None]
    if contender in OURS:
        bases = [contenders.get('floor', {}).get(field) if has_floor else None,
                 min((costs[field] for name, costs in contenders.items()
                      if name not in (*OURS, 'floor') and field in costs
                      and (field != 'peak KiB' or 'instructions' in costs)), default=None)]
    bases = [base if base is not None and base > 0 else None for base in bases]
    shown = '' if value is None else f'{value * FIELDS[field]:,.{3 if "ms" in field else 0}f}'
    return [shown, *(f'{value / base:.2f}' if base and value is not None else ''
                     for base in bases)]


def inputs_of(found, subject):
    """For each input and size, what each contender took."""
    inputs = {}
    for name, costs in found.items():
        if name.startswith(subject + '/'):
            _, what, size, contender = measure.split(name)
            inputs.setdefault((what, size or 0), {})[contender] = costs
    if subject not in LARGEST:
        return inputs
    largest = {}
    for what, size in inputs:
        largest[what] = max(size, largest.get(what, 0))
    return {(what, size): inputs[what, size] for what, size in largest.items()}


def table(found, subject):
    inputs = inputs_of(found, subject)
    fields = [field for field in FIELDS if any(
        field in costs for contenders in inputs.values() for costs in contenders.values())
        and (field != 'peak KiB' or subject not in WITHOUT_PEAK)]
    lines = ['| input | contender | ' + ''.join(f'{field} | of floor | of peer | '
                                                for field in fields) + 'page faults |',
             '|---|---|' + '--:|' * (3 * len(fields) + 1)]
    for (what, size), contenders in sorted(inputs.items()):
        for contender in sorted(contenders, key=lambda one: (one not in OURS, one)):
            row = [what + (f' {size:,}' if size else ''), contender]
            for field in fields:
                row += cells(contenders, contender, field,
                             field != 'instructions' or subject not in FLOOR_IN_SYSTEM)
            lines.append('| ' + ' | '.join(row) + f' | {contenders[contender]["faults"]:,.0f} |')
    return lines


def page(found, command):
    """The tables take the places of their names in braces. What was not measured is left out."""
    head, *sections = re.split(r'(?m)^(?=## )', PAGE.read_text())
    shown = [head.format(command=command, processors=os.cpu_count())]
    for section in sections:
        subject = re.search(r'\{(\w+)\}', section)[1]
        lines = exponents(found) if subject == 'exponents' else table(found, subject)
        if len(lines) > 2:
            shown.append(section.format(**{subject: '\n'.join(lines)}))
    return ''.join(shown)


def plot(quantity, contenders, directory):
    script = ['set terminal svg size 640,400', f'set output "{directory}/{quantity}.svg"',
              f'set title "{quantity}"', 'set logscale xy', 'set key left top',
              'set xlabel "size"', 'set ylabel "instructions"']
    for number, line in enumerate(contenders.values()):
        script += [f'$line{number} << END', *(f'{x} {y}' for x, y in line), 'END']
    script.append('plot ' + ', '.join(f'$line{number} with linespoints title "{contender}"'
                                      for number, contender in enumerate(contenders)))
    measure.output('gnuplot', input='\n'.join(script))
    return f'![{quantity}]({directory.name}/{quantity}.svg)'


def write_report(found, text, directory):
    pictures = pathlib.Path(directory, 'performance')
    pictures.mkdir(parents=True, exist_ok=True)
    links = [plot(quantity, contenders, pictures)
             for quantity, contenders in sorted(lines_of(found).items())]
    pictures.with_suffix('.md').write_text(
        '\n'.join([text, '## Plots', '', *links, '']))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('build', type=os.path.abspath)
    parser.add_argument('subject', nargs='?', default='')
    parser.add_argument('--no-times', action='store_true')
    parser.add_argument('--json', type=pathlib.Path)
    parser.add_argument('--report')
    options = parser.parse_args()
    names = [name for name in measure.output(measure.program(options.build), '--list').split()
             if name.startswith(options.subject)]
    found = measured_cases(options.build, names, not options.no_times)
    found |= measured_commands(options.build, options.subject)
    if 'start/'.startswith(options.subject):
        found |= measured_starts(options.build)
    if options.json:
        options.json.write_text(json.dumps(found, indent=1))
    text = page(found, ' '.join(['scripts/bench', *sys.argv[2:]]))
    print(text)
    if options.report:
        write_report(found, text, options.report)


if __name__ == '__main__':
    main()
