#!/usr/bin/python3
"""What the Python package offers beside the classes of the runtime.

Usage: package_test.py TARN CORPUS    with the package on PYTHONPATH
"""
import copy
import enum
import os
import pathlib
import pickle
import pydoc
import subprocess
import sys
import tempfile
import unittest

import tarn
from google.protobuf import json_format, text_format
from google.protobuf.internal import api_implementation

TARN = sys.argv[1]
# A file of the same name in another package, as another program may have it.
OTHER = 'syntax = "proto3"; package other; message Server { string title = 1; }'
BESIDE = '''
import {first}
import {second}
other = Network_pb2.Server(title="t")
own = tarn.Server(name="n")
assert other.SerializeToString() == own.SerializeToString().replace(b"n", b"t")
assert not hasattr(own, "title") and not hasattr(other, "name")
'''


def printed(*arguments):
    return subprocess.run([TARN, *arguments], check=True, stdout=subprocess.PIPE,
                          encoding='utf-8').stdout


class PackageTest(unittest.TestCase):
    def test_runs_in_the_implementation_that_is_asked_for(self):
        self.assertEqual(api_implementation.Type(),
                         os.environ['PROTOCOL_BUFFERS_PYTHON_IMPLEMENTATION'])

    def test_fingerprints_are_those_of_tarn(self):
        self.assertEqual(tarn.fingerprint(), printed('fingerprint').strip())
        for name, message_type in tarn.TYPES.items():
            self.assertEqual(tarn.fingerprint(message_type),
                             printed('fingerprint', name).strip(), name)

    def test_a_type_is_found_by_its_name(self):
        self.assertIs(tarn.type_named('Server'), tarn.Server)
        self.assertIs(tarn.type_named('tarn.Server'), tarn.Server)

    def test_a_misspelt_name_gets_a_suggestion(self):
        for name in 'Servr', 'tarn.Servr':
            with self.assertRaises(LookupError) as raised:
                tarn.type_named(name)
            self.assertEqual(str(raised.exception),
                             f"no message type '{name}', did you mean Server?")
        for name in ('', 'tarn.', 'other.Server', 'NetworkStatusReport.StatusPacketEntry',
                     'x' * 1000, '\x1b[2J'):
            with self.assertRaises(LookupError) as raised:
                tarn.type_named(name)
            self.assertTrue(str(raised.exception).isprintable())

    def test_a_file_of_the_same_name_does_no_harm(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / 'Network.proto').write_text(OTHER)
            subprocess.run(['protoc', '--python_out=.', 'Network.proto'], cwd=folder,
                           check=True)
            for first, second in ('Network_pb2', 'tarn'), ('tarn', 'Network_pb2'):
                program = BESIDE.format(first=first, second=second)
                done = subprocess.run([sys.executable, '-B', '-c', program], cwd=folder)
                self.assertEqual(done.returncode, 0, f'{first} first')

    def test_help_shows_the_comments(self):
        text = pydoc.plain(pydoc.render_doc(tarn.Server))
        for line in ('class Server in module tarn', 'status: StatusCodes',
                     'Condition of the radio.', 'children: repeated ChildTypes'):
            self.assertIn(line, text)
        self.assertIn('status_packet: map of string to StatusCodes',
                      tarn.NetworkStatusReport.__doc__)
        self.assertIn('comm_error: 2\n    Out of reach', tarn.StatusCodes.__doc__)
        for message_type in tarn.TYPES.values():
            for field in message_type.DESCRIPTOR.fields:
                self.assertRegex(message_type.__doc__, rf'\n\n{field.name}: .*\n    \S')

    def test_messages_are_copied_and_pickled(self):
        for message_type in tarn.TYPES.values():
            message = message_type()
            self.assertEqual(pickle.loads(pickle.dumps(message)), message)
        server = tarn.Server(name='n', children=[tarn.ChildTypes(module=tarn.Module(hwId='h'))])
        self.assertEqual(pickle.loads(pickle.dumps(server)), server)
        self.assertEqual(copy.deepcopy(server), server)

    def test_a_wifi_shows_its_pass_phrase(self):
        # The page for users warns of it.
        for shown in repr, str:
            self.assertIn('secret', shown(tarn.Wifi(**{'pass': 'secret'})))


class EnumTest(unittest.TestCase):
    ENUMS = (tarn.StatusCodes, tarn.AppState, tarn.DisplaySubtypes, tarn.Font.Style)

    def test_values_are_those_of_the_schema(self):
        self.assertEqual(tarn.StatusCodes.comm_error, 2)
        self.assertEqual(tarn.StatusCodes(2).name, 'comm_error')
        self.assertEqual(tarn.Font.Style['Bold'], 5)
        for one in self.ENUMS:
            self.assertTrue(issubclass(one, enum.IntEnum))
            self.assertEqual([value.value for value in one], list(range(len(one))))

    def test_a_number_without_a_name_is_kept(self):
        for one in self.ENUMS:
            for number in 4711, -1, 2**31 - 1, -2**31:
                member = one(number)
                self.assertIsInstance(member, one)
                self.assertEqual((member, member.value, member.name),
                                 (number, number, str(number)))
                self.assertEqual(hash(member), hash(number))
                self.assertEqual(pickle.loads(pickle.dumps(member)), member)
                self.assertIs(type(copy.deepcopy(member)), one)
                self.assertNotIn(member, list(one))

    def test_what_no_message_can_carry_is_refused(self):
        for value in 2**31, -2**31 - 1, 4711.5, '4711', None:
            with self.assertRaises(ValueError):
                tarn.StatusCodes(value)

    def test_messages_take_members_and_give_numbers(self):
        server = tarn.Server(status=tarn.StatusCodes(4711))
        self.assertIs(type(server.status), int)
        self.assertEqual(server, tarn.Server.FromString(server.SerializeToString()))
        self.assertEqual(json_format.MessageToDict(server), {'status': 4711})
        self.assertEqual(text_format.MessageToString(server), 'status: 4711\n')
        server.status = tarn.StatusCodes.ok
        self.assertEqual(json_format.MessageToDict(server), {'status': 'ok'})


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
