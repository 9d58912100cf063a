#!/usr/bin/python3
"""Whether corpus/runtime_limits.txt names exactly the cases in which runtimes
may differ, by a reading of their bytes that knows nothing of how they came.

usage: corpus_limits_test.py CORPUS DESCRIPTOR_SET
"""
import pathlib
import sys

from google.protobuf import descriptor_pb2

CORPUS = pathlib.Path(sys.argv[1])
FILES = descriptor_pb2.FileDescriptorSet.FromString(
    pathlib.Path(sys.argv[2]).read_bytes()).file
# By full name; those of map entries among them.
TYPES = {}


def collect(prefix, messages):
    for message in messages:
        name = f'{prefix}.{message.name}'
        TYPES[name] = {field.number: field for field in message.field}
        collect(name, message.nested_type)


class Broken(Exception):
    """The rest cannot be read."""


class Reading:
    """Finds in the bytes of a case what runtimes may take otherwise."""

    def __init__(self, kind, data):
        self.data, self.found, self.deepest = data, set(), 0
        try:
            self.message(0, len(data), kind, 0, None)
        except Broken:
            pass
        if self.deepest >= 100:
            self.found.add('depth')

    def varint(self, at, end):
        """The value with all its bits, and where it ends."""
        value = 0
        for count in range(11):
            if at + count >= end or count == 10:
                raise Broken
            byte = self.data[at + count]
            value |= (byte & 0x7F) << 7 * count
            if byte < 0x80:
                return value, at + count + 1
        raise Broken

    def note(self, value, size, bits, longest, kind):
        if size > longest:
            self.found.add(kind)
            raise Broken
        if value >> bits:
            self.found.add('surplus_bits')
        return value & ((1 << bits) - 1)

    def overlong(self, value, size):
        return size > max(1, (value.bit_length() + 6) // 7)

    def message(self, at, end, kind, depth, group):
        """Reads to the end or to the end of the group; says where that is."""
        self.deepest = max(self.deepest, depth)
        fields = TYPES.get(kind, {})
        while at < end:
            key, after = self.varint(at, end)
            is_long = self.overlong(key, after - at)
            key = self.note(key, after - at, 32, 5, 'long_key')
            number, wire = key >> 3, key & 7
            if number == 0 or (wire == 4 and number != group):
                raise Broken
            if wire == 4:
                return after
            field = fields.get(number)
            at, shortened = self.value(after, end, wire, field, depth, number)
            if field is None and (is_long or shortened):
                self.found.add('overlong_unknown')
        return at

    def value(self, at, end, wire, field, depth, number):
        """Where the value ends, and whether it could be shorter."""
        if wire == 3:
            return self.message(at, end, None, depth + 1, number), False
        if wire in (1, 5):
            return at + (8 if wire == 1 else 4), False
        if wire not in (0, 2):
            raise Broken
        value, after = self.varint(at, end)
        shortened = self.overlong(value, after - at)
        if wire == 0:
            self.note(value, after - at, 64, 10, None)
            return after, shortened
        length = self.note(value, after - at, 32, 5, 'long_length')
        if after + length > end:
            raise Broken
        if field is not None and field.type == field.TYPE_MESSAGE:
            self.message(after, after + length, field.type_name[1:], depth + 1,
                         None)
        return after + length, shortened


for file in FILES:
    collect(file.package, file.message_type)
read = {}
count = 0
for path in sorted(CORPUS.glob('*/*/*.binpb')):
    if path.name.endswith('.canonical.binpb'):
        continue
    count += 1
    name = str(path.relative_to(CORPUS))[:-len('.binpb')]
    kinds = Reading(f'tarn.{path.parent.name}', path.read_bytes()).found
    if kinds:
        read[name] = ' '.join(sorted(kinds))
lines = (CORPUS / 'runtime_limits.txt').read_text().splitlines()
marked = {line.split()[1]: line.split()[0] for line in lines}
different = sorted(set(read.items()) ^ set(marked.items()))
print(f'{count} cases, {len(marked)} marked; different: {different}')
sys.exit(1 if different or len(marked) != len(lines) or not marked else 0)
