"""Builds the library as its packages do, and installs it into a folder."""

import filecmp
import os
import re
import shutil
from pathlib import Path
from typing import NamedTuple

from .commands import run
from .verdict import CannotTell

PROCESSORS = ("amd64", "arm64", "armhf")


class Install(NamedTuple):
    """An installed library; libdir is where it has its libraries."""
    root: Path
    libdir: Path

    def package_file(self):
        return self.libdir / "cmake" / "schema" / "schemaTargets.cmake"

    def shared_object(self):
        """The file that the CMake package names, whatever it is called."""
        for path in sorted(self.package_file().parent.glob(
                "schemaTargets-*.cmake")):
            found = re.search(r'IMPORTED_LOCATION_\w+ '
                              r'"\$\{_IMPORT_PREFIX\}/(.*)"', path.read_text())
            if found:
                return self.root / found[1]
        raise CannotTell("the installed CMake package names no library")


def configure(source, processor):
    """By the rules and flags of debian/, with the compiler that they ask for."""
    if processor != "amd64":
        run("script/bootstrap", processor, cwd=source)
    run("dpkg-architecture", f"-a{processor}", "-c", "debian/rules",
        "override_dh_auto_configure", cwd=source)


def build_and_install(source, folder):
    """Builds a configured source and installs it below a folder."""
    built, = source.glob("obj-*")
    run("cmake", "--build", built, "--target", "schema", "--parallel", "2")
    run("cmake", "--install", built / "packaging",
        env=dict(os.environ, DESTDIR=str(folder)))
    libdir = re.search(r"^CMAKE_INSTALL_LIBDIR:\w+=(.*)$",
                       (built / "CMakeCache.txt").read_text(), re.MULTILINE)
    return Install(folder / "usr", folder / "usr" / libdir[1])


def packaged(tree, processor):
    """What script/package built last, of the same sources."""
    source = tree / "build" / "package" / processor / "libschema"
    if not source.is_dir():
        raise CannotTell(f"nothing is packaged: script/package {processor}")
    listed = run("git", "ls-files", "--cached", "--others",
                 "--exclude-standard", cwd=tree).splitlines()
    same, different, absent = filecmp.cmpfiles(tree, source, listed,
                                               shallow=False)
    unknown = filecmp.dircmp(tree / "proto", source / "proto").right_only
    others = different + absent + unknown
    if others or not same:
        raise CannotTell(f"build/package/{processor} holds no build of this "
                         f"tree: {(others or ['all of it'])[0]} differs")
    work = tree / "build" / "compat" / processor
    shutil.rmtree(work, ignore_errors=True)
    return build_and_install(source, work)


def install(tree, processor):
    """Builds in a clean copy of the tree, so that nothing of an earlier build
    is compared."""
    work = tree / "build" / "compat" / processor
    shutil.rmtree(work, ignore_errors=True)
    copy = work / "libschema"
    run(tree / "packaging" / "copy-tree", copy)
    configure(copy, processor)
    return build_and_install(copy, work)
