#!/usr/bin/python3
"""The maker of the corpus: what the notation means, and that a damaged case is
named with its line and leaves the corpus as it was.

usage: make_corpus_test.py MAKE_CORPUS
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

MAKER = sys.argv[1]

# How unknown fields of Err (its field 1 is a number) are written, and the bytes.
BYTES = {
    '9: 300': '48 ac 02',
    '9: -1': '48 ff ff ff ff ff ff ff ff ff 01',
    '9: 18446744073709551615': '48 ff ff ff ff ff ff ff ff ff 01',
    '9: 0x10': '48 10',
    '9: 5i32': '4d 05 00 00 00',
    '9: -2i32': '4d fe ff ff ff',
    '9: -0.5i32': '4d 00 00 00 bf',
    '9: 5i64': '49 05 00 00 00 00 00 00 00',
    r'9: {"a\n\"\\\xFF"}': '4a 05 61 0a 22 5c ff',
    '9: {"a#b"} # a comment': '4a 03 61 23 62',
    '9: {3: 5  4: {}}': '4a 04 18 05 22 00',
    '9: {0 1 300}': '4a 04 00 01 ac 02',
    '9: !{3: 5}': '4b 18 05 4c',
    '9:LEN 1 `fF`': '4a 01 ff',
    '9:SGROUP 9:EGROUP': '4b 4c',
    '9: {\n  3: 5\n  }': '4a 02 18 05',
    '2*[3: 1] 9: {3*["a"]}': '18 01 18 01 4a 03 61 61 61',
    '536870911: 1': 'f8 ff ff ff 0f 01',
    '1: long-form:2 5': '08 85 80 00',
    'long-form:1 1: 5': '88 00 05',
    '9: long-form:1 {"a"}': '4a 81 00 61',
}
# Files of Err, the line that is wrong, and why.
DAMAGED = {
    '  1: 5\n': (1, 'bytes before a case'),
    'canonical\n': (1, 'canonical before a case'),
    'Valid x\n': (1, 'neither a case nor indented bytes'),
    'valid ../x\n': (1, 'neither a case nor indented bytes'),
    'valid\n': (1, 'valid needs a name'),
    'valid x\ncanonical\n': (2, 'canonical has no place here'),
    'accepted x\ncanonical\ncanonical\n': (3, 'canonical has no place here'),
    'accepted x\ncanonical y\n': (2, 'canonical stands alone'),
    'valid x\nreason truncated\n': (2, 'reason has no place here'),
    'rejected x\n  `08`\n': (1, 'a rejected case needs a reason'),
    'rejected x\nreason a\nreason b\n': (3, 'a second reason'),
    'valid x\n  1: 5\nvalid x\n  1: 6\n': (3, 'a second case of this name'),
    'valid only_code\n  1: 5\n': (1, 'is made from the schema already'),
    'valid x\n  1: 5\n  1: {\n\n': (3, 'a { without its }'),
    'valid x\n  1: 5}\n': (2, 'a } without its {'),
    'valid x\n  1:\n': (2, 'field 1 before the end has no number and no { }'),
    'valid x\n  1: "a"\n': (2, 'field 1 before text or bytes has no number'),
    'valid x\n  1: 2: 5\n': (2, 'field 1 has no value'),
    'valid x\n  536870912: 5\n': (2, 'a field number above 2^29 - 1'),
    'valid x\n  1:FIXED 5\n': (2, 'not a wire type: FIXED'),
    'valid x\n  !{}\n': (2, 'a group needs a field'),
    'valid x\n  1: 5i16\n': (2, 'not a word of the notation: 5i16'),
    'valid x\n  1: 4294967296i32\n': (2, 'takes more than 32 bits'),
    'valid x\n  1: 18446744073709551616\n': (2, 'takes more than 64 bits'),
    'valid x\n  1: -9223372036854775809\n': (2, 'takes more than 64 bits'),
    'valid x\n  1: long-form:9 300\n': (2, 'a varint of more than 10 bytes'),
    'valid x\n  9: long-form:1 5i32\n': (2, 'long-form before a fixed number'),
    'valid x\n  1: {"abc}\n': (2, 'a text without its closing quote'),
    'valid x\n  1: {"\\q"}\n': (2, 'an escape is one of'),
    'valid x\n  1: {"\\x4"}\n': (2, 'an escape is one of'),
    'valid x\n  `08 0`\n': (2, 'a byte has two hex digits'),
    'valid x\n  `08 0G`\n': (2, 'between ` ` stand hex digits only'),
    'valid x\n  `08\n': (2, 'bytes without their closing `'),
    'valid x\n  2*[1: 5\n': (2, 'a [ without its ]'),
    'valid x\n  1001*[1: 5]\n': (2, 'repeats more than 1000 times'),
    'valid x\n' + '  1000*[' + '1: 5 ' * 60 + ']\n': (2, 'repeats too much'),
    # What the case says of its bytes is not so.
    'valid x\n  1: 0\n': (1, 'valid/Err/x: the reference writes '),
    'valid x\n  `08`\n': (1, 'the reference rejects them: truncated'),
    'accepted x\n  1: 5\ncanonical\n  1: 6\n': (1, 'the reference writes 08 05'),
    'rejected x\nreason truncated\n  1: 5\n': (
        1, 'the reference accepts these bytes'),
    'rejected x\nreason zero_key\n  `08`\n': (
        1, 'the reference rejects them: truncated'),
}


class MakeCorpusTest(unittest.TestCase):
    def setUp(self):
        # Each corpus has two thousand files: in memory, where that can be.
        memory = '/dev/shm'
        folder = tempfile.TemporaryDirectory(
            dir=memory if os.access(memory, os.W_OK) else None)
        self.addCleanup(folder.cleanup)
        self.cases = pathlib.Path(folder.name) / 'cases'
        self.corpus = pathlib.Path(folder.name) / 'corpus'
        self.cases.mkdir()
        self.corpus.mkdir()

    def make(self, content, name='Err.txt'):
        (self.cases / name).write_text(content, 'utf-8')
        return subprocess.run([MAKER, self.cases, self.corpus], text=True,
                              capture_output=True, check=False)

    def files(self):
        return {path.relative_to(self.corpus): path.read_bytes()
                for path in self.corpus.rglob('*') if path.is_file()}

    def test_notation_means_these_bytes(self):
        cases = []
        for text in BYTES:
            shortest = re.sub('long-form:[0-9] ', '', text)
            cases.append(f'accepted case_{len(cases)}\n  {text}\n'
                         f'canonical\n  {shortest}\n')
        made = self.make(''.join(cases))
        self.assertEqual(made.stderr, '')
        for number, (text, want) in enumerate(BYTES.items()):
            path = self.corpus / f'accepted/Err/case_{number}.binpb'
            with self.subTest(text):
                self.assertEqual(path.read_bytes().hex(' '), want)

    def test_deep_nesting_is_no_error_of_the_notation(self):
        made = self.make('rejected x\nreason too_deep\n'
                         '  1000*[2: !{] 1000*[}]\nvalid y\n  1:\n')
        self.assertNotIn('too_deep', made.stderr)
        self.assertIn('Err.txt:5: ', made.stderr)

    def test_damaged_cases_are_named_and_change_nothing(self):
        self.assertEqual(self.make('valid x\n  1: 5\n').returncode, 0)
        before = self.files()
        self.assertIn(pathlib.Path('valid/Err/x.json'), before)
        for content, (line, reason) in DAMAGED.items():
            with self.subTest(content):
                made = self.make(content)
                self.assertEqual(made.returncode, 1)
                first, *_, last = made.stderr.splitlines()
                self.assertIn(reason, first)
                if 'from the schema' not in reason:
                    self.assertIn(f'{self.cases}/Err.txt:{line}: ', first)
                self.assertIn('is left as it was', last)
        self.assertEqual(self.files(), before)

    def test_file_of_no_message_is_named(self):
        made = self.make('valid x\n', 'Eror.txt')
        self.assertEqual(made.returncode, 1)
        self.assertIn('Eror.txt: the schema has no message of this name',
                      made.stderr)

    def test_cases_that_are_gone_and_nothing_else_are_removed(self):
        (self.corpus / 'README.md').write_text('words')
        self.make('valid x\n  1: 5\n')
        self.make('valid y\n  1: 5\n')
        files = self.files()
        self.assertNotIn(pathlib.Path('valid/Err/x.binpb'), files)
        self.assertIn(pathlib.Path('valid/Err/y.binpb'), files)
        self.assertIn(pathlib.Path('README.md'), files)

    def test_no_file_is_replaced_when_writing_fails(self):
        self.make('valid x\n  1: 5\n')
        before = self.files()
        made = subprocess.run(
            ['sh', '-c', 'ulimit -f 0; trap "" XFSZ; exec "$@"', 'sh', MAKER,
             self.cases, self.corpus],
            text=True, capture_output=True, check=False)
        self.assertEqual(made.returncode, 1)
        self.assertIn('cannot write', made.stderr)
        self.assertEqual(self.files(), before)


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
