#!/usr/bin/python3
"""Nothing that hides, turns or forges text gets through any verb to people.

Usage: escape_test.py TARN

Every code point of the general categories Cc, Cf, Zl and Zp, and bytes that are
no UTF-8, go into names, uuids, keys, file names and arguments of every verb,
whose output is read from pipes and from a terminal. Text and JSON must give
back the bytes, and no two values may look alike.
"""
import os
import pathlib
import pty
import re
import subprocess
import sys
import tempfile
import threading
import tty
import unicodedata

import run_cases
from wire import field, varint

# Unicode 15, which the Unicode of this Python may not have yet.
NEWER = range(0x13439, 0x13440)
FORBIDDEN = [chr(code) for code in range(sys.maxunicode + 1)
             if unicodedata.category(chr(code)) in ("Cc", "Cf", "Zl", "Zp") or code in NEWER]
RAW = re.compile(f"[{re.escape(''.join(FORBIDDEN))}]")
BROKEN = [b"\xed\xa0\x80", b"\xed\xbf\xbf", b"\xff", b"\xc2", b"\x9b"]


def values(of):
    """Each character in a text of its own, and the text that its escape looks like."""
    for character in FORBIDDEN:
        yield of(f"a{character}b")
        yield of("a" + "".join(f"\\x{byte:02x}" for byte in character.encode()) + "b")


def node(text, uuid):
    """An entry of ModsConfigured: a server."""
    server = field(1, text) + field(2, 1) + field(4, uuid)
    return field(1, field(1, server))


def run(arguments, given, terminal):
    """All that a command puts out, and its status."""
    if not terminal:
        done = subprocess.run([TARN, *arguments], input=given, capture_output=True, timeout=60)
        return done.stdout + done.stderr, done.returncode
    screen = []
    master, slave = pty.openpty()
    tty.setraw(slave)
    process = subprocess.Popen([TARN, *arguments], stdin=subprocess.PIPE, stdout=slave,
                               stderr=slave)
    os.close(slave)
    reader = threading.Thread(target=run_cases.read_all, args=(master, screen))
    reader.start()
    process.communicate(given, timeout=60)
    reader.join()
    os.close(master)
    return b"".join(screen), process.returncode


def check(arguments, given=b"", lines=None):
    """Runs a command both ways; `lines` is how many it may write."""
    for terminal in False, True:
        shown, status = run(arguments, given, terminal)
        assert status in range(6), (arguments, status)
        text = shown.decode()  # fails where it is no UTF-8
        through = {f"U+{ord(c):04X}" for c in RAW.findall(text.replace("\n", ""))}
        assert not through, (arguments, terminal, sorted(through)[:20])
        if lines is not None:
            assert text.count("\n") == lines, (arguments, terminal, text.count("\n"), lines)
    return text


def check_values(folder):
    """Characters in the text of messages."""
    servers = b"".join(values(lambda text: node(text, text)))
    # After a node of its own: if the first one came again, these were two messages.
    twice = node("x", "first") + b"".join(values(lambda text: node("x", text) * 2))
    named = b"".join(values(lambda text: node("", text)))
    count = 2 * len(FORBIDDEN)
    report = b"".join(values(lambda text: field(1, field(1, text) + field(2, 1))))
    texts = b"".join(values(lambda text: field(15, text)))
    empty = folder / "empty"
    empty.write_bytes(b"")
    for kind, message, _ in (("ModsConfigured", servers, 5), ("ModsConfigured", twice, 10),
                             ("ModsConfigured", named, 4), ("NetworkStatusReport", report, 4),
                             ("Price", texts, 1)):
        file = folder / "message"
        file.write_bytes(message)
        check(["decode", kind, "--from=binary"], message)
        check(["decode", kind, "--from=binary", "--to=json", "--unknown=keep"], message, lines=1)
        check(["decode", kind, "--from=binary", "--to=json", "--pretty"], message)
        check(["decode", kind, "--from=binary", "--partial"], message + b"\xff")
        check(["decode", kind, "--from=binary", "--strict"], message)
        check(["check", kind, "--from=binary", "--fail-on=advice"], message)
        check(["annotate", kind, "--from=binary"], message + b"\x0a\x01\xff")
        check(["annotate", kind, "--from=binary", "--json"], message)
        check(["check", kind, "--from=binary", "--json"], message, lines=1)
        check(["guess", "--from=binary", "--all"], message)
        check(["guess", "--from=binary", "--json"], message, lines=1)
        check(["what", f"--type={kind}", "--from=binary"], message)
        check(["what", f"--type={kind}", "--frame=varint"],
              varint(len(message)) + message + b"\0")
        check(["what", f"--type={kind}", "--frame=varint", "--json"],
              b"\0" + varint(len(message)) + message, lines=1)
        for pair in (file, empty), (empty, file):
            check(["diff", kind, "--from=binary", *pair])
            check(["diff", kind, "--from=binary", "--json", *pair])
    for options in [], ["--dot"], ["--json"], ["--depth=1"]:
        check(["tree", "--type=ModsConfigured", "--from=binary", *options], servers)
    tree = check(["tree", "--type=ModsConfigured", "--from=binary"], servers, lines=count + 2)
    assert len(set(tree.splitlines()[1:-1])) == count
    named_tree = check(["tree", "--type=ModsConfigured", "--from=binary"], named, lines=count + 2)
    assert len(set(named_tree.splitlines()[1:-1])) == count
    check(["status", "--from=binary", "--json"], report, lines=1)
    table = check(["status", "--from=binary"], report, lines=count + 4)
    assert len(set(table.splitlines()[1:-3])) == count
    found = check(["check", "ModsConfigured", "--from=binary"], twice, lines=count)
    assert len({line.split(" again")[0].split("uuid ")[1] for line in found.splitlines()}) == count


