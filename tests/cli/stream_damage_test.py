#!/usr/bin/python3
"""A stream that lost or gained a byte is read on with the next message.

Usage: stream_damage_test.py TARN
"""
import json
import re
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


def decode(frame, stream, name="Price"):
    """Returns the names of the products that are shown, and what is said beside them."""
    done = subprocess.run([TARN, "decode", name, f"--frame={frame}", "--keep-going",
                           "--to=json"], input=stream, capture_output=True, check=False, timeout=60)
    lines = [json.loads(line) for line in done.stdout.decode().splitlines()]
    return [line.get("productId") for line in lines], done.stderr.decode(), done.returncode


def what(stream, *options):
    """Returns the answer of `tarn what` as JSON."""
    done = subprocess.run([TARN, "what", "--json", *options], input=stream, capture_output=True,
                          check=False, timeout=60)
    return json.loads(done.stdout)


def sample(*options):
    return subprocess.run([TARN, "sample", *options], capture_output=True, check=True).stdout


def without(stream, *places):
    """Returns the stream without the bytes at these places."""
    for place in sorted(places, reverse=True):
        stream = stream[:place] + stream[place + 1:]
    return stream


def prices(number, entries=4):
    """Returns a message that is a list of others."""
    names = [f"double espresso {number} {entry}" for entry in range(entries)]
    return b"".join(field(1, price(name)) for name in names)


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

    def check_found(self, stream, frame, name):
        """Without a type `tarn what` finds what it finds with it."""
        found = what(stream, f"--frame={frame}")
        with_type = what(stream, f"--frame={frame}", f"--type={name}")
        self.assertEqual(found["errors"], with_type["errors"], frame)
        self.assertEqual([group["count"] for group in found["groups"]],
                         [group["count"] for group in with_type["groups"]], frame)
        return found

    def test_what_reads_on_with_the_types_that_it_has_seen(self):
        for frame in HEADERS:
            for small in ((), ("--modules=1", "--displays=1")):
                trees = sample("network", "--count=60", f"--frame={frame}", *small)
                size = len(trees)
                found = self.check_found(without(trees, size // 3, size // 2, size - 999),
                                         frame, "ModsConfigured")
                self.assertEqual([group["count"] for group in found["groups"]], [57])

    def test_the_first_message_can_be_the_damaged_one(self):
        for frame in HEADERS:
            trees = sample("network", "--count=30", f"--frame={frame}")
            found = self.check_found(without(trees, 3000, 17000), frame, "ModsConfigured")
            self.assertEqual(found["groups"][0]["last"], found["records"])

    def test_entries_of_a_broken_list_are_no_messages_of_the_stream(self):
        for frame, header in HEADERS.items():
            parts = frames(header, map(prices, range(9)))
            before = len(b"".join(parts[:5]))
            for lost in range(0, len(parts[5]), 1 if frame == "varint" else 5):
                found = what(without(b"".join(parts), before + lost), f"--frame={frame}")
                self.assertEqual([group["types"] for group in found["groups"]],
                                 [["tarn.Prices"]], (frame, lost))
                self.assertEqual((found["records"], found["broken"]), (9, 1), (frame, lost))

    def test_what_and_decode_give_the_same_numbers(self):
        for frame, header in HEADERS.items():
            parts = frames(header, map(prices, range(300)))
            # In the third entry of each list, so that the last two look like messages.
            damaged = [100, 150, 250]
            places = [len(b"".join(parts[:number])) + 80 for number in damaged]
            stream = without(b"".join(parts), *places)
            found = what(stream, f"--frame={frame}")
            _, said, _ = decode(frame, stream, "Prices")
            numbers = [error["record"] for error in found["errors"]]
            self.assertEqual(numbers, [number + 1 for number in damaged], frame)
            self.assertEqual(set(numbers), set(map(int, re.findall(r"record (\d+):", said))))

    def test_a_broken_list_is_no_stream_without_its_start(self):
        whole = prices(1, entries=2)
        for lost in range(len(whole)):
            self.assertEqual(what(without(whole, lost))["frame"], "none", lost)

    def test_messages_of_another_type_after_the_damage_are_found(self):
        for frame, header in HEADERS.items():
            parts = frames(header, [prices(0), prices(1), prices(2), *map(price, NAMES)])
            before = len(b"".join(parts[:2]))
            found = what(without(b"".join(parts), before + len(parts[2]) // 2),
                         f"--frame={frame}")
            counts = {group["types"][0]: group["count"] for group in found["groups"]}
            self.assertEqual(counts.get("tarn.Prices"), 2, (frame, counts))
            self.assertGreaterEqual(counts.get("tarn.Price", 0), len(NAMES), (frame, counts))


if __name__ == "__main__":
    unittest.main()
