"""Makes this tree the release that later trees are compared with: writes the
baselines in packaging/release/. Nothing else writes there.

Usage: script/release [--first]    see docs/releasing.md
  --first  there is no release to compare with: the clone has no tag of one
Refused are a tree with changes that are not committed, a version that
CHANGELOG.md or debian/changelog does not have, one that is used up or that
script/check-compat does not allow, and a clone without the last release's tag.
"""

import argparse
import shutil
import subprocess
import sys

from . import build, corpus, descriptors, elf, installed, interface
from .check import NATIVE, class_names
from .commands import run
from .tree import (RELEASE, TREE, debian_version, is_in_changelog,
                   released_version, tree_version, version_text)
from .verdict import CannotTell

# The examples that later releases are to compile and run.
CLIENTS = ("arena", "first", "forms", "reflection", "unknown_fields")


def git(*arguments):
    return run("git", *arguments, cwd=TREE).strip()


def refuse_a_version_that_is_not_written_down(version):
    if debian_version() != version:
        raise CannotTell("debian/changelog names another version than "
                         "CMakeLists.txt")
    if not is_in_changelog(version):
        raise CannotTell("CHANGELOG.md has no heading "
                         f"[{version_text(version)}] - YYYY-MM-DD")


def refuse_without_the_last_release(first):
    tags = git("tag", "--list", "v[0-9]*").split()
    if first and tags:
        raise CannotTell(f"--first, but this clone has the tag {tags[-1]}")
    last = f"v{version_text(released_version())}" if not first else None
    if last and last not in tags:
        raise CannotTell(f"this clone has no tag {last}, the last release: "
                         "git fetch --tags, or --first if there is none")


def refuse_what_breaks(version):
    if version <= released_version():
        raise CannotTell(f"{version_text(released_version())} is released "
                         "already: raise the version first")
    if subprocess.run([TREE / "script" / "check-compat"],
                      check=False).returncode != 0:
        raise CannotTell("script/check-compat does not allow this version")


def write_library(processor):
    install = build.install(TREE, processor)
    library = install.shared_object()
    text = interface.interface(library, class_names(TREE))
    (RELEASE / f"{processor}.abi.xz").write_bytes(interface.pack(text))
    write_lines(f"{processor}.facts", elf.facts(library))
    if processor == NATIVE:
        write_lines("install.facts",
                    installed.facts(install, version_text(tree_version())))


def write_lines(name, lines):
    (RELEASE / name).write_text("".join(f"{line}\n" for line in lines))


def write_baselines():
    shutil.rmtree(RELEASE, ignore_errors=True)
    RELEASE.mkdir()
    descriptors.compile_set(TREE, RELEASE / "tarn.binpb")
    for processor in build.PROCESSORS:
        write_library(processor)
    for name in CLIENTS:
        shutil.copytree(TREE / "examples" / name, RELEASE / "clients" / name)
    corpus.write_manifest(TREE, RELEASE / "corpus.sha256")
    write_lines("version", [version_text(tree_version())])


def main():
    parser = argparse.ArgumentParser(usage="script/release [--first]")
    parser.add_argument("--first", action="store_true")
    first = parser.parse_args().first
    version = tree_version()
    refuse_a_version_that_is_not_written_down(version)
    if git("status", "--porcelain"):
        raise CannotTell("the tree has changes that are not committed")
    refuse_without_the_last_release(first)
    if not first:
        refuse_what_breaks(version)
    write_baselines()
    print(f"{RELEASE.relative_to(TREE)} now holds {version_text(version)}")


if __name__ == "__main__":
    try:
        main()
    except CannotTell as error:
        sys.exit(f"release: {error}")
