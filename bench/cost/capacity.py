"""How many sites a receiver serves, and what many sites take."""
import json
import math
import statistics
import subprocess

import chart
import measure

KINDS = {'report': 'status report', 'tree': 'whole tree'}
STEPS = {'receive': 'receive', 'parse': '… and parse',
         'store': '… and store', 'sync': '… and sync once a second',
         'sync-each': '… and sync each one'}
# What a receiver may leave it at: nobody is served by receiving alone.
WHOLE = [step for step in STEPS if step != 'receive']
SECONDS = 0.4  # for each measurement
INTERVAL = 30  # seconds between two messages of a site
SITES = 100000
# A packet on Ethernet: what fits into it after its headers, and those.
PAYLOAD = 1448
HEADERS = 66


def run(build_dir, rounds, progress):
    folder = build_dir.resolve() / 'bench/cost'
    seconds = 0.1 if rounds == 1 else SECONDS

    def call(kind, step):
        # Beside the programs, on a disk and not in memory.
        file = folder / 'capacity.store'
        try:
            return json.loads(subprocess.run(
                [folder / 'capacity', kind, step, str(seconds), file],
                check=True, capture_output=True).stdout)
        finally:
            file.unlink(missing_ok=True)

    runs = measure.in_turn(rounds, {
        (kind, step): lambda kind=kind, step=step: call(kind, step)
        for kind in KINDS for step in STEPS}, progress)
    return {kind: {
        'message_bytes': runs[kind, 'parse'][0]['message_bytes'],
        'site_bytes': statistics.median(
            now['site_bytes'] for now in runs[kind, 'parse']),
        'steps': {step: {
            'cpu': measure.spread([now['cpu_seconds'] / now['messages']
                                   for now in runs[kind, step]]),
            'wall': measure.spread([now['wall_seconds'] / now['messages']
                                    for now in runs[kind, step]])}
            for step in STEPS}} for kind in KINDS}


def seconds_of(step, found):
    """What a message takes of the receiver: where each goes to the disk, it
    waits for that; elsewhere its processor is what runs out."""
    return found['steps'][step]['wall' if step == 'sync-each' else 'cpu']


def same_as_before(step, found):
    """Whether the rounds of a step overlap those of the step before it."""
    steps = list(STEPS)
    place = steps.index(step)
    return place > 0 and measure.overlap(
        seconds_of(steps[place - 1], found), seconds_of(step, found))


def sites_served(step, found):
    return INTERVAL / seconds_of(step, found)['median']


def wire_bytes(found):
    packets = math.ceil(found['message_bytes'] / PAYLOAD)
    return found['message_bytes'] + packets * HEADERS


def markdown(results):
    steps = []
    for step, words in STEPS.items():
        row = [words]
        for found in results.values():
            time = {name: number * 1e6
                    for name, number in seconds_of(step, found).items()}
            mark = '≈ ' if same_as_before(step, found) else ''
            row += [mark + measure.show(time),
                    measure.digits(sites_served(step, found))
                    if step in WHOLE else '–']
        steps.append(row)
    rate = SITES / INTERVAL
    plan = [
        ['messages a second',
         *(f'{rate:,.0f}' for _ in results)],
        ['cores, to receive and parse',
         *(measure.digits(SITES / sites_served('parse', found))
           for found in results.values())],
        ['cores, to store as well and sync once a second',
         *(measure.digits(SITES / sites_served('sync', found))
           for found in results.values())],
        ['memory for the last message of each site, and its buffer, GB',
         *(f'{SITES * found["site_bytes"] / 1e9:.2g}'
           for found in results.values())],
        ['bandwidth, Mbit/s',
         *(f'{rate * wire_bytes(found) * 8 / 1e6:,.0f}'
           for found in results.values())],
        ['written to the store, MB/s',
         *(f'{rate * found["message_bytes"] / 1e6:.3g}'
           for found in results.values())]]
    heads = [f'{words}, µs' if column == 0 else f'sites, {words}'
             for words in KINDS.values() for column in (0, 1)]
    report, tree = (results[kind]['message_bytes'] for kind in KINDS)
    return f"""\
A receiver has a stream socket for each site, waits for all by `epoll`, reads \
whole messages, parses each into what it holds for the site, serializes that \
and writes it to the end of a file. Assumed are:

- a site of 37 nodes: a server radio, 4 clients with 2 displays of 3 modules \
each; its status report has two entries for each node and {report:,.0f} bytes, \
its whole tree {tree:,.0f};
- a message of each site every {INTERVAL} seconds, evenly spread;
- one message at a time on each socket. The sockets are local: what a network \
card and TCP take of a processor, and what the kernel keeps for a connection, \
comes on top;
- packets of {PAYLOAD:,} bytes after {HEADERS} bytes of headers; \
acknowledgements are not counted.

Processor time of the receiver for each message, and the sites that one core \
serves; where each message is brought to the disk before the next, the time is \
that on the clock, as it is spent waiting. A time marked ≈ is not told apart \
from the one above it:

{measure.table(['', *heads], steps)}

What {SITES:,} sites take:

{measure.table(['', *KINDS.values()], plan)}

![Sites that one core serves](performance/capacity-sites.svg)"""


def draw(results, folder):
    chart.bars(folder / 'capacity-sites.svg',
               f'Sites that one core serves, a message every {INTERVAL} s',
               'sites', {KINDS[kind]: [sites_served(step, found)
                                       for step in WHOLE]
                         for kind, found in results.items()},
               [STEPS[step].removeprefix('… and ') for step in WHOLE],
               log=True)
