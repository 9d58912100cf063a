#!/usr/bin/python3
"""Counts the instructions of what is to stay fast, and compares them with those
in counts.txt: none may grow by more than 3 %. No clock is read, so a busy
machine does no harm.

Usage: count.py BUILD_FOLDER    with tarn and operations in it
The numbers hold for one system, compiler and valgrind. On another one nothing is
compared, which is said and is no failure. Where one differs, the lines that
counts.txt would have are printed. The last line says how many passed and failed.
"""

import platform
import re
import subprocess
import sys
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
EXAMPLE = HERE.parents[1] / "examples" / "installation.txtpb"
TYPE = "ModsConfigured"
ALLOWED_GROWTH = 1.03

# So many that starting tarn is a small part of what is counted.
COPIES = 16
UUID_START = re.compile(r'"[0-9a-f]{2}(?=[0-9a-f]{6}(-[0-9a-f]{4}){3}-)')


def output_of(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, encoding="utf-8",
                          check=False)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}: status {done.returncode}\n"
                 f"{done.stderr}")
    return done.stdout, done.stderr


def system(build):
    """What the numbers depend on beside the sources, without a blank."""
    cache = (build / "CMakeCache.txt").read_text()
    compiler = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", cache, re.MULTILINE)
    release = platform.freedesktop_os_release()
    return "/".join((release["VERSION_CODENAME"], platform.machine(),
                     "g++-" + output_of(compiler[1], "-dumpfullversion")[0]
                     .strip(), output_of("valgrind", "--version")[0].strip()))


def count(*command):
    """Instructions of a program, or of one function of it."""
    _, words = output_of("valgrind", "--tool=callgrind",
                         "--callgrind-out-file=/dev/null", *command)
    return int(re.search(r"Collected : (\d+)", words)[1])


def measure(build):
    """Instructions by name."""
    with tempfile.TemporaryDirectory() as folder:
        message = Path(folder) / "message.binpb"
        # Texts after one another are one message with all nodes, each with a uuid
        # of its own: tarn check warns of a uuid that comes again.
        text = EXAMPLE.read_text()
        message.write_bytes(subprocess.run(
            [build / "tarn", "encode", TYPE], stdout=subprocess.PIPE, check=True,
            input="".join(UUID_START.sub(f'"{copy:02x}', text)
                          for copy in range(COPIES)).encode()).stdout)
        tarn = build / "tarn"
        operations = build / "bench" / "instructions" / "operations"
        counts = {function.lower(): count(f"--toggle-collect={function}",
                                          operations, message)
                  for function in ("Parse", "Walk", "Serialize")}
        for verb in "decode", "check", "annotate":
            form = ("--to", "json") if verb == "decode" else ()
            counts["tarn-" + verb] = count(tarn, verb, TYPE, message, *form)
    return counts


def recorded(name):
    """What counts.txt has for a system."""
    lines = [line.split() for line in
             (HERE / "counts.txt").read_text().splitlines()
             if line and not line.startswith("#")]
    return {operation: int(number) for where, operation, number in lines
            if where == name}


def compare(name, counts, before):
    """How many operations passed, and how many failed."""
    failed = 0
    for operation, number in counts.items():
        known = before.get(operation)
        if known is None or number > known * ALLOWED_GROWTH:
            failed += 1
        print(f"{operation:14} {number:12,} instructions, " + (
            f"{known:12,} recorded, {number / known - 1:+.1%}" if known
            else f"no record for {name}"))
    return len(counts) - failed, failed


def main(build):
    name = system(build)
    counts, before = measure(build), recorded(name)
    passed, failed = compare(name, counts, before) if before else (0, 0)
    if not before:
        print(f"{len(counts)} not compared: no record for {name}")
    if counts != before:
        print("for counts.txt:", *(f"{name} {operation} {number}" for
                                   operation, number in counts.items()),
              sep="\n")
    print(f"{passed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1])))
