#!/usr/bin/python3
"""Each guard of script/check-compat against the break that it is there for.

Usage: breaks_test.py [NAME...]    only the cases with these names
Works in a copy of the tree, in build/compat/tree. There script/release first
makes that copy its own last release; then each case edits it and demands a
verdict. The last line counts what passed and what failed.
"""

import shutil
import subprocess
import sys
from pathlib import Path
from typing import NamedTuple

from edits import (CMAKE, NEW_MESSAGE, TARN, Edit, Remove, append, edit_in,
                   new_value)

TREE = Path(__file__).resolve().parents[2]
COPY = TREE / "build" / "compat" / "tree"


def drop_flag(flag):
    return Edit(CMAKE, rf"\n  LINKER:{flag}\b", "")


def link_with(flag):
    return Edit(CMAKE, r"  LINKER:--as-needed\n", rf"\g<0>  {flag}\n")


def compile_with(flag):
    return Edit(CMAKE, r"-fno-semantic-interposition", rf"\g<0> {flag}")


def hide(symbols):
    """A version script that takes symbols out of the interface."""
    return [append("packaging/hide.map", f"{{ local: {symbols}; }};\n"),
            link_with("LINKER:--version-script="
                      "${PROJECT_SOURCE_DIR}/packaging/hide.map")]


# Name, edits, options of check-compat, verdict.
AMD64, ARM64 = ["--processor", "amd64"], ["--processor", "arm64"]
CASES = [
    # What nobody is hurt by.
    ("nothing_changed", [], [], "identical"),
    ("comment_changed",
     [Edit(TARN, r"// Price line that is set\.", "// Line of the price.")],
     AMD64, "identical"),
    ("new_message_at_the_end", [append(TARN, NEW_MESSAGE)], AMD64 + ARM64,
     "compatible addition"),
    ("new_enum_at_the_end",
     [append(TARN, "\nenum Extra {\n  nothing = 0;\n}\n")], AMD64,
     "compatible addition"),
    ("new_enum_value_at_the_end", [new_value("asleep", 12)], AMD64,
     "compatible addition"),

    # Other bytes, or other values for the same bytes.
    ("golden_message_changed",
     [append(sorted(f"corpus/valid/Price/{path.name}" for path in
                    (TREE / "corpus/valid/Price").glob("*.binpb"))[0], "!")],
     [], "wire break"),
    ("golden_message_removed", [Remove("corpus/rejected")], [], "wire break"),
    # The code after the generator: nothing but the golden messages can tell.
    ("library_writes_other_bytes",
     [Edit(CMAKE, r"--include_source_info \${schema_files}",
           r"\g<0>\n  COMMAND sed -i "
           r"s/WriteInt32ToArray.1,.this->_internal_line_num../&+1/ "
           r"${generated_dir}/tarn/Tarn.pb.cc")], [], "wire break"),
    ("field_number_changed",
     [edit_in(TARN, "Price", r"set_price = 3", "set_price = 4")], ["--schema"],
     "wire break"),

    # Programs no longer compile.
    ("field_renamed",
     [edit_in(TARN, "Price", r"set_price = 3", "new_price = 3")], AMD64,
     "source break"),

    # Programs that are compiled already no longer run.
    ("new_field",
     [edit_in(TARN, "RenameRadio", r"\n}", r"\n  int32 extra = 9;\n}")],
     AMD64, "binary break"),
    ("other_code_generation",
     [Edit(TARN, r"package tarn;",
           r"\g<0>\noption optimize_for = CODE_SIZE;")], AMD64,
     "binary break"),

    ("unloading_allowed", [drop_flag("-z,nodelete")], AMD64, "binary break"),
    ("unloading_allowed_on_arm64", [drop_flag("-z,nodelete")], ARM64,
     "binary break"),
    ("lazy_binding", [drop_flag("-z,now")], AMD64, "binary break"),
    ("writable_relocated_data", [Edit(CMAKE, r"-z,relro", "-z,norelro")], AMD64,
     "binary break"),
    ("executable_stack",
     [drop_flag("-z,noexecstack"), link_with("LINKER:-z,execstack")], AMD64,
     "binary break"),
    ("run_path", [link_with("LINKER:-rpath,/opt/lib")], AMD64,
     "binary break"),
    ("own_symbols_first",
     [Edit(CMAKE, r"--dynamic-list=\${preemptible}", "-Bsymbolic")], AMD64,
     "binary break"),
    ("another_soname",
     [Edit(CMAKE, r"SOVERSION \${PROJECT_VERSION_MAJOR}", "SOVERSION 1")],
     AMD64, "binary break"),
    ("library_no_longer_needed", [link_with("-static-libgcc")], AMD64,
     "binary break"),
    ("another_library_needed",
     [link_with("LINKER:--no-as-needed,-lm,--as-needed")], AMD64,
     "binary break"),
    ("another_library_needed_on_arm64",
     [Edit(CMAKE, r"-fno-stack-protector", "-fstack-protector-strong")],
     ARM64, "binary break"),
    ("symbols_hidden_by_default",
     [Edit(CMAKE, r"VISIBILITY_PRESET default", "VISIBILITY_PRESET hidden")],
     AMD64, "binary break"),
    ("descriptor_table_hidden", hide("descriptor_table_Network_2eproto"),
     AMD64, "binary break"),
    ("default_instance_hidden",
     hide("_ZN4tarn24_Price_default_instance_E"), AMD64, "binary break"),
    ("one_class_hidden_on_arm64", hide("_ZN4tarn5Price*"), ARM64,
     "binary break"),
    ("newer_dialect",
     [Edit(CMAKE, r"CXX_STANDARD 11", "CXX_STANDARD 17")], AMD64,
     "binary break"),
    ("tighter_layout", [compile_with("-fpack-struct=4")], AMD64,
     "binary break"),
]


