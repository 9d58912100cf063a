"""Compares two descriptor sets: what the schema promises, old against new.

buf knows the common rules. Those here are the ones it lacks: the order of
declarations, the layout of the classes, and a strict reading of "the same bytes
mean the same values".
"""

from google.protobuf import descriptor_pb2

from . import rest
from .descriptors import declarations, identifiers
from .verdict import Finding, Level

FieldProto = descriptor_pb2.FieldDescriptorProto

NOT_PACKABLE = {FieldProto.TYPE_STRING, FieldProto.TYPE_BYTES,
                FieldProto.TYPE_MESSAGE, FieldProto.TYPE_GROUP}

# With this value the generator leaves the constant *_ARRAYSIZE out.
LARGEST_VALUE = 2**31 - 1


def is_packed(field):
    if (field.label != FieldProto.LABEL_REPEATED
            or field.type in NOT_PACKABLE):
        return False
    return field.options.packed if field.options.HasField("packed") else True


def oneof_of(message, field):
    if field.HasField("oneof_index"):
        return message.oneof_decl[field.oneof_index].name
    return None


def numbers_in(message, oneof, known):
    """The fields of a oneof, of those that both sides know."""
    return {f.number for f in message.field
            if oneof_of(message, f) == oneof and f.number in known}


def type_of(field, renamed):
    if field.type_name:
        name = field.type_name[1:]
        return renamed.get(name, name)
    return FieldProto.Type.Name(field.type)[len("TYPE_"):].lower()


def encoding(message, field, renamed):
    """Everything about a field that its bytes depend on, in words."""
    return {
        "type": type_of(field, renamed),
        "label": FieldProto.Label.Name(field.label)[len("LABEL_"):].lower(),
        "packing": "packed" if is_packed(field) else "not packed",
        "presence": "explicit" if field.proto3_optional else "by kind",
        "place": "in a oneof" if oneof_of(message, field) else "on its own",
    }


def covers(ranges, number, end_is_inside):
    return any(r.start <= number < r.end + end_is_inside for r in ranges)


def compare_oneofs(found, field, old, now, new):
    """One field's oneof; which fields exclude each other is in the bytes."""
    before, after = oneof_of(old, field), oneof_of(new, now)
    if before is None or after is None:
        return
    known = {f.number for f in old.field} & {f.number for f in new.field}
    if numbers_in(old, before, known) != numbers_in(new, after, known):
        found(Level.WIRE, field, "excludes other fields than it did")
    elif before != after:
        found(Level.SOURCE, field, f"oneof {before} became {after}")


def compare_reserved(name, old, new):
    if (any(r not in old.reserved_range for r in new.reserved_range)
            or any(n not in old.reserved_name for n in new.reserved_name)):
        return [Finding(Level.ADDITION, f"{name}: reserves more")]
    return []


def compare_fields(name, old, new, renamed):
    findings = compare_reserved(name, old, new)

    def found(level, field, what):
        findings.append(Finding(level, f"{name}.{field.name}: {what}"))

    if old.options.map_entry != new.options.map_entry:
        findings.append(Finding(Level.WIRE, f"{name}: a map became a list of "
                                "messages, or the other way round"))
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
        before, after = encoding(old, field, renamed), encoding(new, now, {})
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
        compare_oneofs(found, field, old, now, new)
        if new_index != index:
            found(Level.BINARY, field, f"index {index} became {new_index}")
        findings += rest.of_field(f"{name}.{field.name}", field, now)
    for _, field in renewed.values():
        found(Level.BINARY, field, "a new field changes the layout of the "
                                   "class that programs were compiled with")
    return findings + rest.of_message(name, old, new)


def first_names(enum):
    """The name of each number that text and JSON show: the first declared."""
    names = {}
    for value in enum.value:
        names.setdefault(value.number, value.name)
    return names


