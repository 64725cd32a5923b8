#!/usr/bin/env python3
"""Measures every subject and prints a table for each.

    report.py BUILD [SUBJECT] [--largest] [--no-times] [--json FILE] [--report DIRECTORY]

SUBJECT         the beginning of the names of the cases to measure: "load", "load/deep"
--largest       of every input only the largest size, where its growth is not asked for
--no-times      leaves out what a busy machine spoils: the times of the cases
--json FILE     also writes the figures there
--report DIR    also writes DIR/performance.md, and plots of cost against size beside it
"""
import argparse
import json
import math
import os
import pathlib
import subprocess
import sys
import tempfile

import measure
import start

ORDER = ['load', 'read', 'change', 'save', 'free', 'generate', 'restrict', 'addresses', 'log',
         'certificate', 'start', 'growth']
OURS = ('ours', 'ours-heard')
# Their floor is done by the system, whose instructions nobody counts.
FLOOR_IN_SYSTEM = ('save', 'generate')
START_ADDRESSES = (10, 1000)
SUMMARIZE = """import ipaddress, sys
for line in open(sys.argv[1]):
    first, last = map(ipaddress.ip_address, line.strip().split(':'))
    print(*ipaddress.summarize_address_range(first, last))"""


def chosen_cases(build, beginning, largest):
    names = [name for name in measure.cases(build) if name.startswith(beginning)]
    if not largest:
        return names
    tops = {}
    for name in names:
        subject, what, size, _ = measure.split(name)
        tops[subject, what] = max(size or 0, tops.get((subject, what), 0))
    return [name for name in names if measure.split(name)[0] == 'growth' or
            (measure.split(name)[2] or 0) == tops[measure.split(name)[:2]]]


def measured_cases(build, names, with_times, say):
    found = {}
    for name in names:
        say(name)
        memory = measure.case_memory(build, name)
        found[name] = {'instructions': measure.case_instructions(build, name),
                       'peak': memory['peak'], 'faults': memory['faults']}
    for subject in {measure.split(name)[0] for name in names if with_times}:
        say(f'{subject}: times')
        of_subject = [name for name in names if measure.split(name)[0] == subject]
        for name, seconds in measure.case_times(build, of_subject).items():
            found[name]['seconds'] = seconds
    return found


def ranges_apart(count, directory):
    """The ranges of the input "apart", as the peers read them."""
    def dotted(number):
        return '.'.join(str(number >> shift & 255) for shift in (24, 16, 8, 0))
    path = os.path.join(directory, f'ranges-{count}')
    with open(path, 'w') as file:
        for first in range(0, count * 32768, 32768):
            file.write(f'{dotted(first + 1)}:{dotted(first + 32766)}\n')
    return path


def peer_commands(directory):
    """Other programs for the same job. They are measured as processes."""
    certificate, key = (os.path.join(directory, name) for name in ('cert.pem', 'key.pem'))
    found = {
        'certificate/first/openssl': ['openssl', 'req', '-x509', '-newkey', 'rsa:2048', '-nodes',
                                      '-subj', '/CN=host', '-days', '3652', '-keyout', key,
                                      '-out', certificate],
        'certificate/check/openssl': [
            'sh', '-c', f'test "$(openssl x509 -noout -pubkey -in {certificate})" = '
            f'"$(openssl pkey -pubout -in {key})"'],
        'log/records-1/logger': ['logger', '--no-act', '--socket-errors=off', 'a record']}
    for count in (1, 1000, 100000):
        path = ranges_apart(count, directory)
        # Its costs grow with the square of the ranges: 100,000 of them take it many minutes.
        if count < 100000:
            found[f'restrict/apart-{count}/netmask'] = ['netmask', '--cidr', '--files', path]
        found[f'restrict/apart-{count}/ipaddress'] = ['python3', '-c', SUMMARIZE, path]
    return found


def measured_commands(beginning, say):
    with tempfile.TemporaryDirectory() as directory:
        runs = {}
        for name, command in peer_commands(directory).items():
            if name.startswith(beginning):
                runs[name] = lambda command=command: measure.process_costs(command)
        if runs:
            say('other programs')
        if 'certificate/check/openssl' in runs:
            measure.process_costs(peer_commands(directory)['certificate/first/openssl'])
        return measure.interleaved_costs(runs)


def measured_starts(build, say):
    found = {}
    for addresses in START_ADDRESSES:
        say(f'start with {addresses} addresses')
        for name, costs in start.in_namespace(build, addresses, 5).items():
            run, contender = name.split('/')
            found[f'start/{run}-{addresses}/{contender}'] = costs
    return found


def exponents(found):
    """The slopes of the logarithms of instructions over those of the size, for each input and
    contender that was measured at several sizes."""
    points = {}
    for name, costs in found.items():
        subject, what, size, contender = measure.split(name)
        if size and costs.get('instructions'):
            points.setdefault((subject, what, contender), []).append((size, costs['instructions']))
    return {key: slope(sorted(line)) for key, line in points.items() if len(line) > 1}


def slope(line):
    logarithms = [(math.log(x), math.log(y)) for x, y in line]
    mean_x, mean_y = (sum(column) / len(line) for column in zip(*logarithms))
    return (sum((x - mean_x) * (y - mean_y) for x, y in logarithms) /
            sum((x - mean_x) ** 2 for x, _ in logarithms))


