#!/usr/bin/python3
"""Messages in the debugger: every file of corpus/, and what memory can hold beside.

usage: messages_test.py CORPUS DESCRIPTOR_SET LIBRARY SCRIPT HELD GDB [EMULATOR]
"""
import json
import math
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

os.environ['PROTOCOL_BUFFERS_PYTHON_IMPLEMENTATION'] = 'cpp'

from google.protobuf import descriptor_pb2, descriptor_pool, message_factory
from google.protobuf.internal import type_checkers

CORPUS, DESCRIPTOR_SET, LIBRARY, SCRIPT, HELD = map(pathlib.Path, sys.argv[1:6])
GDB, EMULATOR = sys.argv[6], sys.argv[7:]
FILES = sorted(path for kind in ('valid', 'accepted') for path in (CORPUS / kind).glob('*/*.binpb')
               if not path.name.endswith('.canonical.binpb'))
# What the program holds beside the files.
TREE, LIST, SERVER, WIFI, ODD = range(len(FILES), len(FILES) + 5)
PRETTY = """\
tarn.Server {
  name = "North sign",
  status = comm_error,
  children = {{
      client = {
        name = "Roof"
      }
    }, {
      getStatusModule = {}
    }}
}
"""
ALL = ['set print elements unlimited', 'set print max-depth unlimited']


def place(index):
    return f'$held[{index}]'


def held(name):
    return place(FILES.index(CORPUS / f'{name}.binpb'))


def factory():
    pool = descriptor_pool.DescriptorPool()
    for file in descriptor_pb2.FileDescriptorSet.FromString(DESCRIPTOR_SET.read_bytes()).file:
        pool.Add(file)
    return message_factory.MessageFactory(pool)


def quoted(text):
    """As gdb writes it to a terminal of ASCII alone."""
    octets = text.encode() if isinstance(text, str) else text
    escapes = {'"': '\\"', '\\': '\\\\', '\n': '\\n', '\r': '\\r', '\t': '\\t'}
    return '"' + ''.join(escapes.get(chr(octet), chr(octet)) if 32 <= octet < 127 or octet in
                         (9, 10, 13) else f'\\{octet:03o}' for octet in octets) + '"'


def scalar(field, value):
    if field.full_name == 'tarn.Wifi.pass':
        return '***'
    if field.type == field.TYPE_MESSAGE:
        return message_text(value)
    if field.type in (field.TYPE_STRING, field.TYPE_BYTES):
        return quoted(value)
    if field.type == field.TYPE_ENUM:
        known = field.enum_type.values_by_number.get(value)
        return known.name if known else str(value)
    if field.type == field.TYPE_FLOAT:
        return (f'{type_checkers.ToShortestFloat(value):.9g}' if math.isfinite(value)
                else str(value))
    return str(value).lower()


def unknown_text(fields):
    texts = []
    for field in fields:
        value = {0: str, 1: '0x{:016x}'.format, 2: quoted, 5: '0x{:08x}'.format,
                 3: lambda group: '{' + ', '.join(unknown_text(group)) + '}',
                 }[field.wire_type](field.data)
        texts.append(f'{field.field_number} = {value}')
    return texts


def message_text(message):
    texts = []
    present = dict((field.name, value) for field, value in message.ListFields())
    for field in message.DESCRIPTOR.fields:
        if field.name not in present:
            continue
        value = present[field.name]
        if field.message_type and field.message_type.GetOptions().map_entry:
            number = field.message_type.fields_by_name['value']
            value = ', '.join(f'[{quoted(key)}] = {scalar(number, value[key])}'
                              for key in sorted(value, key=str.encode))
            texts.append(f'{field.name} = {{{value}}}')
        elif field.label == field.LABEL_REPEATED:
            value = ', '.join(scalar(field, element) for element in value)
            texts.append(f'{field.name} = {{{value}}}')
        else:
            texts.append(f'{field.name} = {scalar(field, value)}')
    unknown = unknown_text(message.UnknownFields())
    if unknown and message.DESCRIPTOR.full_name == 'tarn.Wifi':
        return '{' + ', '.join([f'{name} = ***' for name in present] + ['***']) + '}'
    return '{' + ', '.join(texts + unknown) + '}'


