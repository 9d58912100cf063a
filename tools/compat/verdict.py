"""What a comparison with the last release comes to."""

import enum
from typing import NamedTuple


class Level(enum.IntEnum):
    """How much a difference breaks; the worst one is the verdict."""
    IDENTICAL = 0
    ADDITION = 1
    SOURCE = 2
    BINARY = 3
    WIRE = 4

    def __str__(self):
        return ("identical", "compatible addition", "source break",
                "binary break", "wire break")[self]


class Finding(NamedTuple):
    level: Level
    what: str

    def __str__(self):
        return f"{self.level}: {self.what}"


class CannotTell(Exception):
    """The comparison could not be made at all."""


def worst(findings):
    return max((f.level for f in findings), default=Level.IDENTICAL)


def next_version(released, level):
    """The lowest version (major, minor, patch) that the verdict allows.

    The soname is the major number, so that every break gets another one and
    both libraries can be installed side by side.
    """
    major, minor, _ = released
    if level >= Level.SOURCE:
        return major + 1, 0, 0
    if level == Level.ADDITION:
        return major, minor + 1, 0
    return released
