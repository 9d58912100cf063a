"""The inspector beside the other programs that read the same messages."""
import json
import os
import pathlib
import statistics
import subprocess
import tempfile
import threading
import time

import chart
import measure

ROOT = pathlib.Path(__file__).resolve().parents[2]
# A server with 17 clients of 4 displays of 3 modules: some 50 KB.
SHAPE = ['--clients', '17', '--displays', '4', '--modules', '3']
TREES = 100  # that differ; streams repeat them
STARTS = 20  # of each program in a round
MIB = 1 << 20
# What each verb is measured against, and how much faster it is meant to be.
AIMS = {'decode --to json': [('protoc --decode', 2.5), ('buf convert', 10)],
        'annotate': [('protoc --decode', 1)],
        'check': [('protozero walk', 1 / 3)]}
START_AIM = 1.5
MEMORY_AIM = 64
VERBS = {'decode --to json': ['decode', '--to', 'json'],
         'annotate': ['annotate'], 'check': ['check']}


def find_buf():
    """The program itself, without the script in front that starts it."""
    found = sorted(ROOT.glob(
        'packaging/buf/node_modules/@bufbuild/buf-linux-*/bin/buf'))
    if not found:
        raise SystemExit('tarn.py: buf is missing: run script/bootstrap bench')
    return found[0]


def unframed(stream):
    """The messages of a stream behind one another: since the trees stand in a
    list, that is one message with the trees of all."""
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
        self.tarn = str(build_dir.resolve() / 'tarn')
        self.walk = str(build_dir.resolve() / 'bench/tarn/protozero_walk')
        self.schema = build_dir.resolve() / 'generated/tarn/tarn.binpb'
        sample = [self.tarn, 'sample', 'network', *SHAPE, '--frame', 'varint',
                  '--count', str(trees)]
        once = subprocess.run(sample, check=True, capture_output=True).stdout
        self.trees = once
        self.tree_bytes = len(once) // trees
        self.stream = folder / 'stream'
        self.stream.write_bytes(once * repeats)
        self.whole = folder / 'whole.binpb'
        self.whole.write_bytes(unframed(once) * repeats)
        self.small = folder / 'small.binpb'
        self.small.write_bytes(subprocess.run(
            [self.tarn, 'sample', 'Price', '--to', 'binary'], check=True,
            capture_output=True).stdout)

    def verb(self, name, kind='ModsConfigured'):
        return [self.tarn, *VERBS[name], '--frame', 'varint', kind]

    def protoc(self):
        return ['protoc', f'--descriptor_set_in={self.schema}',
                '--decode=tarn.ModsConfigured']

    def buf(self, message):
        return [str(find_buf()), 'convert', str(self.schema), '--type',
                'tarn.ModsConfigured', '--from', f'{message}#format=binpb',
                '--to', '-#format=json']


def seconds(command, file):
    with open(file, 'rb') as stdin:
        begin = time.perf_counter()
        subprocess.run(command, check=True, stdin=stdin,
                       stdout=subprocess.DEVNULL)
        return time.perf_counter() - begin


def check_agreement(programs, folder):
    """That all programs found the same in the same bytes."""
    one = folder / 'one.binpb'
    one.write_bytes(unframed(programs.trees))
    outputs = {}
    for name, command in (
            ('text', [programs.tarn, 'decode', 'ModsConfigured']),
            ('json', [programs.tarn, 'decode', '--to', 'json',
                      'ModsConfigured']),
            ('protoc', programs.protoc()), ('buf', programs.buf(one))):
        with one.open('rb') as stdin:
            outputs[name] = subprocess.run(command, check=True, stdin=stdin,
                                           capture_output=True).stdout
    if outputs['text'] != outputs['protoc']:
        raise SystemExit('tarn.py: tarn decode and protoc --decode differ')
    if json.loads(outputs['json']) != json.loads(outputs['buf']):
        raise SystemExit('tarn.py: tarn decode and buf convert differ')
    with programs.stream.open('rb') as stdin:
        report = subprocess.run(programs.verb('check'), check=True,
                                stdin=stdin, capture_output=True).stdout
    if report:
        raise SystemExit('tarn.py: the stream gives check something to report')


