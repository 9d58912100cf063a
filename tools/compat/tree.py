"""Where things are in a working tree, and which version it says it is."""

import datetime
import email.utils
import re
from pathlib import Path

from .verdict import CannotTell

TREE = Path(__file__).resolve().parents[2]
RELEASE = TREE / "packaging" / "release"
PROJECT = TREE / "CMakeLists.txt"
CHANGELOG = TREE / "CHANGELOG.md"
DEBIAN = TREE / "debian" / "changelog"
MODULES = TREE / "packaging" / "buf" / "node_modules" / "@bufbuild"


def parse_version(text, where):
    """The version X.Y.Z as numbers: nothing else is a release."""
    if not re.fullmatch(r"\d+\.\d+\.\d+", text):
        raise CannotTell(f"{where} version {text}; a release has a version of "
                         "three numbers, X.Y.Z")
    return tuple(map(int, text.split(".")))


def read_version(path, pattern):
    if not path.exists():
        raise CannotTell(f"there is no {path.relative_to(TREE)}")
    found = re.search(pattern, path.read_text(), re.MULTILINE)
    return parse_version(found[1] if found else "none",
                         f"{path.relative_to(TREE)} says")


def version_text(version):
    return ".".join(map(str, version))


def released_version():
    return read_version(RELEASE / "version", r"^(.*)$")


def is_in_changelog(version):
    return re.search(rf"^## \[{re.escape(version_text(version))}\] - "
                     r"\d{4}-\d\d-\d\d$",
                     CHANGELOG.read_text(), re.MULTILINE)


def tree_version():
    """The version in project(). The two changelogs have to have it as well."""
    version = read_version(PROJECT, r"^  VERSION (.*)$")
    debian = read_version(DEBIAN, r"\Alibschema \((.*?)\)")
    if debian != version:
        raise CannotTell(f"debian/changelog says version "
                         f"{version_text(debian)}, and CMakeLists.txt "
                         f"{version_text(version)}")
    if not is_in_changelog(version):
        raise CannotTell("CHANGELOG.md has no heading "
                         f"[{version_text(version)}] - YYYY-MM-DD")
    return version


def replace(path, pattern, replacement):
    text, count = re.subn(pattern, replacement, path.read_text(), count=1,
                          flags=re.MULTILINE)
    if count == 0:
        raise CannotTell(f"{path.relative_to(TREE)} has no line {pattern}")
    path.write_text(text)


def write_version(version):
    """Writes the version into project(), and into the changelogs where they do
    not have it yet."""
    text, now = version_text(version), datetime.datetime.now().astimezone()
    replace(PROJECT, r"^  VERSION .*$", f"  VERSION {text}")
    if not is_in_changelog(version):
        replace(CHANGELOG, r"^## \[Unreleased\]$",
                rf"\g<0>\n\n## [{text}] - {now:%Y-%m-%d}")
    if not DEBIAN.read_text().startswith(f"libschema ({text})"):
        last = re.match(r"libschema \(.*?\)(.*?\n).*?^( -- .*?>  )",
                        DEBIAN.read_text(), re.DOTALL | re.MULTILINE)
        DEBIAN.write_text(f"libschema ({text}){last[1]}\n"
                          "  * CHANGELOG.md says what is new.\n\n"
                          f"{last[2]}{email.utils.format_datetime(now)}\n\n" +
                          DEBIAN.read_text())