def compare_old_values(found, old, new):
    by_name = {v.name: (i, v) for i, v in enumerate(new.value)}
    shown = first_names(new)
    for index, value in enumerate(old.value):
        new_index, now = by_name.get(value.name, (None, None))
        if now is None and value.number in shown:
            found(Level.SOURCE, value, f"renamed to {shown[value.number]}")
        elif now is None:
            retired = covers(new.reserved_range, value.number, True)
            found(Level.SOURCE if retired else Level.WIRE, value,
                  f"value {value.number} was removed" +
                  ("" if retired else " and may be given away again"))
        elif now.number != value.number:
            found(Level.WIRE, value, f"{value.number} became {now.number}")
        elif new_index != index:
            found(Level.BINARY, value, "has another index")
    for number, name in first_names(old).items():
        if by_name.get(name) and shown.get(number, name) != name:
            found(Level.WIRE, by_name[name][1],
                  f"is shown as {shown[number]}, which older readers of text "
                  "and JSON refuse")


def compare_enums(name, old, new, _renamed):
    findings = compare_reserved(name, old, new)

    def found(level, value, what):
        findings.append(Finding(level, f"{name}.{value.name}: {what}"))

    compare_old_values(found, old, new)
    names, numbers = {v.name for v in old.value}, {v.number for v in old.value}
    kept = {v.name for v in new.value} & names
    for value in new.value:
        if value.name in names:
            continue
        if value.number not in numbers:
            found(Level.ADDITION, value, f"new value {value.number}")
            if value.number == LARGEST_VALUE:
                found(Level.SOURCE, value, "the constant "
                      f"{new.name}_ARRAYSIZE goes with so large a value")
        elif first_names(old)[value.number] in kept:
            found(Level.ADDITION, value, "another name for "
                                         f"{value.number}")
    return findings + rest.of_enum(name, old, new)


def renamed_enums(old, new):
    """Enums that went where another with the same values came."""
    def values(place):
        return [(v.name, v.number) for v in place.proto.value]

    come = [name for name in new if name not in old]
    pairs = {}
    for name in old:
        alike = [n for n in come if values(new[n]) == values(old[name])]
        if name not in new and len(alike) == 1:
            pairs[name] = alike[0]
    return pairs


def compare_kind(kind, old, new, compare_contents, lost, renamed):
    """Messages or enums by full name; lost is how bad it is to lose one."""
    findings = []
    for name, was in old.items():
        now = new.get(name)
        if now is None:
            what = (f"renamed to {renamed[name]}" if name in renamed
                    else "was removed")
            findings.append(Finding(lost, f"{name}: {kind} {what}"))
            continue
        if now.file != was.file:
            findings.append(Finding(Level.SOURCE, f"{name}: moved from "
                                    f"{was.file} to {now.file}"))
        if now.index != was.index:
            findings.append(Finding(Level.BINARY, f"{name}: index {was.index} "
                                    f"in {was.file} became {now.index}"))
        findings += compare_contents(name, was.proto, now.proto, renamed)
    findings += [Finding(Level.ADDITION, f"{name}: new {kind}")
                 for name in new
                 if name not in old and name not in renamed.values()]
    return findings


def compare_names(old, new, macros):
    """New names that the preprocessor would replace in the headers."""
    return [Finding(Level.SOURCE, f"{name}: a macro of that name is defined "
                    "where programs include the headers")
            for name in sorted(identifiers(new) - identifiers(old))
            if name in macros]


def compare(old, new, macros):
    """All differences between two descriptor sets."""
    old_messages, old_enums = declarations(old)
    new_messages, new_enums = declarations(new)
    renamed = renamed_enums(old_enums, new_enums)
    return (compare_kind("message", old_messages, new_messages,
                         compare_fields, Level.WIRE, renamed) +
            compare_kind("enum", old_enums, new_enums, compare_enums,
                         Level.BINARY, renamed) +
            compare_names(old, new, macros) + rest.of_files(old, new))
