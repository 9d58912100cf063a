#!/usr/bin/python3
"""Where memory ends, every verb says so and ends with 5, or has the right result.

Usage: memory_test.py TARN FAILING_MALLOC

The library FAILING_MALLOC makes one allocation fail, or all from one on; and
limits of the address space make the system refuse. What the manual says of the
memory that a verb takes is enough. With FAILING=all in the environment every
allocation fails, otherwise some do.
"""
import os
import pathlib
import random
import resource
import subprocess
import sys
import tempfile

from all_verbs import NODES, verbs

LINE = b"tarn: out of memory\n"


def run(arguments, given, limit=None, **environment):
    def confine():
        resource.setrlimit(resource.RLIMIT_AS, (limit, limit))
    # Without such a function, Python starts a program in half the time.
    return subprocess.run([TARN, *arguments], input=given, capture_output=True, timeout=120,
                          check=False, preexec_fn=limit and confine,
                          env={**os.environ, **environment})


def result(done):
    return done.returncode, done.stdout, done.stderr


def expect(arguments, done, right, what):
    fine = result(done) == right or done.returncode == 5 and done.stderr.endswith(LINE)
    assert fine, (arguments, what, done)


def check_failing_allocations(file):
    dice = random.Random(5)
    runs = 0
    for arguments, given in verbs(file):
        right = result(run(arguments, given))
        counted = run(arguments, given, LD_PRELOAD=FAILING)
        report = counted.stderr.splitlines()[-1]
        assert report.endswith(b" allocations"), counted
        count = int(report.split()[0])
        assert count > 20, (arguments, count)
        numbers = {*dice.sample(range(1, count + 1), count if ALL else 12), count}
        if not runs:  # the first allocations are the same for every verb
            numbers.update(range(1, 9))
        failed = 0
        for number in sorted(numbers):
            for more in {}, {"FAIL_ON": "1"}:
                done = run(arguments, given, LD_PRELOAD=FAILING, FAIL_AT=str(number), **more)
                expect(arguments, done, right, (number, more))
                failed += done.returncode == 5
                runs += 1
        # A test without failures would be none.
        assert failed > 10, (arguments, failed)
    return runs


def loads(limit):
    """Whether the program starts at all; the loader's own failure is 127."""
    return run(["--version"], b"", limit).returncode != 127


def check_limits(file):
    low, high = 1 << 20, 1 << 30
    while high - low > 1 << 16:
        middle = (low + high) // 2
        low, high = (low, middle) if loads(middle) else (middle, high)
    big = b"".join(NODES for _ in range(20000))
    for arguments, given in [*verbs(file), (["tree", "--type=ModsConfigured"], big),
                             (["decode", "ModsConfigured", "--to=binary"], big),
                             (["guess"], big)]:
        right = result(run(arguments, given))
        for more in (0, 1 << 17, 1 << 18, 1 << 19, 1 << 20, 1 << 21, 1 << 23, 1 << 24):
            done = run(arguments, given, high + more)
            expect(arguments, done, right, ("limit", more))
    return high


def check_bounds(base):
    """In addition to the `base` that the program takes to start."""
    nodes = b"\x0a\x02\x0a\x00" * 250000
    report = b"".join(bytes((10, len(key) + 2, 10, len(key))) + key
                      for key in (b"%d" % at for at in range(100000)))
    for arguments, given in ((["tree", "--type=ModsConfigured"], nodes),
                             (["tree", "--type=ModsConfigured", "--json"], nodes),
                             (["tree", "--type=ModsConfigured", "--dot"], nodes),
                             (["rows", "ModsConfigured", "--table=node"], nodes),
                             (["rows", "NetworkStatusReport", "--to=ndjson"], report),
                             (["status"], report),
                             (["status", "--json"], report)):
        done = run([*arguments, "--from=binary"], given, base + FACTOR * len(given))
        assert done.returncode == 0, (arguments, done.returncode, done.stderr[-300:])
    # Messages are made one by one: ever more of them take no more memory.
    done = run(["sample", "network", "--count=3000", "--clients=2"], b"", base + (16 << 20))
    assert done.returncode == 0, done.stderr[-300:]


# Times the size of a message, in the manual.
FACTOR = 110
TARN, FAILING = sys.argv[1:]
ALL = os.environ.get("FAILING") == "all"
resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
with tempfile.TemporaryDirectory() as scratch:
    other = pathlib.Path(scratch, "other")
    other.write_bytes(NODES + NODES)
    RUNS = check_failing_allocations(str(other))
    BASE = check_limits(str(other))
check_bounds(BASE)
print(RUNS, "runs with failing allocations")
assert RUNS > 1000
