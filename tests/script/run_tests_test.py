#!/usr/bin/python3
"""What script/run-tests counts, for tests that pass, fail, or do not run.

Usage: run_tests_test.py SOURCE BUILD
"""
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(sys.argv[1], "script", "run-tests")
PRESETS = """{"version": 6,
  "configurePresets": [{"name": "p", "generator": "Ninja",
                        "binaryDir": "${sourceDir}/build/p"}],
  "testPresets": [{"name": "p", "configurePreset": "p"}]}
"""
PASSES = 'add_test(passes "/bin/true")\n'
FAILS = 'add_test(fails "/bin/false")\n'
SKIPS = ('add_test(skips "/bin/false")\n'
         'set_tests_properties(skips PROPERTIES SKIP_RETURN_CODE 1)\n')
DISABLED = ('add_test(disabled "/bin/true")\n'
            'set_tests_properties(disabled PROPERTIES DISABLED TRUE)\n')
MISSING = 'add_test(missing "/no/such/program")\n'


class RunTests(unittest.TestCase):
    def run_tests(self, tests):
        """The exit status and the last line, for a folder with these tests."""
        with tempfile.TemporaryDirectory() as folder:
            tree = pathlib.Path(folder)
            (tree / "script").mkdir()
            (tree / "build" / "p").mkdir(parents=True)
            shutil.copy(SCRIPT, tree / "script" / "run-tests")
            (tree / "CMakePresets.json").write_text(PRESETS)
            (tree / "build" / "p" / "CTestTestfile.cmake").write_text(tests)
            done = subprocess.run([tree / "script" / "run-tests", "p"],
                                  text=True, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, check=False)
        return done.returncode, done.stdout.splitlines()[-1]

    def test_all_that_pass(self):
        self.assertEqual(self.run_tests(PASSES), (0, "1 passed, 0 failed"))

    def test_what_did_not_pass_counts_as_failed(self):
        for other in (FAILS, SKIPS, DISABLED, MISSING):
            status, line = self.run_tests(PASSES + other)
            self.assertEqual(line, "1 passed, 1 failed", other)
            self.assertNotEqual(status, 0, other)


unittest.main(argv=sys.argv[:1], verbosity=2)
