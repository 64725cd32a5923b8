#!/usr/bin/env python3
"""Measures a start of the launcher, from its execution to that of the daemon, beside the shell
commands that it runs. Everything goes on in a throw-away installation and in a network namespace
of its own, whose loopback interface has the addresses.

    start.py BUILD ADDRESSES ROUNDS     prints JSON; ROUNDS 0: counts a steady start only
"""
import json
import os
import pathlib
import shutil
import sys
import tempfile

import measure

RUNS = {'steady': [], 'first': [], 'reconfigure': ['reconfigure']}


class Installation:
    """Directories, the environment that leads there, and a daemon that ends at once."""

    def __init__(self, root, build):
        self.build = build
        self.launcher = os.path.join(build, 'launcher', 'qvxlauncher')
        self.base, self.tls, self.log = (pathlib.Path(root, name) for name in ('zx', 'tls', 'log'))
        self.process = {'cwd': root, 'env': {
            'PATH': '/usr/sbin:/usr/bin:/sbin:/bin', 'SYSMGTZX_BASE_DIR': str(self.base),
            'SYSMGTZX_WRITE_DIR': str(self.base), 'SYSMGTZX_LOG_DIR': str(self.log),
            'SSL_SHARE_BASE_DIR': str(self.tls)}}

    def costs(self, *command):
        return measure.process_costs(self.build, command, **self.process)

    def lay_out(self):
        for directory in (self.base, self.tls, self.log):
            shutil.rmtree(directory, ignore_errors=True)
        for name in ('bin', 'conf', 'logs', 'sbin', 'webapp'):
            (self.base / name).mkdir(parents=True)
        (self.log / 'logs').mkdir(parents=True)
        self.tls.mkdir()
        shutil.copy(measure.program(self.build, 'bench_stand_in'), self.base / 'sbin' / 'zxqvxd')

    def make_ready(self):
        """As a start before has left it, but for settings that bind to every address apart."""
        self.lay_out()
        self.costs(self.launcher)
        path = self.base / 'conf' / 'qvxpd.xml'
        text = path.read_text().replace('<ip-binding>False<', '<ip-binding>True<')
        path.write_text(text.replace('<ip-binding-list><',
                                     '<ip-binding-list>10.0.0.0/255.0.0.0<'))

    def runner(self, run, contender):
        def first():
            # The floor's commands need the files that they protect.
            self.make_ready()
            if contender == 'ours':
                self.lay_out()
            return steady()

        def steady():
            if contender == 'ours':
                return self.costs(self.launcher, *RUNS[run])
            return self.costs(measure.program(self.build, 'bench_start_floor'), run)
        return first if run == 'first' else steady

    def measured(self, rounds):
        self.make_ready()
        libraries = measure.program(self.build, 'bench_start_libraries')
        costs = measure.interleaved({f'{run}/{contender}': self.runner(run, contender)
                                     for run in RUNS for contender in ('ours', 'floor')} |
                                    {'libraries': lambda: self.costs(libraries)}, rounds)
        start_of_libraries = costs.pop('libraries')
        for run in RUNS:
            floor = costs[f'{run}/floor']
            costs[f'{run}/floor and libraries'] = {
                field: floor[field] + start_of_libraries[field] for field in ('seconds', 'faults')}
            # The floor of the memory is a program that only starts the same libraries.
            floor['peak'] = start_of_libraries['peak']
        return costs

    def counted(self, run):
        """A start that cannot execute the daemon ends, and so can be counted."""
        self.make_ready()
        (self.base / 'sbin' / 'zxqvxd').unlink()
        return measure.instructions([self.launcher, *RUNS[run]], **self.process)


def add_addresses(count):
    commands = ['link set lo up']
    commands += [f'address add 10.{number >> 16}.{number >> 8 & 255}.{number & 255}/32 dev lo'
                 for number in range(1, count)]
    measure.output('ip', '-batch', '-', input='\n'.join(commands))


def main(build, addresses, rounds):
    add_addresses(addresses)
    with tempfile.TemporaryDirectory() as root:
        os.chmod(root, 0o755)
        installation = Installation(root, build)
        costs = installation.measured(rounds) if rounds else {}
        # The key of a first start takes as many instructions as chance has it.
        for run in ('steady', 'reconfigure') if rounds else ('steady',):
            costs.setdefault(f'{run}/ours', {})['instructions'] = installation.counted(run)
    print(json.dumps(costs))


def in_namespace(build, addresses, rounds):
    """What this program prints, when it is run in a network namespace of its own."""
    return json.loads(measure.output('unshare', '--net', sys.executable, __file__, build,
                                     str(addresses), str(rounds)))


if __name__ == '__main__':
    main(sys.argv[1], int(sys.argv[2]), int(sys.argv[3]))
