#!/usr/bin/python3
"""Memory and output of tarn grow no faster than what it reads.

usage: growth_test.py TARN EXTRA_MB [TEST]

EXTRA_MB is what a comparison may take beyond the two messages as objects.
"""
import os
import subprocess
import sys
import tempfile
import unittest

from wire import field

TARN = sys.argv[1]
EXTRA = int(sys.argv[2]) << 20


def server(uuid, children, name=b''):
    return field(1, field(1, name) + field(4, uuid) + children)


def tree(size, byte):
    """A long uuid above many nodes without one, at many depths."""
    node = b''
    for _ in range(20):
        length = size // 40
        children = field(7, field(2, b'')) * (length // 4) + (field(7, node) if node else b'')
        node = field(2, field(4, byte * length) + children)
    return field(1, node)


def long_name(size, byte):
    children = b''.join(field(7, field(2, field(4, byte + b'%d' % i))) for i in range(size // 20))
    return field(1, server(b'u', children, b'n' * (size // 2)))


def long_port(size, byte):
    half = size // 4
    nodes = field(5, field(2, field(4, byte))) * (half // 8)
    return b''.join(field(1, field(5, nodes + field(6, port * half))) for port in (b'x', b'y'))


def truth_table(size, byte):
    """A long key of an entry with many values."""
    row = field(1, b'k' * (size // 2)) + field(8, byte * (size // 2))
    return field(1, row)


def equal_ids(size, byte):
    return field(1, field(1, b'a') + field(5, byte)) * (size // 8)


def other_order(size, byte):
    ids = [b'%06d' % i for i in range(size // 12)]
    return b''.join(field(1, field(1, i)) for i in (ids if byte == b'\0' else reversed(ids)))


def moved_nodes(size, byte):
    ids = [b'%06d' % i for i in range(size // 16)]
    children = b''.join(field(7, field(2, field(4, i))) for i in ids)
    return field(1, server(byte, children))


def bare_nodes(size, byte):
    return field(1, b'') * (size // 2) if byte == b'\0' else b''


def unknown_fields(size, byte):
    return field(100, byte) * (size // 4)


SHAPES = [('ModsConfigured', tree), ('ModsConfigured', long_name), ('ModsConfigured', long_port),
          ('HwIdGroups', truth_table), ('KT4Products', equal_ids), ('KT4Products', other_order),
          ('ModsConfigured', moved_nodes), ('ModsConfigured', bare_nodes),
          ('Server', unknown_fields)]


def run(arguments):
    """Exit status, peak memory in bytes, and bytes of output."""
    with tempfile.TemporaryFile() as out:
        process = subprocess.Popen([TARN] + arguments, stdout=out, stderr=subprocess.DEVNULL)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        return process.returncode, usage.ru_maxrss << 10, out.seek(0, os.SEEK_END)


class LimitsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def write(self, name, data):
        path = os.path.join(self.folder, name)
        with open(path, 'wb') as file:
            file.write(data)
        return path

    def diff(self, name, shape, size):
        """Memory of comparing beyond that of the messages, and the output."""
        paths = [self.write(str(i), shape(size, bytes([i]))) for i in range(2)]
        objects = 0
        for path in paths:
            code, memory, _ = run(['decode', name, path, '--from', 'binary', '--to', 'hex'])
            self.assertEqual(code, 0)
            objects += memory
        code, memory, output = run(['diff', name, *paths, '--from', 'binary'])
        self.assertEqual(code, 1, shape.__name__)
        code, same, nothing = run(['diff', name, paths[0], paths[0], '--from', 'binary'])
        self.assertEqual((code, nothing), (0, 0), shape.__name__)
        return max(memory, same) - objects, output

    def test_diff_takes_little_more_than_the_messages(self):
        for name, shape in SHAPES:
            with self.subTest(shape.__name__):
                for size in 48 << 10, 1 << 20:
                    extra, _ = self.diff(name, shape, size)
                    self.assertLess(extra, EXTRA)

    def test_what_diff_writes_grows_as_what_it_reads(self):
        for name, shape in SHAPES:
            with self.subTest(shape.__name__):
                _, small = self.diff(name, shape, 20000)
                _, large = self.diff(name, shape, 80000)
                self.assertLess(large, 5 * small)

    def test_text_with_many_marks_of_comments_is_encoded(self):
        """Hours of work, if each mark looked for the beginning of its line."""
        path = self.write('text', b'product_id: "' + b'# ' * (8 << 20) + b'"')
        code, _, output = run(['encode', 'Price', path, '--max-size', '32M'])
        self.assertEqual((code, output), (0, len(field(2, bytes(16 << 20)))))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
