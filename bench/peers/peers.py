"""The library beside the other ways to move the same values."""
import json
import math
import os
import statistics
import subprocess

import chart
from measure import digits, overlap, table

# In the order of the tables: program, what people call it, Debian's package.
CONTESTANTS = {
    'ours': ('libschema', 'libprotobuf-dev'),
    'plain': ('the same sources, plain -O2', 'libprotobuf-dev'),
    'plain_ndebug': ('plain -O2 -DNDEBUG', 'libprotobuf-dev'),
    'lite': ('the lite runtime', 'libprotobuf-dev'),
    'protobuf_c': ('protobuf-c', 'libprotobuf-c-dev'),
    'nanopb': ('nanopb', 'libnanopb-dev'),
    'protozero': ('protozero into structs', 'libprotozero-dev'),
    'msgpack': ('MessagePack', 'libmsgpack-cxx-dev'),
    'json': ('JSON by simdjson and RapidJSON', 'libsimdjson-dev'),
    'flatbuffers': ('FlatBuffers', 'libflatbuffers-dev'),
    'capnp': ("Cap'n Proto", 'libcapnp-dev'),
}
TREES = ['tree, 5 KB', 'tree, 50 KB', 'tree, 1.2 MB']
PAYLOADS = TREES + ['report, 20 keys', 'report, 2,000 keys', '40 products',
                    'file, 1 MB', '1,000 bools', '1,000 enums',
                    'frame, 9 bytes']
NEW = ('parse new', 'serialize cached')
BEST = ('parse block', 'serialize block')
FOREIGN = ('parse new', 'serialize array')
# Against whom, the peer's operations, ours, and the ratios aimed at.
AIMS = {
    'plain -O2, both with a new message':
        ('plain', NEW, NEW, (1.25, 1.5)),
    'plain -O2, both with an arena':
        ('plain', BEST, BEST, (1.35, 1.5)),
    'plain -O2 -DNDEBUG, both with a new message':
        ('plain_ndebug', NEW, NEW, (None, None)),
    'plain -O2 -DNDEBUG, both with an arena':
        ('plain_ndebug', BEST, BEST, (None, None)),
    'plain -O2 used naively: new message, new string':
        ('plain', ('parse new', 'serialize string'), BEST, (2.0, 1.7)),
    'lite runtime, both with an arena':
        ('lite', BEST, BEST, (1.2, 1.3)),
    'protobuf-c': ('protobuf_c', FOREIGN, BEST, (2.0, 2.2)),
    'nanopb': ('nanopb', FOREIGN, BEST, (2.0, 2.2)),
    'JSON, simdjson and RapidJSON': ('json', FOREIGN, BEST, (3.0, 3.0)),
    'MessagePack': ('msgpack', FOREIGN, BEST, (1.3, 1.5)),
    'protozero, a walk that stores nothing':
        ('protozero', ('walk', None), BEST, (0.45, None)),
}
# What every contestant can do, from plain structs and back to every value.
THROUGH = ['encode', 'decode']
# What the ratios are made of.
COMPARED = sorted({operation for _, theirs, ours, _ in AIMS.values()
                   for operation in theirs + ours if operation} | set(THROUGH))
# A processor that is shared runs for seconds on end at another speed. What is
# compared is therefore timed often and briefly, everybody in turn, and the
# least time of a round counts.
TURNS = 8
USES = ['build', 'parse new', 'parse reused', 'parse arena', 'parse block',
        'serialize string', 'serialize reused', 'serialize array',
        'serialize cached', 'serialize block', 'copy', 'read', 'destroy']


def program(build_dir, contestant):
    return build_dir / 'bench' / 'peers' / f'bench_peers_{contestant}'


def pin():
    """Keeps this process on one core."""
    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})


def measure(contestant, seconds, payloads='.', environment=None):
    """The time of each operation of a program in ns:
    {payload: {operation: time}}. payloads is a regular expression."""
    command = [contestant, '--benchmark_format=json',
               f'--benchmark_filter={payloads}',
               f'--benchmark_min_time={seconds}']
    done = subprocess.run(command, check=True, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, preexec_fn=pin,
                          env=os.environ | (environment or {}))
    times = {}
    for entry in json.loads(done.stdout)['benchmarks']:
        payload, operation, *manual = entry['name'].split('/')
        time = entry['real_time' if manual else 'cpu_time']
        times.setdefault(payload, {})[operation] = time / entry.get('batch', 1)
    return times


