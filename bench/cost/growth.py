"""How time and memory grow with the number of nodes or keys."""
import json
import math
import statistics
import subprocess

import chart
import measure

# Below, what a message costs that is empty hides how it grows.
SIZES = [100, 300, 1000, 3000, 10000, 30000, 100000, 300000, 1000000]
STEPS = ['parse', 'serialize', 'destroy']
NAMES = [(kind, place) for kind in ('tree', 'map')
         for place in ('heap', 'arena')]
# Messages of this size are held beside one another, to see whether one large
# message costs more than many small ones that hold as much.
SMALL = 1000
PASSES = 2  # at most: the largest sizes take seconds


def exponent(points):
    """The power of x by which y grows: the slope in a log-log drawing."""
    logs = [(math.log(x), math.log(y)) for x, y in points]
    return statistics.linear_regression(*zip(*logs)).slope


def least(runs):
    """Of each figure the least, which other programs disturbed least."""
    return {name: min(run[name] for run in runs) for name in runs[0]}


def run(build_dir, rounds, progress):
    program = build_dir.resolve() / 'bench/cost/growth'
    largest = 10000 if rounds == 1 else 1000000
    many = (SMALL, largest // SMALL)
    shapes = [(size, 1) for size in SIZES if size <= largest] + [many]

    def call(arguments):
        return json.loads(subprocess.run(
            [program, *map(str, arguments)], check=True,
            stdout=subprocess.PIPE).stdout)

    found = {now: least(runs) for now, runs in measure.in_turn(
        min(rounds, PASSES), {
            (*name, *shape): lambda now=(*name, *shape): call(now)
            for name in NAMES for shape in shapes}, progress).items()}
    return {
        'series': {', '.join(name): [
            {'size': size, **found[(*name, size, 1)]}
            for size, _ in shapes[:-1]] for name in NAMES},
        'many': {', '.join(name): {'messages': many[1], 'size': SMALL,
                                   **found[(*name, *many)]}
                 for name in NAMES}}


def row(name, results):
    points = {point['size']: point for point in results['series'][name]}
    largest, many = points[max(points)], results['many'][name]
    powers = [measure.digits(exponent(
        [(size, point[step]) for size, point in points.items()]))
        for step in STEPS]
    return [name, *powers, f'{largest["live_bytes"] / largest["size"]:.0f}',
            *(measure.digits(point['parse'] / size) for point, size in (
                (points[SMALL], SMALL), (largest, largest['size']),
                (many, many['messages'] * many['size'])))]


def markdown(results):
    largest = max(point['size'] for point in results['series']['tree, heap'])
    table = measure.table(
        ['exponent of', *STEPS, 'bytes each', f'parse, {SMALL:,}',
         f'{largest:,}', f'{largest // SMALL:,} × {SMALL:,}'],
        [row(', '.join(name), results) for name in NAMES])
    return f"""\
{table}

![Nanoseconds to parse each node or key](performance/growth-parse.svg)"""


def draw(results, folder):
    chart.lines(folder / 'growth-parse.svg', 'Time to parse each node or key',
                'nodes or keys in the message', 'nanoseconds',
                {name: [(point['size'], point['parse'] / point['size'])
                        for point in points]
                 for name, points in results['series'].items()})
