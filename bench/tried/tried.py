"""What other ways to compile, link and load the library would gain."""
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / 'peers'))
# pylint: disable=wrong-import-position
import peers
from measure import table

# What each is called, in the order of the table.
WAYS = {
    'no_profile': 'no profile',
    'lto': 'link-time optimisation',
    'x86_64_v3': 'no profile, for processors with AVX2 alone',
    'unrolled': 'loops unrolled and tails duplicated',
    'vectorized': 'vectorized',
    'dense': 'nothing aligned',
    'no_jump_tables': 'switches without jump tables',
    'one_section': 'functions and blocks left in their order',
    'inlined': 'more inlined: functions of 200 instructions, half as large again',
}
ALLOCATORS = {'jemalloc': 'libjemalloc.so.2',
              'tcmalloc': 'libtcmalloc_minimal.so.4'}
OPERATIONS = ('parse new', 'parse block', 'serialize cached', 'serialize block')


def programs(build_dir):
    """Name to program and its environment, of all that was built."""
    shipped = peers.program(build_dir, 'ours')
    built = {way: build_dir / 'bench' / 'tried' / f'bench_tried_{way}'
             for way in WAYS}
    return ({'plain': (peers.program(build_dir, 'plain'), {}),
             'ours': (shipped, {})}
            | {way: (path, {}) for way, path in built.items() if path.exists()}
            | {name: (shipped, {'LD_PRELOAD': library})
               for name, library in ALLOCATORS.items()})


def run(build_dir, rounds, progress):
    contestants = programs(build_dir)
    measured = [peers.one_round(number, contestants, OPERATIONS, rounds == 1,
                                progress) for number in range(rounds)]
    return {'rounds': rounds, 'ratios': {
        name: {operation: peers.summary(peers.tree_ratios(
            [{'plain': times['plain'], 'ours': times[name]}
             for times in measured], 'plain', operation, operation))
               for operation in OPERATIONS}
        for name in contestants if name != 'plain'}}


def markdown(results):
    names = {'ours': '**as shipped**'} | WAYS | {
        name: f'as shipped, with {name}' for name in ALLOCATORS}
    shipped = results['ratios']['ours']
    rows = [[title] + [peers.spread(results['ratios'][name][operation],
                                    shipped[operation])
                       for operation in OPERATIONS]
            for name, title in names.items() if name in results['ratios']]
    return (f'How many times as fast as plain -O2 in the same use, as the '
            f'geometric mean of the\nthree trees, in '
            f'{results["rounds"]} rounds. What is marked ≈ is not told apart '
            f'from the library as shipped.\n\n'
            + table(['', 'parse, new', 'parse, arena with a block',
                     'serialize', 'serialize, arena'], rows))


def draw(results, folder):
    """The table says it all."""