def one_round(number, programs, operations, quick, progress):
    """The least time of each operation on the trees, {name: {payload:
    {operation: time}}}, for programs, {name: (program, environment)}."""
    names = list(programs)
    first = number % len(names)
    times = {}
    for turn in range(1 if quick else TURNS):
        # Nobody always comes first.
        for name in names[first:] + names[:first]:
            progress(f'round {number + 1}, turn {turn + 1} of {TURNS}, {name}')
            program_file, environment = programs[name]
            keep_least(times.setdefault(name, {}), measure(
                program_file, 0.00001 if quick else 0.003,
                f'^tree.*/({"|".join(operations)})', environment))
    return times


def keep_least(times, others):
    for payload, operations in others.items():
        kept = times.setdefault(payload, {})
        for operation, time in operations.items():
            kept[operation] = min(time, kept.get(operation, time))


def count(build_dir, contestant):
    """Sizes and allocations, of a run that is not timed."""
    library = build_dir / 'bench' / 'peers' / 'libbench_peers_allocations.so'
    done = subprocess.run(
        [program(build_dir, contestant), '--count'], check=True,
        stdout=subprocess.PIPE, env=os.environ | {'LD_PRELOAD': str(library)})
    return json.loads(done.stdout)


def summary(numbers):
    """The median, and the lowest and highest."""
    return [round(number, 4) for number in
            (statistics.median(numbers), min(numbers), max(numbers))]


def tree_ratios(rounds, peer, theirs, ours):
    """How many times as long a peer takes, as the geometric mean of the trees,
    in each round."""
    return [statistics.geometric_mean(
        times[peer][tree][theirs] / times['ours'][tree][ours]
        for tree in TREES) for times in rounds]


def versions():
    packages = sorted({package for _, package in CONTESTANTS.values()}
                      | {'rapidjson-dev', 'libbenchmark-dev'})
    done = subprocess.run(
        ['dpkg-query', '--show', '--showformat=${Package} ${Version}\n']
        + packages, check=True, stdout=subprocess.PIPE, text=True)
    return dict(line.split() for line in done.stdout.splitlines())


def summarize(rounds, counts):
    times = {
        contestant: {
            payload: {
                operation: summary([one[contestant][payload][operation]
                                    for one in rounds])
                for operation in operations}
            for payload, operations in rounds[0][contestant].items()}
        for contestant in CONTESTANTS}
    aims = {
        label: [their and summary(tree_ratios(rounds, peer, their, our))
                for their, our in zip(theirs, ours)]
        for label, (peer, theirs, ours, _) in AIMS.items()}
    through = {
        contestant: {
            operation: summary(tree_ratios(rounds, contestant, operation,
                                           operation))
            for operation in THROUGH}
        for contestant in CONTESTANTS}
    return {'rounds': len(rounds), 'times': times, 'aims': aims,
            'through': through, 'counts': counts}


def run(build_dir, rounds, progress):
    counts = {}
    for contestant in CONTESTANTS:
        progress(f'counting allocations of {contestant}')
        counts[contestant] = count(build_dir, contestant)
    programs = {contestant: (program(build_dir, contestant), {})
                for contestant in CONTESTANTS}
    quick = rounds == 1
    measured = []
    for number in range(rounds):
        times = one_round(number, programs, COMPARED, quick, progress)
        for contestant, (program_file, _) in programs.items():
            progress(f'round {number + 1} of {rounds}, all of {contestant}')
            keep_least(times[contestant], measure(
                program_file, 0.00001 if quick else 0.005))
        measured.append(times)
    return summarize(measured, counts) | {'versions': versions()}


def number(time):
    """Two digits and a unit, of a time in ns."""
    for unit, size in (('ns', 1), ('µs', 1e3), ('ms', 1e6), ('s', 1e9)):
        if time < 995 * size or unit == 's':
            return f'{digits(time / size)} {unit}'
    raise ValueError(time)


def figures_of(numbers):
    """A summary under the names of measure.py."""
    return dict(zip(('median', 'lowest', 'highest'), numbers))


def spread(ratio, beside=(1, 1, 1)):
    """A ratio, marked where its rounds overlap those it stands beside."""
    median, low, high = map(digits, ratio)
    same = ratio is not beside and overlap(figures_of(ratio),
                                           figures_of(beside))
    return f'{"≈ " if same else ""}**{median}** ({low}–{high})'


