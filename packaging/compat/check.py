"""Puts the comparisons together."""

import tempfile

from . import buf, descriptors, macros, schema


def compare_schema(tree, released):
    """Findings about the tree's schema files; released is a descriptor set."""
    with tempfile.NamedTemporaryFile(suffix=".binpb") as now:
        descriptors.compile_set(tree, now.name)
        return (schema.compare(descriptors.read(released),
                               descriptors.read(now.name),
                               macros.predefined()) +
                buf.compare(released, now.name))
