#!/usr/bin/python3
"""Wireshark with the plugin reads what the golden messages say, in streams,
datagrams and over NATS, however the segments fall; it names what is damaged.

Usage: wireshark_test.py TARN [unittest options]
With UPDATE=1 in the environment, the session and the table of the page are
written as they are now.
"""
import base64
import collections
import functools
import json
import math
import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

from shark import TREE, Shark
sys.path.insert(0, str(TREE / 'tools/wireshark'))
from capture import Capture, publish, record, sample, u32be, u32le, varint

TARN = sys.argv[1]
CORPUS = TREE / 'corpus'
PAGE = TREE / 'docs/wireshark.md'
SESSION = TREE / 'tests/wireshark/session.txt'
FIRST_PORT = 20000
INFO = '_ws.col.Info'
WIRE_TYPES = {'varint': 0, 'fixed64': 1, 'length': 2, 'fixed32': 5}


def golden(kind):
    """All messages of the corpus of this kind: name of the type, and file."""
    return [(file.parent.name, file) for file in sorted((CORPUS / kind).glob('*/*.binpb'))
            if '.canonical.' not in file.name]


def bytes_of(name):
    return (CORPUS / f'{name}.binpb').read_bytes()


def expected(cases):
    """What tarn says of each message, by its file: fields as (place, size, number,
    wire type, name), and values as (name, place, size, span)."""
    files, found = collections.defaultdict(list), {}
    for name, file in cases:
        files[name].append(file)
    for name, of_type in files.items():
        stream = b''.join(varint(len(data)) + data for data in map(Path.read_bytes, of_type))
        done = subprocess.run([TARN, 'annotate', name, '--json', '--frame', 'varint',
                               '--show-secrets'], check=True, capture_output=True, input=stream)
        for file, line in zip(of_type, done.stdout.splitlines(), strict=True):
            found[file] = fields_and_values(json.loads(line))
    return found


def fields_and_values(message):
    fields, values = [], []
    for span in message['spans']:
        leaf = re.sub(r'\[\d+\]$', '', span['path']).rpartition('.')[2]
        place, size = span['offset'] - message['offset'], span['size']
        if span['kind'] in ('record', 'list'):
            size += span['length']
        if span['kind'] != 'element':
            fields.append((place, size, span['number'], WIRE_TYPES[span['wireType']], leaf))
        if span['kind'] != 'list':
            skipped = span.get('tagSize', 0) + span.get('lengthSize', 0)
            values.append((leaf, place + skipped, size - skipped, span))
    return fields, values


def shown(packet):
    """What Wireshark shows of a datagram, in the same form."""
    protocol = packet.find('proto[@name="tarn"]')
    start = int(protocol.get('pos'))
    fields, values = [], []
    for item in protocol.iter('field'):
        place, size = int(item.get('pos')) - start, int(item.get('size'))
        part = {child.get('name').rpartition('.')[2]: child.get('show') for child in item}
        if not item.get('name') and 'number' in part:
            fields.append((place, size, int(part['number']), int(part['wiretype']),
                           part.get('name')))
        elif item.get('name').startswith('pbf.'):
            values.append((item.get('name').rpartition('.')[2], place, size, item))
    return fields, values


def is_value(item, span):
    """Whether an item of Wireshark shows the value of a span of tarn."""
    value = span.get('value')
    if value is None:
        return span['kind'] == 'record' and '(Message: ' in item.get('showname')
    if span.get('wireType') == 'fixed32':
        value, there = float(value), float(item.get('show'))
        return there == value or abs(there - value) <= 1e-5 * abs(value) or \
            math.isnan(there) and math.isnan(value)
    if isinstance(value, str):
        raw = base64.b64decode(value) if span.get('base64') else value.encode()
        return bytes.fromhex(item.get('value', '')) == raw
    return item.get('show') in (str(int(value)), str(value))


def complaints(packet):
    """What Wireshark finds wrong with it."""
    return [item.get('show') for item in packet.iter('field')
            if item.get('name') == '_ws.expert.message']


class WiresharkTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.shark = Shark()
        cls.addClassCleanup(cls.shark.close)

    def read(self, kind):
        """Each golden message in a datagram: name of the type, file, packet."""
        cases, capture = golden(kind), Capture()
        names = sorted({name for name, _ in cases})
        for name, file in cases:
            capture.datagram(FIRST_PORT + names.index(name), file.read_bytes())
        ports = ', '.join(f'{FIRST_PORT + i} {name}' for i, name in enumerate(names))
        packets = self.shark.packets(capture, udp=ports)
        self.assertEqual(len(cases), len(packets))
        return [(*case, packet) for case, packet in zip(cases, packets)]

    def test_golden_messages_are_shown_as_tarn_shows_them(self):
        cases = self.read('valid')
        wanted = expected([case[:2] for case in cases])
        for name, file, packet in cases:
            if not file.stat().st_size:  # no packet for a dissector
                continue
            with self.subTest(file=f'{name}/{file.stem}'):
                fields, values = wanted[file]
                there, items = shown(packet)
                self.assertEqual(fields, there)
                self.assertEqual([value[:3] for value in values], [item[:3] for item in items])
                for value, item in zip(values, items):
                    self.assertTrue(is_value(item[3], value[3]), (value, item[3].attrib))

    def test_the_page_counts_what_is_read_otherwise(self):
        taken, of = collections.Counter(), collections.Counter()
        for _, file, packet in self.read('rejected'):
            reason = file.with_suffix('.reason').read_text().strip()
            reason = 'invalid UTF-8' if reason.startswith('tarn.') else f'`{reason}`'
            of[reason] += 1
            taken[reason] += not complaints(packet)
        rows = [f'| {reason} | {taken[reason]} of {count} |\n'
                for reason, count in of.most_common() if taken[reason]]
        self.hold(PAGE, re.sub(r'(^\|.* \d+ of \d+ \|\n)+', ''.join(rows), PAGE.read_text(),
                               flags=re.M))
        found = [' '.join(complaints(packet)) for *_, packet in self.read('accepted')]
        stopped = collections.Counter('wiretype' in text for text in found if text)
        page = PAGE.read_text()
        self.assertIn(f'it stops at groups ({stopped[True]} messages)', page)
        self.assertIn(f'another wire type ({stopped[False]} messages)', page)

    def messages(self, capture, columns=('tarn.type', 'tarn.length'), **settings):
        """By the number of the stream: the columns, message by message."""
        found = collections.defaultdict(list)
        for number, *cells in self.shark.columns(capture, 'tcp.stream', *columns, **settings):
            found[int(number[0])] += zip(*cells, strict=True)
        return found

    def test_streams_are_read_however_their_segments_fall(self):
        price, server = (bytes_of(f'valid/{name}/every_field_set') for name in
                         ('Price', 'Server'))
        for length, frame in ((varint, 'varint'), (u32be, 'u32be'), (u32le, 'u32le')):
            record_of = functools.partial(record, length=length)
            for setting, sent, wanted in (
                    ('Server', (server, b'', server), 'Server Server Server'),
                    ('named', (b'Server', server, b'tarn.Price', price, b'Price', b''),
                     'Server Price Price')):
                stream = b''.join(map(record_of, sent))
                sizes = [len(part) for part in sent[setting == 'named'::1 + (setting == 'named')]]
                capture = Capture()
                for cut in range(1, len(stream)):
                    capture.connect(7001).send(stream, cut)
                capture.connect(7001).send(stream, *range(len(stream)))
                found = self.messages(capture, tcp=f'7001 {setting} {frame}')
                wanted = list(zip(wanted.split(), map(str, sizes)))
                self.assertEqual(found, {i: wanted for i in range(len(stream))})

    def test_nats_is_read_however_its_segments_fall(self):
        prices, server = (bytes_of(f'valid/{name}') for name in
                          ('Prices/only_prices', 'Server/every_field_set'))
        header = b'NATS/1.0\r\nNats-Subject: tarn.v0.north.Prices.set\r\nA: b\r\n\r\n'
        both = (len(header), len(header + prices))
        stream = b''.join((
            b'PING\r\n', publish('tarn.v0.kiosk.Server', server),
            b'hpub tarn.v0.south.Prices reply %d %d\r\n%s\r\n' % (*both, header + prices),
            b'SUB tarn.v0.*.* 1\r\n', publish('other.v0.kiosk.Server', b'tarn'),
            publish('tarn.v0.kiosk.Server_2', b'tarn'),
            b'MSG tarn.v0.depot.Err 7 $JS.ACK.1 0\r\n\r\n',
            b'HMSG _INBOX.a 9 %d %d\r\n%s\r\n' % (*both, header + prices)))
        capture = Capture()
        for cut in range(1, len(stream)):
            capture.connect(4222).send(stream, cut)
        capture.connect(4222).send(stream, *range(len(stream)))
        wanted = [('Server', 'kiosk'), ('Prices', 'south'), ('Err', 'depot'),
                  ('Prices', 'north')]
        found = self.messages(capture, ('tarn.type', 'tarn.site'))
        self.assertEqual(found, {i: wanted for i in range(len(stream))})

    def info(self, capture, **options):
        """What the list of packets says, by the number of the stream."""
        found = collections.defaultdict(list)
        for number, info in self.shark.columns(capture, 'tcp.stream', INFO, **options):
            found[int(number[0]) if number else 'datagrams'] += info
        return found

    def test_what_is_damaged_in_a_stream_is_named_and_ends_it(self):
        price = record(bytes_of('valid/Price/every_field_set'))
        cases = ((b'\xff\xff\xff\xff\x0f', 'message of 4294967295 bytes: more than 67108864'),
                 (b'\x81\x80\x80\x20', 'message of 67108865 bytes: more than 67108864'),
                 (b'\xff' * 10, 'the length of the message has more than ten bytes'))
        capture, wanted = Capture(), {}
        for damaged, said in cases:
            for cuts in ((), range(len(damaged))):
                connection = capture.connect(7001)
                connection.send(damaged, *cuts)
                wanted[len(wanted)] = [
                    said, f'not read: the stream is damaged in packet {len(capture.packets)}',
                    'Price']
                connection.send(price)
                connection.send(price, upwards=False)
        self.assertEqual(self.info(capture, tcp='7001 Price'), wanted)

    def test_what_is_no_name_of_a_type_is_named(self):
        cases = ((b'a b', '"a b" is no name of a type'),
                 (b'\x1b[31m', '"?[31m" is no name of a type'),
                 (b'', '"" is no name of a type'),
                 (b'x' * 101, 'name of 101 bytes: more than 100'))
        capture = Capture()
        for name, _ in cases:
            capture.connect(7001).send(record(name) + record(b''))
        self.assertEqual(self.info(capture, tcp='7001 named'),
                         {i: [said] for i, (_, said) in enumerate(cases)})

    def test_what_was_not_captured_is_named(self):
        capture = Capture()
        price = bytes_of('valid/Price/every_field_set')
        connection = capture.connect(7001)
        connection.send(record(price) * 2, 40)
        connection.send(record(price))
        del capture.packets[-3]
        self.assertEqual(self.info(capture, tcp='7001 Price')[0], [
            '[TCP Previous segment not captured] '
            'not read: what comes before it in the stream was not captured',
            'not read: the stream is damaged in packet 4'])
        capture = Capture()
        capture.connect(7001).send(record(price))
        capture.connect(4222).send(publish('tarn.v0.kiosk.Price', price))
        capture.datagram(7001, price)
        said = ['cut off: not all of it was captured']
        self.assertEqual(
            self.info(capture, cut_at=60, tcp='7001 Price', udp='7001 Price'),
            {0: said, 1: said, 'datagrams': said})

    def test_what_is_no_line_of_nats_is_named_and_reading_goes_on(self):
        price = publish('tarn.v0.kiosk.Price', bytes_of('valid/Price/every_field_set'))
        none = 'not read: no line of NATS begins here'
        cases = ((price[10:], none),
                 (b'\x16\x03\x01 a handshake of TLS', none),
                 (b'PUB a 1 2 3\r\n', none),
                 (b'PUB a -1\r\n', none),
                 (b'HPUB a 5 4\r\nabcd\r\n', none),
                 (b'PUB a 99999999999\r\n', 'payload of 99999999999 bytes: more than 67108864'),
                 (b'PUB a 1\r\nabc\r\n', 'the payload is not as long as the line before it says'),
                 (b'INFO ' + b'x' * 8192, 'a line of NATS of more than 8192 bytes'))
        capture = Capture()
        for damaged, _ in cases:
            connection = capture.connect(4222)
            connection.send(damaged)
            connection.send(price)
        found = self.info(capture)
        self.assertEqual([(said[0], said[-1]) for said in found.values()],
                         [(said, 'Price of kiosk') for _, said in cases])

    def test_preferences_that_cannot_be_read_are_named(self):
        for transport, entries in (
                ('tcp', ('7001', 'Price 7001', '70000 Price', '7001 Price u64', '7001 a b c')),
                ('udp', ('7001 named', '7001 Price varint'))):
            with self.assertRaises(AssertionError) as caught:
                self.info(Capture(), **{transport: ','.join(entries)})
            for entry in entries:
                self.assertIn(f'tarn.{transport}: "{entry}" is not PORT TYPE',
                              str(caught.exception))

    def test_values_are_not_in_the_list_of_packets(self):
        capture = Capture()
        capture.connect(4222).send(publish('tarn.v0.kiosk.Wifi',
                                           bytes_of('valid/Wifi/every_field_set')))
        self.assertEqual(self.info(capture), {0: ['Wifi of kiosk']})

    def test_a_type_that_is_not_in_the_schema_is_shown_by_numbers(self):
        capture = Capture()
        capture.connect(4222).send(publish('tarn.v0.kiosk.Nonsense', b'\x10\x02'))
        self.assertEqual(self.shark.columns(capture, 'tarn.type', 'protobuf.field.number',
                                            'protobuf.field.name'),
                         [[['Nonsense'], ['2'], ['<UNKNOWN>']]])

    def hold(self, file, right):
        """Fails if the file says otherwise, or has it say so."""
        if os.environ.get('UPDATE'):
            file.write_text(right)
        self.assertEqual(file.read_text(), right)

    def test_session_of_the_page(self):
        capture = sample(CORPUS)
        self.shark.write(capture, 'sample.pcap')
        right = ''
        for command in re.findall(r'^\$ (.*)$', SESSION.read_text(), re.M):
            right += f'$ {command}\n{self.shark.start(["sh", "-c", command])}'
        self.hold(SESSION, right)

    def test_the_sample_has_every_type(self):
        protos = ''.join(file.read_text() for file in (TREE / 'proto').glob('*.proto'))
        types = {cells[0][0] for cells in
                 self.shark.columns(sample(CORPUS), 'tarn.type') if cells[0]}
        self.assertEqual(types, set(re.findall(r'^message (\w+)', protos, re.M)))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1] + sys.argv[2:], verbosity=2)
