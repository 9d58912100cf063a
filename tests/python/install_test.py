#!/usr/bin/python3
"""The wheel and the sdist: packed twice alike, installed without network into empty
environments, and used there by programs and by a type checker.

Usage: install_test.py LANGUAGES_PYTHON PACKAGE VERSION
"""
import functools
import keyword
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

HERE, PACKAGE, VERSION = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
sys.path.insert(1, str(PACKAGE))
import tarn

NAMES = [f'tarn-{VERSION}-py3-none-any.whl', f'tarn-{VERSION}.tar.gz']
KINDS = {'TYPE_BOOL': ('bool', 'True'), 'TYPE_BYTES': ('bytes', 'b"b"'),
         'TYPE_ENUM': ('int', '1'), 'TYPE_FLOAT': ('float', '0.5'),
         'TYPE_INT32': ('int', '-7'), 'TYPE_STRING': ('str', '"s"'),
         'TYPE_UINT32': ('int', '7')}
# Each line is wrong.
MISTAKES = '''import tarn
tarn.Server(nmae="x")
tarn.Server(name=1)
tarn.Server().name = 1
tarn.Display().assyConfig = tarn.CabinetAssemblyConfiguration()
tarn.Display().HasField("name")
tarn.Server().HasField("name")
tarn.Server().ClearField("nmae")
tarn.ChildTypes().WhichOneof("type")
tarn.Sever()
tarn.StatusCodes.okk
tarn.set_Wifi_pass(tarn.Wifi(), True)
tarn.get_Wifi_pass(tarn.Wifi()) + 1
list(tarn.read_framed(open("f"), tarn.Server))
tarn.fingerprint("Server")
'''
# Only who has the stubs of the runtime finds these.
STUBBED = '''import tarn
tarn.Server().nmae
tarn.AppStates().state.append("x")
tarn.Server(children=[tarn.Server()])
tarn.set_Wifi_pass(tarn.Price(), "p")
'''


def run(*command, **settings):
    environment = {name: value for name, value in os.environ.items()
                   if not name.startswith(('PYTHON', 'PIP', 'MYPY'))}
    environment.update(settings)
    done = subprocess.run(command, env=environment, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, encoding='utf-8')
    return done.returncode, done.stdout


def use(variable, field, number):
    """Lines that read and set a field, and the argument that sets it."""
    kinds = {value: name for name, value in vars(type(field)).items()
             if name.startswith('TYPE_')}
    kind, value = KINDS.get(kinds[field.type], ('', ''))
    place = f'{variable}.{field.name}'
    if field.message_type and field.message_type.GetOptions().map_entry:
        return [f'{place}["k"] = tarn.StatusCodes.ok', f'v{number}: int = {place}["k"]'], ''
    repeated = field.label == field.LABEL_REPEATED
    if field.message_type:
        kind = f'tarn.{field.message_type.name}'
        value = kind + '()'
        lines = [f'v{number}: {kind} = {place}']
        if repeated:
            lines = [f'v{number}: {kind} = {place}.add()']
    elif keyword.iskeyword(field.name):
        name = f'{field.containing_type.name}_{field.name}'
        return [f'v{number}: {kind} = tarn.get_{name}({variable})',
                f'tarn.set_{name}({variable}, {value})'], ''
    else:
        lines = [f'{place} = {value}', f'v{number}: {kind} = {place}']
        if repeated:
            lines = [f'{place}.append({value})', f'v{number}: list[{kind}] = list({place})']
    return lines, f'{field.name}={f"[{value}]" if repeated else value}'


def whole_program():
    """Uses every field of every message, with the types that it should have."""
    program, number = ['import io', 'from collections.abc import Iterator', 'import tarn'], 0
    for name, message_type in tarn.TYPES.items():
        uses = []
        for field in message_type.DESCRIPTOR.fields:
            number += 1
            uses.append(use(name.lower(), field, number))
        arguments = [argument for _, argument in uses if argument]
        program += [f'{name.lower()} = tarn.{name}({", ".join(arguments)})',
                    *(line for lines, _ in uses for line in lines),
                    f'{name.lower()}_again: tarn.{name} = tarn.parse(tarn.{name}, '
                    f'{name.lower()}.SerializeToString())',
                    f'assert {name.lower()}_again == {name.lower()}']
    program += ['stream = io.BytesIO()', 'tarn.write_framed(stream, [server])',
                'radios: Iterator[tarn.Server] = tarn.read_framed(stream, tarn.Server)',
                'style: tarn.Font.Style = tarn.Font.Style(font.style)',
                'assert display.HasField("assyConfig")',
                'assert childtypes.WhichOneof("types") == "getStatusModule"']
    return '\n'.join(program) + '\n', number


