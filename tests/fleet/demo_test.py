#!/usr/bin/python3
"""The demonstration prints what the README shows, and leaves nothing running.

Usage: demo_test.py PROGRAMS EXAMPLES [unittest options]
"""

import os
import re
import signal
import subprocess
import sys
import unittest
from pathlib import Path

from programs import PATIENCE, FleetTest


class Demo(FleetTest):
    def command(self):
        return [str(self.examples / "fleet" / "demo.py"), str(self.programs),
                str(self.examples), str(self.folder / "run")]

    def running(self):
        """Programs that work in the folder of the demonstration."""
        found = []
        for link in Path("/proc").glob("[0-9]*/cwd"):
            try:
                if os.readlink(link) == str(self.folder / "run"):
                    found.append((link.parent / "cmdline").read_bytes())
            except OSError:  # it has ended, or is another user's
                continue
        return found

    def test_prints_what_the_readme_shows(self):
        done = subprocess.run(self.command(), check=False, encoding="utf-8",
                              timeout=PATIENCE * 3, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, 0, done.stderr + done.stdout)
        printed = re.sub(r"\d{4}-\d\d-\d\dT[\d:]+Z", "TIME", done.stdout)
        expected = self.examples / "fleet" / "expected.txt"
        self.assertEqual(printed, expected.read_text())
        self.assertEqual(self.running(), [])

    def test_ends_its_programs_however_it_ends(self):
        for how in (signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
            demo = self.start(*self.command())
            self.await_("three programs", lambda: len(self.running()) == 3)
            demo.send_signal(how)
            demo.wait(PATIENCE)
            self.await_("their end", lambda: not self.running())


if __name__ == "__main__":
    FleetTest.programs, FleetTest.examples = (
        Path(path).resolve() for path in sys.argv[1:3])
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
