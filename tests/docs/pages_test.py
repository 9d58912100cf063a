#!/usr/bin/python3
"""Holds the pages for people to the truth: what their blocks print, where
their links lead, the scripts and folders they name, what they count and list.

Usage: pages_test.py [--update] TARN TREE
--update writes what tarn prints now into the blocks. Read the difference.

Every fenced block is of one of these kinds:
  console  commands after "$ ", each with what it prints; a line "..." stands
           for any lines
  sh       commands, which name scripts, options and presets that exist
  cmake    lines of the client that tests/consumer builds
  cpp, python, sql, ts or no word
           lines that stand, in this order and whatever their indentation, in
           a file that a test compiles or compares with
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

PAGES = ('README.md', 'CONTRIBUTING.md', 'corpus/README.md', 'docs/*.md',
         'fuzz/README.md', 'languages/*/README.md')
FENCE = re.compile(r'^( *)```(\w*)\n(.*?)^\1```$', re.M | re.S)
CLIENT = 'tests/consumer/find_package/CMakeLists.txt'
# What tests build, run or compare with, for blocks of code.
SHOWN = ('examples/**/*.cc', 'examples/**/*.sql', 'examples/**/expected.txt',
         'languages/python/examples/*.py', 'languages/typescript/examples/*',
         'tests/consumer/*.inc', 'tests/docs/*.cc', 'tests/gdb/session.txt',
         'tests/wireshark/session.txt')
# What the demonstration prints, as a test of it holds it.
DEMONSTRATION = 'examples/fleet/expected.txt'
# What a page may have run; anything else belongs into a block of sh.
HARMLESS = {'tarn', 'echo', 'printf', 'cat', 'head', 'python3', 'script/demo'}
failures = []


def check(condition, *words):
    if not condition:
        failures.append(' '.join(map(str, words)))


def lines_of(text):
    return [line.strip() for line in text.strip('\n').splitlines()]


def stands_in(block, text):
    """Whether the lines of the block follow one another in the text."""
    wanted, there = lines_of(block), lines_of(text)
    return any(there[i:i + len(wanted)] == wanted for i in range(len(there)))


def matches(shown, printed):
    """Whether a block shows what is printed, "..." being any lines."""
    parts = ['(?:.*\n)*?' if line == '...' else re.escape(line + '\n')
             for line in shown.splitlines()]
    return re.fullmatch(''.join(parts), printed) is not None


def printed_by(command, examples=()):
    """Runs it with the build's tarn and Python package, among the examples."""
    environment = dict(os.environ, LC_ALL='C.UTF-8',
                       PATH=f'{TARN.parent}:/usr/bin:{os.environ["PATH"]}',
                       PYTHONPATH=str(TARN.parent / 'python'),
                       PYTHONDONTWRITEBYTECODE='1')
    with tempfile.TemporaryDirectory() as folder:
        for file in examples:
            shutil.copy(file, folder)
        return subprocess.run(command, shell=True, cwd=folder, text=True,
                              env=environment, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=60,
                              check=False).stdout


def console(page, block):
    """Compares; returns the block as it should be where that is known."""
    right = ''
    for command, shown in re.findall(r'^\$ (.*)\n((?:(?!\$ ).*\n)*)', block,
                                     re.M):
        begun = {stage.split()[0] for stage in
                 re.sub(r"'[^']*'", "''", command).split('|')}
        if not begun <= HARMLESS:
            check(False, f'{page}: this test does not run $ {command}')
            continue
        if command == 'script/demo':
            printed = (TREE / DEMONSTRATION).read_text()
            shown_here = re.sub(r'\d{4}-\d\d-\d\dT[\d:]+Z', 'TIME', shown)
        else:
            examples = (TREE / page).parent.glob('examples/*.py')
            printed, shown_here = printed_by(command, examples), shown
        check(matches(shown_here, printed),
              f'{page}: $ {command}\nprints\n{printed}not\n{shown}')
        known = '...' not in shown.splitlines()
        right += f'$ {command}\n{printed if known else shown}'
    check(right, f'{page}: a console block without a command')
    return right


