#!/usr/bin/python3
"""Every file of corpus/ read with the Python package: a second opinion.

usage: corpus_test.py CORPUS PACKAGE cpp|python

PACKAGE is the folder where the build puts it together. The last argument chooses
between the two implementations that Debian ships: `cpp` is made of the C++ runtime,
`python` shares no code with it.
"""
import contextlib
import json
import os
import pathlib
import struct
import sys
import unittest

CORPUS = pathlib.Path(sys.argv[1])
sys.path.insert(1, sys.argv[2])
IMPLEMENTATION = sys.argv[3]
os.environ['PROTOCOL_BUFFERS_PYTHON_IMPLEMENTATION'] = IMPLEMENTATION

# pylint: disable=wrong-import-position
from google.protobuf import json_format, text_format
from google.protobuf.internal import api_implementation
from reference import schema_table
import tarn

# The cases in which a runtime other than that of C++ may differ.
LIMITS = {line.split()[1] for line in
          (CORPUS / 'runtime_limits.txt').read_text().splitlines()}
# Where else an implementation is known to differ: why, and in which cases. Every
# other case agrees; one that is listed and agrees all the same is a failure.
DIFFERENT = {
    'cpp': {
        'does not read the JSON that it prints for this float': [
            'valid/ClientStatusMsg/largest_float',
        ],
        'keeps a map as a list of records until somebody looks at it': [
            'accepted/NetworkStatusReport/key_as_varint_is_dropped',
            'accepted/NetworkStatusReport/last_value_of_a_key_wins',
            'accepted/NetworkStatusReport/two_reports_in_a_row_are_merged',
            'accepted/NetworkStatusReport/unknown_field_of_an_entry_is_dropped',
        ],
    },
    'python': {
        'takes the digits of this float for infinity': [
            'valid/ClientStatusMsg/largest_float',
        ],
        'takes -0.0 for the default': [
            'valid/CCMsgDefinitions/negative_zero_is_written',
            'valid/ClientStatusMsg/negative_zero_is_written',
            'valid/HwIdRowInfo/negative_zero_is_written',
        ],
        'knows one NaN only': [
            'accepted/ClientStatusMsg/nan_payload_is_kept',
            'accepted/ClientStatusMsg/negative_nan_is_kept',
            'accepted/ClientStatusMsg/signalling_nan_is_kept',
        ],
        'compares keys by their bytes, so that a longer form is unknown': [
            'accepted/Price/overlong_keys_are_read',
        ],
        'skips a field numbered 0 inside a group': [
            'rejected/BaseMsg/field_number_zero_in_a_group',
        ],
    },
}[IMPLEMENTATION]
DIFFERENT_CASES = [name for names in DIFFERENT.values() for name in names]
DIFFERS = (AssertionError, tarn.DamagedError, json_format.ParseError)


def canonical(message):
    return message.SerializeToString(deterministic=True)


def json_values(text):
    """What the text says; a float of four bytes has several spellings."""
    return json.loads(text, parse_float=lambda digits: struct.unpack(
        'f', struct.pack('f', float(digits))))


def cases(kind, suffix):
    """Yields name, class, bytes and companion file of every case of a kind."""
    for companion in sorted((CORPUS / kind).glob('*/*' + suffix)):
        stem = companion.name[:-len(suffix)]
        name = f'{kind}/{companion.parent.name}/{stem}'
        data = companion.with_name(stem + '.binpb').read_bytes()
        yield name, tarn.TYPES[companion.parent.name], data, companion


class CorpusTest(unittest.TestCase):
    def check_all(self, kind, suffix, check):
        """Runs `check` on every case; those listed as different must fail, and
        those at a limit may, where the runtime is not that of C++."""
        count = 0
        for name, cls, data, companion in cases(kind, suffix):
            count += 1
            with self.subTest(name):
                if name in DIFFERENT_CASES:
                    with self.assertRaises(DIFFERS):
                        check(cls, data, companion)
                elif name in LIMITS and IMPLEMENTATION != 'cpp':
                    with contextlib.suppress(*DIFFERS):
                        check(cls, data, companion)
                else:
                    check(cls, data, companion)
        print(f'{IMPLEMENTATION}: {count} {kind} cases')
        self.assertGreaterEqual(count, 100)

    def test_implementation_is_the_one_asked_for(self):
        self.assertEqual(api_implementation.Type(), IMPLEMENTATION)

    def test_every_message_is_there(self):
        self.assertEqual(len(tarn.TYPES), schema_table.MESSAGES)

    def test_every_case_that_is_listed_as_different_exists(self):
        self.assertTrue(LIMITS)
        self.assertFalse(LIMITS & set(DIFFERENT_CASES))
        for name in LIMITS | set(DIFFERENT_CASES):
            self.assertTrue((CORPUS / (name + '.binpb')).exists(), name)

    def test_valid(self):
        def check(cls, data, companion):
            message = tarn.parse(cls, data)
            self.assertEqual(canonical(message), data)
            own_text = companion.with_suffix('.txtpb').read_text('utf-8')
            printed_text = text_format.MessageToString(message, as_utf8=True)
            for text in own_text, printed_text:
                parsed = text_format.Parse(text, cls())
                self.assertEqual(canonical(parsed), data)
            own_json = companion.read_text('utf-8')
            printed_json = json_format.MessageToJson(message)
            self.assertEqual(json_values(printed_json), json_values(own_json))
            for text in own_json, printed_json:
                parsed = json_format.Parse(text, cls())
                self.assertEqual(canonical(parsed), data)

        self.check_all('valid', '.json', check)

    def test_accepted(self):
        def check(cls, data, companion):
            expected = companion.read_bytes()
            self.assertEqual(canonical(tarn.parse(cls, data)), expected)

        self.check_all('accepted', '.canonical.binpb', check)

    def test_rejected(self):
        def check(cls, data, companion):
            with self.assertRaises(tarn.DamagedError) as raised:
                tarn.parse(cls, data)
            # `cpp` names the field in a line of its own on standard error.
            if isinstance(raised.exception.__cause__, UnicodeDecodeError):
                self.assertIn(companion.read_text().strip(), str(raised.exception))

        self.check_all('rejected', '.reason', check)

    def test_a_field_named_like_a_keyword_is_reached(self):
        wifi = tarn.parse(tarn.Wifi, b'\x12\x01p')
        self.assertEqual(tarn.get_Wifi_pass(wifi), 'p')
        tarn.set_Wifi_pass(wifi, 'q')
        self.assertEqual(wifi, tarn.Wifi(**{'pass': 'q'}))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