def check_quotes():
    """A key of two quotes, an empty one and one of blanks look different."""
    keys = ["", '""', '"', " ", "a ", "a", '\\"', '"a"']
    report = b"".join(field(1, field(1, key) + field(2, 1)) for key in keys)
    table = run(["status", "--from=binary"], report, False)[0].decode().splitlines()[1:-3]
    assert len({row.split("ok")[0].rstrip() for row in table}) == len(keys), table


def check_round_trips():
    servers = b"".join(values(lambda text: node(text, text)))
    for form in "text", "json":
        for options in [], ["--pretty"]:
            written, _ = run(["decode", "ModsConfigured", "--from=binary", f"--to={form}",
                              *options], servers, False)
            again, status = run(["encode", "ModsConfigured"], written, False)
            assert status == 0 and again == servers, form


def check_errors(folder):
    """Characters in names of files, in arguments and in what is no message."""
    texts = [f"a{character}b" for character in FORBIDDEN if character != "\0"]
    texts = [text.encode() for text in texts] + [b"a" + broken + b"b" for broken in BROKEN]
    everything = b" ".join(text for text in texts if b"/" not in text)
    for part in (everything[at:at + 150] for at in range(0, len(everything), 150)):
        file = os.path.join(os.fsencode(folder), part)
        for verb in "decode", "check", "annotate":
            check([verb, "Server", file], lines=1)
            check([verb, part], lines=1)
        check(["decode", "Server", part], lines=1)
        pathlib.Path(os.fsdecode(file)).write_bytes(b"\x0a\x05abc\x0a\x01\xff\x0a\x01\xff")
        for verb in (["decode", "Server"], ["check", "Server"], ["annotate", "Server"], ["guess"],
                     ["status"], ["tree"], ["encode", "Server"],
                     ["encode", "Server", "--from=json"],
                     ["decode", "Server", "--from=hex"], ["decode", "Server", "--from=base64"],
                     ["tree", "--type=Server"], ["decode", "Server", "--frame=varint"]):
            check([*verb, file])
        check(["diff", "Server", file, file])
        check(["what", file])
        check(["what", "--from=json", file])
        check(["what", part])
        check([part], lines=1)
        check(["help", part], lines=1)
        check(["describe", part], lines=1)
        check(["fingerprint", part], lines=1)
        check(["sample", part], lines=1)
        check(["decode", "Server", b"--from=" + part], lines=1)
        check(["decode", "Server", b"--" + part], lines=1)
        check(["list", part], lines=1)
        check(["tree", b"--only=" + part], lines=1)
    for text in (b"".join(texts[at:at + 8]) for at in range(0, len(texts), 8)):
        for written in (text + b": 1", b"name: " + text, b'name: "' + text, b'name: "x" ' + text,
                        b"status: " + text):
            check(["encode", "Server", "--from=text"], written)
        for written in (b'{"' + text + b'":1}', b'{"name":' + text + b"}", b"{" + text,
                        b'{"name":"' + text, b'{"status":"' + text + b'"}',
                        b'{"status":"' + text.replace(b"\n", b"\\n") + b'"}',
                        b'{"uuid":{"' + text + b'":1}}', b'{"name":"x"}' + text):
            check(["encode", "Server", "--from=json"], written)


TARN = sys.argv[1]
os.environ["NO_COLOR"] = "1"
assert len(FORBIDDEN) >= 237 and {"\u061c", "\u2066", "\x9b", "\U000e0041"} <= set(FORBIDDEN)
with tempfile.TemporaryDirectory() as scratch:
    check_values(pathlib.Path(scratch))
    check_quotes()
    check_round_trips()
    check_errors(pathlib.Path(scratch))
print(f"{len(FORBIDDEN)} characters")
