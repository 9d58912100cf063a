#!/usr/bin/python3
"""The rules about the schema against the changes of schema_breaks.py.

Usage: schema_breaks_test.py [NAME...]    only the cases with these names
Nothing is built: each case edits a copy of the schema files. The last line
counts what passed and what failed.
"""

import shutil
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

sys.dont_write_bytecode = True
TREE = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TREE / "tools"))
# pylint: disable=wrong-import-position
from compat import descriptors
from compat.check import compare_schema
from compat.verdict import CannotTell, worst
from schema_breaks import CASES


def copy_schema(folder):
    shutil.copytree(TREE / "proto", folder / "proto")
    return folder


def verdict(released, edits):
    """The verdict on edited files, and what was found."""
    with tempfile.TemporaryDirectory() as folder:
        tree = copy_schema(Path(folder))
        for edit in edits:
            edit.apply(tree)
        try:
            findings = compare_schema(tree, released)
        except CannotTell as error:
            return "error", str(error)
    return str(worst(findings)), "\n".join(map(str, findings))


def main():
    wanted = sys.argv[1:]
    cases = [case for case in CASES if not wanted or case[0] in wanted]
    with tempfile.TemporaryDirectory() as folder:
        released = Path(folder) / "released.binpb"
        descriptors.compile_set(TREE, released)
        with ThreadPoolExecutor(2) as pool:
            verdicts = list(pool.map(lambda case: verdict(released, case[1]),
                                     cases))
    failed = 0
    for (name, _, expected, *reason), (said, why) in zip(cases, verdicts):
        if said == expected and all(part in why for part in reason):
            continue
        failed += 1
        print(f"FAILED: {name}: {said}, not {expected}\n{why}")
    print(f"{len(cases) - failed} passed, {failed} failed")
    return 0 if cases and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
