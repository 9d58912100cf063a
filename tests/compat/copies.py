"""A copy of the tree that is its own last release, and how the tests beside
this file prepare one."""

import subprocess
import sys
from pathlib import Path

TREE = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TREE / "tools"))
# pylint: disable=wrong-import-position
from compat.tree import tree_version, version_text
from compat.verdict import Level, next_version
from edits import CMAKE, Edit

RELEASED = tree_version()
LEVELS = {str(level): level for level in Level}


def asked_for(verdict):
    return version_text(next_version(RELEASED, LEVELS[verdict]))


def run(tree, *command):
    return subprocess.run(command, cwd=tree, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, encoding="utf-8",
                          check=False)


def run_or_stop(tree, *command):
    done = run(tree, *command)
    if done.returncode != 0:
        raise SystemExit(f"{' '.join(map(str, command))}:\n{done.stdout}")


def commit(tree, message):
    run_or_stop(tree, "git", "add", "-A")
    run_or_stop(tree, "git", "-c", "user.name=test", "-c",
                "user.email=test@invalid", "commit", "-q", "--no-verify",
                "--allow-empty", "-m", message)


def set_version(text):
    """Writes a version where a release has it, whether it may be released or
    not."""
    return [Edit("CMakeLists.txt", r"^  VERSION .*?$", f"  VERSION {text}"),
            Edit("debian/changelog", r"\A(\w+) \(.*?\)", rf"\g<1> ({text})"),
            Edit("CHANGELOG.md", r"^## \[Unreleased\]$",
                 rf"\g<0>\n\n## [{text}] - 2026-01-01")]


def make_copy(tree, optimization="-O0"):
    """A copy of the tree that is its own last release."""
    run_or_stop(TREE, "packaging/copy-tree", tree)
    modules = "packaging/buf/node_modules"
    (tree / modules).symlink_to(TREE / modules)
    # Ignored, so that cleaning the copy up leaves it alone.
    with open(tree / ".gitignore", "a", encoding="utf-8") as file:
        file.write(f"/{modules}\n")
    # No guard depends on the profile, which each build would train anew, nor on
    # how long the compiler takes to make the library fast. One example program
    # is enough to see that programs are built and run, and one more processor to
    # see that others are compared.
    for edit in (Edit("proto/profile/Profile.cmake", r"where that works\" ON",
                      'where that works" OFF'),
                 Edit(CMAKE, r":-O3>", f":{optimization}>"),
                 Edit("tools/compat/build.py", r"^PROCESSORS = .*?$",
                      'PROCESSORS = ("amd64", "arm64")'),
                 Edit("tools/compat/make_release.py", r"^CLIENTS = .*?$",
                      'CLIENTS = ("first",)')):
        edit.apply(tree)
    run_or_stop(tree, "git", "init", "-q")
    commit(tree, "before the release")
    run_or_stop(tree, "script/release", "--first", version_text(RELEASED))
    commit(tree, "the release")
    run_or_stop(tree, "git", "tag", f"v{version_text(RELEASED)}")


def restore(tree):
    run_or_stop(tree, "git", "reset", "-q", "--hard")
    run_or_stop(tree, "git", "clean", "-q", "-f", "-d")
