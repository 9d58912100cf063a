#!/usr/bin/python3
"""Follows docs/releasing.md in a copy of the tree, from the first release over
a new message to the packages of the second.

Usage: release_test.py    as root or through sudo
Works in build/compat/scratch. The last line counts what passed and what failed.
"""

import os
import re
import shutil
import subprocess
import sys
import unittest
from datetime import date

sys.dont_write_bytecode = True
# pylint: disable=wrong-import-position
from copies import (RELEASED, TREE, asked_for, commit, make_copy, run,
                    run_or_stop, version_text)
from edits import NEW_MESSAGE, TARN, append

COPY = TREE / "build" / "compat" / "scratch"
LAST, ADDITION = version_text(RELEASED), asked_for("compatible addition")
PAGE = (TREE / "docs" / "releasing.md").read_text()

# The commands of the page, in its order. Those that reach other people or other
# machines, or are steps of .ci/run of their own, are not run here.
COMMANDS = [
    "git pull --tags", "git status", "git describe", "script/release",
    "script/check-compat", "script/release X.Y.Z", "script/check-compat",
    "script/release --first X.Y.Z", ".ci/run", "script/soak",
    'git tag -a vX.Y.Z -m "libschema X.Y.Z"',
    "script/check-reproducible amd64",
    ".ci/fresh-debian trixie 'script/package amd64 && script/package armhf'",
    ".ci/fresh-install bookworm arm64", ".ci/fresh-install trixie armhf",
    "git push --follow-tags", "git tag -d vX.Y.Z"]

# Where each release is installed.
FOLDERS = {version: COPY / "build" / version for version in (LAST, ADDITION)}
LIBDIR = "usr/lib/x86_64-linux-gnu"

# Uses what came with the second release.
NEW_PROGRAM = """#include <tarn/Tarn.pb.h>
int main() { return tarn::Extra().number(); }
"""


def package_of(name, version):
    return COPY / f"build/package/amd64/{name}_{version}_amd64.deb"


class Release(unittest.TestCase):
    """One release; the steps depend on each other and run in their order."""

    @classmethod
    def setUpClass(cls):
        # The packages are judged as such, and so their code is optimized.
        make_copy(COPY, "-O1")
        # What script/release compared is what its packages hold.
        shutil.copytree(COPY / "build" / "compat" / "amd64" / "usr",
                        FOLDERS[LAST] / "usr", symlinks=True)
        append(TARN, NEW_MESSAGE).apply(COPY)
        commit(COPY, "proto: add a message")

    def test_0_page_has_these_commands_in_this_order(self):
        spans = re.findall(r"`((?:script/|\.ci/|git )[^`]*?)`", PAGE)
        spans = [s for s in spans if not s.endswith("/")]
        self.assertEqual(spans, COMMANDS)

    def test_1_starts_clean(self):
        self.assertEqual(run(COPY, "git", "status", "--porcelain").stdout, "")
        self.assertRegex(run(COPY, "git", "describe", "--tags").stdout,
                         rf"\Av{LAST}\b")

    def test_2_check_asks_for_the_next_minor_version(self):
        done = run(COPY, "script/check-compat", "--processor", "amd64")
        self.assertIn(f"asks for version {ADDITION}; the tree says {LAST}",
                      done.stdout)
        self.assertEqual(done.returncode, 1)

    def test_3_release_writes_the_version_and_moves_the_baselines(self):
        run_or_stop(COPY, "script/release", ADDITION)
        self.assertEqual(
            run(COPY, "git", "diff", "--name-only", "--", ".",
                ":!packaging/release").stdout.split(),
            ["CHANGELOG.md", "CMakeLists.txt", "debian/changelog"])
        for place in ("CMakeLists.txt", "CHANGELOG.md", "debian/changelog"):
            self.assertIn(f"`{place}`", PAGE)
        added = {line for line in run(COPY, "git", "diff", "-U0", "--",
                                      "CHANGELOG.md").stdout.splitlines()
                 if line.startswith("+##")}
        self.assertEqual(added, {f"+## [{ADDITION}] - {date.today()}"})

    def test_4_tree_is_identical_with_the_release(self):
        commit(COPY, f"packaging: release {ADDITION}")
        done = run(COPY, "script/check-compat", "--processor", "amd64")
        self.assertIn(f"verdict: identical, compared with {ADDITION}\n",
                      done.stdout)
        self.assertEqual(done.returncode, 0)

    def test_5_tag_fixes_the_version(self):
        run_or_stop(COPY, "git", "-c", "user.name=test", "-c",
                    "user.email=test@invalid", "tag", "-a", f"v{ADDITION}",
                    "-m", f"libschema {ADDITION}")
        done = run(COPY, "script/release", ADDITION)
        self.assertEqual(done.stdout,
                         f"release: {ADDITION} is released already: name a "
                         "later version\n")

    def test_6_packages_carry_the_version(self):
        # What script/check-reproducible does first.
        run_or_stop(COPY, "script/package", "amd64")
        for name in ("libschema0", "libschema-dev"):
            run_or_stop(COPY, "dpkg-deb", "-x", package_of(name, ADDITION),
                        FOLDERS[ADDITION])
        library = FOLDERS[ADDITION] / LIBDIR / f"libschema.so.{ADDITION}"
        self.assertTrue(library.exists())

    def test_7_packages_built_on_it_ask_for_that_version(self):
        shlibs = run(COPY, "dpkg-deb", "-I",
                     package_of("libschema0", ADDITION), "shlibs").stdout
        self.assertEqual(shlibs,
                         f"libschema 0 libschema0 (>= {ADDITION})\n")
        depends = run(COPY, "dpkg-deb", "-f", package_of("tarn", ADDITION),
                      "Depends").stdout
        self.assertIn(f"libschema0 (>= {ADDITION})", depends)

    def test_8_loader_says_what_a_new_program_misses(self):
        program = COPY / "build" / "program"
        program.with_suffix(".cc").write_text(NEW_PROGRAM)
        new = FOLDERS[ADDITION]
        run_or_stop(COPY, "g++", f"-I{new}/usr/include",
                    program.with_suffix(".cc"), "-o", program,
                    f"-L{new / LIBDIR}", "-lschema", "-lprotobuf")

        def start(version):
            done = subprocess.run(
                ["./program"], cwd=program.parent, stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT, encoding="utf-8", check=False,
                env=dict(os.environ,
                         LD_LIBRARY_PATH=str(FOLDERS[version] / LIBDIR)))
            return done.returncode, done.stdout.strip()

        self.assertEqual(start(ADDITION), (0, ""))
        status, words = start(LAST)
        self.assertEqual(status, 127)
        self.assertIn(f"\n    {words}\n",
                      (TREE / "docs" / "compatibility.md").read_text())


if __name__ == "__main__":
    result = unittest.main(verbosity=2, exit=False).result
    failed = len(result.failures) + len(result.errors) + len(result.skipped)
    print(f"{result.testsRun - failed} passed, {failed} failed")
    sys.exit(1 if failed else 0)
