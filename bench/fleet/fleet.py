"""The server and the office of examples/fleet under the load of many sites."""
import contextlib
import json
import os
import pathlib
import signal
import sqlite3
import statistics
import subprocess
import sys
import time

import measure

TREE = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(TREE / 'tests/fleet'))
# pylint: disable=wrong-import-position
from servers import Servers, spent, wait_until

PASSES = 5  # at most: each takes almost a minute
BASE = {'sites': 1000, 'connections': 8, 'messages': 10000, 'size': 126, 'window': 1}
# What differs from BASE. A size of 0: each site sends its whole state, once.
ALONE = {'office': False, 'messages': 50000}
CASES = {
    'way': {
        'one by one': {},
        '100 at once': {'window': 100},
        'one by one, without an office': ALONE,
        '100 at once, without an office': {'window': 100, **ALONE}},
    'sites': {
        '100 sites': {'sites': 100},
        '1,000 sites': {},
        '10,000 sites': {'sites': 10000},
        '10,000 sites, their whole state': {'sites': 10000, 'messages': 30000, 'size': 0}},
    'connections': {
        '8 connections': {},
        '100 connections': {'connections': 100},
        '500 connections': {'connections': 500}},
    'size': {
        '126 bytes': {},
        '10 KB': {'messages': 1000, 'size': 10000},
        '1 MB': {'messages': 20, 'size': 1000000}},
}
HEADS = ('messages/s', 'server µs', 'office µs', 'server MiB', 'office MiB')
END = 300  # seconds after which a program counts as hanging


def build(build_dir, progress):
    """Builds the programs against an install of the build; returns their folder."""
    stage, programs = (build_dir / 'bench/fleet' / name for name in ('stage', 'programs'))
    for command in (
            ('--install', build_dir, '--prefix', stage),
            ('-S', TREE / 'examples/fleet', '-B', programs, '-G', 'Ninja',
             '-D', f'CMAKE_PREFIX_PATH={stage}', '-D', 'CMAKE_BUILD_TYPE=RelWithDebInfo'),
            ('--build', programs, '--target', 'office', 'simulate')):
        progress('building site and office')
        subprocess.run(('cmake', *command), check=True, stdout=subprocess.DEVNULL)
    return programs


def start_office(programs, servers):
    office = subprocess.Popen(
        [programs / 'office', '--server', servers.urls,
         '--database', servers.folder / 'office.db'], stderr=subprocess.DEVNULL)
    wait_until('the streams are there', lambda: None not in (
        servers.left('TARN'), servers.left('TARN_PRICES')))
    return office


def end_office(office):
    office.send_signal(signal.SIGTERM)
    if office.wait(END) != 0:
        raise SystemExit('fleet.py: the office failed')


def simulate(programs, servers, case):
    size = ('--size', case['size']) if case['size'] else ()
    command = (programs / 'simulate/simulate', '--server', servers.urls, '--json',
               '--sites', case['sites'], '--connections', case['connections'],
               '--messages', case['messages'], '--window', case['window'], *size)
    return json.loads(subprocess.run(list(map(str, command)), check=True, timeout=END,
                                     stdout=subprocess.PIPE).stdout)


def stored(servers):
    """How many messages the office has, and their bytes."""
    with contextlib.closing(sqlite3.connect(servers.folder / 'office.db')) as database:
        return database.execute('SELECT count(*), sum(length(bytes)) FROM message').fetchone()


def measure_case(programs, case):
    """Rates are until the office has stored all, or until the server has
    acknowledged all where no office works."""
    with contextlib.ExitStack() as stack:
        servers = stack.enter_context(Servers(1))
        office = start_office(programs, servers)
        stack.callback(office.wait)
        stack.callback(office.kill)
        if not case['office']:
            end_office(office)
        processes = {'server': servers.processes[0],
                     **({'office': office} if case['office'] else {})}
        before = {name: spent(process)[0] for name, process in processes.items()}
        counts = simulate(programs, servers, case)
        ended, seconds = time.monotonic(), counts['milliseconds'] / 1000
        messages, found = counts['acknowledged'], {}
        if case['office']:
            wait_until('the office has stored all', lambda: servers.left() == 0,
                       servers.left, servers.report)
            seconds += time.monotonic() - ended
        for name, process in processes.items():
            taken, peak = spent(process)
            found[f'{name} µs'] = (taken - before[name]) / messages * 1e6
            found[f'{name} MiB'] = peak
        there = servers.left()
        if case['office']:
            end_office(office)
            there, size = stored(servers)
            found['MB/s'] = size / seconds / 1e6
        if there != messages:
            raise SystemExit(f'fleet.py: {messages} messages acknowledged, {there} there')
        return {'messages/s': messages / seconds, **found}


def whole(case, quick):
    """All settings of a case, as text: what two tables show is measured once."""
    case = {**BASE, 'office': True, **case}
    if quick:
        case['sites'] = min(case['sites'], 100)
        case['messages'] = max(case['messages'] // 50, 3)
    return json.dumps(case, sort_keys=True)


def figures(rounds):
    return {name: [one[name] for one in rounds] for name in rounds[0]}


def run(build_dir, rounds, progress):
    programs = build(build_dir.resolve(), progress)
    wanted = {topic: {name: whole(case, rounds == 1) for name, case in cases.items()}
              for topic, cases in CASES.items()}
    names = {}  # of each case the first one
    for cases in wanted.values():
        for name, case in cases.items():
            names.setdefault(case, name)
    found = measure.in_turn(min(rounds, PASSES), {
        name: lambda case=case: measure_case(programs, json.loads(case))
        for case, name in names.items()}, progress)
    version = subprocess.run(['nats-server', '--version'], check=True, capture_output=True,
                             text=True).stdout.split()[-1]
    return {'server': version, 'cores': os.cpu_count(),
            'cases': {topic: {name: figures(found[names[case]]) for name, case in cases.items()}
                      for topic, cases in wanted.items()}}


def median(numbers):
    return measure.digits(statistics.median(numbers)) if numbers else '–'


def table(cases, compared='messages/s', heads=HEADS):
    """The first case is what the others are compared with."""
    first = next(iter(cases.values()))[compared]
    return measure.table(['', 'times as fast', *heads], [
        [name, measure.show(measure.ratio(case[compared], first)),
         *(median(case.get(head)) for head in heads)]
        for name, case in cases.items()])


def markdown(results):
    cases = results['cases']
    return f"""\
nats-server {results['server']}, office and sites on {results['cores']} cores:

{table(cases['way'])}

{table(cases['sites'])}

{table(cases['connections'])}

{table(cases['size'], 'MB/s', ('MB/s', *HEADS))}"""
