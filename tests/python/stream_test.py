#!/usr/bin/python3
"""Streams of messages: what is read, what is refused and where, beside `tarn`.

Usage: stream_test.py TARN CORPUS    with the package on PYTHONPATH
"""
import io
import pathlib
import re
import subprocess
import sys
import tempfile
import tracemalloc
import unittest
import warnings

import tarn
from google.protobuf.internal import api_implementation
from google.protobuf.internal.encoder import _VarintBytes as varint
from google.protobuf.message import DecodeError

TARN, CORPUS = sys.argv[1], pathlib.Path(sys.argv[2])
FRAMES = ('varint', 'u32be', 'u32le')
RADIOS = [tarn.Server(name='Roof', uuid='a', channel=11), tarn.Server(),
          tarn.Server(name='Yard', kt2=True, children=[tarn.ChildTypes(client=tarn.Client())])]
PLACE = re.compile(r'record (\d+): byte (\d+): (.*)')


def framed(messages, frame='varint'):
    stream = io.BytesIO()
    tarn.write_framed(stream, messages, frame)
    return stream.getvalue()


def read(data, frame='varint', message_type=tarn.Server, **options):
    """The messages that come before the damage, and the damage."""
    messages = []
    try:
        for message in tarn.read_framed(io.BytesIO(data), message_type, frame, **options):
            messages.append(message)
    except tarn.DamagedError as error:
        return messages, error
    return messages, None


def judged_by_tarn(data, frame):
    """Number of whole records; record, byte and reason of the damage, if any."""
    with tempfile.NamedTemporaryFile() as file:
        file.write(data)
        file.flush()
        done = subprocess.run([TARN, 'decode', 'Server', '--frame', frame, '--to', 'json',
                               file.name], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              encoding='utf-8')
    return (len(done.stdout.splitlines()),
            PLACE.search(done.stderr).groups() if done.returncode else None)


class Slow(io.RawIOBase):
    """Gives and takes three bytes at a time."""

    def __init__(self, data=b''):
        super().__init__()
        self.data = io.BytesIO(data)

    def read(self, size=-1):
        return self.data.read(min(size, 3))

    def write(self, data):
        return self.data.write(data[:3])


class Endless:
    """A stream of records, none of which exists before it is read."""

    def __init__(self, record, count):
        self.record, self.left, self.rest = record, count, b''

    def read(self, size):
        if not self.rest and self.left:
            self.left -= 1
            self.rest = self.record
        part, self.rest = self.rest[:size], self.rest[size:]
        return part


