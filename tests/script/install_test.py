#!/usr/bin/python3
"""Follows the README's section Install with what is built already, into a
folder of the test's own. .ci/newcomer follows it to the letter.

Usage: install_test.py SOURCE_DIR BUILD_DIR [unittest options]
"""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
# pylint: disable=wrong-import-position
from readme_install import install_lines

SOURCE = BUILD = Path()

# What stands for the programs that the lines name: everything is built already,
# is installed elsewhere, and the loader's cache is one of the test's own.
PROGRAMS = {
    "bootstrap": "",
    "cmake": '[ "$1" = --install ] || exit 0\n'
             'shift 2\n[ "$*" = "--prefix /usr/local" ]\n'
             'exec /usr/bin/cmake --install "$BUILD" --prefix "$PREFIX"',
    "ldconfig": 'echo "$PREFIX/lib" >"$PREFIX/ld.so.conf"\n'
                'exec /sbin/ldconfig -f "$PREFIX/ld.so.conf" '
                '-C "$PREFIX/ld.so.cache"',
}


class Install(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def test_the_loader_finds_the_library_afterwards(self):
        prefix, script = self.folder / "prefix", self.folder / "script"
        prefix.mkdir()
        script.mkdir()
        for name, text in PROGRAMS.items():
            (script / name).write_text(f"#!/bin/sh -eu\n{text}\n")
            (script / name).chmod(0o755)
        subprocess.run(
            ["/bin/sh", "-eu", "-c",
             install_lines((SOURCE / "README.md").read_text())],
            cwd=self.folder, check=True, stdout=subprocess.DEVNULL,
            env=dict(os.environ, BUILD=BUILD, PREFIX=prefix,
                     PATH=f"{script}:{os.environ['PATH']}"))
        cache = subprocess.run(
            ["/sbin/ldconfig", "-p", "-C", prefix / "ld.so.cache"], check=True,
            stdout=subprocess.PIPE, encoding="utf-8").stdout
        self.assertRegex(cache, rf"libschema\.so\.0 .* => {prefix}/lib/")

    def test_no_test_is_built_unasked(self):
        for options, tests in ((), False), (("-DSCHEMA_BUILD_TESTS=ON",), True):
            subprocess.run(["/usr/bin/cmake", "-S", SOURCE, "-B", self.folder,
                            "-G", "Unix Makefiles", *options], check=True,
                           stdout=subprocess.DEVNULL)
            targets = subprocess.run(
                ["/usr/bin/cmake", "--build", self.folder, "--target", "help"],
                check=True, stdout=subprocess.PIPE, encoding="utf-8").stdout
            self.assertIn("... tarn\n", targets)
            self.assertEqual("wire_test" in targets, tests)
            self.assertEqual("walker_fuzz" in targets, tests)


if __name__ == "__main__":
    SOURCE, BUILD = (Path(argument).resolve() for argument in sys.argv[1:3])
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
