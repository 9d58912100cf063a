"""A message as text."""
import functools
import itertools
import math
import struct

from memory import NODE_VALUE, Image, Unreadable, nodes, read, require, unpack
from schema import BOOL, ENUM, FLOAT, MESSAGE, NUMBERS, STRING

import gdb

# More than a message has: memory that leads in circles must come to an end. A
# value costs COST, a character 1.
BUDGET = 1_000_000
COST = 10
# A message that was parsed has 101 levels at most.
DEEPEST = 110
# MapFieldBase::STATE_MODIFIED_REPEATED.
LISTED = 1

SECRETS = {"tarn.Wifi.pass"}
MASK = "***"
UNREADABLE = "<unreadable>"


def shows(character):
    """Whether the terminal shows this character, and nothing but a character."""
    try:
        for charset in (gdb.host_charset(), gdb.target_charset()):
            character.encode(charset)
    except (UnicodeError, LookupError):
        return False
    return character.isprintable()


def quoted(data):
    escapes = {'"': '\\"', "\\": "\\\\", "\n": "\\n", "\r": "\\r", "\t": "\\t"}
    pieces = []
    # A byte that is not UTF-8 is decoded as half of a surrogate pair.
    for character in data.decode("utf-8", "surrogateescape"):
        if character in escapes:
            pieces.append(escapes[character])
        elif " " <= character <= "~" or shows(character):
            pieces.append(character)
        else:
            octets = character.encode("utf-8", "surrogateescape")
            pieces += [f"\\{octet:03o}" for octet in octets]
    return '"' + "".join(pieces) + '"'


def float_text(value):
    for digits in range(6, 9):
        text = f"{value:.{digits}g}"
        if math.isnan(value) or struct.pack("f", float(text)) == struct.pack("f", value):
            return text
    return f"{value:.9g}"


