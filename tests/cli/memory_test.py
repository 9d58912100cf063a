#!/usr/bin/python3
"""Where memory ends, every verb says so and ends with 5, or has the right result.

Usage: memory_test.py TARN FAILING_MALLOC

The library FAILING_MALLOC makes one allocation fail, or all from one on; and
limits of the address space make the system refuse. What the manual says of the
memory that a verb takes is enough.
"""
import os
import random
import resource
import subprocess
import sys
import tempfile

LINE = b"tarn: out of memory\n"
SERVER = b"\x0a\x05North\x10\x01\x22\x01u"
NODES = b"\x0a\x0e\x0a\x0c" + SERVER
REPORT = b"\x0a\x05\x0a\x01a\x10\x01"


def verbs(file):
    broken = SERVER + b"\x0a"
    yield ["--version"], b""
    yield ["help"], b""
    yield [], b""
    yield ["no-such-verb"], b""
    yield ["decode", "--help"], b""
    yield ["list"], b""
    yield ["list", "--json"], b""
    yield ["describe", "Server"], b""
    yield ["describe", "Server.status", "--json"], b""
    yield ["describe", "Sever"], b""
    yield ["fingerprint"], b""
    yield ["sample", "network"], b""
    yield ["sample", "Wifi", "--to=json"], b""
    yield ["complete", "--", "decode", ""], b""
    yield ["manual"], b""
    for form in "text", "json", "hex", "binary":
        yield ["decode", "Server", f"--to={form}"], SERVER
    yield ["decode", "Server", "--partial"], broken
    yield ["decode", "Server", "--strict"], SERVER + b"\x78\x01"
    yield ["decode", "Server", "no such file"], b""
    yield ["encode", "Server"], b'name: "x" status: ok'
    yield ["encode", "Server"], b'name: "x" status: wrong'
    yield ["encode", "Server"], b'{"name":"x","status":"ok"}'
    yield ["encode", "Server"], b'{"name":"x","status":"wrong"}'
    yield ["annotate", "Server"], broken
    yield ["annotate", "Server", "--json"], broken
    yield ["check", "ModsConfigured"], NODES + NODES + b"\x78\x01"
    yield ["check", "ModsConfigured", "--json"], NODES + NODES + b"\x78\x01"
    yield ["guess"], NODES
    yield ["guess", "--json"], NODES
    yield ["tree", "--type=ModsConfigured"], NODES
    yield ["tree"], NODES
    yield ["tree", "--dot"], NODES
    yield ["tree", "--json"], NODES
    yield ["what"], NODES
    yield ["what", "--json"], broken
    yield ["what", "--frame=varint"], b"\x0e" + REPORT * 2 + b"\x07" + REPORT
    yield ["what", '{"nmae": ""}'], b""
    yield ["rows", "ModsConfigured", "--table=node"], NODES
    yield ["rows", "NetworkStatusReport", "--to=ndjson"], REPORT
    yield ["rows", "--columns"], b""
    yield ["status"], REPORT
    yield ["status", "--json"], REPORT
    yield ["diff", "ModsConfigured", file, "-"], NODES


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
        numbers = {*dice.sample(range(1, count + 1), 12), count}
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
resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
with tempfile.NamedTemporaryFile() as other:
    other.write(NODES + NODES)
    other.flush()
    RUNS = check_failing_allocations(other.name)
    BASE = check_limits(other.name)
check_bounds(BASE)
print(RUNS, "runs with failing allocations")
assert RUNS > 1000
