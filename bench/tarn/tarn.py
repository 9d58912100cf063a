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
TREES = 100  # that differ; streams repeat them
MIB = 1 << 20
# What each verb is measured beside.
BESIDE = {'decode --to json': 'protoc --decode', 'annotate': 'protoc --decode',
          'check': 'protozero walk', 'rows --table node': 'decode --to json'}


def unframed(stream):
    """The messages of a stream without the lengths in front of them: since the
    trees are in a list, that is one message with the trees of all."""
    messages, place = [], 0
    while place < len(stream):
        end = place + 4 + int.from_bytes(stream[place:place + 4], 'big')
        messages.append(stream[place + 4:end])
        place = end
    return b''.join(messages)


class Programs:
    """The command lines, and the files that they read."""

    def __init__(self, build_dir, folder, trees, repeats):
        build_dir = build_dir.resolve()
        self.tarn = str(build_dir / 'tarn')
        self.walk = [str(build_dir / 'bench/tarn/protozero_walk')]
        self.schema = build_dir / 'generated/tarn/tarn.binpb'
        self.trees = output([self.tarn, 'sample', 'network', *SHAPE, '--frame',
                             'u32be', '--count', str(trees)])
        self.one, self.stream, self.whole = (
            folder / name for name in ('one', 'stream', 'whole'))
        self.one.write_bytes(unframed(self.trees))
        self.stream.write_bytes(self.trees * repeats)
        self.whole.write_bytes(self.one.read_bytes() * repeats)

    def verb(self, name):
        return [self.tarn, *name.split(), '--frame', 'u32be', 'ModsConfigured']

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
    nodes = json.loads(output([tarn, 'tree', '--json'], one))
    rows = output([tarn, 'rows', '--table', 'node', 'ModsConfigured'], one)
    if rows.count(b'\r\n') != 1 + sum(nodes['below'].values()):
        raise SystemExit('tarn.py: tarn rows prints no row for each node')
    if output(programs.verb('check'), programs.stream):
        raise SystemExit('tarn.py: the stream gives check something to report')
    if output(programs.walk, one) == b'0\n':
        raise SystemExit('tarn.py: protozero finds nothing in the trees')


def measure_speed(programs, rounds, progress):
    stream, whole = programs.stream, programs.whole
    things = {name: lambda name=name: seconds(programs.verb(name), stream)
              for name in BESIDE}
    things['protozero walk'] = lambda: seconds(programs.walk, whole)
    things['protoc --decode'] = lambda: seconds(programs.protoc(), whole)
    return measure.in_turn(rounds, things, progress)


def peak_memory(command, piece, size, progress):
    """MiB that a program had in memory at most while it read so many bytes:
    pieces one after the other, through a pipe."""
    with subprocess.Popen(command, stdin=subprocess.PIPE,
                          stdout=subprocess.DEVNULL) as process:
        for left in range(size, 0, -len(piece)):
            process.stdin.write(piece)
            progress(f'{command[1]}: {left // MIB} MiB to go')
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
                                    progress) for verb in BESIDE}
        return {'bytes': programs.stream.stat().st_size, 'seconds': times,
                'memory_bytes': size, 'peak_mib': memory}


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
         measure.digits(speed[verb]), measure.digits(speed[other])]
        for verb, other in BESIDE.items() if verb in speed]
    return f"""\
{measure.table(
    ['program', 'beside', 'times as fast', 'MB/s', 'MB/s beside'], ratios)}

None of these verbs held more than \
{max(results['peak_mib'].values()):.1f} MiB over a stream of \
{results['memory_bytes'] / MIB:.0f} MiB."""
