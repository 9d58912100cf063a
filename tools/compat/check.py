"""Puts the comparisons together."""

import tempfile

from . import (buf, build, corpus, descriptors, elf, installed, interface,
               macros, programs, schema)
from .tree import tree_version, version_text
from .verdict import Level, worst

# The processor that programs are run on.
NATIVE = "amd64"


def compare_schema(tree, released):
    """Findings about the tree's schema files; released is a descriptor set."""
    with tempfile.NamedTemporaryFile(suffix=".binpb") as now:
        descriptors.compile_set(tree, now.name)
        return (schema.compare(descriptors.read(released),
                               descriptors.read(now.name),
                               macros.predefined()) +
                buf.compare(released, now.name))


def class_names(tree):
    """The classes that the library has to have, by the schema."""
    with tempfile.NamedTemporaryFile(suffix=".binpb") as now:
        descriptors.compile_set(tree, now.name)
        messages, _ = descriptors.declarations(descriptors.read(now.name))
    return [name.split(".", 1)[1].replace(".", "_") for name, place
            in messages.items() if not place.proto.options.map_entry]


def compare_library(tree, release, processor, install):
    library = install.shared_object()
    facts = (release / f"{processor}.facts").read_text().splitlines()
    packed = (release / f"{processor}.abi.xz").read_bytes()
    return (elf.compare(processor, facts, elf.facts(library)) +
            interface.compare(processor, packed,
                              interface.interface(library, class_names(tree))))


def compare_install(tree, release, install, released):
    version = version_text(tree_version())
    facts = (release / "install.facts").read_text().splitlines()
    return (installed.compare_facts(facts, installed.facts(install, version)) +
            installed.compare_versions(install, version) +
            installed.compare_data(install, tree) +
            installed.compare_headers(released.headers,
                                      install.root / "include" / "tarn"))


def compare_programs(tree, release, install, released, findings):
    """What a worse finding has decided already is left out."""
    found = []
    names_hold = worst(findings) < Level.SOURCE
    if names_hold:
        found += programs.build_and_run_new(
            released, install, tree / "build" / "compat" / "clients")
    if worst(findings) < Level.BINARY:
        found += programs.run_old(released, install.libdir, names_hold)
        found += programs.replay(released, install.libdir, tree,
                                 release / "corpus.sha256", names_hold)
    return found


def compare_build(tree, release, processor, install, findings):
    """Findings about an installed build, added to those about its sources."""
    findings = findings + compare_library(tree, release, processor, install)
    if processor == NATIVE:
        released = programs.make_again(tree, release)
        findings += compare_install(tree, release, install, released)
        findings += compare_programs(tree, release, install, released,
                                     findings)
    return findings


def compare(tree, release, schema_alone, processors,
            make_install=build.install):
    """Findings, the cheap ones first: nothing is worse than a wire break."""
    findings = compare_schema(tree, release / "tarn.binpb")
    findings += corpus.compare(tree, release / "corpus.sha256")
    if schema_alone or worst(findings) == Level.WIRE:
        return findings
    for processor in processors:
        install = make_install(tree, processor)
        findings = compare_build(tree, release, processor, install, findings)
    return findings
