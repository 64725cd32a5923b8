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
import subprocess
import sys
import tempfile

import measure

RUNS = {'steady': [], 'first': [], 'reconfigure': ['reconfigure']}


class Installation:
    """The directories, the environment that leads there, and a daemon that ends at once."""

    def __init__(self, root, build):
        self.base, self.tls, self.log = (pathlib.Path(root, name) for name in ('zx', 'tls', 'log'))
        self.stand_in = os.path.join(build, 'bench', 'bench_stand_in')
        self.environment = {'PATH': '/usr/sbin:/usr/bin:/sbin:/bin',
                            'SYSMGTZX_BASE_DIR': str(self.base),
                            'SYSMGTZX_WRITE_DIR': str(self.base),
                            'SYSMGTZX_LOG_DIR': str(self.log),
                            'SSL_SHARE_BASE_DIR': str(self.tls)}

    def lay_out(self):
        for directory in (self.base, self.tls, self.log):
            shutil.rmtree(directory, ignore_errors=True)
        for name in ('bin', 'conf', 'logs', 'sbin', 'webapp'):
            (self.base / name).mkdir(parents=True)
        (self.log / 'logs').mkdir(parents=True)
        self.tls.mkdir()
        shutil.copy(self.stand_in, self.base / 'sbin' / 'zxqvxd')

    def without_daemon(self):
        """A start that cannot execute the daemon ends, and so can be counted."""
        (self.base / 'sbin' / 'zxqvxd').unlink()

    def process(self):
        return {'env': self.environment, 'cwd': self.base}


def add_addresses(count):
    commands = ['link set lo up']
    commands += [f'address add 10.{number >> 16}.{number >> 8 & 255}.{number & 255}/32 dev lo'
                 for number in range(1, count)]
    subprocess.run(['ip', '-batch', '-'], input='\n'.join(commands), text=True, check=True)


def commands(build):
    launcher = os.path.join(build, 'launcher', 'qvxlauncher')
    floor = os.path.join(build, 'bench', 'bench_start_floor')
    return {(run, contender): command for run, arguments in RUNS.items()
            for contender, command in (('ours', [launcher, *arguments]), ('floor', [floor, run]))}


def bind_every_address(installation):
    """The default settings would bind to all addresses at once."""
    path = installation.base / 'conf' / 'qvxpd.xml'
    text = path.read_text()
    text = text.replace('<ip-binding>False<', '<ip-binding>True<')
    path.write_text(text.replace('<ip-binding-list><', '<ip-binding-list>10.0.0.0/255.0.0.0<'))


def made_ready(installation, launcher):
    """As a start before has left it."""
    installation.lay_out()
    measure.process_costs([launcher], **installation.process())
    bind_every_address(installation)


def measured(installation, build, rounds):
    found = commands(build)
    launcher = found['steady', 'ours'][0]

    def runner(run, command):
        def once():
            if run == 'first':
                # The floor's commands need the files that they protect.
                made_ready(installation, launcher)
                if command[0] == launcher:
                    installation.lay_out()
            return measure.process_costs(command, **installation.process())
        return once

    made_ready(installation, launcher)
    return measure.interleaved_costs(
        {f'{run}/{contender}': runner(run, command)
         for (run, contender), command in found.items()}, rounds)


def counted(installation, build, run):
    launcher = commands(build)['steady', 'ours'][0]
    made_ready(installation, launcher)
    installation.without_daemon()
    return measure.instructions([launcher, *RUNS[run]], **installation.process())


def main(build, addresses, rounds):
    add_addresses(addresses)
    with tempfile.TemporaryDirectory() as root:
        os.chmod(root, 0o755)
        installation = Installation(root, build)
        costs = measured(installation, build, rounds) if rounds else {}
        # The key of a first start takes as many instructions as chance has it.
        for run in ('steady', 'reconfigure') if rounds else ('steady',):
            costs.setdefault(f'{run}/ours', {})['instructions'] = counted(installation, build, run)
    print(json.dumps(costs))


def in_namespace(build, addresses, rounds):
    """What this program prints, when it is run in a network namespace of its own."""
    done = subprocess.run(['unshare', '--net', sys.executable, __file__, os.path.abspath(build),
                           str(addresses), str(rounds)],
                          check=True, stdout=subprocess.PIPE, text=True)
    return json.loads(done.stdout)


if __name__ == '__main__':
    main(os.path.abspath(sys.argv[1]), int(sys.argv[2]), int(sys.argv[3]))
