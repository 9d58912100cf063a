#!/usr/bin/python3
"""Every byte of a message stands exactly once in what tarn annotate prints.

Usage: annotate_test.py TARN

Whole, cut off and changed messages go in as one stream; the lines and the
spans that come out must give back each of them, byte for byte.
"""
import json
import random
import re
import subprocess
import sys

from wire import framed

SPECIMENS = {
    "ModsConfigured": "0a240a220a08536572766572203110013a0c220a0a0261621a0450311801"
    "5a02080158ffffffffffffffffff01",
    "Server": "0a01611b0b10030c1c611122334455667788d0808080006208b10180",
    "HwIdRowInfo": "0a0161350000c03f42040100ac0240015800",
    "NetworkStatusReport": "0a050a016110010a0810630a02c3bc18011200180b",
}


def mutants(specimen, dice):
    yield from (specimen[:size] for size in range(len(specimen) + 1))
    for _ in range(300):
        mutant = bytearray(specimen)
        for _ in range(dice.randrange(1, 4)):
            mutant[dice.randrange(len(mutant))] = dice.choice(
                (0, 0x0A, 0x0B, 0x0C, 0x7F, 0x80, 0xFF, dice.randrange(256)))
        yield bytes(mutant)


def annotate(tarn, kind, messages, *options):
    done = subprocess.run(
        [tarn, "annotate", kind, "--frame=varint", "--keep-going", *options],
        input=framed(messages), capture_output=True, check=False, timeout=60)
    assert done.returncode == 3, (done.returncode, done.stderr[-500:])
    return done.stdout.decode()


def check_spans(text, messages):
    results = text.splitlines()
    assert len(results) == len(messages), (len(results), len(messages))
    for result, message in zip(map(json.loads, results), messages):
        at = result["offset"]
        for span in result["spans"]:
            assert span["offset"] == at, (message.hex(), span)
            at += span["size"]
        assert at == result["offset"] + len(message), message.hex()


def check_lines(text, messages):
    line = re.compile(r"^[0-9a-f]{8}  ((?:[0-9a-f]{2}[ <]?)*)", re.M)
    shown = b"".join(
        bytes.fromhex(match.group(1).replace("<", " ")) for match in line.finditer(text))
    assert shown == b"".join(messages)


def main():
    dice = random.Random(4)
    count = 0
    for kind, digits in SPECIMENS.items():
        messages = list(mutants(bytes.fromhex(digits), dice))
        check_spans(annotate(sys.argv[1], kind, messages, "--json"), messages)
        check_lines(annotate(sys.argv[1], kind, messages), messages)
        count += len(messages)
    print(count, "messages")
    assert count > 1000


if __name__ == "__main__":
    main()