class Printer:
    """Prints one message, as far as the settings of `print` go."""

    def __init__(self, known):
        self.known = known
        options = gdb.print_options()
        self.limit = options["max_elements"] or BUDGET
        depth = options["max_depth"]
        self.deepest = min(DEEPEST, DEEPEST if depth < 0 else depth)
        self.pretty = options["pretty_structs"]
        self.left = BUDGET

    def message(self, address, expected, level=0, indent=0):
        if level >= self.deepest:
            return "{...}"
        image = Image(address, expected.size)
        # An object that is not made yet, or no longer, is of another class.
        require(image.unpack("Q", 0)[0] == expected.vtable)
        items = []
        unknown = self.tried(self.unknown, image, expected, level, indent)
        hidden = self.hidden(expected, unknown)
        for field in expected.fields:
            if not self.spend(COST):
                items.append("...")
                break
            value = self.tried(self.field, image, expected, field, level, indent)
            if value is not None:
                items.append(f"{field.name} = {MASK if field in hidden else value}")
        for index, name in enumerate(expected.oneofs):
            members = {field.number for field in expected.fields if field.oneof == index}
            case = self.tried(self.case, image, expected, index)
            if case not in members | {0}:
                items.append(f"{name} = {UNREADABLE}")
        if unknown:
            items += [MASK] if hidden else [unknown] if unknown == UNREADABLE else unknown
        return self.braces(items, indent)

    def hidden(self, message, unknown):
        secrets = {f for f in message.fields if f"{message.name}.{f.name}" in SECRETS}
        if not secrets or gdb.parameter("tarn-show-secrets"):
            return ()
        # A message that came damaged may have its pass phrase elsewhere.
        return message.fields if unknown else secrets

    def tried(self, get, *arguments):
        try:
            return get(*arguments)
        except (Unreadable, RecursionError):
            return UNREADABLE

    def spend(self, cost):
        self.left -= cost
        return self.left > 0

    def braces(self, items, indent):
        if not self.pretty or not items:
            return "{" + ", ".join(items) + "}"
        space = "\n" + " " * (indent + 2)
        return "{" + space + ("," + space).join(items) + "\n" + " " * indent + "}"

    def case(self, image, message, oneof):
        return image.unpack("I", message.oneof_case + 4 * oneof)[0]

    def field(self, image, message, field, level, indent):
        """The text of a field, None where it is absent."""
        choice = field.oneof is not None
        if choice and self.tried(self.case, image, message, field.oneof) != field.number:
            return None
        inside = self.known.messages.get(field.type)
        if field.repeated and inside and inside.entry:
            return self.map(image, field, inside)
        if field.repeated:
            return self.list(image, field, level, indent)
        if field.kind in NUMBERS:
            raw, = image.unpack(NUMBERS[field.kind], field.offset)
            absent = not any(struct.pack(NUMBERS[field.kind], raw))
            text = None if absent and not choice else self.number(field, raw)
        else:
            pointer, = image.unpack("Q", field.offset)
            if field.kind == MESSAGE:
                absent = pointer == 0
                text = None if absent else self.message(pointer, inside, level + 1, indent + 2)
            else:
                # The lowest bits say who owns the text.
                text = self.string(pointer & ~3)
                text = None if text == '""' and not choice else text
        return text

    def number(self, field, value):
        if field.kind == ENUM:
            return self.known.enums[field.type].get(value, str(value))
        if field.kind == BOOL:
            return {0: "false", 1: "true"}.get(value, str(value))
        return float_text(value) if field.kind == FLOAT else str(value)

    def string_bytes(self, address, limit):
        """The first bytes of a std::string, and its size."""
        data, size, capacity = unpack("QQQ", address)
        require(size <= (15 if data == address + 16 else capacity))
        shown = min(size, limit, max(self.left, 0))
        self.spend(shown)
        return read(data, shown), size

    def string(self, address):
        # Some more, which shows whether the last character is whole.
        return self.cut(*self.string_bytes(address, self.limit + 3))

    def cut(self, data, size):
        if size <= self.limit and size == len(data):
            return quoted(data)
        stop = min(self.limit, len(data))
        ends = [end for end in range(stop, max(stop - 4, -1), -1)
                if end == len(data) or data[end] & 0xC0 != 0x80]
        return quoted(data[:(ends or [stop])[0]]) + "..."

    def elements(self, values, count, show):
        """A list, of which the first elements are given."""
        shown = []
        for value in values:
            if not self.spend(COST):
                break
            shown.append(self.tried(show, value))
        return "{" + ", ".join(shown) + ("" if len(shown) == count else "...") + "}"

    def list(self, image, field, level, indent):
        pointers = field.kind not in NUMBERS
        size, room, values = image.unpack("iiQ", field.offset + (8 if pointers else 0))
        require(0 <= size <= room)
        if size == 0:
            return None
        shown = min(size, self.limit, self.left // COST + 1)
        if not pointers:
            numbers = unpack(f"{shown}{NUMBERS[field.kind]}", values)
            return self.elements(numbers, size, lambda value: self.number(field, value))
        require(unpack("i", values)[0] >= size)
        if field.kind == MESSAGE:
            inside = self.known.messages[field.type]
            show = functools.partial(self.message, expected=inside, level=level + 1,
                                     indent=indent + 4)
        else:
            show = self.string
        return self.elements(unpack(f"{shown}Q", values + 8), size, show)

    def unknown(self, image, message, level, indent):
        """The texts of the fields that the schema does not have."""
        pointer, = image.unpack("Q", message.metadata)
        return self.unknown_set((pointer & ~3) + 8, level, indent) if pointer & 1 else []

    def unknown_set(self, address, level, indent):
        begin, end = unpack("QQ", address)
        count, rest = divmod(end - begin, 16)
        require(rest == 0 and count >= 0)
        items = []
        for index in range(min(count, self.limit)):
            if not self.spend(COST):
                break
            number, kind, value = unpack("IIQ", begin + 16 * index)
            text = self.tried(self.unknown_value, kind, value, level, indent)
            items.append(f"{number} = {text}")
        return items + (["..."] if len(items) < count else [])

    def unknown_value(self, kind, value, level, indent):
        if kind == 0:
            return str(value)
        if kind in (1, 2):
            return f"{value & (1 << 32 * kind) - 1:#0{2 + 8 * kind}x}"
        if kind == 3:
            return self.string(value)
        require(kind == 4)
        if level + 1 >= self.deepest:
            return "{...}"
        return self.braces(self.unknown_set(value, level + 1, indent + 2), indent + 2)

    # Maps of texts to numbers: the schema has no others. The runtime keeps one as
    # a hash table, or as a list of entries until somebody asks for the table.

    def map(self, image, field, entry):
        key, value = entry.fields
        require(key.kind == STRING and value.kind in NUMBERS)
        machine = gdb.selected_inferior().architecture().name()
        state = field.offset + 24 + (48 if machine.startswith("aarch64") else 40)
        listed = image.unpack("I", state)[0] == LISTED
        if listed:
            entries, = image.unpack("Q", field.offset + 16)
            size, room, values = unpack("iiQ", entries + 8)
            require(0 <= size <= room)
            entries = unpack(f"{min(size, self.limit)}Q", values + 8)
            places = ((unpack("Q", e + key.offset)[0] & ~3, e + value.offset) for e in entries)
        else:
            size, buckets, table = image.unpack("QQ16xQ", state + 8)
            places = ((node, node + NODE_VALUE) for node in nodes(table, buckets))
        return self.pairs(places, size, value, listed) if size else None

    def pairs(self, places, count, field, listed):
        shown, wanted, taken = {}, min(count, self.limit), 0
        try:
            for key, value in itertools.islice(places, wanted):
                if not self.spend(COST):
                    break
                data, size = self.string_bytes(key, BUDGET)
                number = self.number(field, *unpack(NUMBERS[field.kind], value))
                shown[data] = f"[{self.cut(data, size)}] = {number}"
                taken += 1
        except Unreadable:
            pass
        items = [text for _, text in sorted(shown.items())]
        # In a list, as in what is received, the last of equal keys holds.
        if (taken < wanted and self.left > 0) or (len(shown) < taken and not listed):
            items.append(UNREADABLE)
        return "{" + ", ".join(items) + ("..." if taken < count else "") + "}"
