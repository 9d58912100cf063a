"""How much memory the worst input takes, for each message type."""
import json
import subprocess

import chart
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


def by_rate(results):
    """The types, those that take most first."""
    return sorted(results['types'],
                  key=lambda now: (-round(worst_rate(now), 1), now['type']))


def words(kind, found):
    """The unit that is repeated, and where."""
    unit = f'`{found["unit"]}`'
    return unit if found['in'] == kind else f'{unit} in `{found["in"]}`'


def markdown(results):
    types = by_rate(results)
    rows = []
    for now in types:
        row = [f'`{now["type"]}`']
        for place in PLACES:
            row += [f'{rate(now[place]):.1f}',
                    words(now['type'], now[place])]
        limit = BUDGET / worst_rate(now)
        rows.append(row + [f'{limit / 1024:,.0f} KiB'])
    worst = worst_rate(types[0])
    best = min(rate(now[place]) for now in types for place in PLACES)
    return f"""\
The most memory that parsing can be made to take for each byte of input, over \
inputs of some kilobytes; {results['types'][0]['heap']['times']} times as much \
of the same takes no more for each byte. Each figure is that of an input that was found by search, \
parsed, and counted: what is held at the peak of the parse, with what glibc \
adds to each piece. The unit that the input repeats is shown; `7?` is an empty \
length-delimited field of a number that the type does not have.

Every type takes {best:.0f} bytes and more for each byte of input, because \
unknown fields are kept: one of two bytes becomes a string of its own and an \
entry of a list. Where a list holds messages, an element of two bytes becomes \
an object. On an arena, members of a `oneof` that replace one another all stay \
until the arena goes: two kinds of node in turn are the worst for whatever \
holds a `ChildTypes`.

A receiver that wants to spend no more than {BUDGET >> 20} MiB on a message \
of an unfriendly sender refuses those larger than the last column says; for \
all types at once, {BUDGET / worst / 1024:,.0f} KiB.

{measure.table(['type', 'heap', 'repeated', 'arena', 'repeated',
                f'limit for {BUDGET >> 20} MiB'], rows)}

![Worst inputs](performance/worst-memory.svg)"""


def draw(results, folder):
    # Of the many to which only unknown fields do harm, one.
    types = by_rate(results)
    types = [now for now in types
             if worst_rate(now) > 1.02 * worst_rate(types[-1])] + types[-1:]
    names = [now['type'] for now in types[:-1]] + ['any other']
    chart.bars(folder / 'worst-memory.svg',
               'Memory of the worst input', 'bytes for each byte of input',
               {place: [rate(now[place]) for now in types]
                for place in PLACES}, names)