class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.dists = []
        for mask in 0o022, 0o077:
            dist = cls.folder / f'dist{len(cls.dists)}'
            status, said = run('/bin/sh', '-c', f'umask {mask:o}; exec "$@"', '-',
                               sys.executable, '-B', str(HERE / 'make_dist.py'), str(PACKAGE),
                               str(dist), SOURCE_DATE_EPOCH='1700000000')
            assert status == 0, said
            cls.dists.append(dist)

    @classmethod
    @functools.cache
    def environment(cls, package):
        """The Python of an environment with the package, and what Debian has."""
        folder = cls.folder / f'with-{package}'
        done = [run(sys.executable, '-m', 'venv', '--system-site-packages', str(folder))]
        python = str(folder / 'bin' / 'python3')
        assert run(python, '-c', 'import tarn')[0] != 0
        done.append(run(python, '-m', 'pip', 'install', '--no-index', '--no-deps',
                        '--no-build-isolation', str(cls.dists[0] / package)))
        assert [status for status, _ in done] == [0, 0], done
        return python

    def test_packing_twice_gives_the_same_bytes(self):
        for dist in self.dists:
            self.assertEqual(sorted(file.name for file in dist.iterdir()), NAMES)
        for name in NAMES:
            first, second = ((dist / name).read_bytes() for dist in self.dists)
            self.assertEqual(first, second, name)

    def test_each_installs_and_runs_the_first_program(self):
        page = (HERE / 'README.md').read_text()
        shown = re.search(r'^\$ python3 first.py\n(.*?)```$', page, re.M | re.S)[1]
        program = str(HERE / 'examples' / 'first.py')
        for name in NAMES:
            python = self.environment(name)
            self.assertEqual(run(python, program), (0, shown), name)
            version = 'import importlib.metadata as m; print(m.version("tarn"))'
            self.assertEqual(run(python, '-c', version), (0, VERSION + '\n'))

    def mypy(self, *arguments):
        # The cache holds what it has read of Python's own library.
        return run(sys.executable, '-m', 'mypy', '--strict', '--cache-dir',
                   str(self.folder / 'mypy'), *arguments)

    def checked(self, python, program):
        """Lines of the program with which the type checker disagrees, and its words."""
        file = self.folder / 'program.py'
        file.write_text(program)
        _, said = self.mypy('--python-executable', python, str(file))
        lines = re.findall(r'program\.py:(\d+): error', said)
        self.assertRegex(said.splitlines()[-1],
                         'Found' if lines else 'Success: no issues found', said)
        return {int(line) for line in lines}, said

    def test_the_types_are_those_of_the_messages(self):
        python = self.environment(NAMES[0])
        program, number = whole_program()
        fields = [field for one in tarn.TYPES.values() for field in one.DESCRIPTOR.fields]
        self.assertEqual(number, len(fields))
        wrong, said = self.checked(python, program)
        self.assertEqual(wrong, set(), said)
        self.assertEqual(run(python, str(self.folder / 'program.py')), (0, ''))
        for name in ('first.py', 'streams.py'):
            self.assertEqual(self.checked(python, (HERE / 'examples' / name).read_text())[0],
                             set())

    def test_mistakes_are_found(self):
        python = self.environment(NAMES[0])
        wrong, said = self.checked(python, MISTAKES)
        self.assertEqual(wrong, set(range(2, len(MISTAKES.splitlines()) + 1)), said)
        stubs = self.checked(python, 'import google.protobuf.message\n')[0] == set()
        if stubs:
            self.assertEqual(self.mypy(str(PACKAGE / 'tarn'))[0], 0)
        wrong, said = self.checked(python, STUBBED)
        self.assertEqual(wrong, {2, 3, 4, 5} if stubs else set(), said)

    def test_every_comment_is_in_the_types(self):
        text = (PACKAGE / 'tarn' / '__init__.pyi').read_text()
        for name, message_type in tarn.TYPES.items():
            block = re.search(rf'^class {name}\(.*?(?=^class |\Z)', text, re.M | re.S)[0]
            block = ' '.join(block.split())
            for paragraph in message_type.__doc__.split('\n\n'):
                said = ' '.join(paragraph.partition('\n    ')[2].split())
                if not paragraph.startswith('pass:'):
                    self.assertIn(said, block, name)


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=2)
