"""Builds the library as its packages do, and installs it into a folder."""

import os
import re
import shutil
from pathlib import Path
from typing import NamedTuple

from .commands import run
from .verdict import CannotTell

PROCESSORS = ("amd64", "arm64")


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


def install(tree, processor):
    """Builds in a clean copy of the tree, by the rules and flags of debian/, so
    that nothing of an earlier build is compared."""
    work = tree / "build" / "compat" / processor
    shutil.rmtree(work, ignore_errors=True)
    copy = work / "libschema"
    run(tree / "packaging" / "copy-tree", copy)
    run("dpkg-architecture", f"-a{processor}", "-c", "debian/rules",
        "override_dh_auto_configure", cwd=copy)
    built, = copy.glob("obj-*")
    run("cmake", "--build", built, "--target", "schema", "--parallel", "2")
    run("cmake", "--install", built / "packaging",
        env=dict(os.environ, DESTDIR=str(work)))
    libdir = re.search(r"^CMAKE_INSTALL_LIBDIR:\w+=(.*)$",
                       (built / "CMakeCache.txt").read_text(), re.MULTILINE)
    return Install(work / "usr", work / "usr" / libdir[1])
