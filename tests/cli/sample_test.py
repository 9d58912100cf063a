#!/usr/bin/python3
"""Holds the samples of every type against the other verbs.

Usage: sample_test.py TARN
"""
import json
import subprocess
import sys
import tempfile


def tarn(*arguments, given=None):
    """The output of a command that must find nothing wrong."""
    done = subprocess.run([TARN, *arguments], input=given, capture_output=True, timeout=60)
    assert done.returncode == 0, (arguments, done)
    return done.stdout


def check_type(name):
    binary = tarn("sample", name, "--to", "binary")
    assert binary == tarn("sample", name, "--to", "binary", "--seed", "1"), f"{name} varies"
    assert binary, f"the sample of {name} is empty"
    for form in "text", "json":
        written = tarn("sample", name, "--to", form)
        assert tarn("encode", name, "--from", form, given=written) == binary, (name, form)
        assert tarn("decode", name, "--to", form, "--show-secrets", given=binary) == written, name
    digits = tarn("sample", name, "--to", "hex")
    assert tarn("decode", name, "--from", "hex", "--to", "binary", given=digits) == binary, name
    tarn("decode", name, "--strict", given=binary)
    findings = tarn("check", name, "--fail-on", "advice", given=binary)
    assert not findings, (name, findings)
    with tempfile.NamedTemporaryFile() as file:
        file.write(binary)
        file.flush()
        assert not tarn("diff", name, "--from", "binary", file.name, "-", given=binary), name


def check_streams(name):
    """Messages of one stream differ, and come out of a frame as they went in."""
    lines = tarn("sample", name, "--count", "5", "--to", "json").splitlines(keepends=True)
    assert len(set(lines)) == 5, name
    for frame in "varint", "u32be", "u32le":
        stream = tarn("sample", name, "--count", "5", "--frame", frame)
        assert tarn("decode", name, "--frame", frame, "--to", "json",
                    given=stream) == b"".join(lines), frame


TARN = sys.argv[1]
types = [entry["name"] for entry in map(json.loads, tarn("list", "--json").splitlines())
         if entry["kind"] == "message"]
for each in types:
    check_type(each)
for each in "ModsConfigured", "NetworkStatusReport", "FileMessage":
    check_streams(each)
seeds = {tarn("sample", "network", "--seed", str(seed)) for seed in range(20)}
assert len(seeds) == 20
shape = json.loads(tarn("tree", "--json", given=tarn(
    "sample", "network", "--clients", "4", "--displays", "3", "--modules", "2")))
assert shape["below"] == {"server": 1, "client": 4, "display": 12, "module": 24}, shape["below"]
print(f"{len(types)} types")
