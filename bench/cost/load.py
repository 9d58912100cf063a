"""What it costs a process to load the library, beside a plain build of it."""
import json
import os
import statistics
import subprocess
import tempfile

import chart
import measure
from elftools.elf.elffile import ELFFile
from elftools.elf.relocation import RelocationSection

LIBRARIES = {'libschema.so.0': 'libschema.so.0',
             'plain': 'bench/libschema_plain.so'}
# Files with the symbols of each.
SYMBOLS = {'libschema.so.0': 'libschema.debug',
           'plain': 'bench/libschema_plain.so'}
MOMENTS = {'dlopen': 'the library is loaded',
           'message': 'a first message is parsed',
           'descriptor': 'its descriptor is there'}
STARTS = 20  # of each process in a round
AIMS = {'dlopen': 0.62, 'symbolic relocations': 0.45, 'stripped bytes': 0.9}


def relocations(elf):
    """The number of relocations that need a symbol looked up, and of others."""
    symbolic = relative = 0
    for section in elf.iter_sections():
        if not isinstance(section, RelocationSection):
            continue
        for relocation in section.iter_relocations():
            if relocation['r_info_sym']:
                symbolic += 1
            else:
                relative += 1
    return symbolic, relative


def initialisers(library, symbols):
    """The names of the functions that run on loading."""
    with open(library, 'rb') as file:
        elf = ELFFile(file)
        table = elf.get_section_by_name('.init_array')
        begin, size = table['sh_addr'], table['sh_size']
        data = table.data()
        places = {begin + i: int.from_bytes(data[i:i + 8], 'little')
                  for i in range(0, size, 8)}
        dynamic = elf.get_section_by_name('.rela.dyn')
        for relocation in dynamic.iter_relocations():
            if relocation['r_offset'] in places:
                places[relocation['r_offset']] = relocation['r_addend']
    with open(symbols, 'rb') as file:
        names = {symbol['st_value']: symbol.name
                 for symbol in ELFFile(file).get_section_by_name('.symtab')
                 .iter_symbols() if symbol['st_info']['type'] == 'STT_FUNC'}
    return [names[places[place]] for place in sorted(places)]


def stripped_bytes(library):
    with tempfile.TemporaryDirectory() as folder:
        copy = os.path.join(folder, 'stripped')
        subprocess.run(['strip', '--strip-unneeded', '-o', copy, library],
                       check=True)
        return os.path.getsize(copy)


def facts(library, symbols):
    with open(library, 'rb') as file:
        symbolic, relative = relocations(ELFFile(file))
    return {'symbolic relocations': symbolic,
            'other relocations': relative,
            'stripped bytes': stripped_bytes(library),
            'initialisers': initialisers(library, symbols)}


def load(program, library, mode):
    """Nanoseconds until each moment, in a new process."""
    return json.loads(subprocess.run([program, library, mode], check=True,
                                     capture_output=True).stdout)


def run(build_dir, rounds, progress):
    build_dir = build_dir.resolve()
    program = build_dir / 'bench/cost/load'
    paths = {name: str(build_dir / file) for name, file in LIBRARIES.items()}
    medians = {mode: {moment: {name: [] for name in paths}
                      for moment in MOMENTS} for mode in ('now', 'lazy')}
    for _ in range(rounds):
        starts = measure.in_turn(STARTS, {
            (mode, name): lambda path=path, mode=mode:
                load(program, path, mode)
            for mode in medians for name, path in paths.items()}, progress)
        for (mode, name), runs in starts.items():
            for moment in MOMENTS:
                medians[mode][moment][name].append(
                    statistics.median(run[moment] for run in runs))
    return {
        'facts': {name: facts(paths[name], str(build_dir / SYMBOLS[name]))
                  for name in paths},
        'nanoseconds': {mode: {moment: {
            name: measure.spread(numbers) for name, numbers in names.items()}
            for moment, names in moments.items()}
            for mode, moments in medians.items()},
        'ratios': {mode: {moment: measure.ratio(names['libschema.so.0'],
                                                names['plain'])
                          for moment, names in moments.items()}
                   for mode, moments in medians.items()},
    }


def markdown(results):
    ours, plain = (results['facts'][name] for name in LIBRARIES)
    times = []
    for mode, words in (('now', ''), ('lazy', ', `RTLD_LAZY`')):
        for moment, text in MOMENTS.items():
            figures = results['nanoseconds'][mode][moment]
            aim = AIMS.get(moment) if mode == 'now' else None
            times.append([f'until {text}{words}',
                          measure.show(results['ratios'][mode][moment]),
                          f'≤ {aim}' if aim else '',
                          *(measure.digits(figures[name]['median'] / 1e3)
                            + ' µs' for name in LIBRARIES)])
    counts = [[what, measure.digits(ours[what] / plain[what]),
               f'≤ {AIMS[what]}', f'{ours[what]:,}', f'{plain[what]:,}']
              for what in ('symbolic relocations', 'stripped bytes')]
    counts.append(['initialisers that run on loading', '', '',
                   len(ours['initialisers']), len(plain['initialisers'])])
    names = '\n'.join(f'- {name}: ' + ', '.join(
        f'`{function}`' for function in results['facts'][name]['initialisers'])
        for name in LIBRARIES)
    return f"""\
`dlopen` of the library in a new process that has the runtime already, beside \
the same generated sources compiled with `-O2` and nothing else, which also \
leaves in the checks of the headers that `NDEBUG` takes out. Times are \
medians of many processes, in turn.

{measure.table(['', 'ratio', 'aim', 'libschema.so.0', 'plain'],
               times + counts)}

The library binds its own functions to itself, so that the loader has fewer \
symbols to look up, and looks up the rest on loading; with `RTLD_LAZY` the \
plain build puts off the calls that are left. The descriptors are built when \
one is first asked for, for the whole file; parsing needs none.

Initialisers, in the order in which they run:

{names}

![Time to load](performance/load-time.svg)"""


def draw(results, folder):
    series = {name: [results['nanoseconds']['now'][moment][name]['median'] / 1e3
                     for moment in MOMENTS] for name in LIBRARIES}
    chart.bars(folder / 'load-time.svg', 'From the call of dlopen until ...',
               'microseconds', series, list(MOMENTS.values()))
