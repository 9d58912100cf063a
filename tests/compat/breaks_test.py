#!/usr/bin/python3
"""Each guard of script/check-compat against the break that it is there for, and
the refusals of script/release.

Usage: breaks_test.py [NAME...]    only the cases with these names
Works in two copies of the tree, in build/compat/. There script/release first
makes the copy its own last release; then each case edits it and demands a
verdict. The last line counts what passed and what failed.
"""

import queue
import shutil
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import NamedTuple

sys.dont_write_bytecode = True
TREE = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TREE / "tools"))
# pylint: disable=wrong-import-position
from compat.tree import tree_version, version_text
from compat.verdict import Level, next_version
from edits import CMAKE, TARN, Edit, append, edit_in
from library_breaks import AMD64, CASES

COPIES = [TREE / "build" / "compat" / name for name in ("one", "two")]
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
    """Writes the version where a release has it."""
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
    # No guard depends on the profile, which each case would train anew, nor on
    # how long the compiler takes to make the library fast. One example program
    # is enough to see that programs are built and run.
    for edit in (Edit("proto/profile/Profile.cmake", r"where that works\" ON",
                      'where that works" OFF'),
                 Edit(CMAKE, r":-O3>", f":{optimization}>"),
                 Edit("tools/compat/make_release.py", r"^CLIENTS = .*?$",
                      'CLIENTS = ("first",)'),
                 *set_version(version_text(RELEASED))):
        edit.apply(tree)
    run_or_stop(tree, "git", "init", "-q")
    commit(tree, "before the release")
    run_or_stop(tree, "script/release", "--first")
    commit(tree, "the release")
    run_or_stop(tree, "git", "tag", f"v{version_text(RELEASED)}")


def make_copies():
    make_copy(COPIES[0])
    shutil.rmtree(COPIES[1], ignore_errors=True)
    shutil.copytree(COPIES[0], COPIES[1], symlinks=True)


def restore(tree):
    run_or_stop(tree, "git", "reset", "-q", "--hard")
    run_or_stop(tree, "git", "clean", "-q", "-f", "-d")


class Outcome(NamedTuple):
    """What a case came to; text says what happened."""
    passed: bool
    text: str


def check_verdict(tree, edits, options, verdict, *reasons):
    for edit in edits:
        edit.apply(tree)
    done = run(tree, "script/check-compat", *options)
    missing = [reason for reason in reasons if reason not in done.stdout]
    if missing:
        return Outcome(False, f"{done.stdout}\nnot said: {missing}")
    if verdict == "error":
        return Outcome(done.returncode == 2, done.stdout)
    expected = (f"verdict: {verdict}, compared with {version_text(RELEASED)}\n"
                f"asks for version {asked_for(verdict)}; "
                f"the tree says {version_text(RELEASED)}\n")
    return Outcome(done.stdout.endswith(expected)
                   and done.returncode == (verdict != "identical"),
                   done.stdout)


def untag(tree):
    run_or_stop(tree, "git", "tag", "-d", f"v{version_text(RELEASED)}")


def no_preparation(_tree):
    pass


ADDITION = asked_for("compatible addition")
BREAK = asked_for("source break")
RENAMED = edit_in(TARN, "Price", r"set_price = 3", "new_price = 3")
RENUMBERED = edit_in(TARN, "Price", r"set_price = 3", "set_price = 4")

# Name, edits, whether they are committed, what else is prepared, command, exit
# status, what it says.
RELEASE_CASES = [
    ("break_is_allowed_by_another_soname", [RENAMED, *set_version(BREAK)],
     True, no_preparation, ["script/check-compat", *AMD64], 0,
     f"asks for version {BREAK}; the tree says {BREAK}"),
    ("released_version_is_not_released_again", [], True, no_preparation,
     ["script/release"], 1, "is released already"),
    ("release_wants_one_version_everywhere", set_version(ADDITION)[:1], True,
     no_preparation, ["script/release"], 1,
     "debian/changelog names another version"),
    ("release_wants_an_entry_in_the_changelog", set_version(ADDITION)[:2],
     True, no_preparation, ["script/release"], 1,
     f"CHANGELOG.md has no heading [{ADDITION}]"),
    ("release_wants_everything_committed", set_version(ADDITION), False,
     no_preparation, ["script/release"], 1, "changes that are not committed"),
    ("release_wants_no_new_file_either",
     [append("notes.txt", "not committed\n")], False, no_preparation,
     ["script/release"], 1, "changes that are not committed"),
    ("release_wants_the_tag_of_the_last_one",
     [RENUMBERED, *set_version(ADDITION)], True, untag, ["script/release"], 1,
     f"this clone has no tag v{version_text(RELEASED)}"),
    ("first_release_wants_no_tag", set_version(ADDITION), True,
     no_preparation, ["script/release", "--first"], 1,
     f"this clone has the tag v{version_text(RELEASED)}"),
    ("release_wants_the_version_that_the_verdict_asks_for",
     [RENUMBERED, *set_version(ADDITION)], True, no_preparation,
     ["script/release"], 1, "does not allow this version"),
    ("candidate_is_no_release", set_version("0.2.0-rc1"), True,
     no_preparation, ["script/release"], 1, "release: CMakeLists.txt says "
     "version 0.2.0-rc1; a release has a version of three numbers"),
    ("candidate_is_not_compared", set_version("0.2.0-rc1"), True,
     no_preparation, ["script/check-compat", "--schema"], 2,
     "check-compat: CMakeLists.txt says version 0.2.0-rc1"),
    ("revision_of_a_package_is_no_release",
     [set_version(ADDITION)[0], set_version(f"{ADDITION}-1")[1]], True,
     no_preparation, ["script/release"], 1,
     f"release: debian/changelog says version {ADDITION}-1"),
]


def check_release(tree, edits, committed, prepare, command, status, expected):
    for edit in edits:
        edit.apply(tree)
    if committed:
        commit(tree, "changed")
    prepare(tree)
    done = run(tree, *command)
    run_or_stop(tree, "git", "tag", "-f", f"v{version_text(RELEASED)}")
    if committed:
        run_or_stop(tree, "git", "reset", "-q", "--hard", "HEAD~1")
    return Outcome(done.returncode == status and expected in done.stdout,
                   done.stdout)


def main():
    cases = [(name, check_verdict, case) for name, *case in CASES]
    cases += [(name, check_release, case) for name, *case in RELEASE_CASES]
    wanted = sys.argv[1:]
    cases = [case for case in cases if not wanted or case[0] in wanted]
    make_copies()
    free = queue.Queue()
    for tree in COPIES:
        free.put(tree)

    def check(case):
        name, function, arguments = case
        tree = free.get()
        outcome = function(tree, *arguments)
        restore(tree)
        free.put(tree)
        print(f"{'ok' if outcome.passed else 'FAILED'}: {name}" +
              ("" if outcome.passed else f"\n{outcome.text}"), flush=True)
        return outcome

    with ThreadPoolExecutor(len(COPIES)) as pool:
        outcomes = list(pool.map(check, cases))
    passed = sum(outcome.passed for outcome in outcomes)
    print(f"{passed} passed, {len(outcomes) - passed} failed")
    return 0 if outcomes and passed == len(outcomes) else 1


if __name__ == "__main__":
    sys.exit(main())
