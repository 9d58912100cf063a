#!/usr/bin/python3
"""Where memory, a call of the system or the disk fails, an example says so and ends with 5, or
has the right result.

Usage: failing_test.py PROGRAMS FAILING_MALLOC FAILING_CALLS

PROGRAMS has a folder for each example. From the beginning of main() on, the first 20 allocations
fail one at a time, then some of the others; with FAILING=all in the environment every one.
"""
import os
import pathlib
import resource
import subprocess
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "cli"))
# pylint: disable=wrong-import-position
from faults import Faults

PROGRAMS, MALLOC, CALLS = sys.argv[1:]
ALL = os.environ.get("FAILING") == "all"
MORE = 30  # allocations after the first, spread over all
INPUT = {"conform": b"1 roundtrip tarn.Price CAI=\n" * 2}
PROGRAM = {"conform": "reader"}


def run(program, given, output=subprocess.PIPE, **environment):
    return subprocess.run([program], input=given, stdout=output, stderr=subprocess.PIPE,
                          timeout=120, check=False, env={**os.environ, **environment})


def expect(done, right, said, what):
    if done.returncode == 0:
        assert done.stdout == right.stdout, (what, done)
        return False
    assert done.returncode == 5 and done.stderr.startswith(said), (what, done)
    return True


def check_allocations(program, given, right):
    settings = {"LD_PRELOAD": MALLOC, "FAIL_IN_MAIN": "1"}
    last = run(program, given, **settings).stderr.splitlines()[-1]
    assert last.endswith(b" allocations"), last
    count = int(last.split()[0])
    tried = range(1, count + 1) if ALL else sorted(
        {*range(1, min(count, 20) + 1), *range(1, count + 1, -(-count // MORE)), count})
    failed = 0
    for number in tried:
        done = run(program, given, FAIL_AT=str(number), **settings)
        failed += expect(done, right, program.name.encode() + b": out of memory", number)
    assert failed > len(tried) // 2, (program, failed)
    print(f"{program.name}: {len(tried)} of {count} allocations tried, {failed} with status 5")


def check(name):
    program = pathlib.Path(PROGRAMS, name, PROGRAM.get(name, name))
    given = INPUT.get(name, b"")
    right = run(program, given)
    assert right.returncode == 0 and right.stdout, right
    with open("/dev/full", "wb") as full:
        assert run(program, given, full).returncode == 5, program
    check_allocations(program, given, right)
    for *what, done in Faults(CALLS, [program], input=given).all(ALL):
        expect(done, right, b"", (program, what))


resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
for example in "first", "arena", "reflection", "forms", "unknown_fields", "controller", "conform":
    check(example)
