"""The inspector beside the other programs that read the same messages."""
import json
import os
import pathlib
import statistics
import subprocess
import tempfile
import time

import measure

# A server with 17 clients of 4 displays of 3 modules: some 50 KB.
SHAPE = ['--clients', '17', '--displays', '4', '--modules', '3']
# One of 408 clients: some 1.2 MB.
LARGE_SHAPE = ['--clients', '408', '--displays', '4', '--modules', '3']
TREES = 100  # that differ; streams repeat them
MIB = 1 << 20
# What each verb is measured beside.
BESIDE = {'decode --to json': ['protoc --decode'],
          'annotate': ['protoc --decode'], 'check': ['protozero walk'],
          'rows --to csv': ['decode --to json']}
VERBS = {'decode --to json': ['decode', '--to', 'json'],
         'annotate': ['annotate'], 'check': ['check'],
         'rows --to csv': ['rows', '--table', 'node']}
ROWS, JSON = 'rows --to csv, one tree', 'decode --to json, one tree'


def unframed(stream):
    """The messages of a stream without what is in front of each: since the
    trees are in a list, that is one message with the trees of all."""
    messages = bytearray()
    place = 0
    while place < len(stream):
        size = shift = 0
        more = True
        while more:
            byte = stream[place]
            size |= (byte & 127) << shift
            shift += 7
            more = byte > 127
            place += 1
        messages += stream[place:place + size]
        place += size
    return bytes(messages)


class Programs:
    """The command lines, and the files that they read."""

    def __init__(self, build_dir, folder, trees, repeats):
        build_dir = build_dir.resolve()
        self.tarn = str(build_dir / 'tarn')
        self.walk = [str(build_dir / 'bench/tarn/protozero_walk')]
        self.schema = build_dir / 'generated/tarn/tarn.binpb'
        self.trees = output([self.tarn, 'sample', 'network', *SHAPE, '--frame',
                             'varint', '--count', str(trees)])
        self.tree_bytes = len(self.trees) // trees
        self.messages = trees * repeats
        self.one, self.stream, self.whole, self.large = (
            folder / name for name in ('one', 'stream', 'whole', 'large'))
        self.large.write_bytes(output([self.tarn, 'sample', 'network',
                                       *LARGE_SHAPE, '--to', 'binary']))
        self.one.write_bytes(unframed(self.trees))
        self.stream.write_bytes(self.trees * repeats)
        self.whole.write_bytes(self.one.read_bytes() * repeats)

    def verb(self, name):
        return [self.tarn, *VERBS[name], '--frame', 'varint', 'ModsConfigured']

    def on_one_tree(self, name):
        return [self.tarn, *VERBS[name], 'ModsConfigured']

    def protoc(self):
        return ['protoc', f'--descriptor_set_in={self.schema}',
                '--decode=tarn.ModsConfigured']


def output(command, file=os.devnull):
    with open(file, 'rb') as stdin:
        return subprocess.run(command, check=True, stdin=stdin,
                              capture_output=True).stdout


def seconds(command, file):
    with open(file, 'rb') as stdin:
        begin = time.perf_counter()
        subprocess.run(command, check=True, stdin=stdin,
                       stdout=subprocess.DEVNULL)
        return time.perf_counter() - begin


def check_agreement(programs):
    """That all programs found the same in the same bytes."""
    tarn, one = programs.tarn, programs.one
    if (output([tarn, 'decode', 'ModsConfigured'], one)
            != output(programs.protoc(), one)):
        raise SystemExit('tarn.py: tarn decode and protoc --decode differ')
    nodes = json.loads(output([tarn, 'tree', '--json'], programs.large))
    rows = output(programs.on_one_tree('rows --to csv'), programs.large)
    if rows.count(b'\r\n') != 1 + sum(nodes['below'].values()):
        raise SystemExit('tarn.py: tarn rows prints no row for each node')
    if output(programs.verb('check'), programs.stream):
        raise SystemExit('tarn.py: the stream gives check something to report')
    found = json.loads(output(programs.walk, programs.stream))
    if found['messages'] != programs.messages or found['sum'] == 0:
        raise SystemExit(f'tarn.py: protozero walks over other trees: {found}')


def measure_speed(programs, rounds, progress):
    stream, whole = programs.stream, programs.whole
    things = {name: lambda name=name: seconds(programs.verb(name), stream)
              for name in VERBS}
    things['protozero walk'] = lambda: seconds(programs.walk, stream)
    things['protoc --decode'] = lambda: seconds(programs.protoc(), whole)
    for name in ROWS, JSON:
        command = programs.on_one_tree(name.removesuffix(', one tree'))
        things[name] = lambda command=command: seconds(command, programs.large)
    return measure.in_turn(rounds, things, progress)


def peak_memory(command, piece, size, progress):
    """MiB that a program had in memory at most while it read so many bytes:
    pieces one after the other, through a pipe."""
    with subprocess.Popen(command, stdin=subprocess.PIPE,
                          stdout=subprocess.DEVNULL) as process:
        left = size // len(piece)
        while left > 0:
            process.stdin.write(piece)
            left -= 1
            progress(f'{command[1]}: {left * len(piece) // MIB} MiB to go')
        process.stdin.flush()
        # All but what is still in the pipe has been read.
        status = pathlib.Path(f'/proc/{process.pid}/status').read_text()
        process.stdin.close()
        if process.wait() != 0:
            raise SystemExit(f'tarn.py: {" ".join(command)} failed')
    peak = next(line for line in status.splitlines() if 'VmHWM' in line)
    return int(peak.split()[1]) / 1024


def run(build_dir, rounds, progress):
    trees, repeats, size = (TREES, 4, 1000 << 20)
    if rounds == 1:
        trees, repeats, size = (4, 2, 4 << 20)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        progress('making trees')
        programs = Programs(build_dir, folder, trees, repeats)
        check_agreement(programs)
        times = measure_speed(programs, rounds, progress)
        memory = {verb: peak_memory(programs.verb(verb), programs.trees, size,
                                    progress) for verb in VERBS}
        return {
            'bytes': programs.stream.stat().st_size,
            'tree_bytes': programs.tree_bytes,
            'large_tree_bytes': programs.large.stat().st_size,
            'memory_bytes': size,
            'seconds': times,
            'peak_mib': memory,
        }


def speeds(results):
    """MB of wire bytes a second, by program."""
    return {name: results['bytes'] / statistics.median(numbers) / 1e6
            for name, numbers in results['seconds'].items()}


def of_one_tree(results):
    """A sentence; none of results that were kept before there were rows."""
    times = results['seconds']
    if ROWS not in times:
        return ''
    return f"""

A single tree of {results['large_tree_bytes'] / 1e6:.1f} MB is rows in CSV after \
{measure.digits(statistics.median(times[ROWS]) * 1000)} ms, \
{measure.show(measure.ratio(times[ROWS], times[JSON]))} times the time of \
`decode --to json`; the start of the program counts."""


def markdown(results):
    speed = speeds(results)
    ratios = [
        [f'`tarn {verb}`', f'`{other}`',
         measure.show(measure.ratio(results['seconds'][other],
                                    results['seconds'][verb])),
         measure.digits(speed[verb]), measure.digits(speed[other])]
        for verb, others in BESIDE.items() if verb in speed
        for other in others]
    return f"""\
{measure.table(
    ['program', 'beside', 'times as fast', 'MB/s', 'MB/s beside'], ratios)}

None of these verbs held more than \
{max(results['peak_mib'].values()):.1f} MiB over a stream of \
{results['memory_bytes'] / MIB:.0f} MiB.{of_one_tree(results)}"""
