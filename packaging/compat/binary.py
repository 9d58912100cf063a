"""Compares a built library with the last release: as a file, and as an interface
that programs were compiled and linked against.
"""

import lzma
import subprocess
import tempfile

from elftools.elf.elffile import ELFFile

from .verdict import CannotTell, Finding, Level

PRESETS = {"amd64": "release", "arm64": "arm64"}

# Bits of abidiff's exit status.
ABIDIFF_ERROR, ABIDIFF_CHANGE = 1 | 2, 4


def run(*command, cwd=None):
    done = subprocess.run(command, cwd=cwd, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, encoding="utf-8",
                          check=False)
    if done.returncode != 0:
        raise CannotTell(f"{' '.join(map(str, command))}:\n{done.stdout}")
    return done.stdout


def built_file(tree, processor):
    return tree / "build" / PRESETS[processor] / "libschema.so"


def build(tree, processor):
    """Builds the library as packages ship it; returns the file."""
    preset = PRESETS[processor]
    run("cmake", "--preset", preset, cwd=tree)
    run("cmake", "--build", "--preset", preset, "--target", "schema",
        cwd=tree)
    return built_file(tree, processor)


def facts(path):
    """What the loader reads from the file, one promise a line."""
    with open(path, "rb") as file:
        elf = ELFFile(file)
        tags = list(elf.get_section_by_name(".dynamic").iter_tags())
        segments = {s.header.p_type: s.header for s in elf.iter_segments()}
        text_tags = {"DT_NEEDED": "needed", "DT_SONAME": "soname",
                     "DT_RPATH": "rpath", "DT_RUNPATH": "runpath"}
        lines = [f"{text_tags[t.entry.d_tag]} "
                 f"{getattr(t, text_tags[t.entry.d_tag])}"
                 for t in tags if t.entry.d_tag in text_tags]
        values = {t.entry.d_tag: t.entry.d_val for t in tags}
        flags, flags_1 = values.get("DT_FLAGS", 0), values.get("DT_FLAGS_1", 0)
        stack = segments.get("PT_GNU_STACK")
        facts_that_hold = {
            "bound at once": flags & 8 and flags_1 & 1,
            "never unloaded": flags_1 & 8,
            "relocated data read-only": "PT_GNU_RELRO" in segments,
            "text relocations": flags & 4 or "DT_TEXTREL" in values,
            "executable stack": not stack or stack.p_flags & 1,
            "own symbols first": flags & 2 or "DT_SYMBOLIC" in values,
        }
    return sorted(lines + [what for what, holds in facts_that_hold.items()
                           if holds])


def compare_facts(processor, old, new):
    return ([Finding(Level.BINARY, f"{processor}: no longer: {fact}")
             for fact in old if fact not in new] +
            [Finding(Level.BINARY, f"{processor}: new: {fact}")
             for fact in new if fact not in old])


def write_interface(path, output):
    """Writes what abidw reads from the library and its debug information."""
    with tempfile.NamedTemporaryFile(suffix=".abi") as file:
        run("abidw", "--no-corpus-path", "--no-comp-dir-path",
            "--no-show-locs", "--out-file", file.name, path)
        output.write_bytes(lzma.compress(file.read(), preset=9))


def abidiff(old, new, suppressions, *options):
    done = subprocess.run(
        ["abidiff", "--leaf-changes-only", "--suppressions", suppressions,
         *options, old, new],
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8",
        check=False)
    if done.returncode & ABIDIFF_ERROR:
        raise CannotTell(f"abidiff failed:\n{done.stdout}")
    return bool(done.returncode & ABIDIFF_CHANGE), done.stdout


def compare_interface(processor, interface, path, suppressions):
    with tempfile.NamedTemporaryFile(suffix=".abi") as old:
        old.write(lzma.decompress(interface.read_bytes()))
        old.flush()
        broken, report = abidiff(old.name, path, suppressions,
                                 "--no-added-syms")
        if broken:
            return [Finding(Level.BINARY, f"{processor}: abidiff:\n{report}")]
        grown, _ = abidiff(old.name, path, suppressions)
        if grown:
            return [Finding(Level.ADDITION, f"{processor}: new symbols")]
    return []
