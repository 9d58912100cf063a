"""Compares two descriptor sets: what the schema promises, old against new.

buf knows the common rules. Those here are the ones it lacks: the order of
declarations, the layout of the classes, and a strict reading of "the same bytes
mean the same values".
"""

import json
import subprocess
from typing import NamedTuple

from google.protobuf import descriptor_pb2

from .verdict import CannotTell, Finding, Level

FieldProto = descriptor_pb2.FieldDescriptorProto

NOT_PACKABLE = {FieldProto.TYPE_STRING, FieldProto.TYPE_BYTES,
                FieldProto.TYPE_MESSAGE, FieldProto.TYPE_GROUP}


class Place(NamedTuple):
    """Where a message or enum is declared."""
    file: str
    index: int
    proto: object


def read(path):
    """A descriptor set without comments and positions."""
    with open(path, "rb") as file:
        files = descriptor_pb2.FileDescriptorSet.FromString(file.read())
    for proto in files.file:
        proto.ClearField("source_code_info")
    return files


def compile_set(tree, output):
    """Writes the descriptor set of the tree's schema files."""
    files = sorted(path.name for path in (tree / "proto").glob("*.proto"))
    # The order of the library's own set.
    files.sort(key=lambda name: name != "Tarn.proto")
    done = subprocess.run(
        ["protoc", f"--descriptor_set_out={output}", *files],
        cwd=tree / "proto", stderr=subprocess.PIPE, encoding="utf-8",
        check=False)
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


def is_packed(field):
    if (field.label != FieldProto.LABEL_REPEATED
            or field.type in NOT_PACKABLE):
        return False
    return field.options.packed if field.options.HasField("packed") else True


def oneof_of(message, field):
    if field.HasField("oneof_index"):
        return message.oneof_decl[field.oneof_index].name
    return None


def type_of(field):
    if field.type_name:
        return field.type_name[1:]
    return FieldProto.Type.Name(field.type)[len("TYPE_"):].lower()


def encoding(message, field):
    """Everything about a field that its bytes depend on, in words."""
    return {
        "type": type_of(field),
        "label": FieldProto.Label.Name(field.label)[len("LABEL_"):].lower(),
        "packing": "packed" if is_packed(field) else "not packed",
        "presence": "explicit" if field.proto3_optional else "by kind",
        "place": "in a oneof" if oneof_of(message, field) else "on its own",
    }


def covers(ranges, number, end_is_inside):
    return any(r.start <= number < r.end + end_is_inside for r in ranges)


def compare_fields(name, old, new):
    findings = []

    def found(level, field, what):
        findings.append(Finding(level, f"{name}.{field.name}: {what}"))

    numbers = {f.name: f.number for f in new.field}
    renewed = {f.number: (i, f) for i, f in enumerate(new.field)}
    for index, field in enumerate(old.field):
        number = field.number
        if number not in renewed:
            retired = (covers(new.reserved_range, number, False)
                       and field.name in new.reserved_name)
            found(Level.BINARY if retired else Level.WIRE, field,
                  f"field {number} was removed" +
                  ("" if retired else " and may be given away again"))
            continue
        new_index, now = renewed.pop(number)
        before, after = encoding(old, field), encoding(new, now)
        for aspect, value in before.items():
            if after[aspect] != value:
                found(Level.WIRE, field, f"{aspect}: {value} became "
                                         f"{after[aspect]}")
        if numbers.get(field.name, number) != number:
            found(Level.WIRE, field,
                  f"number {number} became {numbers[field.name]}")
        elif now.name != field.name:
            found(Level.SOURCE, field, f"renamed to {now.name}")
        elif now.json_name != field.json_name:
            found(Level.SOURCE, field, "has another name in JSON")
        if oneof_of(old, field) != oneof_of(new, now):
            found(Level.SOURCE, field, "belongs to another oneof")
        if new_index != index:
            found(Level.BINARY, field, f"index {index} became {new_index}")
    if (any(r not in old.reserved_range for r in new.reserved_range)
            or any(n not in old.reserved_name for n in new.reserved_name)):
        findings.append(Finding(Level.ADDITION, f"{name}: reserves more"))
    for _, field in renewed.values():
        found(Level.BINARY, field, "a new field changes the layout of the "
                                   "class that programs were compiled with")
    return findings


