#!/usr/bin/python3
"""Runs a command that must end with a status and print a text.

Usage: expect.py STATUS PATTERN COMMAND [ARGUMENT...]

PATTERN is a regular expression; each run of spaces and line ends in what the
command prints, to either stream, counts as one space.
"""
import re
import subprocess
import sys

status, pattern, *command = sys.argv[1:]
done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                      encoding="utf-8", check=False)
print(done.stdout)
if done.returncode != int(status):
    sys.exit(f"exit status {done.returncode}, expected {status}")
if not re.search(pattern, " ".join(done.stdout.split())):
    sys.exit(f"nothing printed matches {pattern!r}")
