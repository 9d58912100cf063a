#!/usr/bin/python3
"""Prints what each message takes of a chip, as a table in Markdown.

Usage: sizes.py BUILD    a build of this folder with cortex-m3.cmake

RAM is one message. Flash is the tables by which nanopb reads and writes it; those
of messages inside of it have lines of their own. `size` measures both, and the
programs as a whole.
"""
import collections
import pathlib
import re
import subprocess
import sys

BUILD = pathlib.Path(sys.argv[1])


def size(*arguments):
    return subprocess.run(["arm-none-eabi-size", *arguments], check=True, capture_output=True,
                          text=True).stdout


def sections():
    """The sections of all objects, with their sizes."""
    for path in BUILD.glob("CMakeFiles/**/*.obj"):
        for name, number in re.findall(r"^(\.\S+) +(\d+) ", size("-A", str(path)), re.M):
            yield name, int(number)


def main():
    types = re.findall(r"TYPE\((tarn_\w+)\)", (BUILD / "types.inc").read_text())
    flash, ram = collections.Counter(), {}
    for name, number in sections():
        parts = re.fullmatch(r"\.rodata\.(tarn_[A-Za-z0-9]+)_.*", name)
        if parts:
            flash[parts[1]] += number
        elif name.startswith(".bss.ram_"):
            ram[name.removeprefix(".bss.ram_")] = number
    assert set(ram) == set(types) == set(flash), set(ram) ^ set(flash)
    print("| message | RAM | flash |\n|---|--:|--:|")
    for name in types:
        print(f"| `{name.removeprefix('tarn_')}` | {ram[name]:,} | {flash[name]:,} |")
    print("\n| program | RAM | flash |\n|---|--:|--:|")
    for name in "controller", "reader":
        text, data, bss = map(int, size(str(BUILD / name)).splitlines()[1].split()[:3])
        print(f"| `{name}` | {data + bss:,} | {text + data:,} |")


main()
