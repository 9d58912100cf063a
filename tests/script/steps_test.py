#!/usr/bin/python3
"""How .ci/steps.sh counts what steps say.

Usage: steps_test.py SOURCE_DIR BUILD_DIR [unittest options]
"""

import subprocess
import sys
import unittest
from pathlib import Path

SOURCE = Path()


class Steps(unittest.TestCase):
    def run_steps(self, *commands):
        """Returns the status of the run and its last line."""
        lines = [". .ci/steps.sh", *(f"step name {c}" for c in commands),
                 "summary"]
        done = subprocess.run(["bash", "-uc", "\n".join(lines)], cwd=SOURCE,
                              check=False, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, encoding="utf-8")
        return done.returncode, done.stdout.splitlines()[-1]

    def test_adds_what_steps_count(self):
        self.assertEqual(
            self.run_steps("echo '3 passed, 0 failed'", "true",
                           "echo '4 passed, 0 failed'"),
            (0, "8 passed, 0 failed"))

    def test_fails_where_a_count_does(self):
        self.assertEqual(self.run_steps("true", "echo '3 passed, 1 failed'"),
                         (1, "4 passed, 1 failed"))

    def test_a_step_that_breaks_off_after_its_count_has_failed(self):
        self.assertEqual(
            self.run_steps("bash -c 'echo 3 passed, 0 failed; exit 7'"),
            (1, "3 passed, 1 failed"))

    def test_only_the_last_line_counts(self):
        self.assertEqual(
            self.run_steps("printf '9 passed, 0 failed\\nkilled\\n'"),
            (0, "1 passed, 0 failed"))

    def test_a_step_that_cannot_run_has_failed(self):
        self.assertEqual(self.run_steps("true", "./no-such-program"),
                         (1, "1 passed, 1 failed"))

    def test_nothing_done_is_no_success(self):
        self.assertEqual(self.run_steps(), (1, "0 passed, 0 failed"))


if __name__ == "__main__":
    SOURCE = Path(sys.argv[1]).resolve()
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
