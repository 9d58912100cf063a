#!/usr/bin/python3
"""Compiles the headers after macros, as the table in docs/guide.md says.

Usage: macros_test.py COMPILER INCLUDE_FOLDER PAGE
"""
import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

COMPILER, HEADERS, PAGE = sys.argv[1:]
INCLUDES = ['#include <tarn/Network.pb.h>', '#include <tarn/Tarn.pb.h>']
MAIN = ['int main() { return tarn::Price().line_num(); }']
# Of each row the macro, and what the headers do after it.
ROWS = re.findall(r'^\| `(#define \w.*?)` \| [^|]* \| `?(.*?)`? \|$', Path(PAGE).read_text(), re.M)


def errors(lines):
    """What the compiler says that is an error."""
    done = subprocess.run([COMPILER, '-std=c++17', '-fsyntax-only', '-I', HEADERS, '-xc++', '-'],
                          input='\n'.join(lines) + '\n', stderr=subprocess.PIPE, encoding='utf-8',
                          env=dict(os.environ, LC_ALL='C'), check=False)
    return re.findall(r'error: (.*)', done.stderr)


class MacrosTest(unittest.TestCase):
    def test_those_that_do_no_harm_may_come_first(self):
        harmless = [macro for macro, result in ROWS if result == 'compile']
        self.assertGreater(len(harmless), 10)
        self.assertEqual(errors(harmless + INCLUDES + MAIN), [])

    def test_the_others_are_refused_in_the_words_of_the_page(self):
        harmful = [row for row in ROWS if row[1] != 'compile']
        self.assertGreater(len(harmful), 3)
        for macro, words in harmful:
            with self.subTest(macro):
                self.assertEqual(errors([macro] + INCLUDES)[0], words)

    def test_all_of_them_may_come_later(self):
        self.assertEqual(errors(INCLUDES + [macro for macro, _ in ROWS] + MAIN), [])


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
