"""Where things are in a working tree, and which version it says it is."""

import re
from pathlib import Path

from .verdict import CannotTell

TREE = Path(__file__).resolve().parents[2]
RELEASE = TREE / "packaging" / "release"
MODULES = TREE / "packaging" / "buf" / "node_modules" / "@bufbuild"


def read_version(path, pattern):
    """The version X.Y.Z that a file states: nothing else is a release."""
    if not path.exists():
        raise CannotTell(f"there is no {path.relative_to(TREE)}")
    found = re.search(pattern, path.read_text(), re.MULTILINE)
    text = found[1] if found else "none"
    if not re.fullmatch(r"\d+\.\d+\.\d+", text):
        raise CannotTell(f"{path.relative_to(TREE)} says version {text}; a "
                         "release has a version of three numbers, X.Y.Z")
    return tuple(map(int, text.split(".")))


def version_text(version):
    return ".".join(map(str, version))


def tree_version():
    """The version in project(), its only place."""
    return read_version(TREE / "CMakeLists.txt", r"^  VERSION (.*)$")


def released_version():
    return read_version(RELEASE / "version", r"^(.*)$")


def debian_version():
    return read_version(TREE / "debian" / "changelog",
                        r"\Alibschema \((.*?)\)")


def is_in_changelog(version):
    return re.search(rf"^## \[{re.escape(version_text(version))}\] - "
                     r"\d{4}-\d\d-\d\d$",
                     (TREE / "CHANGELOG.md").read_text(), re.MULTILINE)
