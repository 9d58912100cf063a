"""Compares an install with the last release's: files, what CMake and pkg-config
tell programs, and the names that the headers declare.
"""

import re
import tempfile

from . import descriptors
from .verdict import Finding, Level

# These may be added; any other new line changes what programs are told.
MAY_BE_ADDED = "file "

# Words of the generated classes for their own use.
PRIVATE = re.compile(r"_(?!\d)|\w+_$|\w*_internal_")


def files(install, version):
    """Paths as they would be with no version and no folder per processor. What
    is there to read, such as the examples, no program depends on."""
    libdir = str(install.libdir.relative_to(install.root))
    for path in [*(install.root / "include").rglob("*"),
                 *install.libdir.rglob("*"),
                 *(install.root / "share" / "tarn").glob("*")]:
        if not path.is_dir():
            text = str(path.relative_to(install.root))
            text = text.replace(libdir + "/", "lib/")
            yield "file " + text.replace(f".so.{version}", ".so.VERSION")


def cmake_package(install):
    """The targets and their interface properties."""
    if not install.package_file().exists():
        return []
    text = install.package_file().read_text()
    return ["cmake " + " ".join(line.split()) for line in
            re.findall(r"^(?:add_library|  INTERFACE_).*$", text, re.MULTILINE)]


def pkg_config(install):
    path = install.libdir / "pkgconfig" / "schema.pc"
    if not path.exists():
        return []
    libdir = str(install.libdir.relative_to(install.root))
    return [f"pkg-config {line.replace(libdir, 'lib')}"
            for line in path.read_text().splitlines()
            if re.match(r"(Name|Requires|Libs|Cflags|\w+=)", line)
            and not line.startswith("prefix=")]


def facts(install, version):
    return sorted([*files(install, version), *cmake_package(install),
                   *pkg_config(install)])


def compare_facts(old, new):
    return ([Finding(Level.SOURCE, f"install: no longer: {fact}")
             for fact in old if fact not in new] +
            [Finding(Level.ADDITION if fact.startswith(MAY_BE_ADDED)
                     else Level.SOURCE, f"install: new: {fact}")
             for fact in new if fact not in old])


def compare_versions(install, version):
    """Both tools have to be told the version of the tree."""
    places = {"pkgconfig/schema.pc": r"^Version: (.*)$",
              "cmake/schema/schemaConfigVersion.cmake":
                  r'^set\(PACKAGE_VERSION "(.*)"\)$'}
    findings = []
    for place, pattern in places.items():
        path = install.libdir / place
        if not path.exists():
            continue  # compare_facts misses it
        found = re.search(pattern, path.read_text(), re.MULTILINE)
        if not found or found[1] != version:
            findings.append(Finding(Level.SOURCE, f"install: {place} says "
                                    f"{found and found[1]}, not {version}"))
    return findings


def compare_data(install, tree):
    """The schema files and their set, with comments, have to be the tree's."""
    data, folder = install.root / "share" / "tarn", tree / "proto"
    names = descriptors.schema_files(folder)
    changed = [name for name in names if (data / name).exists() and
               (data / name).read_bytes() != (folder / name).read_bytes()]
    with tempfile.NamedTemporaryFile(suffix=".binpb") as now:
        descriptors.compile_set(tree, now.name, "--include_source_info")
        installed = data / "tarn.binpb"
        if (installed.exists() and descriptors.own_files(installed) !=
                descriptors.own_files(now.name)):
            changed.append("tarn.binpb")
    # A file that is not there at all is missed by compare_facts.
    return [Finding(Level.SOURCE, f"install: {name} is not what the schema "
                    "files say") for name in changed]


def declared(header):
    """(class, name) of what programs can name; class "" for the header."""
    text = re.sub(r"//[^\n]*|/\*.*?\*/", "", header.read_text(),
                  flags=re.DOTALL)
    names = set()
    outside = text
    for found in re.finditer(r"^class (?:\w+ )?(\w+) final.*?^}", text,
                             re.DOTALL | re.MULTILINE):
        names |= {(found[1], word)
                  for word in re.findall(r"\b[A-Za-z_]\w*\b", found[0])}
        outside = outside.replace(found[0], "")
    names |= {("", word) for word in re.findall(r"\b[A-Za-z_]\w*\b", outside)}
    return {(scope, word) for scope, word in names
            if not PRIVATE.match(word)}


def compare_headers(old_folder, new_folder):
    findings = []
    for old in sorted(old_folder.glob("*.h")):
        new = new_folder / old.name
        if not new.exists():
            continue  # compare_facts misses it
        lost = sorted(declared(old) - declared(new))
        findings += [Finding(Level.SOURCE, f"{old.name} no longer names "
                             f"{word}" + (f" in {scope}" if scope else ""))
                     for scope, word in lost]
    return findings
