#!/usr/bin/python3
"""A stream that lost or gained a byte is read on with the next message.

Usage: stream_damage_test.py TARN
"""
import json
import struct
import subprocess
import sys
import unittest

from wire import field, varint

TARN = sys.argv.pop()
HEADERS = {"varint": varint, "u32be": struct.Struct(">I").pack, "u32le": struct.Struct("<I").pack}
NAMES = [f"espresso {number}" for number in range(12)]
DAMAGED = 4


def price(name):
    return field(1, 2) + field(2, name) + field(3, "2.50")


def frames(header, messages):
    return [header(len(message)) + message for message in messages]


def decode(frame, stream):
    """Returns the names of the products that are shown, and what is said beside them."""
    done = subprocess.run([TARN, "decode", "Price", f"--frame={frame}", "--keep-going",
                           "--to=json"], input=stream, capture_output=True, check=False, timeout=60)
    lines = [json.loads(line) for line in done.stdout.decode().splitlines()]
    return [line.get("productId") for line in lines], done.stderr.decode(), done.returncode


class StreamDamageTest(unittest.TestCase):
    def check_others(self, frame, parts, what):
        shown, said, code = decode(frame, b"".join(parts))
        others = [name for name in NAMES if name != NAMES[DAMAGED]]
        self.assertEqual([name for name in shown if name in others], others, (frame, what, said))
        return said, code

    def test_after_a_lost_byte_the_next_message_is_shown(self):
        for frame, header in HEADERS.items():
            parts = frames(header, map(price, NAMES))
            whole = parts[DAMAGED]
            for lost in range(len(whole)):
                parts[DAMAGED] = whole[:lost] + whole[lost + 1:]
                said, code = self.check_others(frame, parts, f"without byte {lost}")
                self.assertEqual(code, 3, (frame, lost))
                self.assertRegex(said, "out of step|length in front is wrong", (frame, lost))
                self.assertNotIn("--max-size", said)

    def test_after_a_byte_too_many_the_next_message_is_shown(self):
        for frame, header in HEADERS.items():
            parts = frames(header, map(price, NAMES))
            whole = parts[DAMAGED]
            for at in range(len(whole)):
                parts[DAMAGED] = whole[:at] + b"\x07" + whole[at:]
                self.check_others(frame, parts, f"one more at {at}")

    def test_a_stream_without_its_start_is_read_from_the_first_message_on(self):
        for frame, header in HEADERS.items():
            parts = frames(header, map(price, NAMES))
            for lost in range(1, len(parts[0])):
                shown, said, code = decode(frame, b"".join(parts)[lost:])
                self.assertEqual([name for name in shown if name in NAMES[1:]], NAMES[1:],
                                 (frame, lost, said))
                self.assertEqual(code, 3, (frame, lost))

    def test_broken_messages_in_a_row_are_not_out_of_step(self):
        broken = field(1, 2) + b"\x12\x7fabc"
        for frame, header in HEADERS.items():
            messages = [price(name) for name in NAMES]
            messages[3:6] = [broken] * 3
            shown, said, _ = decode(frame, b"".join(frames(header, messages)))
            self.assertEqual(shown, NAMES[:3] + NAMES[6:], frame)
            self.assertNotIn("out of step", said, frame)

    def test_a_length_above_what_is_left_gets_no_advice_to_read_more(self):
        for frame in ("u32be", "u32le"):
            header = HEADERS[frame]
            stream = header(len(price("a"))) + price("a") + header(0x7e7e7e7e) + price("b")
            shown, said, code = decode(frame, stream)
            self.assertEqual((shown, code), (["a"], 3))
            self.assertIn("the frame is lost: its length says 2122219134, but", said)
            self.assertNotIn("--max-size", said)


if __name__ == "__main__":
    unittest.main()
