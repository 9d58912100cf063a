"""The schema files as descriptor sets."""

import re
import subprocess
from typing import NamedTuple

from google.protobuf import descriptor_pb2

from .verdict import CannotTell

# Files of the runtime, which a schema file may import.
RUNTIME = "google/protobuf/"


class Place(NamedTuple):
    """Where a message or enum is declared."""
    file: str
    index: int
    proto: object


def own_files(path):
    """The files of a set but for the runtime's."""
    with open(path, "rb") as file:
        files = descriptor_pb2.FileDescriptorSet.FromString(file.read())
    return [proto for proto in files.file
            if not proto.name.startswith(RUNTIME)]


def read(path):
    """The same as a set, without comments."""
    own = own_files(path)
    for proto in own:
        proto.ClearField("source_code_info")
    return descriptor_pb2.FileDescriptorSet(file=own)


def schema_files(folder):
    """The schema files that the rules of the build compile, in their order."""
    rules = (folder / "CMakeLists.txt").read_text()
    listed = re.search(r"^set\(protos ([\w ]+)\)$", rules, re.MULTILINE)
    if not listed:
        raise CannotTell("proto/CMakeLists.txt lists no schema files")
    names = [f"{name}.proto" for name in listed[1].split()]
    others = {str(path.relative_to(folder))
              for path in folder.rglob("*.proto")} - set(names)
    if others:
        raise CannotTell(f"proto/{min(others)}: no rule of the build compiles "
                         "this schema file")
    return names


def compile_set(tree, output, *options):
    """Writes the descriptor set of the tree's schema files."""
    folder = tree / "proto"
    done = subprocess.run(
        ["protoc", "--include_imports", f"--descriptor_set_out={output}",
         *options, *schema_files(folder)],
        cwd=folder, stderr=subprocess.PIPE, encoding="utf-8", check=False)
    if done.returncode != 0:
        raise CannotTell("the schema does not compile:\n" + done.stderr)


def declarations(files):
    """All messages and all enums, by full name."""
    messages, enums = {}, {}

    def visit(file, scope, message_types, enum_types):
        for index, message in enumerate(message_types):
            name = f"{scope}.{message.name}"
            messages[name] = Place(file, index, message)
            visit(file, name, message.nested_type, message.enum_type)
        for index, enum in enumerate(enum_types):
            enums[f"{scope}.{enum.name}"] = Place(file, index, enum)

    for file in files.file:
        visit(file.name, file.package, file.message_type, file.enum_type)
    return messages, enums


def identifiers(files):
    """The names that the generated headers declare as they stand."""
    messages, enums = declarations(files)
    names = set()
    for place in messages.values():
        names.add(place.proto.name)
        names.update(field.name.lower() for field in place.proto.field)
        names.update(oneof.name for oneof in place.proto.oneof_decl)
    for place in enums.values():
        names.add(place.proto.name)
        names.update(value.name for value in place.proto.value)
    return names
