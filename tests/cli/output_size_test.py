#!/usr/bin/python3
"""Small inputs and options make no enormous outputs.

Usage: output_size_test.py TARN
"""
import json
import subprocess
import sys

from wire import field

TARN = sys.argv[1]


def run(arguments, given=b"", status=0):
    """What a command puts out."""
    done = subprocess.run([TARN, *arguments], input=given, capture_output=True, timeout=300,
                          check=False)
    assert done.returncode == status, (arguments, done.returncode, done.stderr[-300:])
    return done.stdout, done.stderr


def check_long_names():
    long = b"x" * 40000
    small = field(1, field(1, b""))
    for key in 1, 4:  # name, uuid
        nodes = field(1, field(1, field(key, long))) + small * 4000
        for options in [], ["--dot"]:
            shown, _ = run(["tree", "--type=ModsConfigured", "--from=binary", *options], nodes)
            assert len(shown) < 10 * len(nodes), (key, options, len(shown), len(nodes))
            # A drawing has the beginning of a name, and text all of it, once.
            assert ("x\\\\…" if options else long.decode()) in shown.decode(), (key, options)
        shown, _ = run(["tree", "--type=ModsConfigured", "--from=binary", "--json"], nodes)
        assert long in shown
    report = field(1, field(1, long) + b"\x10\x01") + b"".join(
        field(1, field(1, str(at).encode()) + b"\x10\x01") for at in range(4000))
    shown, _ = run(["status", "--from=binary"], report)
    assert len(shown) < 10 * len(report) and long in shown, len(shown)


def check_rows():
    # 10,000 children below the long name, and 200,000 empty nodes at the lowest level of a tree.
    long = b"x" * 18000
    for key in 1, 4:  # name, uuid
        nodes = field(1, field(2, field(key, long) + field(7, field(4, b"")) * 10000))
        shown, _ = run(["rows", "ModsConfigured", "--from=binary", "--to=ndjson"], nodes)
        assert shown.count(b"\n") == 10002 and len(shown) < 10 ** 7, (key, len(shown))
    nodes = field(7, b"") * 200000
    for _ in range(48):
        nodes = field(7, field(2, nodes))
    nodes = field(1, field(2, nodes))
    shown, _ = run(["rows", "ModsConfigured", "--from=binary", "--table=node"], nodes)
    assert shown.count(b"\n") == 200050, shown.count(b"\n")
    assert len(shown) < 400 * 200000, len(shown)


def check_samples():
    for shape in ((100000, 100, 0), (100000, 100000, 0), (100000, 1, 1), (100000, 100000, 100000),
                  (2, 100000, 1), (100000, 2, 0)):
        options = [f"--{name}={number}" for name, number in
                   zip(("clients", "displays", "modules"), shape)]
        for kind in "network", "Server", "AddressingStatus":
            shown, error = run(["sample", kind, *options], status=2)
            assert not shown and b"nodes in one message" in error, (kind, shape, error)
    run(["sample", "Display", "--clients=100000", "--displays=100000", "--modules=2"])
    run(["sample", "Client", "--clients=100000", "--displays=2", "--modules=2"])
    shape = ["--clients=4000", "--displays=1", "--modules=0"]
    counted = json.loads(run(["tree", "--json"], run(["sample", "network", *shape])[0])[0])
    assert counted["below"] == {"server": 1, "client": 4000, "display": 4000}, counted["below"]


check_long_names()
check_rows()
check_samples()
print("the limits hold")