def measure_speed(programs, rounds, progress):
    stream, whole = programs.stream, programs.whole
    things = {name: lambda name=name: seconds(programs.verb(name), stream)
              for name in VERBS}
    things['protozero walk'] = lambda: seconds([programs.walk], stream)
    things['protoc --decode'] = lambda: seconds(programs.protoc(), whole)
    # It takes so long that few rounds are enough.
    few = max(1, rounds // 3)
    slow = dict(things, **{
        'buf convert': lambda: seconds(programs.buf(whole), os.devnull)})
    times = measure.in_turn(few, slow, progress)
    for name, more in measure.in_turn(rounds - few, things, progress).items():
        times[name] += more
    return times


def first_output(command):
    """Seconds from starting a program to its first byte of output."""
    read, write = os.pipe()
    begin = time.perf_counter()
    pid = os.posix_spawnp(command[0], command, os.environ, file_actions=[
        (os.POSIX_SPAWN_DUP2, write, 1), (os.POSIX_SPAWN_CLOSE, read)])
    os.close(write)
    first = os.read(read, 1)
    taken = time.perf_counter() - begin
    while os.read(read, MIB):
        pass
    os.close(read)
    _, status = os.waitpid(pid, 0)
    if not first or status != 0:
        raise SystemExit(f'tarn.py: {" ".join(command)} wrote nothing')
    return taken


def measure_start(programs, rounds, progress):
    """The median of many starts, for each round."""
    commands = {
        'tarn decode --to json': [programs.tarn, 'decode', '--to', 'json',
                                  'Price', str(programs.small)],
        'protoc --version': ['protoc', '--version'],
        'echo': ['echo', '1']}
    medians = {name: [] for name in commands}
    for _ in range(rounds):
        starts = measure.in_turn(STARTS, {
            name: lambda command=command: first_output(command)
            for name, command in commands.items()}, progress)
        for name, numbers in starts.items():
            medians[name].append(statistics.median(numbers))
    return medians


def peak_memory(command, piece, size, progress):
    """MiB that a program had in memory at most while it read so many bytes:
    pieces behind one another, through a pipe."""
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
        check_agreement(programs, folder)
        times = measure_speed(programs, rounds, progress)
        starts = measure_start(programs, rounds, progress)
        memory = {verb: peak_memory(programs.verb(verb), programs.trees, size,
                                    progress) for verb in VERBS}
        return {
            'bytes': programs.stream.stat().st_size,
            'tree_bytes': programs.tree_bytes,
            'memory_bytes': size,
            'seconds': times,
            'start_seconds': {name: measure.spread(numbers)
                              for name, numbers in starts.items()},
            'start_ratio': measure.ratio(starts['tarn decode --to json'],
                                         starts['protoc --version']),
            'peak_mib': memory,
        }


def speeds(results):
    """MB of wire bytes a second, by program."""
    return {name: results['bytes'] / statistics.median(numbers) / 1e6
            for name, numbers in results['seconds'].items()}


def markdown(results):
    speed = speeds(results)
    ratios = [
        [f'`tarn {verb}`', f'`{other}`',
         measure.show(measure.ratio(results['seconds'][other],
                                    results['seconds'][verb])),
         f'≥ {measure.digits(aim)}',
         measure.digits(speed[verb]), measure.digits(speed[other])]
        for verb, others in AIMS.items() for other, aim in others]
    memory = [[f'`tarn {verb}`', f'{results["peak_mib"][verb]:.1f}',
               f'< {MEMORY_AIM}'] for verb in VERBS]
    starts = [[f'`{name}`', measure.digits(1e3 * figures['median'])]
              for name, figures in sorted(
                  results['start_seconds'].items(),
                  key=lambda start: -start[1]['median'])]
    return f"""\
Whole runs of the programs, over {results['bytes'] / 1e6:.0f} MB of made-up \
network trees of {results['tree_bytes'] / 1e3:.0f} KB each. `tarn` and the \
walk by protozero read a stream with a varint in front of each tree; protoc \
and buf read no streams, and get one message with all the trees.

{measure.table(
    ['program', 'beside', 'times as fast', 'aim', 'MB/s', 'MB/s beside'],
    ratios)}

`decode` walks over each message twice, once to find out whether the runtime \
would take it and once to print it. `check` with nothing to report is the bare \
walk: it does what the walk by protozero does, checks UTF-8, keeps the place of \
everything, and looks at what is expected of each kind of node.

![Wire bytes a second](performance/tarn-speed.svg)

From the start to the first byte of output, `tarn` on a message of a few \
bytes takes {measure.show(results['start_ratio'])} times as long as \
`protoc --version` (aim: below {START_AIM}):

{measure.table(['program', 'ms, median'], starts)}

Most memory held over a stream of {results['memory_bytes'] / MIB:.0f} MiB:

{measure.table(['program', 'MiB', 'aim'], memory)}"""


def draw(results, folder):
    speed = dict(sorted(speeds(results).items(), key=lambda pair: -pair[1]))
    names = [f'tarn {name}' if name in VERBS else name for name in speed]
    chart.bars(folder / 'tarn-speed.svg',
               'Network trees through each program',
               'MB of wire bytes a second', {'': list(speed.values())}, names,
               log=True)
