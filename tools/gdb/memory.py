"""The memory of the program, and what the runtime keeps there in ways of its own."""
import struct

import gdb

# A node in the hash table of a map from texts to numbers: a std::string, the
# number, and the address of the next node. Of a table no more than so many
# places are searched.
NODE_VALUE, NODE_NEXT = 32, 40
BUCKETS = 1 << 22
CHUNK = 4096
# A tree that is balanced has no longer branch.
BRANCH = 128


class Unreadable(Exception):
    """What is in memory cannot be a part of a message."""


class Foreign(Unreadable):
    """Messages of this processor lie in memory in another way."""


def read(address, size):
    try:
        return bytes(gdb.selected_inferior().read_memory(address, size)) if size else b""
    except (gdb.error, OverflowError, ValueError, MemoryError) as error:
        raise Unreadable from error


def unpack(layout, address):
    return struct.unpack("<" + layout, read(address, struct.calcsize("<" + layout)))


def require_known_processor():
    machine = gdb.selected_inferior().architecture().name()
    if not machine.startswith(("i386:x86-64", "aarch64")):
        raise Foreign


def require(condition):
    if not condition:
        raise Unreadable


class Image:
    """The bytes of an object. Where its end cannot be read, its beginning can."""

    def __init__(self, address, size):
        self.address = address
        try:
            self.data = read(address, size)
        except Unreadable:
            self.data = b""

    def unpack(self, layout, offset):
        end = offset + struct.calcsize("<" + layout)
        if end > len(self.data):
            return unpack(layout, self.address + offset)
        return struct.unpack("<" + layout, self.data[offset:end])


def nodes(table, buckets):
    """The addresses of the nodes of a hash table."""
    for first in range(0, min(buckets, BUCKETS), CHUNK):
        chunk = unpack(f"{min(CHUNK, buckets - first)}Q", table + 8 * first)
        for index, node in enumerate(chunk):
            # A tree serves two buckets next to each other.
            if node and chunk[index ^ 1] == node:
                if index % 2 == 0:
                    yield from tree(node)
                continue
            while node:
                yield node
                node, = unpack("Q", node + NODE_NEXT)


def tree(address):
    """The addresses in a std::map of keys and addresses, in the order of keys."""
    place, = unpack("Q", address + 24)
    above = []
    while place or above:
        while place:
            require(len(above) < BRANCH)
            above.append(place)
            place, = unpack("Q", place + 16)
        place = above.pop()
        yield unpack("Q", place + 40)[0]
        place, = unpack("Q", place + 24)