def verdict(ratio, aim):
    if ratio is None:
        return '–', '–'
    if aim is None:
        return spread(ratio), '–'
    word = 'within the spread'
    if ratio[1] >= aim:
        word = 'reached'
    elif ratio[2] < aim:
        word = 'not reached'
    return spread(ratio), f'{aim:g}: {word}'


def aims_table(results):
    return table(
        ['against', 'parse', 'aim', 'serialize', 'aim'],
        [(label, *verdict(results['aims'][label][0], aims[0]),
          *verdict(results['aims'][label][1], aims[1]))
         for label, (_, _, _, aims) in AIMS.items()])


def through_table(results):
    return table(
        ['', 'values to bytes', 'bytes to values', 'read again, 50 KB'],
        [[title] + [spread(results['through'][contestant][operation],
                           results['through']['ours'][operation])
                    for operation in THROUGH]
         + [number(results['times'][contestant][TREES[1]]['read'][0])]
         for contestant, (title, _) in CONTESTANTS.items()])


def sizes_table(results):
    """What a contestant cannot express has a dash."""
    payloads = (TREES[1], 'report, 20 keys', '40 products', 'file, 1 MB')

    def cells(title, counts):
        yield title
        for payload in payloads:
            yield f'{counts[payload]["size"]:,}' if payload in counts else '–'
        for operation in THROUGH:
            yield allocations(counts, TREES[1], operation)
    return table(
        ['bytes'] + list(payloads)
        + ['allocated for the tree, values to bytes', 'bytes to values'],
        [list(cells(title, results['counts'][contestant]))
         for contestant, (title, _) in CONTESTANTS.items()])


def allocations(counts, payload, operation):
    calls, size = counts[payload]['allocations'][operation]
    return f'{calls:,} × {size / calls:,.0f}' if calls else '0'


def uses_table(results):
    times = results['times']['ours']
    return table([''] + PAYLOADS,
                 [[use] + [number(times[payload][use][0])
                           for payload in PAYLOADS] for use in USES])


def allocations_table(results):
    counts = results['counts']['ours']
    return table(['calls × bytes'] + PAYLOADS,
                 [[use] + [allocations(counts, payload, use)
                           for payload in PAYLOADS]
                  for use in USES if use != 'destroy'])


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
    ('tree, 1.2 MB', 'serialize cached', 'serialize string',
     'array, size computed once', 'new string'),
]


def times_as_long(slow, fast):
    same = overlap(figures_of(slow), figures_of(fast))
    return f'{"≈ " if same else ""}{digits(slow[0] / fast[0])}'


def advice_table(results):
    times = results['times']['ours']
    return table(
        ['message', 'use', 'rather than', 'times as long'],
        [(payload, good, bad,
          times_as_long(times[payload][slow], times[payload][fast]))
         for payload, fast, slow, good, bad in ADVICE])


def markdown(results):
    rounds = results['rounds']
    packages = ', '.join(f'{name} {version}' for name, version
                         in results['versions'].items())
    return f'''How many times as long the other takes, as the geometric mean of the
three trees, in {rounds} rounds. A ratio marked ≈ is not told apart from 1.

{aims_table(results)}

The whole way, from plain structs to bytes and from bytes to every value read,
in the same ratios; and the time of reading every value of the tree of 50 KB.
What is marked ≈ is not told apart from libschema:

{through_table(results)}

Bytes on the wire, and allocations for the tree of 50 KB, how many and how
large on average. A dash: it cannot express the message.

{sizes_table(results)}

The ways to use libschema, and how many times as long the other takes, as the
ratio of the medians; where it is marked ≈, the rounds of the two overlap:

{advice_table(results)}

What each way takes, as medians:

{uses_table(results)}

What each allocates:

{allocations_table(results)}

*{packages}*'''


def draw(results, folder):
    labels = list(AIMS)
    chart.bars(
        folder / 'peers-ratios.svg', 'Time of others, libschema = 1',
        'times as long (geometric mean of three trees, median of rounds)',
        {name: [ratios and ratios[0] for ratios in
                (results['aims'][label][side] for label in labels)]
         for side, name in enumerate(['parse', 'serialize'])},
        labels, mark=1, log=True)
    others = [name for name in CONTESTANTS if name != 'ours']
    chart.bars(
        folder / 'peers-through.svg',
        'Plain structs to bytes, and bytes to every value read, libschema = 1',
        'times as long (geometric mean of three trees, median of rounds)',
        {operation: [results['through'][name][operation][0]
                     for name in others] for operation in THROUGH},
        [CONTESTANTS[name][0] for name in others], mark=1, log=True)
