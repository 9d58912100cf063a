"""Compares this tree with the last release and gives one verdict: identical,
compatible addition, source break, binary break or wire break, and the version
that the verdict asks for.

Usage: script/check-compat [--schema] [--packaged] [--processor PROCESSOR]...
  --schema     only what the schema files and the golden messages say, with no
               build: quick, but an "identical" then holds for these alone
  --packaged   what script/package built last, if it is of this tree
  --processor  for amd64, arm64 or armhf alone; programs are run for amd64
Exit status: 0 the tree's version allows the verdict, 1 it is too low for it,
2 the comparison could not be made. What is compared: docs/compatibility.md
"""

import argparse
import sys

from .build import PROCESSORS, install, packaged
from .check import compare
from .tree import (RELEASE, TREE, released_version, tree_version,
                   version_text)
from .verdict import CannotTell, next_version, worst


def main():
    parser = argparse.ArgumentParser(
        usage="script/check-compat [--schema] [--packaged] "
              "[--processor PROCESSOR]...")
    parser.add_argument("--schema", action="store_true")
    parser.add_argument("--packaged", action="store_true")
    parser.add_argument("--processor", action="append", choices=PROCESSORS)
    options = parser.parse_args()
    released, tree = released_version(), tree_version()
    findings = compare(TREE, RELEASE, options.schema,
                       options.processor or PROCESSORS,
                       packaged if options.packaged else install)
    for finding in findings:
        print(finding)
    level = worst(findings)
    asked = next_version(released, level)
    print(f"verdict: {level}, compared with {version_text(released)}\n"
          f"asks for version {version_text(asked)}; "
          f"the tree says {version_text(tree)}")
    return 0 if tree >= asked else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except CannotTell as error:
        print(f"check-compat: {error}", file=sys.stderr)
        sys.exit(2)
