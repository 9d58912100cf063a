"""Where things are in a working tree, and which version it says it is."""

import re
from pathlib import Path

TREE = Path(__file__).resolve().parents[2]
RELEASE = TREE / "packaging" / "release"
BUF = TREE / "packaging" / "buf" / "node_modules" / ".bin" / "buf"
SUPPRESSIONS = Path(__file__).with_name("abidiff.suppressions")


def parse_version(text):
    return tuple(map(int, text.split(".")))


def version_text(version):
    return ".".join(map(str, version))


def tree_version():
    """The version in project(), its only place."""
    text = (TREE / "CMakeLists.txt").read_text()
    return parse_version(re.search(r"VERSION ([\d.]+)\n", text)[1])


def released_version():
    return parse_version((RELEASE / "version").read_text().strip())


def debian_version():
    text = (TREE / "debian" / "changelog").read_text()
    return parse_version(re.match(r"libschema \(([\d.]+)\)", text)[1])
