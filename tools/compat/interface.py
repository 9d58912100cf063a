"""Compares the built library with the last release as an interface that
programs were compiled and linked against.
"""

import lzma
import re
import subprocess
import tempfile
from pathlib import Path

from .commands import run
from .verdict import CannotTell, Finding, Level

SUPPRESSIONS = Path(__file__).with_name("abidiff.suppressions")

# Bits of abidiff's exit status.
ABIDIFF_ERROR, ABIDIFF_CHANGE = 1 | 2, 4


def interface(library, classes):
    """What abidw reads from the library and its debug information. It has to
    hold the layout of these classes: without, a comparison is blind."""
    with tempfile.NamedTemporaryFile(suffix=".abi") as file:
        run("abidw", "--no-corpus-path", "--no-comp-dir-path",
            "--no-show-locs", "--out-file", file.name, library)
        text = file.read()
    known = set(re.findall(r"<class-decl name='(\w+)'[^>]* size-in-bits=",
                           text.decode()))
    unknown = set(classes) - known
    if unknown:
        raise CannotTell(f"{library.name}: the debug information does not say "
                         f"how {min(unknown)} is laid out, without which a "
                         "comparison is blind")
    return text


def pack(text):
    return lzma.compress(text, preset=9)


def abidiff(old, new, *options):
    done = subprocess.run(
        ["abidiff", "--leaf-changes-only", "--suppressions", SUPPRESSIONS,
         *options, old, new],
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8",
        check=False)
    if done.returncode & ABIDIFF_ERROR:
        raise CannotTell(f"abidiff failed:\n{done.stdout}")
    return bool(done.returncode & ABIDIFF_CHANGE), done.stdout


def without_compiler(text):
    """Destructors without the parameter that tells their variants apart. No
    program passes it, and only some releases of the compiler note it down."""
    return re.sub(rb"(<function-decl name='~[^>]*>\s*<parameter [^>]*/>)"
                  rb"\s*<parameter [^>]*is-artificial='yes'/>", rb"\1", text)


def compare(processor, packed, new_text):
    with tempfile.NamedTemporaryFile(suffix=".abi") as old, \
         tempfile.NamedTemporaryFile(suffix=".abi") as new:
        old.write(without_compiler(lzma.decompress(packed)))
        old.flush()
        new.write(without_compiler(new_text))
        new.flush()
        if not abidiff(old.name, new.name)[0]:
            return []
        broken, report = abidiff(old.name, new.name, "--no-added-syms")
        if broken:
            return [Finding(Level.BINARY, f"{processor}: abidiff:\n{report}")]
        return [Finding(Level.ADDITION, f"{processor}: new symbols")]
