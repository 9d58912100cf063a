#!/usr/bin/python3
"""Each guard of script/check-compat against the break that it is there for, and
the refusals of script/release.

Usage: breaks_test.py [NAME...]    only the cases with these names
Works in two copies of the tree, in build/compat/, each its own last release. In
one script/check-compat runs as a whole; in the other its comparison alone, of
the build that is there, of which each case makes again what its edits ask for.
The last line counts what passed and what failed.
"""

import shutil
import sys
from concurrent.futures import ThreadPoolExecutor
from typing import NamedTuple

sys.dont_write_bytecode = True
# pylint: disable=wrong-import-position
from copies import (RELEASED, TREE, asked_for, commit, make_copy, restore, run,
                    run_or_stop, set_version, version_text)
from compat import build, check, programs
from compat.verdict import CannotTell, worst
from edits import TARN, append, edit_in
from library_breaks import AMD64, CHECKED, REBUILT

CHECKS, REBUILDS = [TREE / "build" / "compat" / name for name in ("one", "two")]
# What script/release built in a copy.
BUILD = REBUILDS / "build" / "compat" / "amd64"


class Outcome(NamedTuple):
    """What a case came to; text says what happened."""
    passed: bool
    text: str


def make_copies():
    """Both with the last release made again, as no case needs it otherwise."""
    make_copy(REBUILDS)
    source, release = BUILD / "libschema", REBUILDS / "packaging" / "release"
    programs.make_again(source, release)
    shutil.rmtree(CHECKS, ignore_errors=True)
    shutil.copytree(REBUILDS, CHECKS, symlinks=True)
    made = "build/compat/released"
    shutil.copytree(source / made, CHECKS / made)
    shutil.copytree(BUILD, BUILD.with_name("as-built"), symlinks=True)


def check_whole(edits, options, verdict, *reasons):
    """By script/check-compat, in a clean copy."""
    for edit in edits:
        edit.apply(CHECKS)
    done = run(CHECKS, "script/check-compat", *options)
    restore(CHECKS)
    missing = [reason for reason in reasons if reason not in done.stdout]
    expected = (f"verdict: {verdict}, compared with {version_text(RELEASED)}\n"
                f"asks for version {asked_for(verdict)}; "
                f"the tree says {version_text(RELEASED)}\n")
    return Outcome(not missing and done.stdout.endswith(expected)
                   and done.returncode == (verdict != "identical"),
                   f"{done.stdout}\nnot said: {missing}")


def judge(edits, edits_of_install):
    """The verdict on a build, and what was found."""
    source, release = BUILD / "libschema", REBUILDS / "packaging" / "release"
    for edit in edits:
        edit.apply(source)
    shutil.rmtree(BUILD / "usr")
    try:
        findings = check.compare_schema(source, release / "tarn.binpb")
        install = build.build_and_install(source, BUILD)
        for edit in edits_of_install:
            edit.apply(install.root)
        findings = check.compare_build(source, release, "amd64", install,
                                       findings)
    except CannotTell as error:
        return "error", str(error)
    return str(worst(findings)), "\n".join(map(str, findings))


def check_rebuilt(edits, edits_of_install, verdict, *reasons):
    said, why = judge(edits, edits_of_install)
    # With its times, by which cmake knows what is up to date.
    shutil.rmtree(BUILD)
    shutil.copytree(BUILD.with_name("as-built"), BUILD, symlinks=True)
    missing = [reason for reason in reasons if reason not in why]
    return Outcome(said == verdict and not missing,
                   f"{why}\nverdict: {said}\nnot said: {missing}")


def untag():
    run_or_stop(CHECKS, "git", "tag", "-d", f"v{version_text(RELEASED)}")


def no_preparation():
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
     ["script/release", version_text(RELEASED)], 1, "is released already"),
    ("versions_that_differ_are_not_compared", set_version(ADDITION)[:1], True,
     no_preparation, ["script/check-compat", "--schema"], 2,
     f"debian/changelog says version {version_text(RELEASED)}, and "
     f"CMakeLists.txt {ADDITION}"),
    ("version_without_an_entry_in_the_changelog_is_not_compared",
     set_version(ADDITION)[:2], True, no_preparation,
     ["script/check-compat", "--schema"], 2,
     f"CHANGELOG.md has no heading [{ADDITION}]"),
    ("release_wants_everything_committed", set_version(ADDITION), False,
     no_preparation, ["script/release", ADDITION], 1,
     "changes that are not committed"),
    ("release_wants_no_new_file_either",
     [append("notes.txt", "not committed\n")], False, no_preparation,
     ["script/release", ADDITION], 1, "changes that are not committed"),
    ("release_wants_the_tag_of_the_last_one", [RENUMBERED], True, untag,
     ["script/release", ADDITION], 1,
     f"this clone has no tag v{version_text(RELEASED)}"),
    ("first_release_wants_no_tag", [], True, no_preparation,
     ["script/release", "--first", ADDITION], 1,
     f"this clone has the tag v{version_text(RELEASED)}"),
    ("release_wants_the_version_that_the_verdict_asks_for", [RENUMBERED], True,
     no_preparation, ["script/release", ADDITION], 1,
     f"release: wire break asks for version {BREAK}"),
    ("release_wants_packages_of_its_soname", [RENUMBERED], True,
     no_preparation, ["script/release", BREAK], 1,
     "debian/control has no package libschema1"),
    ("candidate_is_no_release", [], True, no_preparation,
     ["script/release", "0.2.0-rc1"], 1, "release: no release: "
     "version 0.2.0-rc1; a release has a version of three numbers"),
    ("candidate_is_not_compared", set_version("0.2.0-rc1"), True,
     no_preparation, ["script/check-compat", "--schema"], 2,
     "check-compat: CMakeLists.txt says version 0.2.0-rc1"),
    ("revision_of_a_package_is_not_compared",
     [set_version(ADDITION)[0], set_version(f"{ADDITION}-1")[1]], True,
     no_preparation, ["script/check-compat", "--schema"], 2,
     f"check-compat: debian/changelog says version {ADDITION}-1"),
]


def check_release(edits, committed, prepare, command, status, expected):
    for edit in edits:
        edit.apply(CHECKS)
    if committed:
        commit(CHECKS, "changed")
    prepare()
    done = run(CHECKS, *command)
    run_or_stop(CHECKS, "git", "tag", "-f", f"v{version_text(RELEASED)}")
    if committed:
        run_or_stop(CHECKS, "git", "reset", "-q", "--hard", "HEAD~1")
    restore(CHECKS)
    return Outcome(done.returncode == status and expected in done.stdout,
                   done.stdout)


def run_cases(function, cases):
    wanted = sys.argv[1:]
    passed = []
    for name, *case in cases:
        if wanted and name not in wanted:
            continue
        outcome = function(*case)
        passed.append(outcome.passed)
        print(f"{'ok' if outcome.passed else 'FAILED'}: {name}" +
              ("" if outcome.passed else f"\n{outcome.text}"), flush=True)
    return passed


def main():
    make_copies()

    def in_copy(work):
        return [outcome for function, cases in work
                for outcome in run_cases(function, cases)]

    # A copy each: neither waits for the other.
    work = [[(check_whole, CHECKED), (check_release, RELEASE_CASES)],
            [(check_rebuilt, REBUILT)]]
    with ThreadPoolExecutor() as pool:
        outcomes = sum(pool.map(in_copy, work), [])
    print(f"{sum(outcomes)} passed, {len(outcomes) - sum(outcomes)} failed")
    return 0 if outcomes and all(outcomes) else 1


if __name__ == "__main__":
    sys.exit(main())
