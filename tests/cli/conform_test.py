#!/usr/bin/python3
"""What tarn conform does with the processes of a reader.

Usage: conform_test.py TARN CORPUS
"""
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

TARN, CORPUS = sys.argv[1:]
# Tells its number and that of a child of its own, and answers nothing.
BUSY = 'trap "" PIPE; sleep 300 & echo $! $$ >"$0.part"; mv "$0.part" "$0"; read -r line; wait'


def command(script, *words, timeout=60):
    return [TARN, "conform", f"--corpus={CORPUS}", "--only=rejected/Price",
            f"--timeout={timeout}", "--", "sh", "-c", script, *words]


def is_alive(number):
    """Whether a process runs; one that has ended and waits to be counted does not."""
    try:
        return pathlib.Path(f"/proc/{number}/stat").read_text().rsplit(")", 1)[1].split()[0] != "Z"
    except FileNotFoundError:
        return False


def are_gone(numbers):
    for _ in range(500):
        if not any(map(is_alive, numbers)):
            return True
        time.sleep(0.01)
    return False


class ConformTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = os.path.join(folder.name, "numbers")

    def numbers(self):
        """Waits until the reader runs."""
        for _ in range(1000):
            if os.path.exists(self.file):
                text = pathlib.Path(self.file).read_text()
                if text.endswith("\n"):
                    return text.split()
            time.sleep(0.01)
        return self.fail("the reader did not start")

    def test_a_reader_that_hangs_is_ended_with_its_children(self):
        done = subprocess.run(command(BUSY, self.file, timeout=1), capture_output=True, text=True,
                              check=False, timeout=60)
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertIn("Does not answer in time", done.stdout)
        self.assertTrue(are_gone(self.numbers()))

    def test_a_reader_ends_with_tarn(self):
        for number in signal.SIGINT, signal.SIGTERM, signal.SIGHUP:
            with self.subTest(number), subprocess.Popen(command(BUSY, self.file)) as process:
                numbers = self.numbers()
                process.send_signal(number)
                self.assertEqual(process.wait(timeout=60), -number)
                self.assertTrue(are_gone(numbers))
                os.remove(self.file)

    def test_a_reader_can_do_its_work_after_its_input_has_ended(self):
        script = 'while read -r id rest; do echo "$id rejected"; done; sleep 0.2; echo >"$0"'
        subprocess.run(command(script, self.file), stdout=subprocess.PIPE, check=True, timeout=60)
        self.assertTrue(os.path.exists(self.file))

    def test_a_reader_gets_the_version_and_default_signals(self):
        script = ('echo "$TARN_CONFORM" $(grep SigIgn /proc/self/status) >"$0"; '
                  'while read -r id rest; do echo "$id rejected"; done')
        subprocess.run(command(script, self.file), stdout=subprocess.PIPE, check=True, timeout=60)
        version, _, ignored = pathlib.Path(self.file).read_text().split()
        self.assertEqual(version, "1")
        self.assertEqual(int(ignored, 16) >> (signal.SIGPIPE - 1) & 1, 0)

    def test_standard_files_that_are_closed_do_no_harm(self):
        script = 'while read -r id rest; do echo "$id rejected"; done'
        words = ["sh", "-c", 'exec "$@" <&- 2>&-', "sh", *command(script)]
        done = subprocess.run(words, stdout=subprocess.PIPE, text=True, check=False, timeout=60)
        self.assertEqual(done.returncode, 0, done.stdout)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
