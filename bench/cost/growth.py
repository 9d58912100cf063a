"""How time and memory grow with the number of nodes or keys."""
import json
import math
import os
import statistics
import subprocess

import chart
import measure

SIZES = {
    'tree': [10, 30, 100, 300, 1000, 3000, 10000, 30000, 100000, 300000,
             1000000],
    'map': [1, 10, 100, 300, 1000, 3000, 10000, 30000, 100000, 300000,
            1000000]}
WORDS = {'tree': 'node', 'map': 'key'}
STEPS = ['parse', 'serialize', 'copy', 'destroy', 'visit']
MEMORY = ['requested_bytes', 'space_used']
# The heap, where glibc merges what is freed at once, not at some later call.
MERGED = 'heap, merged at once'
PLACES = ['heap', MERGED, 'arena']
# Below, what a message costs that is empty hides how it grows.
FIT_FROM = 100
# Messages of this size are held beside one another, to see whether one large
# message costs more than many small ones that hold as much.
SMALL = 1000
PASSES = 2  # at most: the largest sizes take seconds


def exponent(points):
    """The power of x by which y grows: the slope in a log-log drawing."""
    logs = [(math.log(x), math.log(y)) for x, y in points]
    return statistics.linear_regression(*zip(*logs)).slope


def call(program, kind, place, *arguments):
    """Runs the program in a process of its own."""
    surroundings = dict(os.environ)
    if place == MERGED:
        surroundings['GLIBC_TUNABLES'] = 'glibc.malloc.mxfast=0'
        place = 'heap'
    return json.loads(subprocess.run(
        [program, *map(str, (kind, place, *arguments))], check=True,
        env=surroundings, capture_output=True).stdout)


def least(runs):
    """Of each figure the least, which other programs disturbed least."""
    return {name: min(run[name] for run in runs) for name in runs[0]}


def run(build_dir, rounds, progress):
    program = build_dir.resolve() / 'bench/cost/growth'
    largest = 10000 if rounds == 1 else 1000000
    sizes = {kind: [size for size in numbers if size <= largest]
             for kind, numbers in SIZES.items()}
    wanted = [(kind, place, size) for kind in SIZES for place in PLACES
              for size in sizes[kind]]
    wanted += [(kind, place, SMALL, largest // SMALL)
               for kind in SIZES for place in PLACES]
    found = {now: least(runs) for now, runs in measure.in_turn(
        min(rounds, PASSES),
        {now: lambda now=now: call(program, *now) for now in wanted},
        progress).items()}
    series = {f'{kind}, {place}': [
        {'size': size, **found[kind, place, size]} for size in sizes[kind]]
        for kind in SIZES for place in PLACES}
    for points in series.values():
        for point in points:
            progress(f'reading at random from {point["live_bytes"]:.0f} bytes')
            point['random_read'] = call(
                program, 'chase', int(point['live_bytes']))['read']
    many = {f'{kind}, {place}': found[kind, place, SMALL, largest // SMALL]
            for kind in SIZES for place in PLACES}
    return {
        'series': series,
        'many': {name: {'messages': largest // SMALL, 'size': SMALL,
                        **numbers} for name, numbers in many.items()},
        'exponents': {name: {
            step: exponent([(point['size'], point[step]) for point in points
                            if point['size'] >= FIT_FROM])
            for step in STEPS + MEMORY} for name, points in series.items()},
    }


def per(point, step):
    return point[step] / point['size']


def word(name):
    """What a line of the drawing counts."""
    return WORDS[name.partition(',')[0]]


def bends(name, results):
    """What a node costs as the message outgrows the caches."""
    points = [point for point in results['series'][name]
              if point['size'] >= FIT_FROM]
    kind = word(name)
    rows = [[f'{point["size"]:,}', f'{point["live_bytes"] / 1e6:.3g}',
             *(measure.digits(per(point, step)) for step in STEPS),
             measure.digits(point['random_read'])] for point in points]
    many = results['many'][name]
    total = many['messages'] * many['size']
    rows.append([f'{many["messages"]:,} × {many["size"]:,}',
                 f'{many["live_bytes"] / 1e6:.3g}',
                 *(measure.digits(many[step] / total) for step in STEPS), ''])
    return measure.table([f'{kind}s', 'MB held', *STEPS, 'random read'], rows)


def markdown(results):
    names = [f'{kind}, {place}' for kind in SIZES for place in PLACES]
    exponents = [[name, *(measure.digits(results['exponents'][name][step])
                          for step in STEPS + MEMORY)] for name in names]
    largest = [results['series'][name][-1] for name in names]
    memory = [[name, f'{point["size"]:,}', f'{per(point, "wire_bytes"):.0f}',
               f'{per(point, "live_bytes"):.0f}',
               f'{per(point, "requested_bytes"):.0f}',
               f'{per(point, "space_used"):.0f}']
              for name, point in zip(names, largest)]
    tables = '\n\n'.join(
        f'{name}, nanoseconds for each {word(name)}:\n\n'
        f'{bends(name, results)}' for name in names)
    return f"""\
Trees are a server, its clients with {4} displays of {12} modules each; maps \
are the `status_packet` of a `NetworkStatusReport`, with keys like those of \
nodes. Exponents are the power of the size by which a figure grows from \
{FIT_FROM} on: 1 is linear. `visit` reads a byte or two of each node or entry, \
and does nothing else. Times are the better ones of {PASSES} passes, too \
few for a spread.

{measure.table(['', *STEPS, 'bytes requested', '`SpaceUsedLong`'], exponents)}

![Trees on the heap](performance/growth-tree-heap.svg)
![Trees on an arena](performance/growth-tree-arena.svg)
![Maps on the heap](performance/growth-map-heap.svg)
![Maps on an arena](performance/growth-map-arena.svg)

Bytes for each node or key of the largest message: on the wire; held after \
parsing, with what the allocator adds; requested of it while parsing, which \
is more where lists and tables were outgrown; and as `SpaceUsedLong` has it, \
which leaves out what an arena has not given out yet:

{measure.table(['', 'size', 'wire', 'held', 'requested', '`SpaceUsedLong`'],
               memory)}

Memory is linear throughout. Where time grows faster, three things that the \
tables below measure account for it, none of them in the messages:

- *The caches.* The last column is the time of one read at random from as much \
memory as the message holds. The last row has the same number of nodes or keys \
in messages of {SMALL:,}, all held at the same time: where it is close to the \
row above it, a large message costs what its memory costs, not what its shape \
does.
- *The table of a map.* The place of an entry depends on a hash of its key, so \
a map that is larger than the caches is read and written at random, once more \
each time that its table doubles. The last row is far below the one above it: \
maps that each fit a cache do not pay this.
- *The allocator.* glibc sets small pieces that are freed aside, and merges \
them all when somebody asks for a large one: parsing into the memory of an \
earlier message of ten thousand nodes or more pays for what destroying that one \
put off, or destroying pays itself where the heap is then given back. \
"{MERGED}" is the same program with `GLIBC_TUNABLES=glibc.malloc.mxfast=0`. \
An arena asks for large pieces alone and has none of this.

{tables}"""


def draw(results, folder):
    for name, points in results['series'].items():
        kind, _, place = name.partition(', ')
        if place == MERGED:
            continue
        chart.lines(folder / f'growth-{kind}-{place}.svg',
                    f'Time over the number of {word(name)}s, {place}',
                    f'{word(name)}s', 'microseconds',
                    {step: [(point['size'], point[step] / 1e3)
                            for point in points] for step in STEPS[:4]},
                    log=True)