def run(*command):
    return subprocess.run(command, cwd=COPY, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, encoding="utf-8",
                          check=False)


def run_or_stop(*command):
    done = run(*command)
    if done.returncode != 0:
        sys.exit(f"{' '.join(command)}:\n{done.stdout}")


def make_copy():
    shutil.rmtree(COPY, ignore_errors=True)
    COPY.mkdir(parents=True)
    files = subprocess.run(
        ["git", "ls-files", "-z", "--cached", "--others",
         "--exclude-standard"], cwd=TREE, check=True,
        stdout=subprocess.PIPE, encoding="utf-8").stdout
    for name in filter(None, files.split("\0")):
        (COPY / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(TREE / name, COPY / name, follow_symlinks=False)
    shutil.rmtree(COPY / "packaging" / "release", ignore_errors=True)
    modules = "packaging/buf/node_modules"
    (COPY / modules).symlink_to(TREE / modules)
    # Ignored, so that cleaning the copy up leaves it alone.
    with open(COPY / ".gitignore", "a", encoding="utf-8") as file:
        file.write(f"/{modules}\n")
    # No guard depends on the profile, which each case would train anew, nor on
    # how long the compiler takes to make the library fast.
    Edit("proto/profile/Profile.cmake", r"where that works\" ON",
         'where that works" OFF').apply(COPY)
    Edit(CMAKE, r":-O3>", ":-O1>").apply(COPY)
    run_or_stop("git", "init", "-q")
    run_or_stop("script/release")
    commit("0.1.0")


def commit(message):
    run_or_stop("git", "add", "-A")
    run_or_stop("git", "-c", "user.name=test", "-c", "user.email=test@invalid",
                "commit", "-q", "--no-verify", "-m", message)


def restore():
    run_or_stop("git", "reset", "-q", "--hard")
    run_or_stop("git", "clean", "-q", "-f", "-d")


class Outcome(NamedTuple):
    """What a case came to; text says what happened."""
    passed: bool
    text: str


def check_verdict(edits, options, verdict):
    for edit in edits:
        edit.apply(COPY)
    done = run("script/check-compat", *options)
    asked = {"identical": "0.1.0", "compatible addition": "0.2.0"}
    expected = (f"verdict: {verdict}, compared with 0.1.0\n"
                f"asks for version {asked.get(verdict, '1.0.0')}; "
                "the tree says 0.1.0\n")
    return Outcome(done.stdout.endswith(expected)
                   and done.returncode == (verdict != "identical"),
                   done.stdout)


def set_version(version):
    return [Edit("CMakeLists.txt", r"VERSION 0\.1\.0", f"VERSION {version}"),
            Edit("debian/changelog", r"\(0\.1\.0\)", f"({version})")]


# Name, edits, command, exit status, what it says.
RELEASE_CASES = [
    ("break_is_allowed_by_another_soname",
     [edit_in(TARN, "Price", r"set_price = 3", "new_price = 3"),
      *set_version("1.0.0")],
     ["script/check-compat", *AMD64], 0,
     "asks for version 1.0.0; the tree says 1.0.0"),
    ("released_version_is_not_released_again", [], ["script/release"], 1,
     "0.1.0 is released already"),
    ("release_wants_one_version_everywhere", set_version("0.2.0")[:1],
     ["script/release"], 1, "debian/changelog names another version"),
    ("release_wants_the_version_that_the_verdict_asks_for",
     [edit_in(TARN, "Price", r"set_price = 3", "set_price = 4"),
      *set_version("0.2.0")],
     ["script/release"], 1, "does not allow this version"),
]


def check_release(edits, command, status, expected):
    for edit in edits:
        edit.apply(COPY)
    run_or_stop("git", "tag", "-f", "v0.1.0")
    done = run(*command)
    return Outcome(done.returncode == status and expected in done.stdout,
                   done.stdout)


def main():
    make_copy()
    cases = [(name, check_verdict, case) for name, *case in CASES]
    cases += [(name, check_release, case) for name, *case in RELEASE_CASES]
    wanted = sys.argv[1:]
    outcomes = []
    for name, check, case in cases:
        if wanted and name not in wanted:
            continue
        outcome = check(*case)
        restore()
        outcomes.append(outcome)
        print(f"{'ok' if outcome.passed else 'FAILED'}: {name}", flush=True)
        if not outcome.passed:
            print(outcome.text)
    passed = sum(outcome.passed for outcome in outcomes)
    print(f"{passed} passed, {len(outcomes) - passed} failed")
    return 0 if outcomes and passed == len(outcomes) else 1


if __name__ == "__main__":
    sys.exit(main())
