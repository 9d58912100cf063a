"""The library beside the other ways to move the same values."""
import json
import os
import statistics
import subprocess

import chart
from measure import digits, table

# Debian's package of each program.
CONTESTANTS = {
    'ours': 'libprotobuf-dev', 'plain': 'libprotobuf-dev',
    'plain_ndebug': 'libprotobuf-dev', 'lite': 'libprotobuf-dev',
    'protobuf_c': 'libprotobuf-c-dev', 'nanopb': 'libnanopb-dev',
    'protozero': 'libprotozero-dev', 'json': 'libsimdjson-dev',
    'flatbuffers': 'libflatbuffers-dev'}
TREES = ['tree, 5 KB', 'tree, 50 KB', 'tree, 1.2 MB']
NEW = ('parse new', 'serialize cached')
BEST = ('parse block', 'serialize block')
FOREIGN = ('parse new', 'serialize array')
# Against whom, the peer's operations, and ours.
AGAINST = {
    'plain -O2, both with a new message': ('plain', NEW, NEW),
    'plain -O2, both with an arena': ('plain', BEST, BEST),
    'plain -O2 -DNDEBUG, both with a new message': ('plain_ndebug', NEW, NEW),
    'plain -O2 -DNDEBUG, both with an arena': ('plain_ndebug', BEST, BEST),
    'plain -O2 used naively: new message, new string':
        ('plain', ('parse new', 'serialize string'), BEST),
    'lite runtime, both with an arena': ('lite', BEST, BEST),
    'protobuf-c': ('protobuf_c', FOREIGN, BEST),
    'nanopb': ('nanopb', FOREIGN, BEST),
    'JSON, simdjson and RapidJSON':
        ('json', ('parse block', 'serialize array'), BEST),
    'protozero, a walk that stores nothing':
        ('protozero', ('walk', None), BEST)}
# A processor that is shared runs for seconds on end at another speed. All is
# therefore timed often and briefly, everybody in turn, and the least time of a
# round counts.
TURNS = 8


def pin():
    """Keeps this process on one core."""
    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})


def measure(program, seconds):
    """The time of each operation of a program in ns, {"payload/operation":
    time}, and what else it says."""
    command = [program, '--benchmark_format=json',
               f'--benchmark_min_time={seconds}']
    done = json.loads(subprocess.run(
        command, check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
        preexec_fn=pin).stdout)
    return ({entry['name']: entry['cpu_time'] for entry in done['benchmarks']},
            done['context'])


def one_round(number, programs, quick, progress):
    """The least time of each operation, {name: {"payload/operation": time}}."""
    names = list(programs)
    first = number % len(names)
    times = {name: {} for name in names}
    for turn in range(1 if quick else TURNS):
        # Each round begins with another program.
        for name in names[first:] + names[:first]:
            progress(f'round {number + 1}, turn {turn + 1} of {TURNS}, {name}')
            now, _ = measure(programs[name], 0.00001 if quick else 0.003)
            times[name] = {operation: min(time, times[name].get(operation, time))
                           for operation, time in now.items()}
    return times


def summary(numbers):
    """The median, and the lowest and highest."""
    return [round(number, 4) for number in
            (statistics.median(numbers), min(numbers), max(numbers))]


def tree_ratios(rounds, peer, theirs, ours):
    """How many times as long a peer takes, as the geometric mean of the trees,
    in each round."""
    return [statistics.geometric_mean(
        times[peer][f'{tree}/{theirs}'] / times['ours'][f'{tree}/{ours}']
        for tree in TREES) for times in rounds]


def versions():
    packages = sorted(set(CONTESTANTS.values())
                      | {'rapidjson-dev', 'libbenchmark-dev'})
    done = subprocess.run(
        ['dpkg-query', '--show', '--showformat=${Package} ${Version}\n']
        + packages, check=True, stdout=subprocess.PIPE, text=True)
    return dict(line.split() for line in done.stdout.splitlines())


