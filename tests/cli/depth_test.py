#!/usr/bin/python3
"""How deep messages may be for tarn, and that a million levels are refused at once.

Usage: depth_test.py TARN

Every run has a small stack and little time.
"""
import os
import resource
import subprocess
import sys
import tempfile
import unittest

from wire import varint

TARN = sys.argv[1]
LIMIT = 100
JSON_LIMIT = 99
MALFORMED = 3
MILLION = 1000000
REASON = b'nested deeper than 100'
STACK = 1 << 20
SECONDS = 60


def limited():
    resource.setrlimit(resource.RLIMIT_STACK, (STACK, STACK))
    resource.setrlimit(resource.RLIMIT_CPU, (SECONDS, SECONDS))


def run(arguments, data):
    with tempfile.NamedTemporaryFile() as file:
        file.write(data)
        file.flush()
        done = subprocess.run([TARN, *arguments, file.name], stdin=subprocess.DEVNULL,
                              capture_output=True, preexec_fn=limited, check=False)
    return done.returncode, done.stdout + done.stderr


def tree(levels):
    """Nodes and the servers in them by turns, below the server that is read."""
    heads, size = [], 0
    for level in range(levels, 0, -1):
        heads.append(bytes([0x0a if level % 2 == 0 else 0x3a]) + varint(size))
        size += len(heads[-1])
    return b''.join(reversed(heads))


def groups(levels):
    return b'\xc3\x3e' * levels + b'\xc4\x3e' * levels


def written(levels, opened, closed):
    return b''.join([opened[i % 2] for i in range(levels)] +
                    [closed[i % 2] for i in reversed(range(levels))])


def text(levels):
    return written(levels, (b'children {', b'server {'), (b'}', b'}'))


def json(levels):
    return b'{' + written(levels, (b'"children":[{', b'"server":{'), (b'}]', b'}')) + b'}'


# What reads bytes. `check` finds something unusual in all of them.
READERS = [
    ('decode', 'Server', '--to=text'),
    ('decode', 'Server', '--to=json'),
    ('decode', 'Server', '--to=hex'),
    ('annotate', 'Server'),
    ('annotate', 'Server', '--json'),
    ('check', 'Server'),
    ('check', 'Server', '--json'),
    ('rows', 'Server', '--to=ndjson'),
    ('diff', 'Server', os.devnull),
    ('tree', '--type=Server'),
    ('tree', '--type=Server', '--json'),
    ('tree', '--type=Server', '--dot'),
]


class DepthTest(unittest.TestCase):
    def test_bytes_may_be_100_deep(self):
        for reader in READERS:
            for shape in tree, groups:
                with self.subTest((reader, shape.__name__)):
                    arguments = [*reader, '--from=binary']
                    code, said = run(arguments, shape(LIMIT))
                    self.assertIn(code, (0, 1), said[-300:])
                    self.assertNotIn(REASON, said)
                    code, said = run(arguments, shape(LIMIT + 1))
                    self.assertEqual(code, MALFORMED, said[-300:])
                    self.assertIn(REASON if '--json' not in reader else b'', said)

    def test_a_million_levels_of_bytes_are_refused(self):
        for shape in tree, groups:
            data = shape(MILLION)
            for reader in READERS:
                with self.subTest((reader, shape.__name__)):
                    code, said = run([*reader, '--from=binary'], data)
                    self.assertEqual(code, MALFORMED, said[-300:])
                    self.assertLess(len(said), 10 * len(data))

    def test_a_million_levels_of_an_unknown_type_are_read(self):
        for shape in tree, groups, text, json:
            data = shape(MILLION)
            for verb in 'guess', 'what':
                with self.subTest((verb, shape.__name__)):
                    code, said = run([verb], data)
                    self.assertIn(code, (0, 1, 3), said[-300:])
                    self.assertLess(len(said), 10 * len(data))

    def test_text_may_be_100_and_json_99_deep(self):
        for form, make, limit in ('text', text, LIMIT), ('json', json, JSON_LIMIT):
            with self.subTest(form):
                encode = ['encode', 'Server', f'--from={form}', '--to=hex']
                code, said = run(encode, make(limit))
                self.assertEqual(code, 0, said)
                self.assertEqual(bytes.fromhex(said.decode()), tree(limit))
                code, said = run(['decode', 'Server', f'--to={form}', '--from=binary'], tree(limit))
                self.assertEqual((code, b''.join(said.split())), (0, b''.join(make(limit).split())))
                for levels in limit + 1, MILLION:
                    code, said = run(encode, make(levels))
                    self.assertEqual(code, MALFORMED, said)


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