class Debugger(unittest.TestCase):
    """Each test starts gdb once, with commands whose answers it compares."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def gdb(self, commands, *, core=None, library=LIBRARY.parent):
        """The answers to commands, at the place where all messages are held."""
        asked, answered = self.folder / 'asked', self.folder / 'answered'
        # A variable of gdb's own is found sooner than a symbol.
        asked.write_text(json.dumps(['set $held = (unsigned long *) held', *commands]))
        start, emulator = ['-ex', 'run'], None
        environment = {**os.environ, 'LD_LIBRARY_PATH': str(library), 'LC_ALL': 'C',
                       'ASKED': str(asked), 'ANSWERED': str(answered)}
        if core:
            start = ['-ex', f'core-file {core}']
        elif EMULATOR:
            socket = self.folder / 'socket'
            emulator = subprocess.Popen([*EMULATOR, '-g', socket, HELD, *FILES], env=environment,
                                        stderr=subprocess.DEVNULL)
            while not socket.exists():
                self.assertIsNone(emulator.poll())
            start = ['-ex', 'set sysroot /', '-ex', f'target remote {socket}', '-ex', 'continue']
        done = subprocess.run(
            [GDB, '-nx', '-batch', '-iex', f'add-auto-load-safe-path {library}', '-iex',
             'set debuginfod enabled off', '-ex', 'set breakpoint pending on', '-ex', 'break Stop',
             *start, '-x', pathlib.Path(__file__).with_name('ask.py'), '--args', HELD, *FILES],
            env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True)
        if emulator:
            emulator.kill()
            emulator.wait()
        self.assertTrue(answered.exists(), done.stdout + done.stderr)
        self.assertNotIn('Python', done.stderr)
        answers = json.loads(answered.read_text())
        self.assertFalse([answer for answer in answers if 'Python' in answer])
        self.assertEqual(answers[0], '')
        return answers[1:]

    def bare(self):
        """A folder with the library and the script, but no debug information."""
        folder = self.folder / 'bare'
        folder.mkdir()
        shutil.copy(LIBRARY, folder / 'libschema.so.0')
        shutil.copy(SCRIPT, folder / 'libschema.so.0-gdb.py')
        return folder

    def expected(self):
        made = factory()
        for file in FILES:
            name = f'tarn.{file.parent.name}'
            message = made.GetPrototype(made.pool.FindMessageTypeByName(name))()
            message.ParseFromString(file.read_bytes())
            yield file, f'{name} {message_text(message)}'

    def assert_all(self, answers):
        for (file, expected), answer in zip(self.expected(), answers, strict=True):
            # A comparison of unittest takes minutes to say how long texts differ.
            with self.subTest(file.relative_to(CORPUS)):
                self.assertTrue(answer == expected + '\n', f'{answer[:400]}\n{expected[:400]}')

    def test_every_message_is_shown_without_debug_information(self):
        commands = [f'tarn-print {place(index)}' for index in range(len(FILES))]
        core = self.folder / 'core'
        write = [] if EMULATOR else [f'generate-core-file {core}']
        bare = self.bare()
        answers = self.gdb(ALL + commands + write, library=bare)
        self.assert_all(answers[2:2 + len(FILES)])
        if not EMULATOR:
            self.assert_all(self.gdb(ALL + commands, library=bare, core=core)[2:])

    def test_every_message_is_shown_by_its_class(self):
        answers = self.gdb(ALL + ['set language c++'] + [
            f'print *(tarn::{file.parent.name} *) {place(index)}'
            for index, file in enumerate(FILES)])
        self.assert_all([re.sub(r'^\$\d+ = ', f'tarn.{file.parent.name} ', answer)
                         for file, answer in zip(FILES, answers[3:], strict=True)])


    def test_maps_are_shown_in_every_state(self):
        answers = self.gdb([f'tarn-print {place(TREE)}', f'tarn-print {place(LIST)}'])
        self.assertRegex(answers[0], r'^tarn.NetworkStatusReport \{status_packet = '
                         r'\{\["first"\] = ok(, \["key\d+"\] = retry_mode){10}\}\}\n$')
        self.assertEqual(answers[1], 'tarn.NetworkStatusReport {status_packet = '
                         '{["a"] = comm_error, ["b"] = power_outage}}\n')

    def test_settings_of_print_hold(self):
        network = held('valid/ModsConfigured/small_network')
        answers = self.gdb([
            'set print elements 3', f'tarn-print {place(SERVER)}', f'tarn-print {place(TREE)}',
            f'tarn-print {place(ODD)}', 'set print elements 4', f'tarn-print {place(ODD)}',
            'set print max-depth 1', f'tarn-print {network}', 'set print max-depth 0',
            f'tarn-print {network}', 'set print max-depth 20', 'set print elements 200',
            'set print pretty on', f'tarn-print {place(SERVER)}'])
        self.assertEqual(answers[1], 'tarn.Server {name = "Nor"..., status = comm_error, '
                         'children = {{client = {name = "Roo"...}}, {getStatusModule = {}}}}\n')
        self.assertRegex(answers[2], r'\{((\["\w{3}"\.\.\.\] = \w+)(, )?){3}\.\.\.\}\}\n$')
        self.assertIn('product_id = "caf"...', answers[3])
        # Four bytes end inside the next character.
        self.assertIn('product_id = "caf"...', answers[5])
        self.assertEqual(answers[7], 'tarn.ModsConfigured {modsConfigured = {{...}, {...}}}\n')
        self.assertEqual(answers[9], 'tarn.ModsConfigured {...}\n')
        self.assertEqual(answers[13], PRETTY)

    def test_text_cannot_disturb_the_terminal(self):
        answers = self.gdb([f'tarn-print {place(ODD)}', 'set host-charset UTF-8',
                            'set target-charset UTF-8', f'tarn-print {place(ODD)}'])
        self.assertEqual(answers[0],
                         'tarn.Price {product_id = "caf\\303\\251 \\342\\200\\256\\n"}\n')
        self.assertEqual(answers[3],
                         'tarn.Price {product_id = "café \\342\\200\\256\\n"}\n')

    @unittest.skipUnless(HELD.name.endswith('_debug'), 'The program has no names of variables.')
    def test_session_of_the_guide(self):
        session = pathlib.Path(__file__).with_name('session.txt').read_text()
        commands = re.findall(r'^\(gdb\) (.*)$', session, re.M)
        answers = self.gdb(['up', *commands])[1:]
        self.assertEqual(session, ''.join(f'(gdb) {command}\n{answer}' for command, answer in
                                          zip(commands, answers, strict=True)))

    @unittest.skipUnless(HELD.name.endswith('_debug'), 'The program has no names of variables.')
    def test_references_and_frames(self):
        commands = ['frame', 'print message', 'print server', 'up', 'print &wifi',
                    'tarn-print wifi']
        wifi = '{ssid = "office", pass = ***}'
        for library in (LIBRARY.parent, self.bare()):
            frame, message, server, _, pointer, command = self.gdb(commands, library=library)
            self.assertIn('Stop (server=..., message=...) at ', frame)
            self.assertEqual(message, f'$1 = tarn.Wifi {wifi}\n')
            self.assertIn('{name = "North sign", status = comm_error, ', server)
            self.assertRegex(pointer, r'^\$3 = \(tarn::Wifi \*\) 0x\w+\n$')
            self.assertEqual(command, f'tarn.Wifi {wifi}\n')

    def test_pass_phrases_stay_shown_when_the_program_starts_again(self):
        answers = self.gdb([f'tarn-print {place(WIFI)}', 'set tarn-show-secrets on',
                            f'source {SCRIPT}', f'tarn-print {place(WIFI)}',
                            'show tarn-show-secrets'])
        self.assertEqual(answers[0], 'tarn.Wifi {ssid = "office", pass = ***}\n')
        self.assertEqual(answers[3], 'tarn.Wifi {ssid = "office", pass = "secret"}\n')
        self.assertEqual(answers[4], 'Pass phrases in messages are shown: on.\n')

    def test_what_is_no_message_is_refused(self):
        answers = self.gdb(['tarn-print 0', 'tarn-print held', 'tarn-print &held', 'tarn-print',
                            'set language c++', f'print *(tarn::Price *) {place(WIFI)}'])
        self.assertEqual(answers[0], 'error: Cannot read memory at 0x0.')
        self.assertRegex(answers[1], '^error: ')
        self.assertRegex(answers[2], '^error: There is no message at 0x')
        self.assertRegex(answers[3], '^error: ')
        self.assertEqual(answers[5], '$1 = <unreadable>\n')

    def test_damage_is_shown_as_far_as_it_goes(self):
        dice = random.Random(1)
        commands = ['set print elements 20']
        for _ in range(400):
            message = place(dice.randrange(WIFI))
            commands.append(f'set $at = (unsigned long *) {message}')
            # A word of the message, or of what one of its words points to.
            if dice.random() < 0.6:
                commands.append(f'set $at = (unsigned long *) ($at[{dice.randrange(2, 12)}] & ~3)')
            word = f'$at[{dice.randrange(12)}]'
            value = dice.choice(['0', '1', '-1', '$at', '0x7fffffff7fffffff', '1UL << 40',
                                 f'{dice.getrandbits(64)}UL', place(dice.randrange(WIFI))])
            commands += [f'set $old = {word}', f'set var {word} = {value}',
                         f'tarn-print {message}', f'set var {word} = $old']
        answers = self.gdb(commands)
        shown = [answer for command, answer in zip(commands, answers, strict=True)
                 if command.startswith('tarn-print')]
        self.assertLess(max(map(len, shown)), 100_000)
        for damage in ('<unreadable>', 'There is no message', '...'):
            self.assertTrue(any(damage in answer for answer in shown), damage)


unittest.main(argv=sys.argv[:1])