def commands(page, text):
    """Scripts that exist, with options that they know, and presets."""
    presets = json.loads((TREE / 'CMakePresets.json').read_text())
    presets = {preset['name'] for preset in presets['configurePresets']}
    found = 0
    for line in text.splitlines():
        for preset in re.findall(r'--preset (\w+)', line):
            check(preset in presets, f'{page}: {preset} is no preset')
        script = re.match(r' *((?:script|\.ci)/[\w-]+|languages/(?:run|firmware))', line)
        if not script:
            continue
        found += 1
        file = TREE / script[1]
        check(os.access(file, os.X_OK), f'{page}: {script[1]} is no script')
        words = file.read_text() if file.exists() else ''
        for program in re.findall(r'[\w/]+\.py', words):
            words += (TREE / program).read_text()
        for option in re.findall(r'(?<=\s)--[\w-]+', line.partition('  ')[0]):
            check(option in words, f'{page}: {script[1]} has no {option}')
    return found


def code(page, language, block):
    if language == 'cmake':
        there = lines_of((TREE / CLIENT).read_text())
        for line in lines_of(block):
            check(line in there, f'{page}: {CLIENT} has no line {line}')
        return
    files = (file for shown in SHOWN for file in TREE.glob(shown))
    check(any(stands_in(block, file.read_text()) for file in files),
          f'{page}: no file that is tested has\n{block}')


def anchors(page):
    heads = re.findall(r'^#+ (.*)$', FENCE.sub('', page.read_text()), re.M)
    return {re.sub(r'[^\w -]', '', head.lower()).replace(' ', '-')
            for head in heads}


def names(page, file, text):
    """Links lead somewhere, and files that are named are there."""
    for link in re.findall(r'\]\(([^)]+)\)', text):
        if link.startswith('http'):
            continue
        path, _, anchor = link.partition('#')
        target = (file.parent / path) if path else file
        check(target.exists(), f'{page}: {link} leads nowhere')
        check(not anchor or anchor in anchors(target),
              f'{page}: {link} leads to no heading')
    top = {entry.name for entry in TREE.iterdir()} - {'build', 'tarn'}
    for name in re.findall(r'`([\w.-]+/[\w./-]*)`', text):
        if name.split('/')[0] in top:
            check((TREE / name).exists(), f'{page}: there is no {name}')


def counts(update):
    page = TREE / 'README.md'
    protos = ''.join(file.read_text() for file in TREE.glob('proto/*.proto'))
    there = len(re.findall(r'^message ', protos, re.M))
    right, found = re.subn(r'\d+(?= Protocol Buffers messages)', str(there),
                           page.read_text())
    check(found == 1, f'README.md: says {found} times how many messages')
    if update:
        page.write_text(right)
    check(right == page.read_text(), f'README.md: not {there} messages')


def agreement(update):
    """The page that tarn writes."""
    page = TREE / 'docs/agreement.md'
    right = printed_by('tarn describe --agreement')
    if update:
        page.write_text(right)
    check(right == page.read_text(), 'docs/agreement.md: not what tarn prints')


def is_test(name):
    """Whether there is a test of that name, as CTest has it."""
    if name.count('.') == 2:
        _, suite, case = name.split('.')
        head = re.compile(rf'TEST(_[FP])?\({suite}, {case}\)')
        return any(head.search(file.read_text())
                   for file in TREE.glob('tests/**/*.cc'))
    subject, _, rest = name.partition('.')
    return (TREE / f'tests/{subject}/{rest}_test.py').exists() or any(
        re.search(rf'(NAME |add_fuzzer\(){re.escape(name)}\b', file.read_text())
        or subject == 'bench' and f'add_bench_part({rest})' in file.read_text()
        for folder in ('tests', 'fuzz', 'bench')
        for file in TREE.glob(f'{folder}/**/CMakeLists.txt'))


