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

from shapes import SHAPES
from wire import field

TARN = sys.argv[1]
EXTRA = int(sys.argv[2]) << 20


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

    def test_ten_million_empty_elements_take_little_more_than_their_bytes(self):
        elements = field(1, b'') * 10 ** 7
        path = self.write('elements', elements)
        for verb in ['decode', '--to=json'], ['annotate']:
            code, memory, output = run([*verb, 'ModsConfigured', path, '--from=binary'])
            self.assertEqual(code, 0)
            self.assertGreater(output, 10 ** 7)
            self.assertLess(memory, 2 * len(elements) + EXTRA, verb)

    def test_text_with_many_marks_of_comments_is_encoded(self):
        """Hours of work, if each mark looked for the beginning of its line."""
        path = self.write('text', b'product_id: "' + b'# ' * (8 << 20) + b'"')
        code, _, output = run(['encode', 'Price', path, '--max-size', '32M'])
        self.assertEqual((code, output), (0, len(field(2, bytes(16 << 20)))))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
