#!/usr/bin/python3
"""No verb shows the pass phrase of a Wifi unless it is asked to.

Usage: secrets_test.py TARN

Whole, cut off, changed and hostile messages go through every verb, and broken
texts through encode; no four characters of the pass phrase may come out, in any
spelling. What is masked can be encoded by no mistake, and a real *** can be.
"""
import base64
import json
import pathlib
import random
import subprocess
import sys
import tempfile

from wire import field, varint

SECRET = "Xq7!vK9@zW3#"
PIECES = [SECRET[at:at + 4] for at in range(len(SECRET) - 3)]


def spellings(piece):
    raw = piece.encode()
    yield raw
    for joint in "", " ", ":", "\\x", "0x", ", 0x":
        yield joint.join(f"{byte:02x}" for byte in raw).encode()
        yield joint.join(f"{byte:02X}" for byte in raw).encode()
    yield "".join(f"\\{byte:03o}" for byte in raw).encode()
    yield " ".join(str(byte) for byte in raw).encode()
    for lead in range(3):  # base64 of three bytes is sure to be whole in one of these
        yield base64.b64encode(b"\0" * lead + raw)[4 if lead else 0:][:4]


FORBIDDEN = {spelling for piece in PIECES for spelling in spellings(piece)}


def messages():
    ssid, secret = field(1, "net"), field(2, SECRET)
    whole = ssid + secret
    yield whole
    yield secret
    yield b"\0" + whole                                # a tag of field 0
    yield ssid + b"\0" + secret
    yield b"\x0a\x7f" + whole[2:]                      # ssid too long
    yield b"\x0a" + bytes([len(whole) - 2]) + whole[2:]  # ssid swallows all
    yield ssid + b"\x13" + secret + b"\x14"            # in a group
    yield ssid + b"\x13" + secret                      # in an open group
    yield b"\x13" * 120 + secret
    yield ssid + field(3, SECRET) + secret
    yield ssid + field(100000, SECRET)
    yield ssid + field(3, SECRET) + b"\x12"
    yield ssid + b"\x11" + SECRET[:8].encode()         # as a number
    yield ssid + b"\x15" + SECRET[:4].encode()
    yield ssid + SECRET.encode()                       # as tags
    yield ssid + field(1, SECRET)                      # ssid twice
    yield ssid + secret + b"\x0a\x01\xff"
    yield ssid + field(2, SECRET + "x" * 200)[:-100]
    yield ssid + b"\x12" + bytes([len(SECRET) + 1]) + SECRET.encode() + b"\xff"
    yield b"\x0a" + bytes([2 + len(secret)]) + b"\xff\xff" + secret
    yield from (whole[:size] for size in range(len(whole)))
    for at in range(8 * len(whole)):
        turned = bytearray(whole)
        turned[at // 8] ^= 1 << at % 8
        yield bytes(turned)
    dice = random.Random(7)
    for _ in range(3000):
        mutant = bytearray(dice.choice((whole, whole + field(3, SECRET), secret + ssid)))
        for _ in range(dice.randrange(1, 3)):
            mutant[dice.randrange(len(ssid))] = dice.choice(
                (0, 0x0A, 0x12, 0x13, 0x7F, 0x80, 0xFF, dice.randrange(256)))
        yield bytes(mutant)


def written():
    """Texts that encode refuses, or takes."""
    for line in ('pass: "{}', "pass: {}", "pass: '{}", 'ssid: "net" {}: 1', 'pass "{}"',
                 'pass: "{}" "', 'pass: "{}" pass: "x"', 'pass: "\\q{}"', 'pass: "\\777{}"',
                 'pass: "x" [{}]: 2', "pass: [{}]", "{}", "pass < {} >", 'pass: "{}" }}',
                 "pass {{ {} }}", 'ssid: {}', 'ssid: "{}', 'pass: "{}\\xff"', 'pass: -{}',
                 'pass:: "{}"', '"{}": 3', 'pass: 1 "{}"', "pass: 'a' ; {}", 'pass: "a", {}: 3'):
        yield "text", line.format(SECRET)
        yield "text", line.format(SECRET.replace("!", "").replace("@", "").replace("#", ""))
        yield "text", line.format('Xq7" vK9')
    for line in ('{{"pass":"{}', '{{"pass":{}}}', '{{"{}":1}}', '{{"pass":["{}"]}}',
                 '{{"pass":{{"{}":1}}}}', '{{"pass":"\\q{}"}}', '{{"pass":"{}"x}}',
                 '{{"pass":"{}","pass":"y"}}', '{{"ssid":"net","{}":"x"}}', '{{"pass":"{}\xff"}}',
                 '{{"pass":"\\ud800{}"}}', '{{"pass":"x"}}{}', '{{"p\\u0061ss":{}}}',
                 '{{"p\\u0061ss":["{}"]}}', '{{"@unknown":["{}"],"pass":3}}', '{}', '{{{}'):
        yield "json", line.format(SECRET)


def run(arguments, given=b""):
    done = subprocess.run([TARN, *arguments], input=given, capture_output=True, timeout=60)
    assert done.returncode in range(6), (arguments, done)
    return done


def check(arguments, given=b""):
    done = run(arguments, given)
    shown = done.stdout + done.stderr
    for spelling in FORBIDDEN:
        assert spelling not in shown, (
            arguments, given[:200].hex(), spelling,
            [line for line in shown.splitlines() if spelling in line][:3])
    return done


def check_verbs(folder):
    everything = list(messages())
    stream = b"".join(varint(len(message)) + message for message in everything)
    framed = ["--frame=varint", "--keep-going"]
    for options in ([], ["--partial"], ["--strict"], ["--to=json"], ["--to=json", "--partial"],
                    ["--to=json", "--pretty", "--strict"]):
        check(["decode", "Wifi", *framed, *options], stream)
    check(["annotate", "Wifi", *framed], stream)
    check(["annotate", "Wifi", "--json", *framed], stream)
    check(["rows", "Wifi", "--to=ndjson", *framed], stream)
    check(["check", "Wifi", "--fail-on=advice", *framed], stream)
    check(["check", "Wifi", "--json", *framed], stream)
    check(["guess", *framed], stream)
    check(["guess", "--json", "--all", *framed], stream)
    check(["guess", "--all", *framed], stream)
    check(["what", "--type=Wifi", "--frame=varint"], stream)
    check(["what", "--type=Wifi", "--frame=varint", "--json"], stream)
    intact = folder / "intact"
    intact.write_bytes(field(1, "other") + field(2, "nothing"))
    changed = folder / "changed"
    for message in everything[:40] + everything[40:200:4]:
        changed.write_bytes(message)
        for pair in (intact, changed), (changed, intact):
            check(["diff", "Wifi", "--from=binary", *pair])
            check(["diff", "Wifi", "--from=binary", "--json", *pair])
        check(["what", "--from=binary"], message)
        check(["what", message.hex()])
    for message in everything[:20]:
        for verb in ["decode", "Wifi"], ["annotate", "Wifi"], ["check", "Wifi"], ["guess"]:
            check([*verb, "--from=hex"], message.hex().encode())
            check([*verb, "--from=base64"], base64.b64encode(message))
    return len(everything)


def check_written():
    for form, given in written():
        for verb in "encode", "decode", "annotate", "check":
            options = ["--to=hex"] if verb == "encode" else []
            done = run([verb, "Wifi", f"--from={form}", *options], given.encode("latin-1"))
            shown = done.stdout * (verb != "encode") + done.stderr
            found = [piece for piece in (*PIECES, "Xq7", "vK9") if piece.encode() in shown]
            assert not found, (verb, given, done)


def check_masks():
    """Masked text is refused; a real *** is told from it."""
    for message in (field(1, "net") + field(2, SECRET), field(2, "x") + field(1, "net"),
                    field(3, "x")):
        for form in "text", "json":
            masked = run(["decode", "Wifi", "--from=binary", f"--to={form}", "--unknown=keep"],
                         message).stdout
            for verb in "encode", "decode", "annotate":
                done = run([verb, "Wifi", f"--from={form}"], masked)
                if b"@unknown" in masked and b"pass" not in masked:
                    continue  # all of it is left out, and that is said
                assert done.returncode == 3 and b"--show-secrets" in done.stderr, (masked, done)
                assert not done.stdout, done
    for value in "***", "****", "**", "* * *", '"***"':
        for message in field(1, value), field(2, value), field(1, value) + field(2, value):
            for form in "text", "json":
                shown = run(["decode", "Wifi", "--from=binary", "--show-secrets", f"--to={form}"],
                            message).stdout
                again = run(["encode", "Wifi", f"--from={form}"], shown)
                assert again.stdout == message, (message, shown, again)
    for given in 'pass: "\\052**"', "pass: '*' '**'", '{"pass":"\\u002a**"}':
        done = run(["encode", "Wifi"], given.encode())
        assert done.stdout == field(2, "***"), (given, done)
    for given in "pass: '***'", 'ssid: "***"', 'pass  :\n "***" # x', '{"pass" : "***"}':
        assert run(["encode", "Wifi"], given.encode()).returncode == 3, given
    assert run(["encode", "Server"], b'name: "***"').returncode == 0
    assert json.loads(run(["decode", "Server", "--to=json"], field(1, "***")).stdout) == {
        "name": "***"}


def check_shown():
    """What is asked for is there, and an intact message keeps its ssid."""
    whole = field(1, "net") + field(2, SECRET)
    assert b'ssid: "net"' in run(["decode", "Wifi"], whole).stdout
    for verb in "decode", "annotate":
        shown = run([verb, "Wifi", "--show-secrets", "--from=binary"], whole + field(3, SECRET))
        assert shown.stdout.count(SECRET.encode()) == 2, shown


TARN = sys.argv[1]
with tempfile.TemporaryDirectory() as scratch:
    count = check_verbs(pathlib.Path(scratch))
check_written()
check_masks()
check_shown()
assert count > 3000
print(count, "messages")
