"""What it costs a process to load the library, beside a plain build of it."""
import json
import statistics
import subprocess

import measure

LIBRARIES = {'libschema.so.0': 'libschema.so.0',
             'plain': 'bench/libschema_plain.so'}
MOMENTS = {'dlopen': 'the library is loaded',
           'message': 'a first message is parsed',
           'descriptor': 'its descriptor is there'}
STARTS = 20  # of each process in a round


def run(build_dir, rounds, progress):
    build_dir = build_dir.resolve()
    program = build_dir / 'bench/cost/load'
    paths = {name: str(build_dir / file) for name, file in LIBRARIES.items()}

    def load(library):
        """Nanoseconds until each moment, in a new process."""
        return json.loads(subprocess.run(
            [program, library], check=True, capture_output=True).stdout)

    medians = {moment: {name: [] for name in paths} for moment in MOMENTS}
    for _ in range(rounds):
        starts = measure.in_turn(STARTS, {
            name: lambda path=path: load(path)
            for name, path in paths.items()}, progress)
        for name, runs in starts.items():
            for moment in MOMENTS:
                medians[moment][name].append(
                    statistics.median(run[moment] for run in runs))
    return {moment: {
        'ratio': measure.ratio(names['libschema.so.0'], names['plain']),
        'nanoseconds': {name: measure.spread(numbers)
                        for name, numbers in names.items()}}
        for moment, names in medians.items()}


def markdown(results):
    return measure.table(['', 'ratio', *LIBRARIES], [
        [f'until {text}', measure.show(results[moment]['ratio']),
         *(measure.digits(results[moment]['nanoseconds'][name]['median'] / 1e3)
           + ' µs' for name in LIBRARIES)]
        for moment, text in MOMENTS.items()])
