#!/usr/bin/python3
"""Writes captures of made-up traffic, in pcap format: what is sent over TCP and UDP
on one machine. Called as a program, it writes the sample of golden messages.

Usage: capture.py CORPUS FILE
"""
import itertools
import pathlib
import struct
import sys

# As it is sent on Ethernet, from one address of this machine to another.
CLIENT, SERVER = bytes((127, 0, 0, 1)), bytes((127, 0, 0, 2))
ETHERNET = bytes(12) + b'\x08\x00'
TCP, UDP = 6, 17
ACK, PUSH_ACK, SYN, SYN_ACK = 0x10, 0x18, 0x02, 0x12
SEGMENT = 1400
BEGIN = 1795327200  # 2026-11-22T06:00:00Z


def varint(number):
    """A length as most streams have it."""
    out = b''
    while number > 0x7f:
        out += bytes([number & 0x7f | 0x80])
        number >>= 7
    return out + bytes([number])


def u32be(number):
    return struct.pack('>I', number)


def u32le(number):
    return struct.pack('<I', number)


def record(data, length=varint):
    return length(len(data)) + data


def publish(subject, payload):
    """A message as a client hands it to a NATS server."""
    return b'PUB %s %d\r\n%s\r\n' % (subject.encode(), len(payload), payload)


class Capture:
    """Packets, each a millisecond after the one before."""

    def __init__(self):
        self.packets = []
        self.client_ports = itertools.cycle(range(50000, 60000))

    def _add(self, protocol, source, target, data):
        header = struct.pack('>BBHHHBBH4s4s', 0x45, 0, 20 + len(data), 0, 0, 64,
                             protocol, 0, source, target)
        self.packets.append(ETHERNET + header + data)

    def datagram(self, port, payload):
        header = struct.pack('>HHHH', next(self.client_ports), port, 8 + len(payload), 0)
        self._add(UDP, CLIENT, SERVER, header + payload)

    def connect(self, port):
        """A connection to a port, from its handshake."""
        return Connection(self, next(self.client_ports), port)

    def segment(self, upwards, ports, numbers, flags, payload):
        """One packet of a connection; `numbers` are those of sequence and answer."""
        ports = ports if upwards else ports[::-1]
        header = struct.pack('>HHIIBBHHH', *ports, *numbers, 0x50, flags, 65535, 0, 0)
        ends = (CLIENT, SERVER) if upwards else (SERVER, CLIENT)
        self._add(TCP, *ends, header + payload)

    def write(self, file, cut_at=65535):
        """Of each packet at most so many bytes."""
        file.write(struct.pack('<IHHiIII', 0xa1b2c3d4, 2, 4, 0, 0, cut_at, 1))
        for number, packet in enumerate(self.packets):
            kept = packet[:cut_at]
            file.write(struct.pack('<IIII', BEGIN + number // 1000, number % 1000 * 1000,
                                   len(kept), len(packet)) + kept)


class Connection:
    """Both directions of a TCP connection."""

    def __init__(self, capture, client_port, port):
        self.capture, self.ports = capture, (client_port, port)
        self.sent = {True: 0, False: 0}
        self._segment(True, SYN, b'')
        self.sent[True] = 1
        self._segment(False, SYN_ACK, b'')
        self.sent[False] = 1
        self._segment(True, ACK, b'')

    def _segment(self, upwards, flags, payload):
        numbers = (self.sent[upwards], self.sent[not upwards])
        self.capture.segment(upwards, self.ports, numbers, flags, payload)
        self.sent[upwards] += len(payload)

    def send(self, data, *cuts, upwards=True):
        """In segments that end at these offsets, and where they would be too long."""
        ends = sorted({*cuts, *range(SEGMENT, len(data), SEGMENT), len(data)})
        for begin, end in zip([0, *ends], ends):
            if end > begin:
                self._segment(upwards, PUSH_ACK, data[begin:end])


def sample(corpus):
    """A message of every type over NATS, and some in a stream and in datagrams."""
    capture = Capture()
    files = {file.parent.name: file.read_bytes() for pattern in ('only_*', 'every_field_set')
             for file in sorted((corpus / 'valid').glob(f'*/{pattern}.binpb'))}
    client = capture.connect(4222)
    client.send(b'INFO {"max_payload":1048576}\r\n', upwards=False)
    client.send(b'CONNECT {"verbose":false}\r\nPING\r\n')
    client.send(b'PONG\r\n', upwards=False)
    for name, data in files.items():
        client.send(publish(f'tarn.v0.kiosk.{name}', data))
    tree = corpus / 'valid/ModsConfigured/servers_of_every_status.binpb'
    client.send(publish('tarn.v0.depot.ModsConfigured', tree.read_bytes()))
    names = ('Price', 'Server', 'Dimming')
    capture.connect(7001).send(b''.join(record(name.encode()) + record(files[name])
                                        for name in names), 9, 100)
    for name in ('every_field_set', 'only_status'):
        capture.datagram(7002, (corpus / f'valid/Server/{name}.binpb').read_bytes())
    return capture


if __name__ == '__main__':
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    with open(sys.argv[2], 'wb') as out:
        sample(pathlib.Path(sys.argv[1])).write(out)
