"""Holds the golden messages of the last release to what they were."""

import hashlib

from .verdict import Finding, Level


def manifest(tree):
    """Checksums of all golden messages, by path."""
    return {str(path.relative_to(tree)):
            hashlib.sha256(path.read_bytes()).hexdigest()
            for path in sorted((tree / "corpus").glob("*/*/*"))}


def write_manifest(tree, output):
    output.write_text("".join(f"{digest}  {path}\n" for path, digest
                              in manifest(tree).items()))


def compare(tree, released):
    """Golden messages may be added; none is ever changed or removed."""
    now = manifest(tree)
    findings = []
    for line in released.read_text().splitlines():
        digest, path = line.split("  ", 1)
        if path not in now:
            findings.append(Finding(Level.WIRE, f"{path} was removed"))
        elif now[path] != digest:
            findings.append(Finding(Level.WIRE, f"{path} was changed"))
    return findings