class StreamTest(unittest.TestCase):
    def test_bytes_are_a_length_and_a_message(self):
        messages = [tarn.Server(name='A'), tarn.Server(name='B' * 300)]
        a, b = b'\x0a\x01A', b'\x0a\xac\x02' + b'B' * 300
        self.assertEqual(framed(messages), b'\x03' + a + b'\xaf\x02' + b)
        self.assertEqual(framed(messages, 'u32be'), b'\0\0\0\x03' + a + b'\0\0\x01\x2f' + b)
        self.assertEqual(framed(messages, 'u32le'), b'\x03\0\0\0' + a + b'\x2f\x01\0\0' + b)

    def test_what_is_written_is_read_again(self):
        for frame in FRAMES:
            self.assertEqual(read(framed(RADIOS, frame), frame), (RADIOS, None))
            self.assertEqual(read(b'', frame), ([], None))
            self.assertEqual(judged_by_tarn(framed(RADIOS, frame), frame), (3, None))

    def test_the_whole_corpus_goes_through_a_stream(self):
        count = 0
        for folder in sorted((CORPUS / 'valid').iterdir()):
            message_type = tarn.type_named(folder.name)
            messages = [tarn.parse(message_type, file.read_bytes())
                        for file in sorted(folder.glob('*.binpb'))]
            for frame in FRAMES:
                again = read(framed(messages, frame), frame, message_type)
                self.assertEqual(framed(again[0], frame), framed(messages, frame))
                self.assertIsNone(again[1])
            count += len(messages)
        self.assertGreaterEqual(count, 400)

    def test_a_cut_at_each_byte_is_told_as_tarn_tells_it(self):
        for frame in FRAMES:
            data = framed(RADIOS, frame)
            for size in range(len(data)):
                messages, error = read(data[:size], frame)
                self.assertEqual(messages, RADIOS[:len(messages)])
                place = error and (str(error.record), str(error.offset), error.reason)
                self.assertEqual((len(messages), place), judged_by_tarn(data[:size], frame))
                if error:
                    self.assertIn(f'record {len(messages) + 1}: byte {error.offset}: cut off',
                                  str(error))

    def test_damage_of_each_byte_is_judged_as_tarn_judges_it(self):
        damaged = 0
        for frame in FRAMES:
            data = framed(RADIOS, frame)
            for at, byte in enumerate(data):
                broken = data[:at] + bytes([byte ^ 0x84]) + data[at + 1:]
                messages, error = read(broken, frame)
                count, place = judged_by_tarn(broken, frame)
                self.assertEqual(len(messages), count, (frame, at))
                self.assertEqual(error is None, place is None, (frame, at))
                if error:
                    damaged += 1
                    self.assertEqual(error.record, int(place[0]), (frame, at))
                    self.assertLessEqual(error.offset, int(place[1]), (frame, at))
        self.assertGreaterEqual(damaged, 50)

    def test_an_error_is_a_value_error_of_one_record(self):
        data = framed([RADIOS[0]]) + b'\x03\x0a\x01\xff' + framed([RADIOS[2]])
        messages, error = read(data)
        self.assertEqual(messages, RADIOS[:1])
        self.assertIsInstance(error, ValueError)
        self.assertEqual((error.record, error.offset), (2, len(framed([RADIOS[0]])) + 1))

    def test_a_group_that_was_not_opened_is_refused_whatever_the_filters(self):
        for action in 'ignore', 'always', 'error':
            for data in b'\x0c', b'\x0a\x01A\x0c', b'\xfa\xff\xff\xff\x0f\x00\x0c\x0a\x01A':
                with warnings.catch_warnings():
                    warnings.simplefilter(action)
                    with self.assertRaises(tarn.DamagedError):
                        tarn.parse(tarn.Server, data)
        self.assertEqual(tarn.parse(tarn.Server, b'\x0a\x01A'), tarn.Server(name='A'))

    def test_from_string_takes_a_part_for_the_whole_in_cpp_alone(self):
        # Where this changes, parse need not look twice, nor the page warn.
        data = b'\x0a\x01A\x0c'
        with warnings.catch_warnings(record=True) as warned:
            warnings.simplefilter('always')
            if api_implementation.Type() == 'cpp':
                self.assertEqual(tarn.Server.FromString(data), tarn.Server(name='A'))
                self.assertEqual(len(warned), 1)
            else:
                with self.assertRaises(DecodeError):
                    tarn.Server.FromString(data)

    def test_messages_in_messages_without_end_are_refused(self):
        data = b''
        for level in range(5000):
            # By turns a ChildTypes in a Server and a Server in a ChildTypes.
            data = (b'\x0a' if level % 2 else b'\x3a') + varint(len(data)) + data
        with self.assertRaises(tarn.DamagedError):
            tarn.parse(tarn.Server, data)

    def test_a_message_larger_than_the_limit_is_refused(self):
        data = framed([tarn.Server(name='x' * 98)])
        self.assertIsNone(read(data, max_size=100)[1])
        self.assertEqual(str(read(data, max_size=99)[1]),
                         'record 1: byte 0: message of 100 bytes: more than 99 bytes')
        for frame, header in (('varint', b'\xff' * 9 + b'\x01'), ('u32be', b'\xff' * 4),
                              ('u32le', b'\xff' * 4)):
            for options in {}, {'max_size': 2**70}:
                self.assertRegex(str(read(header, frame, **options)[1]), 'message of .*: more')
        self.assertEqual(read(b'\xff' * 11)[1].reason, 'a frame longer than ten bytes')

    def test_streams_may_give_and_take_few_bytes(self):
        for frame in FRAMES:
            data = framed(RADIOS, frame)
            self.assertEqual(list(tarn.read_framed(Slow(data), tarn.Server, frame)), RADIOS)
            slow = Slow()
            tarn.write_framed(slow, RADIOS, frame)
            self.assertEqual(slow.data.getvalue(), data)

    def test_a_stream_that_would_block_is_not_taken_for_its_end(self):
        slow = Slow(framed(RADIOS))
        slow.read = lambda size: None
        with self.assertRaises(BlockingIOError):
            list(tarn.read_framed(slow, tarn.Server))

    def test_an_unknown_frame_is_refused(self):
        with self.assertRaisesRegex(ValueError, 'varint, u32be and u32le'):
            list(tarn.read_framed(io.BytesIO(b'\0'), tarn.Server, 'u16'))
        with self.assertRaisesRegex(ValueError, 'varint, u32be and u32le'):
            tarn.write_framed(io.BytesIO(), RADIOS, 'u16')

    def test_memory_does_not_grow_with_the_stream(self):
        record = framed([tarn.FileMessage(fileData=bytes(100_000))])
        tracemalloc.start()
        count = sum(1 for _ in tarn.read_framed(Endless(record, 500), tarn.FileMessage))
        # Also where a length is announced and no bytes follow.
        self.assertIsNotNone(read(b'\xff\xff\xff\x1f', message_type=tarn.FileMessage)[1])
        peak = tracemalloc.get_traced_memory()[1]
        tracemalloc.stop()
        self.assertEqual(count, 500)
        self.assertLess(peak, 3_000_000)


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
