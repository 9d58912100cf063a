#!/usr/bin/python3
"""Where a call of the system fails, every verb says so and ends with 5, or has the right result.

Usage: calls_test.py TARN FAILING_CALLS

Each read, write, open, close, mmap, fsync and rename fails in turn, with each of its likely
errors: of more than six some, and with FAILING=all in the environment every one. No file that a
verb writes has its name before it is whole.
"""
import collections
import errno
import os
import pathlib
import sys
import tempfile

from all_verbs import NODES, verbs
from faults import HARMLESS, Faults

TARN, FAILING = sys.argv[1:]
ALL = os.environ.get("FAILING") == "all"


def result(done):
    return done.returncode, done.stdout, done.stderr


def files(folder):
    return {path: path.read_bytes() for path in folder.rglob("*") if path.is_file()}


def expect_failure(done, error, right, what):
    """Status 5 and the reason, and nothing in the output that is not right."""
    assert done.returncode == 5, (what, done)
    last = done.stderr.splitlines()[-1]
    assert last.startswith(b"tarn: ") and last.endswith(os.strerror(error).encode()), (what, done)
    assert right[1].startswith(done.stdout), (what, done)


def check(arguments, given, folder):
    faults = Faults(FAILING, [TARN, *arguments], input=given)
    right = result(faults.run())
    whole = files(folder)
    for call, number, error, done in faults.all(ALL):
        what = arguments, call, number, errno.errorcode.get(error, "short")
        COUNTED[call] += 1
        if result(done) != right:
            assert error not in HARMLESS, (what, done)
            expect_failure(done, error, right, what)
            FAILED[call] += 1
        elif error not in HARMLESS:
            # Nothing is lost that way: what was read is all there, or was only looked for.
            assert call in ("close", "open"), (what, done)
        left = files(folder)
        assert left.items() <= whole.items(), (what, left.keys() - whole.keys())
        for path in whole.keys() - given_files:
            path.unlink(missing_ok=True)


COUNTED, FAILED = collections.Counter(), collections.Counter()
with tempfile.TemporaryDirectory() as scratch:
    other = pathlib.Path(scratch, "other")
    other.write_bytes(NODES + NODES)
    given_files = {other}
    for words, text in verbs(str(other)):
        check(words, text, pathlib.Path(scratch))
print(*(f"{call}: {COUNTED[call]} tried, {FAILED[call]} with status 5" for call in COUNTED),
      sep="\n")
assert set(FAILED) >= {"read", "write", "open", "close", "rename"}, FAILED
