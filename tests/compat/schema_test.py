#!/usr/bin/python3
"""The rules about the schema against the cases of schema/.

Usage: schema_test.py [NAME...]    only the cases with these names
A case is a folder with a schema before and after a change, and the file
verdict: its first line is what the change must come to, each further one a part
of the reason. before and after are folders where one file is not enough; a
CMakeLists.txt in them says which files are compiled. Nothing is built. The last
line counts what passed and what failed.
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

CASES = Path(__file__).with_name("schema")


def make_tree(case, side, folder):
    """A tree that has the schema of one side of a case."""
    proto = folder / side / "proto"
    if (case / side).is_dir():
        shutil.copytree(case / side, proto)
    else:
        proto.mkdir(parents=True)
        shutil.copy(case / f"{side}.proto", proto / "Schema.proto")
    rules = proto / "CMakeLists.txt"
    if not rules.exists():
        names = " ".join(sorted(path.stem for path in proto.glob("*.proto")))
        rules.write_text(f"set(protos {names})\n")
    return folder / side


def judge(case):
    """The verdict on a case, and what was found."""
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        released = folder / "released.binpb"
        descriptors.compile_set(make_tree(case, "before", folder), released)
        try:
            findings = compare_schema(make_tree(case, "after", folder),
                                      released)
        except CannotTell as error:
            return "error", str(error)
    return str(worst(findings)), "\n".join(map(str, findings))


def main():
    wanted = sys.argv[1:]
    cases = [case for case in sorted(CASES.iterdir())
             if not wanted or case.name in wanted]
    with ThreadPoolExecutor() as pool:
        verdicts = list(pool.map(judge, cases))
    failed = 0
    for case, (said, why) in zip(cases, verdicts):
        expected, *reasons = (case / "verdict").read_text().splitlines()
        missing = [reason for reason in reasons if reason not in why]
        if said == expected and not missing:
            continue
        failed += 1
        print(f"FAILED: {case.name}: {said}, not {expected}; "
              f"not said: {missing}\n{why}")
    print(f"{len(cases) - failed} passed, {failed} failed")
    return 0 if cases and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
