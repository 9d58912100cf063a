#!/usr/bin/python3
"""The exit status says what was found, wherever standard output goes.

Usage: status_test.py TARN

Every verb writes to a full disk, which is 5, and to a pipe that nobody reads,
which changes nothing: findings are 1 and malformed input is 3.
"""
import os
import pathlib
import subprocess
import sys
import tempfile

FINE = b"\x0a\x05North"
# The uuid leaves no doubt about the type.
UNKNOWN = FINE + b"\x22\x2400000000-0000-4000-8000-000000000001\x78\x01"
MALFORMED = FINE + b"\x0a"
NODES = b"\x0a\x09\x0a\x07" + FINE
REPORT = b"\x0a\x05\x0a\x01a\x10\x01"


def run(arguments, given, stdout):
    return subprocess.run([TARN, *arguments], input=given, stdout=stdout, timeout=60,
                          stderr=subprocess.PIPE, check=False)


def on_full_disk(arguments, given=b""):
    with open("/dev/full", "wb") as full:
        done = run(arguments, given, full)
    assert done.returncode == 5, (arguments, done)
    assert done.stderr.endswith(b"tarn: standard output: No space left on device\n"), done


def unread(arguments, want, given=b""):
    reader, writer = os.pipe()
    os.close(reader)
    done = run(arguments, given, writer)
    os.close(writer)
    assert done.returncode == want, (arguments, want, done)
    # Nothing is said about the pipe.
    assert b"standard output" not in done.stderr and (done.stderr == b"") == (want < 2), done


def check_full_disk(fine, other):
    for arguments in (["--version"], ["help"], ["--help"], ["help", "decode"], ["decode", "-h"],
                      ["list"], ["list", "--json"], ["manual"], ["complete", "--", ""],
                      ["complete", "--", "decode", ""], ["describe", "Server"],
                      ["describe", "--json", "Server"], ["fingerprint"],
                      ["fingerprint", "--json"],
                      ["fingerprint", "--canonical"], ["sample", "Server"],
                      ["sample", "Server", "--to=binary"], ["diff", "Server", fine, other]):
        on_full_disk(arguments)
    for form in "text", "json", "hex", "binary":
        on_full_disk(["decode", "Server", f"--to={form}"], FINE)
    for arguments in ["annotate", "Server"], ["annotate", "--json", "Server"], ["guess"], \
            ["guess", "--json"]:
        on_full_disk(arguments, FINE)
    for arguments in (["check", "Server"], ["check", "Server", "--json"],
                      ["decode", "Server", "--strict"]):
        on_full_disk(arguments, UNKNOWN)
    for arguments in ["tree"], ["tree", "--json"], ["tree", "--dot"]:
        on_full_disk([*arguments, "--type=ModsConfigured"], NODES)
    for arguments in ["--columns"], ["--columns", "--json"]:
        on_full_disk(["rows", *arguments])
    for arguments in ["--table=status"], ["--to=ndjson"]:
        on_full_disk(["rows", "NetworkStatusReport", *arguments], REPORT)
    for arguments in ["status"], ["status", "--json"]:
        on_full_disk(arguments, REPORT)
    for form in "binary", "hex", "base64":
        on_full_disk(["encode", "Server", f"--to={form}"], b'name: "x"')


def check_closed_pipe(fine, other, broken):
    unread(["diff", "Server", fine, fine], 0)
    unread(["diff", "Server", fine, other], 1)
    unread(["diff", "Server", "--json", fine, other], 1)
    unread(["diff", "Server", fine, broken], 3)
    unread(["check", "Server"], 0, FINE)
    unread(["check", "Server"], 1, UNKNOWN)
    unread(["check", "Server", "--json"], 1, UNKNOWN)
    unread(["decode", "Server"], 0, FINE)
    unread(["decode", "Server", "--to=binary"], 0, FINE)
    for arguments in (["decode", "Server", "--partial"], ["annotate", "Server"],
                      ["annotate", "--json", "Server"]):
        unread(arguments, 3, MALFORMED)
    for arguments in ["list"], ["--version"], ["help"], ["sample", "Server"], ["guess"]:
        unread(arguments, 0, FINE)
    unread(["tree", "--type=ModsConfigured"], 0, NODES)
    unread(["tree", "--type=Server", "--partial"], 3, MALFORMED)
    unread(["rows", "ModsConfigured", "--table=node"], 0, NODES)
    unread(["rows", "Server", "--to=ndjson"], 3, MALFORMED)
    unread(["status"], 0, REPORT)


def check_streams():
    """A verdict needs the whole stream, other work ends with its reader."""
    # More findings than a buffer holds in front of what is malformed.
    noisy = bytes([len(UNKNOWN)]) + UNKNOWN
    stream = noisy * 5000 + bytes([len(MALFORMED)]) + MALFORMED
    reader, writer = os.pipe()
    os.close(reader)
    done = run(["check", "Server", "--frame=varint"], stream, writer)
    assert done.returncode == 3, done
    done = run(["decode", "Server", "--frame=varint", "--keep-going"],
               bytes([len(MALFORMED)]) + MALFORMED + noisy * 5000, writer)
    assert done.returncode == 3, done
    os.close(writer)
    for endless in (f"yes '{{\"name\":\"a\"}}' | '{TARN}' encode Server --frame=varint",
                    f"'{TARN}' sample Server --count=1000000000000",
                    f"'{TARN}' sample Server --count=1000000000000 --frame=varint"
                    f" | '{TARN}' decode Server --frame=varint"):
        subprocess.run(f"({endless}) | head -c 10", shell=True, check=True, timeout=60,
                       stdout=subprocess.DEVNULL)


TARN = str(pathlib.Path(sys.argv[1]).resolve())
with tempfile.TemporaryDirectory() as scratch:
    files = [os.path.join(scratch, name) for name in ("fine", "other", "broken")]
    for name, content in zip(files, (FINE, FINE + b"\x10\x02", MALFORMED)):
        pathlib.Path(name).write_bytes(content)
    check_full_disk(*files[:2])
    check_closed_pipe(*files)
check_streams()
print("the statuses hold")
