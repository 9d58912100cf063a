"""Writes wire bytes for the tests beside this file."""


def varint(value):
    out = bytearray()
    while value >= 0x80:
        out.append(value & 0x7F | 0x80)
        value >>= 7
    return bytes(out + bytes([value]))


def field(number, content):
    """A number as a varint; text and bytes with their length in front."""
    if isinstance(content, int):
        return varint(number << 3) + varint(content)
    content = content.encode() if isinstance(content, str) else content
    return varint(number << 3 | 2) + varint(len(content)) + content


def framed(messages):
    """Each message after its length, as tarn --frame=varint reads them."""
    return b"".join(varint(len(message)) + message for message in messages)