def compare_enums(name, old, new):
    findings = []

    def found(level, value, what):
        findings.append(Finding(level, f"{name}.{value.name}: {what}"))

    names = {v.name: v.number for v in new.value}
    numbers = {v.number: v.name for v in new.value}
    for index, value in enumerate(old.value):
        number = names.get(value.name)
        if number == value.number:
            if new.value[index:index + 1] != [value]:
                found(Level.BINARY, value, "has another index")
        elif number is not None:
            found(Level.WIRE, value, f"{value.number} became {number}")
        elif value.number in numbers:
            found(Level.SOURCE, value,
                  f"renamed to {numbers[value.number]}")
        else:
            retired = covers(new.reserved_range, value.number, True)
            found(Level.SOURCE if retired else Level.WIRE, value,
                  f"value {value.number} was removed" +
                  ("" if retired else " and may be given away again"))
    before = {v.number for v in old.value}
    for value in new.value:
        if value.number not in before and value.name not in {
                v.name for v in old.value}:
            found(Level.ADDITION, value, f"new value {value.number}")
    return findings


def compare_kind(kind, old, new, compare_contents, lost):
    """Messages or enums by full name; lost is how bad it is to lose one."""
    findings = []
    for name, was in old.items():
        now = new.get(name)
        if now is None:
            findings.append(Finding(lost, f"{name}: {kind} was removed"))
            continue
        if now.file != was.file:
            findings.append(Finding(Level.SOURCE, f"{name}: moved from "
                                    f"{was.file} to {now.file}"))
        if now.index != was.index:
            findings.append(Finding(Level.BINARY, f"{name}: index {was.index} "
                                    f"in {was.file} became {now.index}"))
        findings += compare_contents(name, was.proto, now.proto)
    findings += [Finding(Level.ADDITION, f"{name}: new {kind}")
                 for name in new if name not in old]
    return findings


def compare(old, new):
    """All differences between two descriptor sets."""
    old_messages, old_enums = declarations(old)
    new_messages, new_enums = declarations(new)
    findings = compare_kind("message", old_messages, new_messages,
                            compare_fields, Level.WIRE)
    findings += compare_kind("enum", old_enums, new_enums, compare_enums,
                             Level.BINARY)
    if not findings and old != new:
        findings.append(Finding(Level.SOURCE, "the descriptors differ in a "
                                "way that no rule knows"))
    return findings


def buf_breaking(buf, rules, old, new):
    """What buf says against the new set, as (rule, message)."""
    config = {"version": "v2", "breaking": rules}
    done = subprocess.run(
        [buf, "breaking", new, "--against", old, "--error-format", "json",
         "--config", json.dumps(config)],
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, encoding="utf-8",
        check=False)
    # 100: there are findings.
    if done.returncode not in (0, 100):
        raise CannotTell(f"buf failed:\n{done.stderr}{done.stdout}")
    lines = [json.loads(line) for line in done.stdout.splitlines()]
    return [(line["type"], line["message"]) for line in lines]


def compare_with_buf(buf, old, new):
    # The name of a oneof is not on the wire; that a field comes into one or
    # leaves it is a rule above.
    wire = buf_breaking(buf, {"use": ["WIRE"], "except": ["FIELD_SAME_ONEOF"]},
                        old, new)
    return ([Finding(Level.WIRE, f"buf {rule}: {what}")
             for rule, what in wire] +
            [Finding(Level.SOURCE, f"buf {rule}: {what}")
             for rule, what in buf_breaking(buf, {"use": ["FILE"]}, old, new)
             if (rule, what) not in wire])
