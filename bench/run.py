#!/usr/bin/python3
"""Runs the benchmarks of a build and says what came out.

usage: run.py BUILD [--rounds N] [--part PART]... [--update] [--quick]
       run.py --from-results [--part PART]...

A part is a module with these functions:

run(build_dir, rounds, progress)  measures, and returns what JSON can hold.
                                  One round fills every table, and is too
                                  little to be believed.
markdown(results)                 the tables, ratios first
draw(results, folder)             writes folder/<part>-*.svg; not every part
"""
import argparse
import importlib.util
import json
import pathlib
import platform
import re
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
DOCS = HERE.parent / 'docs'
sys.path.insert(0, str(HERE))

# The parts, each a module beside its programs.
PARTS = {
    'peers': 'peers/peers.py',
    'load': 'cost/load.py',
    'growth': 'cost/growth.py',
    'worst': 'cost/worst.py',
    'tarn': 'tarn/tarn.py',
    'fleet': 'fleet/fleet.py',
}


def load(part):
    spec = importlib.util.spec_from_file_location(part, HERE / PARTS[part])
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


def surroundings(build_dir):
    """What a figure is worth nothing without."""
    cache = (build_dir / 'CMakeCache.txt').read_text()

    def setting(name):
        found = re.search(f'^{name}:[A-Z]+=(.*)$', cache, re.MULTILINE)
        return found[1] if found else ''

    def output(*command):
        return subprocess.run(command, check=True, capture_output=True,
                              text=True).stdout.strip()

    processor = re.search(r'^model name\s*: (.*)$',
                          pathlib.Path('/proc/cpuinfo').read_text(),
                          re.MULTILINE)
    return {
        'processor': processor[1] if processor else platform.machine(),
        'kernel': 'Linux ' + '.'.join(platform.release().split('.')[:2]),
        'system': platform.freedesktop_os_release()['PRETTY_NAME'],
        'compiler': output(setting('CMAKE_CXX_COMPILER'),
                           '--version').splitlines()[0],
        'build type': setting('CMAKE_BUILD_TYPE'),
        'Protocol Buffers': output('protoc', '--version').split()[-1],
        'day': time.strftime('%Y-%m-%d', time.gmtime()),
    }


def show_progress(text):
    """Replaces what the line on a terminal says."""
    if sys.stderr.isatty():
        print(f'\r\033[K{text}', end='', file=sys.stderr, flush=True)


def replace_section(page, part, text):
    """The page with the text between the two marks of a part."""
    begin, end = f'<!-- bench:{part} -->', f'<!-- /bench:{part} -->'
    head, rest = page.split(begin)
    _, tail = rest.split(end)
    return f'{head}{begin}\n{text.strip()}\n{end}{tail}'


def origin(about):
    return '; '.join(f'{name} {value}' for name, value in about.items())


def laid_out(value, indent=''):
    """JSON, in which what fits a line has one to itself."""
    line = json.dumps(value, ensure_ascii=False)
    if len(indent + line) <= 200 or not isinstance(value, (dict, list)):
        return line
    inner = indent + ' '
    parts = ([laid_out(part, inner) for part in value]
             if isinstance(value, list) else
             [f'"{name}": {laid_out(part, inner)}'
              for name, part in value.items()])
    return (f'{line[0]}\n{inner}' + f',\n{inner}'.join(parts)
            + f'\n{indent}{line[-1]}')


def kept(part):
    """What the last run that was published said of its surroundings, and what
    it measured."""
    document = json.loads((HERE / 'results' / f'{part}.json').read_text())
    return document['about'], document['results']


def shown(part, module):
    """What the page shows of what is kept."""
    about, results = kept(part)
    return f'{module.markdown(results)}\n\n*{origin(about)}*'


def publish(part, module):
    """Writes what the documentation shows of the results that are kept."""
    figures = DOCS / 'performance'
    for old in figures.glob(f'{part}-*.svg'):
        old.unlink()
    if hasattr(module, 'draw'):
        module.draw(kept(part)[1], figures)
    page = DOCS / 'performance.md'
    page.write_text(replace_section(page.read_text(), part,
                                    shown(part, module)))


def arguments():
    parser = argparse.ArgumentParser(
        description='Runs the benchmarks of a build.')
    parser.add_argument('build', type=pathlib.Path, nargs='?')
    parser.add_argument('--rounds', type=int, default=10, metavar='N',
                        help='how often everything is measured, in turn')
    parser.add_argument('--part', action='append', choices=PARTS,
                        help='run this part alone; may be given repeatedly')
    parser.add_argument('--update', action='store_true',
                        help='write bench/results and docs/performance')
    parser.add_argument('--quick', action='store_true',
                        help='one round, only to see that all works')
    parser.add_argument('--from-results', action='store_true',
                        help='measure nothing; write docs/performance anew '
                        'from bench/results')
    given = parser.parse_args()
    if given.rounds < 1:
        parser.error('--rounds: at least 1')
    if given.quick and given.update:
        parser.error('--quick measures nothing worth an --update')
    if given.build is None and not given.from_results:
        parser.error('which build?')
    return given


def measure_part(part, given, about):
    module = load(part)
    begin = time.monotonic()
    results = module.run(given.build, 1 if given.quick else given.rounds,
                         lambda text: show_progress(f'{part}: {text}'))
    show_progress('')
    print(f'\n## {part} ({time.monotonic() - begin:.0f} s)\n\n'
          f'{module.markdown(results)}')
    document = laid_out({'about': about, 'results': results}) + '\n'
    folders = [given.build / 'bench']
    if given.update:
        folders.append(HERE / 'results')
    for folder in folders:
        folder.mkdir(parents=True, exist_ok=True)
        (folder / f'{part}.json').write_text(document)
    if given.update:
        publish(part, module)


def main():
    given = arguments()
    if given.from_results:
        for part in given.part or PARTS:
            publish(part, load(part))
        return
    about = surroundings(given.build)
    print(origin(about))
    for part in given.part or PARTS:
        measure_part(part, given, about)


if __name__ == '__main__':
    main()