def shown(value, unit):
    if value is None:
        return ''
    if unit == 's':
        return f'{value * 1e3:,.3f}'
    return f'{value:,.0f}'


def ratio(value, base):
    return f'{value / base:.2f}' if value is not None and base else ''


def rows(found, subject):
    """Instructions, or where there are none processor time, decide which peer is the best."""
    inputs = {}
    for name, costs in found.items():
        if name.startswith(subject + '/'):
            _, what, size, contender = measure.split(name)
            inputs.setdefault((what, size), {})[contender] = costs
    for (what, size), contenders in sorted(inputs.items(), key=lambda one: (one[0][0],
                                                                            one[0][1] or 0)):
        yield (what if size is None else f'{what} {size:,}'), contenders


def best(contenders, field):
    values = [costs[field] for contender, costs in contenders.items()
              if contender not in (*OURS, 'floor') and costs.get(field) is not None]
    return min(values, default=None)


def in_process(contenders):
    """Those whose memory is that of the work alone."""
    return {contender: costs for contender, costs in contenders.items() if 'instructions' in costs}


def table(found, subject):
    lines = ['| input | contender | instructions | of floor | of best peer | ms | of floor '
             '| of best peer | peak KiB | of best peer | page faults |', '|---|---|' + '--:|' * 9]
    for what, contenders in rows(found, subject):
        works = in_process(contenders)
        order = sorted(contenders, key=lambda one: (one not in OURS, one == 'floor', one))
        for contender in order:
            costs = contenders[contender]
            floor = contenders.get('floor', {})
            cells = [what, contender]
            for field, unit in (('instructions', ''), ('seconds', 's')):
                value = costs.get(field)
                base = None if not unit and subject in FLOOR_IN_SYSTEM else floor.get(field)
                cells += [shown(value, unit), ratio(value, base),
                          ratio(value, best(contenders, field)) if contender in OURS else '']
            peak = costs.get('peak')
            cells += [shown(peak / 1024 if peak is not None else None, ''),
                      ratio(peak, best(works, 'peak')) if contender in OURS else '',
                      shown(costs.get('faults'), '')]
            lines.append('| ' + ' | '.join(cells) + ' |')
    return lines


def growth_table(found):
    lines = ['| quantity | contender | exponent |', '|---|---|--:|']
    for (subject, what, contender), exponent in sorted(exponents(found).items()):
        if contender in (*OURS, 'floor'):
            lines.append(f'| {subject}/{what} | {contender} | {exponent:.2f} |')
    return lines


def text(found):
    lines = []
    for subject in ORDER:
        if any(name.startswith(subject + '/') for name in found):
            lines += [f'## {subject}', '', *table(found, subject), '']
    if exponents(found):
        lines += ['## Exponents', '', 'Instructions grow with this power of the size.', '',
                  *growth_table(found), '']
    return '\n'.join(lines)


def plot(found, directory):
    """One picture for each quantity that grows. Returns their names."""
    lines = {}
    for name, costs in found.items():
        subject, what, size, contender = measure.split(name)
        if size and costs.get('instructions'):
            quantity = lines.setdefault(f'{subject}-{what}', {})
            quantity.setdefault(contender, []).append((size, costs['instructions']))
    lines = {quantity: contenders for quantity, contenders in lines.items()
             if any(len(points) > 1 for points in contenders.values())}
    for quantity, contenders in lines.items():
        script = ['set terminal svg size 640,400', f'set output "{directory}/{quantity}.svg"',
                  'set logscale xy', 'set key left top', 'set xlabel "size"',
                  'set ylabel "instructions"', f'set title "{quantity}"']
        for number, points in enumerate(contenders.values()):
            script += [f'$line{number} << END', *(f'{x} {y}' for x, y in sorted(points)), 'END']
        script.append('plot ' + ', '.join(
            f'$line{number} with linespoints title "{contender}"'
            for number, contender in enumerate(contenders)))
        subprocess.run(['gnuplot'], input='\n'.join(script), text=True, check=True)
    return sorted(lines)


def write_report(found, directory, command):
    pictures = pathlib.Path(directory, 'performance')
    pictures.mkdir(parents=True, exist_ok=True)
    lines = ['# What it costs', '', f'Made by `{command}` on {os.cpu_count()} processors. The '
             'floor is the least work that the job allows. Instructions are those of the work '
             'alone; other programs are measured as processes, by their processor time.', '',
             text(found)]
    lines += [f'![{name}](performance/{name}.svg)' for name in plot(found, pictures)]
    pathlib.Path(directory, 'performance.md').write_text('\n'.join(lines) + '\n')


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('build', type=os.path.abspath)
    parser.add_argument('subject', nargs='?', default='')
    parser.add_argument('--largest', action='store_true')
    parser.add_argument('--no-times', action='store_true')
    parser.add_argument('--json')
    parser.add_argument('--report')
    options = parser.parse_args()

    def say(what):
        print(what, file=sys.stderr, flush=True)

    names = chosen_cases(options.build, options.subject, options.largest)
    found = measured_cases(options.build, names, not options.no_times, say)
    found |= measured_commands(options.subject, say)
    if 'start/'.startswith(options.subject):
        found |= measured_starts(options.build, say)
    print(text(found))
    if options.json:
        pathlib.Path(options.json).write_text(json.dumps(found, indent=1))
    if options.report:
        write_report(found, options.report, ' '.join(['scripts/bench', *sys.argv[2:]]))


if __name__ == '__main__':
    main()