def run(build_dir, rounds, progress):
    programs = {name: build_dir / 'bench' / 'peers' / f'bench_peers_{name}'
                for name in CONTESTANTS}
    measured = [one_round(number, programs, rounds == 1, progress)
                for number in range(rounds)]
    sizes = {name: int(measure(programs[name], 0.00001)[1][TREES[1]])
             for name in ('ours', 'json', 'flatbuffers')}
    times = {operation: summary([one['ours'][operation] for one in measured])
             for operation in measured[0]['ours']}
    against = {label: [
        their and summary(tree_ratios(measured, peer, their, our))
        for their, our in zip(theirs, ours)]
        for label, (peer, theirs, ours) in AGAINST.items()}
    return {'rounds': rounds, 'times': times, 'against': against,
            'sizes': sizes, 'versions': versions(), 'decode': summary(
                tree_ratios(measured, 'flatbuffers', 'decode', 'decode'))}


def number(time):
    """Two digits and a unit, of a time in ns."""
    unit, size = next((unit, size) for unit, size in (
        ('ns', 1), ('µs', 1e3), ('ms', 1e6), ('s', 1e9))
        if time < 995 * size or unit == 's')
    return f'{digits(time / size)} {unit}'


def spread(ratio):
    """A ratio, marked where its rounds are on both sides of 1."""
    median, low, high = map(digits, ratio)
    same = ratio[1] <= 1 <= ratio[2]
    return f'{"≈ " if same else ""}**{median}** ({low}–{high})'


def against_table(results):
    return table(['against', 'parse', 'serialize'],
                 [(label, *(ratio and spread(ratio) or '–'
                            for ratio in results['against'][label]))
                  for label in AGAINST])


# The message, what to use, what not, both as operations.
ADVICE = [
    ('tree, 50 KB', 'parse block', 'parse new',
     'arena with a block, reset', 'new message'),
    ('tree, 50 KB', 'parse block', 'parse reused',
     'arena with a block, reset', 'reused message, whose oneofs free'),
    ('40 products', 'parse reused', 'parse new',
     'reused message', 'new message'),
    ('frame, 9 bytes', 'parse new', 'parse arena', 'new message', 'new arena'),
    ('frame, 9 bytes', 'parse new', 'parse block',
     'new message', 'arena with a block, reset'),
    ('tree, 50 KB', 'serialize cached', 'serialize array',
     'array, size computed once', 'array, size computed twice'),
    ('tree, 1.2 MB', 'serialize block', 'serialize cached',
     'array, message on an arena', 'array, message on the heap'),
    ('frame, 9 bytes', 'serialize cached', 'serialize array',
     'array, size computed once', 'array, size computed twice'),
]


def times_as_long(slow, fast):
    same = slow[1] <= fast[2] and fast[1] <= slow[2]
    return f'{"≈ " if same else ""}{digits(slow[0] / fast[0])}'


def advice_table(results):
    def time(payload, operation):
        return results['times'][f'{payload}/{operation}']
    return table(
        ['message', 'use', 'time', 'rather than', 'times as long'],
        [(payload, good, number(time(payload, fast)[0]), bad,
          times_as_long(time(payload, slow), time(payload, fast)))
         for payload, fast, slow, good, bad in ADVICE])


def markdown(results):
    packages = ', '.join(f'{name} {version}' for name, version
                         in results['versions'].items())
    sizes = results['sizes']
    return f'''\
How many times as long the other takes, as the geometric mean of the three
trees, in {results['rounds']} rounds. A ratio marked ≈ is not told apart from 1.

{against_table(results)}

The tree of 50 KB has {sizes['ours']:,} bytes; as JSON {sizes['json']:,}, as
FlatBuffers {sizes['flatbuffers']:,}. FlatBuffers are read where they lie: to
check all offsets and read every value takes them {spread(results['decode'])}
times as long as libschema takes to parse and to read every value.

The ways to use libschema, and how many times as long the other takes, as the
ratio of the medians; where it is marked ≈, the rounds of the two overlap:

{advice_table(results)}

*{packages}*'''


def draw(results, folder):
    labels = list(AGAINST)
    chart.bars(
        folder / 'peers-ratios.svg', 'Time of others, libschema = 1',
        'times as long (geometric mean of three trees, median of rounds)',
        {name: [ratios and ratios[0] for ratios in
                (results['against'][label][side] for label in labels)]
         for side, name in enumerate(['parse', 'serialize'])},
        labels)
