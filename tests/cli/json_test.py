#!/usr/bin/python3
"""JSON that tarn writes is read by Python's protobuf, and the other way round.

usage: json_test.py CORPUS PACKAGE cpp TARN
"""
import pathlib
import random
import struct
import subprocess
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1]))
# pylint: disable=wrong-import-position
import corpus_test  # takes the same arguments
from corpus_test import canonical, cases
from google.protobuf import json_format
from tarn import TYPES
from wire import framed

TARN = sys.argv[4]

# Python counts lists, too, and reads no JSON deeper than 100 of both.
TOO_DEEP = ('accepted/ModsAvailable/one_hundred_levels',
            'accepted/ModsAvailable/two_deep_chains')


def tarn(arguments, given):
    return subprocess.run([TARN] + arguments, input=given, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, check=True).stdout


def json_of(name, messages):
    """What tarn writes, a line for each message."""
    out = tarn(['decode', name, '--frame', 'varint', '--to', 'json', '--show-secrets'],
               framed(messages))
    return out.decode().splitlines()


def floats():
    """Messages with floats that are numbers: at the edges, and by chance."""
    chance = random.Random(1)
    bits = [0x80000000, 1, 0x007FFFFF, 0x00800000, 0x7F7FFFFF, 0x7F7FFFFE, 0xFF7FFFFF, 0x7F800000,
            0xFF800000] + [chance.getrandbits(32) for _ in range(5000)]
    return [b'\x15' + struct.pack('<I', value) for value in bits
            if value & 0x7FFFFFFF <= 0x7F800000 and value != 0]


class JsonTest(unittest.TestCase):
    def check(self, name, messages):
        """Both directions, for canonical bytes."""
        cls = TYPES[name]
        lines = json_of(name, messages)
        self.assertEqual(len(lines), len(messages))
        for data, line in zip(messages, lines):
            self.assertEqual(canonical(json_format.Parse(line, cls())), data, line)
        lines = [json_format.MessageToJson(cls.FromString(data), indent=None) for data in messages]
        out = tarn(['encode', name, '--frame', 'varint'], '\n'.join(lines).encode())
        self.assertEqual(out, framed(messages))

    def test_the_corpus(self):
        messages = {}
        for _, cls, data, _ in cases('valid', '.json'):
            messages.setdefault(cls.DESCRIPTOR.name, []).append(data)
        self.assertEqual(set(messages), set(TYPES))
        for name, of_type in messages.items():
            with self.subTest(name):
                self.check(name, of_type)

    def test_floats(self):
        messages = floats()
        self.assertGreater(len(messages), 4000)
        self.check('ClientStatusMsg', messages)

    def test_samples(self):
        for name, cls in TYPES.items():
            with self.subTest(name):
                out = tarn(['sample', name, '--count', '20', '--to', 'json'], b'')
                messages = [canonical(json_format.Parse(line, cls()))
                            for line in out.decode().splitlines()]
                self.assertEqual(len(messages), 20)
                self.check(name, messages)

    def test_unknown_fields_are_left_out(self):
        count = 0
        for name, cls, data, companion in cases('accepted', '.canonical.binpb'):
            if 'nan_' in name or name in TOO_DEEP:
                continue
            with self.subTest(name):
                message = cls.FromString(companion.read_bytes())
                message.DiscardUnknownFields()
                line, = json_of(cls.DESCRIPTOR.name, [data])
                self.assertEqual(canonical(json_format.Parse(line, cls())), canonical(message))
                count += 1
        self.assertGreater(count, 90)


if __name__ == '__main__':
    assert corpus_test.IMPLEMENTATION == 'cpp'
    unittest.main(argv=sys.argv[:1])