def promises():
    """Numbered one after the other, each with tests; limits as they are tried."""
    page = 'docs/security.md'
    text = (TREE / page).read_text()
    found = re.findall(r'^(\d+)\. (.*?)(?=^\d+\. |^#|\Z)', text, re.M | re.S)
    check([int(number) for number, _ in found] == list(range(1, len(found) + 1)),
          f'{page}: promises are not numbered one after the other')
    check(len(found) > 20, f'{page}: only {len(found)} promises')
    for number, promise in found:
        named = re.findall(r'(?<!\*)\*(`[^*]+`)\*(?!\*)', promise)
        check(named, f'{page}: promise {number} names no test')
        for name in re.findall('`([^`]+)`', ' '.join(named)):
            check(is_test(name), f'{page}: there is no test {name}')
    near = (TREE / 'tests/robust/near.cc').read_text()
    limits = [int(re.search(rf'{name} = (\d+);', near)[1])
              for name in ('kForEachByte', 'kBeside')]
    said = (f'at most {limits[0]} bytes for each byte of the message, and '
            f'{limits[1]} bytes beside')
    check(said in ' '.join(text.split()), f'{page}: does not say {said}')
    worst = json.loads((TREE / 'bench/results/worst.json').read_text())
    for now in worst['results']:
        check(now['memory'] < limits[0] * now['bytes'], f'{page}: {now["type"]} takes more')


def targets():
    """What fuzz/README.md lists, and that each has an input that is replayed."""
    listed = re.findall(r'^\| `(\w+_fuzz)` \|', (TREE / 'fuzz/README.md').read_text(), re.M)
    there = sorted(file.stem for file in TREE.glob('fuzz/*_fuzz.cc'))
    check(listed == there, f'fuzz/README.md: lists {listed}, not {there}')
    for name in there:
        check(any((TREE / f'fuzz/regressions/{name}').glob('*')), f'{name}: no regression')


def nothing_by_hand():
    """What CONTRIBUTING says of proto/schema.cc."""
    text = (TREE / 'proto/schema.cc').read_text()
    for line in text.splitlines():
        check(re.fullmatch(r'(//.*|#include "tarn/.*"|#define \w+ \w+|)', line),
              f'CONTRIBUTING.md: proto/schema.cc holds a statement: {line}')
    check(text.count('#define') == 2, 'proto/schema.cc: not two #define')


def page_test(file, update):
    page, text = str(file.relative_to(TREE)), file.read_text()
    blocks = 0

    def one(found):
        indent, language, block = found.groups()
        nonlocal blocks
        blocks += 1
        if language == 'console':
            right = console(page, block)
            return f'{indent}```console\n{right}{indent}```'
        if language == 'sh':
            commands(page, block)
        else:
            code(page, language, block)
        return found[0]

    right = FENCE.sub(one, text)
    if update and right != text:
        file.write_text(right)
        return blocks
    prose = FENCE.sub('', text)
    commands(page, '\n'.join(re.findall(r'^ {4}(.*)', prose, re.M)))
    commands(page, '\n'.join(re.findall(r'`([^`]+)`', prose)))
    names(page, file, prose)
    return blocks


arguments = sys.argv[1:]
UPDATE = arguments[:1] == ['--update']
TARN, TREE = (pathlib.Path(path).resolve() for path in arguments[UPDATE:])
pages = [page for pattern in PAGES for page in sorted(TREE.glob(pattern))]
total = sum(page_test(page, UPDATE) for page in pages)
counts(UPDATE)
agreement(UPDATE)
nothing_by_hand()
targets()
promises()
check(total >= 8, f'only {total} blocks in {len(pages)} pages')
if not UPDATE:
    for failure in failures:
        print(failure)
    print(f'{total} blocks in {len(pages)} pages, {len(failures)} failures')
    sys.exit(1 if failures else 0)
