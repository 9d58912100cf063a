"""How much memory the worst input takes, for each message type."""
import json
import subprocess

import measure

PLACES = ['heap', 'arena']
# That a receiver may want to spend on one message.
BUDGET = 64 << 20


def run(build_dir, rounds, progress):
    del rounds  # memory is no matter of chance
    progress('searching')
    lines = subprocess.run([build_dir.resolve() / 'bench/cost/worst'],
                           check=True, capture_output=True,
                           text=True).stdout.splitlines()
    return {'types': [json.loads(line) for line in lines]}


def rate(found):
    """Bytes of memory for each byte on the wire."""
    return found['memory'] / found['bytes']


def worst_rate(now):
    return max(rate(now[place]) for place in PLACES)


def shown(results):
    """Names and types, those that take most first. The many to which only
    unknown fields do harm are one."""
    types = sorted(results['types'],
                   key=lambda now: (-round(worst_rate(now), 1), now['type']))
    only_unknown = 1.02 * worst_rate(types[-1])
    worse = [now for now in types if worst_rate(now) > only_unknown]
    return [(now['type'], now) for now in worse] + [
        ('any other', types[len(worse)])]


def unit(name, found):
    """The unit that is repeated, and where."""
    text = f'`{found["unit"]}`'
    return text if found['in'] == name else f'{text} in `{found["in"]}`'


def limit(now):
    """The largest message that the budget allows, in KiB."""
    return BUDGET / worst_rate(now) / 1024


def markdown(results):
    types = shown(results)
    rows = [[f'`{name}`' if name == now['type'] else name,
             *(cell for place in PLACES for cell in (
                 f'{rate(now[place]):.1f}', unit(now['type'], now[place]))),
             f'{limit(now):,.0f} KiB'] for name, now in types]
    return measure.table(['type', 'heap', 'repeated', 'arena', 'repeated',
                          f'limit for {BUDGET >> 20} MiB'], rows)
