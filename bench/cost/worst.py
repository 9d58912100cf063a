"""How much memory the worst input takes, for each message type."""
import itertools
import json
import subprocess

import measure

# That a receiver may want to spend on one message.
BUDGET = 64 << 20


def run(build_dir, rounds, progress):
    del rounds  # memory is no matter of chance
    progress('searching')
    lines = subprocess.run([build_dir.resolve() / 'bench/cost/worst'],
                           check=True, stdout=subprocess.PIPE,
                           text=True).stdout.splitlines()
    return [json.loads(line) for line in sorted(lines)]


def rate(now):
    """Bytes of memory for each byte on the wire."""
    return now['memory'] / now['bytes']


def row(names, now):
    unit = f'`{now["unit"]}`' + (f' in `{now["in"]}`' if names else '')
    return [names or 'any other', unit, f'{rate(now):.1f}',
            f'{BUDGET / rate(now) / 1024:,.0f} KiB']


def markdown(results):
    """A row for the types that take most in the same way, the worst first. The
    many to which only unknown fields do harm are one."""
    types = sorted(results, key=lambda now: (-rate(now), now['in']))
    only_unknown = [now for now in types
                    if rate(now) <= 1.02 * rate(types[-1])]
    worse = itertools.groupby(types[:-len(only_unknown)],
                              lambda now: (now['in'], now['unit']))
    rows = []
    for _, alike in worse:
        alike = sorted(alike, key=lambda now: now['type'])
        rows.append(row(', '.join(f'`{now["type"]}`' for now in alike),
                        alike[0]))
    return measure.table(
        ['type', 'repeated', 'bytes for each', f'limit for {BUDGET >> 20} MiB'],
        [*rows, row('', only_unknown[0])])
