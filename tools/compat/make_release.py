"""Makes this tree the release that later trees are compared with: writes its
version into CMakeLists.txt, CHANGELOG.md and debian/changelog, and the baselines
into packaging/release/. Nothing else writes there.

Usage: script/release [--first] X.Y.Z    see docs/releasing.md
  --first  there is no release to compare with: the clone has no tag of one
Refused are a tree with changes that are not committed, a clone without the last
release's tag, and a version that is released already, that script/check-compat
does not allow, or whose packages would have the name of another soname.
"""

import argparse
import shutil
import sys

from . import build, corpus, descriptors, elf, installed, interface
from .check import NATIVE, class_names, compare
from .commands import run
from .tree import (RELEASE, TREE, parse_version, released_version,
                   version_text, write_version)
from .verdict import CannotTell, next_version, worst

# The examples that later releases are to compile and run.
CLIENTS = ("arena", "controller", "first", "forms", "reflection", "unknown_fields")


def git(*arguments):
    return run("git", *arguments, cwd=TREE).strip()


def refuse_without_the_last_release(first):
    tags = git("tag", "--list", "v[0-9]*").split()
    if first and tags:
        raise CannotTell(f"--first, but this clone has the tag {tags[-1]}")
    last = f"v{version_text(released_version())}" if not first else None
    if last and last not in tags:
        raise CannotTell(f"this clone has no tag {last}, the last release: "
                         "git fetch --tags, or --first if there is none")


def refuse_what_breaks(version):
    released = released_version()
    if version <= released:
        raise CannotTell(f"{version_text(released)} is released already: "
                         "name a later version")
    level = worst(compare(TREE, RELEASE, False, build.PROCESSORS))
    asked = next_version(released, level)
    if version < asked:
        raise CannotTell(f"{level} asks for version {version_text(asked)}: "
                         "script/check-compat says what it is")


def refuse_packages_of_another_soname(version):
    name = f"libschema{version[0]}"
    if f"\nPackage: {name}\n" not in (TREE / "debian/control").read_text():
        raise CannotTell(f"debian/control has no package {name}: the number is "
                         "the soname's, which is the major version")


def write_library(processor, version):
    install = build.install(TREE, processor)
    library = install.shared_object()
    text = interface.interface(library, class_names(TREE))
    (RELEASE / f"{processor}.abi.xz").write_bytes(interface.pack(text))
    write_lines(f"{processor}.facts", elf.facts(library))
    if processor == NATIVE:
        write_lines("install.facts",
                    installed.facts(install, version_text(version)))


def write_lines(name, lines):
    (RELEASE / name).write_text("".join(f"{line}\n" for line in lines))


def write_baselines(version):
    shutil.rmtree(RELEASE, ignore_errors=True)
    RELEASE.mkdir()
    descriptors.compile_set(TREE, RELEASE / "tarn.binpb")
    for processor in build.PROCESSORS:
        write_library(processor, version)
    for name in CLIENTS:
        shutil.copytree(TREE / "examples" / name, RELEASE / "clients" / name)
    corpus.write_manifest(TREE, RELEASE / "corpus.sha256")
    write_lines("version", [version_text(version)])


def main():
    parser = argparse.ArgumentParser(usage="script/release [--first] X.Y.Z")
    parser.add_argument("--first", action="store_true")
    parser.add_argument("version")
    options = parser.parse_args()
    version = parse_version(options.version, "no release:")
    if git("status", "--porcelain"):
        raise CannotTell("the tree has changes that are not committed")
    refuse_without_the_last_release(options.first)
    if not options.first:
        refuse_what_breaks(version)
    refuse_packages_of_another_soname(version)
    write_version(version)
    write_baselines(version)
    print(f"{RELEASE.relative_to(TREE)} now holds {version_text(version)}")


if __name__ == "__main__":
    try:
        main()
    except CannotTell as error:
        sys.exit(f"release: {error}")
