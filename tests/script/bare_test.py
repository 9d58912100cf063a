#!/usr/bin/python3
"""Whether every script can start on a system that has nothing yet.

Usage: bare_test.py SOURCE_DIR BUILD_DIR [unittest options]
"""

import os
import sys
import unittest
from pathlib import Path

SOURCE = Path()

# Every Debian has these two.
SHELLS = ("#!/bin/sh", "#!/usr/bin/env bash")


class Bare(unittest.TestCase):
    def test_a_shell_runs_each_script(self):
        scripts = [file for folder in ("script", ".ci")
                   for file in sorted((SOURCE / folder).iterdir())
                   if os.access(file, os.X_OK)]
        self.assertIn(SOURCE / "script" / "bootstrap", scripts)
        others = [script.name for script in scripts
                  if script.read_text().split("\n", 1)[0] not in SHELLS]
        self.assertEqual(others, [])


if __name__ == "__main__":
    SOURCE = Path(sys.argv[1]).resolve()
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
