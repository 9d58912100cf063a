"""The messages, as the library in the program describes them: in descriptors, which
are encoded messages of their own, and in its table of offsets."""
import functools
import struct
from collections import namedtuple

from memory import Unreadable, read, require, require_known_processor, unpack

import gdb

Message = namedtuple("Message", "name fields oneofs metadata oneof_case size vtable entry")
Field = namedtuple("Field", "name number repeated kind type oneof offset")

# DescriptorTable of Protocol Buffers 3.21.
TABLE = "<??xxi4Qii3Q"

# The types of fields in a descriptor, and how numbers are stored.
FLOAT, BOOL, STRING, MESSAGE, BYTES, ENUM = 2, 8, 9, 11, 12, 14
REPEATED = 3
NUMBERS = {1: "d", 2: "f", 3: "q", 4: "Q", 5: "i", 6: "Q", 7: "I", 8: "B", 13: "I", 14: "i",
           15: "i", 16: "q", 17: "i", 18: "q"}


def varint(data, at):
    value = shift = 0
    while True:
        value |= (data[at] & 127) << shift
        at, shift = at + 1, shift + 7
        if data[at - 1] < 128:
            return value, at


def parse(data):
    """The values of an encoded descriptor, in lists by the numbers of fields."""
    values, at = {}, 0
    while at < len(data):
        key, at = varint(data, at)
        value, at = varint(data, at)
        require(key & 7 in (0, 2))
        if key & 7 == 2:
            value, at = data[at:at + value], at + value
        values.setdefault(key >> 3, []).append(value)
    return values


def text_of(values, number):
    return values.get(number, [b""])[0].decode()


def number_of(values, number):
    return values.get(number, [0])[0]


def enum_of(values):
    names = {}
    for value in map(parse, values.get(2, [])):
        number = number_of(value, 2)
        names.setdefault(number - (number >> 63 << 64), text_of(value, 1))
    return names


class Schema:
    """The messages and enums that the library describes."""

    def __init__(self, tables):
        self.messages, self.enums, self.by_vtable = {}, {}, {}
        for table, descriptor in tables:
            *_, count, schemas, instances, offsets = struct.unpack(TABLE, table)
            file = parse(descriptor)
            found = []
            self.collect("." + text_of(file, 2), file, 4, 5, found)
            require(len(found) == count)
            layouts = struct.iter_unpack("<4i", read(schemas, 16 * count))
            pointers = unpack(f"{count}Q", instances)
            for (name, values), layout, instance in zip(found, layouts, pointers):
                self.add(name, values, offsets + 4 * layout[0], layout[3], *unpack("Q", instance))

    # Messages come in the order of the library's tables: nested ones first.
    def collect(self, scope, values, messages, enums, found):
        for enum in map(parse, values.get(enums, [])):
            self.enums[f"{scope}.{text_of(enum, 1)}"] = enum_of(enum)
        for message in map(parse, values.get(messages, [])):
            name = f"{scope}.{text_of(message, 1)}"
            self.collect(name, message, 3, 4, found)
            found.append((name, message))

    def add(self, name, values, table, size, vtable):
        fields = [parse(field) for field in values.get(2, [])]
        oneofs = [text_of(parse(oneof), 1) for oneof in values.get(8, [])]
        _, metadata, _, oneof_case, _, _, *offsets = unpack(
            f"{6 + len(fields) + len(oneofs)}I", table)
        made = []
        for index, field in enumerate(fields):
            oneof = field[9][0] if 9 in field else None
            offset = offsets[index if oneof is None else len(fields) + oneof]
            kind = number_of(field, 5)
            # The lowest bit says how a text or message is stored: always the same.
            offset &= ~1 if kind in (STRING, MESSAGE, BYTES) else ~0
            made.append(Field(text_of(field, 1), number_of(field, 3),
                              number_of(field, 4) == REPEATED, kind, text_of(field, 6), oneof,
                              offset))
        options = parse(number_of(values, 7) or b"")
        message = Message(name[1:], made, oneofs, metadata, oneof_case, size, vtable,
                          bool(number_of(options, 7)))
        require(vtable)  # 0 before the loader has come to it
        self.messages[name] = self.by_vtable[vtable] = message


@functools.lru_cache(maxsize=4)
def schema_of(tables):
    try:
        return Schema(tables)
    except (IndexError, AttributeError, TypeError, UnicodeDecodeError) as error:
        raise Unreadable from error


@functools.lru_cache
def table_address(stem, _):
    """In one program; gdb takes long to find a symbol."""
    return int(gdb.parse_and_eval(f"(unsigned long)&descriptor_table_{stem}_2eproto"))


# A program that starts again loads its libraries again.
gdb.events.new_objfile.connect(lambda _: table_address.cache_clear())


def schema():
    """That of the library in the program. The schema is read again when another
    library, or the same one elsewhere, is loaded."""
    tables = []
    for stem in ("Tarn", "Network"):
        try:
            address = table_address(stem, gdb.selected_inferior().num)
        except gdb.error as error:
            raise Unreadable from error
        require_known_processor()
        table = read(address, struct.calcsize(TABLE))
        _, _, size, descriptor, *_, count, _, _, _ = struct.unpack(TABLE, table)
        require(0 < size < 1 << 20 and 0 < count < 1 << 12)
        tables.append((table, read(descriptor, size)))
    return schema_of(tuple(tables))
