#!/usr/bin/python3
"""The memory of every verb, and its time, grow no faster than what it reads.

Usage: verb_growth_test.py TARN PAGE [--time] [--table]
  PAGE     docs/security.md, whose table has every verb that is measured here
  --time   also measures the time: takes an idle machine
  --table  prints the rows of this table as they are measured now

Times are those of the processor; of several runs the shortest counts.
"""
import math
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

import shapes

TARN, PAGE = sys.argv[1:3]
# Memory is the same in each run: two sizes tell its exponent.
SIZES = ([32 << 10, 64 << 10, 128 << 10, 256 << 10] if '--time' in sys.argv else
         [64 << 10, 256 << 10])
# An exponent of what is less than this is one of the clock, or of the allocator, which
# has room for the first messages from the start: that much is added to what is measured.
SECONDS, BYTES = 0.05, 2 << 20
ROOM = 1 << 20
LIMIT = 1.2
ATTEMPTS = 5
MEASURED = [('ModsConfigured', shape) for shape in (
    shapes.tree, shapes.long_name, shapes.long_port, shapes.moved_nodes, shapes.empty_nodes,
    shapes.deep_nodes, shapes.switches)] + [
        ('HwIdGroups', shapes.truth_table), ('KT4Products', shapes.equal_ids),
        ('KT4Products', shapes.other_order), ('Server', shapes.unknown_fields),
        ('NetworkStatusReport', shapes.equal_keys), ('NetworkStatusReport', shapes.different_keys),
        ('AppStates', shapes.numbers)]
FROM = ['--from=binary', '--max-size=1G']


def verbs(name):
    """Names and arguments, before the file or the files."""
    yield 'decode --to=text', ['decode', name, '--to=text', *FROM]
    yield 'decode --to=json', ['decode', name, '--to=json', *FROM]
    yield 'annotate', ['annotate', name, *FROM]
    yield 'annotate --json', ['annotate', name, '--json', *FROM]
    yield 'check', ['check', name, *FROM]
    yield 'guess', ['guess', *FROM]
    yield 'what', ['what', '--max-size=1G']
    yield 'rows', ['rows', name, '--to=ndjson', *FROM]
    yield 'diff', ['diff', name, *FROM]
    yield 'encode, of text', ['encode', name, '--from=text', '--max-size=1G']
    yield 'encode, of JSON', ['encode', name, '--from=json', '--max-size=1G']
    if name == 'ModsConfigured':
        yield 'tree', ['tree', f'--type={name}', *FROM]
        yield 'tree --json', ['tree', f'--type={name}', '--json', *FROM]
    if name == 'NetworkStatusReport':
        yield 'status', ['status', *FROM]


# Starts programs, as this process would lend them its own peak of memory.
STARTER = '''
import posix, sys
quiet = [(posix.POSIX_SPAWN_OPEN, fd, "/dev/null", posix.O_RDWR, 0) for fd in range(3)]
for line in sys.stdin:
    words = line.rstrip("\\n").split("\\t")
    started = posix.posix_spawn(words[0], words, posix.environ, file_actions=quiet)
    _, status, usage = posix.wait4(started, 0)
    print(status, usage.ru_utime + usage.ru_stime, usage.ru_maxrss, flush=True)
'''


def cost(starter, arguments):
    """Seconds of the processor, and bytes at the peak."""
    print(TARN, *arguments, sep='\t', file=starter.stdin, flush=True)
    status, seconds, kibibytes = starter.stdout.readline().split()
    assert os.waitstatus_to_exitcode(int(status)) in (0, 1, 3), (arguments, status)
    return float(seconds), int(kibibytes) << 10


def inputs(folder, verb, name, shape, size):
    """The files that a verb reads."""
    if not size:
        messages = [b'', b'']
    else:
        messages = [shape(size, bytes([65 + i])) for i in range(2)]
    for i, message in enumerate(messages):
        Path(folder, str(i)).write_bytes(message)
    files = [str(Path(folder, str(i))) for i in range(2)]
    if verb.startswith('encode'):
        form = verb.rpartition(' ')[2].lower()
        written = subprocess.run([TARN, 'decode', name, '--unknown=drop', f'--to={form}', *FROM,
                                  files[0]], check=True, capture_output=True).stdout
        Path(files[0]).write_bytes(written)
    return files if verb == 'diff' else files[:1]


def exponent(costs, least, room):
    """The slope of the costs over the sizes, both as logarithms."""
    above = [max(value - costs[0], 0) + room for value in costs[1:]]
    if above[-1] < least + room or min(above) <= 0:
        return 0
    xs = [math.log(size) for size in SIZES]
    ys = [math.log(value) for value in above]
    middle = sum(xs) / len(xs), sum(ys) / len(ys)
    return (sum((x - middle[0]) * (y - middle[1]) for x, y in zip(xs, ys)) /
            sum((x - middle[0]) ** 2 for x in xs))


def measure(starter, verb, arguments, name, shape):
    """Exponents of time and memory."""
    least = [[math.inf, math.inf] for _ in [0, *SIZES]]
    found = 0, 0
    with tempfile.TemporaryDirectory() as folder:
        for _ in range(ATTEMPTS):
            for now, size in zip(least, [0, *SIZES]):
                files = inputs(folder, verb, name, shape, size)
                now[:] = map(min, now, cost(starter, [*arguments, *files]))
            found = [exponent([now[i] for now in least], *limits)
                     for i, limits in enumerate(((SECONDS, 0), (BYTES, ROOM)))]
            if '--time' not in sys.argv:
                found[0] = 0
            if max(found) < LIMIT:
                break
    return found


def main(starter):
    worst = {}
    failures = 0
    for name, shape in MEASURED:
        for verb, arguments in verbs(name):
            found = measure(starter, verb, arguments, name, shape)
            if max(found) >= LIMIT:
                print(f'{verb}, {shape.__name__}: exponents {found}')
                failures += 1
            worst[verb] = [max(*both) for both in zip(worst.get(verb, (0, 0)), found)]
    if '--table' in sys.argv:
        for verb, (time, memory) in sorted(worst.items()):
            print(f'| `{verb}` | {time:.1f} | {memory:.1f} |')
    listed = re.findall(r'^\| `([^`]+)` \| [01]\.\d \| [01]\.\d \|$', Path(PAGE).read_text(), re.M)
    if listed != sorted(worst):
        print(f'{PAGE} has exponents of {listed}, not of {sorted(worst)}')
        failures += 1
    return failures


if __name__ == '__main__':
    with subprocess.Popen([sys.executable, '-IS', '-c', STARTER], stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE, encoding='utf-8') as process:
        sys.exit(main(process))
