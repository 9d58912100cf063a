#!/usr/bin/python3
"""Every message of the corpus is read without --from as what it is: as bytes,
and as the forms in which people keep those. Few are two messages at once, of
which one is digits: these are asked about.

Usage: forms_test.py TARN CORPUS
"""
import base64
import pathlib
import subprocess
import sys


def dump(data):
    """As xxd prints it."""
    lines = []
    for at in range(0, len(data), 16):
        row = data[at : at + 16]
        groups = " ".join(row[i : i + 2].hex() for i in range(0, len(row), 2))
        shown = "".join(chr(c) if 0x20 <= c < 0x7F else "." for c in row)
        lines.append(f"{at:08x}: {groups:39}  {shown}\n")
    return "".join(lines).encode()


def numbers(data):
    return ("{" + ", ".join(f"0x{c:02x}" for c in data) + ",}\n").encode()


FORMS = {
    "binary": lambda data: data,
    "hex": lambda data: data.hex().encode() + b"\n",
    "base64": lambda data: base64.b64encode(data) + b"\n",
    "xxd": dump,
    "quoted": lambda data: b"".join(b"> " + line + b"\n" for line in dump(data).splitlines()),
    "array": numbers,
}


def decode(tarn, message, data, *options):
    result = subprocess.run(
        [tarn, "decode", message, "--to", "hex", *options], input=data, capture_output=True
    )
    return result.returncode, result.stdout, result.stderr


def main(tarn, corpus):
    files = sorted(
        path
        for kind in ("valid", "accepted")
        for path in pathlib.Path(corpus, kind).rglob("*.binpb")
    )
    failed = asked = 0
    for path in files:
        data = path.read_bytes()
        want = decode(tarn, path.parent.name, data, "--from", "binary")
        for form, write in FORMS.items():
            # An empty message is no digits at all.
            if not data and form != "binary":
                continue
            got = decode(tarn, path.parent.name, write(data))
            if form != "binary" and got[0] == 2 and b"say with --from" in got[2]:
                asked += 1
            elif got[:2] != want[:2]:
                failed += 1
                print(f"{path} as {form}: {got}, not {want}")
    print(f"{len(files)} messages in {len(FORMS)} forms, {failed} failed, {asked} asked about")
    return 1 if failed or not files or asked > len(files) / 100 else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
