#!/usr/bin/python3
"""Tries examples/firmware on this machine and on a Cortex-M3 that qemu has.

Usage: firmware_test.py INSTALL CORPUS HOST [ARM]

INSTALL is libschema's, with tarn; HOST and ARM are builds of the example. Both
builds of `reader` are asked about every golden message, and both of `controller`
get frames that are right and wrong. Without ARM, only those of this machine are.
"""
import json
import os
import pathlib
import random
import re
import selectors
import subprocess
import sys
import unittest

from google.protobuf import descriptor_pb2, descriptor_pool, message_factory

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "cli"))
# pylint: disable=wrong-import-position
from wire import framed

INSTALL, CORPUS, HOST, *OTHERS = (pathlib.Path(path).resolve() for path in sys.argv[1:])
QEMU = ["qemu-system-arm", "-M", "mps2-an385", "-display", "none", "-monitor", "none",
        "-chardev", "stdio,id=line", "-serial", "chardev:line", "-kernel"]
MACHINES = {"host": [HOST / "{}"], **{"arm": [*QEMU, arm / "{}"] for arm in OTHERS}}
DECODED, NOT_TEXT, MALFORMED, NODES = range(4)
FRAME_FAULT, FORM_FAULT, TEXT_FAULT, SETTING_FAULT = 1, 2, 4, 8
# What the page on firmware says.
MOST_STACK = 2048


class Line:
    """A program at the other end of a serial line."""

    def __init__(self, machine, program):
        command = [str(word).format(program) for word in MACHINES[machine]]
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        bufsize=0)
        self.selector = selectors.DefaultSelector()
        self.selector.register(self.process.stdout, selectors.EVENT_READ)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.selector.close()
        self.process.kill()
        self.process.communicate()

    def send(self, data):
        self.process.stdin.write(data)

    def read(self, size):
        data = b""
        while len(data) < size:
            assert self.selector.select(60), "no answer for a minute"
            part = os.read(self.process.stdout.fileno(), size - len(data))
            assert part, "the program has ended"
            data += part
        return data

    def answer(self):
        """The content of the next frame."""
        size = shift = 0
        while True:
            byte = self.read(1)[0]
            size |= (byte & 0x7F) << shift
            shift += 7
            if byte < 0x80:
                return self.read(size)

    def ask(self, data):
        self.send(framed([data]))
        return self.answer()


def types():
    """The names of the messages, in the order of their numbers."""
    return re.findall(r"TYPE\(tarn_(\w+)\)", (HOST / "types.inc").read_text())


def golden(kind):
    """The golden messages of a kind: type, case and bytes."""
    for path in sorted((CORPUS / kind).glob("*/*.binpb")):
        if not path.name.endswith(".canonical.binpb"):
            yield path.parent.name, path, path.read_bytes()


def classes():
    """The classes of all messages by name, made from the installed schema."""
    pool = descriptor_pool.DescriptorPool()
    files = descriptor_pb2.FileDescriptorSet.FromString(
        (INSTALL / "share/tarn/tarn.binpb").read_bytes())
    for file in files.file:
        pool.Add(file)
    factory = message_factory.MessageFactory(pool)
    return {name: factory.GetPrototype(pool.FindMessageTypeByName(f"tarn.{name}"))
            for name in types()}


def known(message):
    """A message without what the schema does not know, in one form for one value."""
    message.DiscardUnknownFields()
    for field in message.DESCRIPTOR.fields:
        if field.name.endswith("status_packet"):
            dict(getattr(message, field.name))  # makes a map of the entries
    return message.SerializeToString(deterministic=True)


def has_nodes(message):
    """Whether there is a list of nodes in a message."""
    for field, value in message.ListFields():
        if field.message_type is None or field.message_type.GetOptions().map_entry:
            continue
        several = field.label == field.LABEL_REPEATED
        if several and field.message_type.name in ("ChildTypes", "ModsAvailable"):
            return True
        if any(has_nodes(inner) for inner in (value if several else [value])):
            return True
    return False


def findings(name, file, messages):
    """What `tarn check` says of each message of a type, with the installed bounds."""
    profile = INSTALL / "share/tarn/nanopb" / file.replace(".proto", ".options")
    stream = framed(messages)
    done = subprocess.run([INSTALL / "bin/tarn", "check", name, "--json", "--frame=varint",
                           f"--profile={profile}"], input=stream, capture_output=True, check=False)
    assert done.returncode in (0, 1), done.stderr
    return [json.loads(line)["findings"] for line in done.stdout.splitlines()]


class Answers:
    """What both builds of the reader answer to all golden messages."""

    def __init__(self):
        self.stack = {}
        self.by_machine = {machine: self.ask(machine) for machine in MACHINES}

    def ask(self, machine):
        numbers = {name: bytes([i]) for i, name in enumerate(types())}
        with Line(machine, "reader") as line:
            answers = {path: line.ask(numbers[name] + data)
                       for kind in ("valid", "accepted", "rejected")
                       for name, path, data in golden(kind)}
            self.stack[machine] = int.from_bytes(line.ask(b""), "little")
        return answers


class ReaderTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.answers = Answers()
        cls.classes = classes()

    def each(self, kind):
        for machine, answers in self.answers.by_machine.items():
            for name, path, data in golden(kind):
                yield machine, name, path, data, answers[path]

    def test_every_type_has_a_number(self):
        self.assertEqual(len(types()), 53)

    def test_all_that_must_be_refused_is(self):
        texts = {machine: 0 for machine in MACHINES}
        for machine, _, path, _, answer in self.each("rejected"):
            bad_text = path.with_suffix(".reason").read_text().startswith("tarn.")
            self.assertEqual(answer, bytes([NOT_TEXT if bad_text else MALFORMED]), path)
            texts[machine] += bad_text
        print("refused texts:", texts)
        self.assertGreaterEqual(min(texts.values()), 83)

    def test_valid_messages_with_room_keep_their_bytes(self):
        counts = {(machine, result): 0 for machine in MACHINES for result in range(4)}
        expected = {}
        for name in types():
            cases = [(path, data) for kind, path, data in golden("valid") if kind == name]
            said = findings(name, self.classes[name].DESCRIPTOR.file.name, [c[1] for c in cases])
            expected.update(zip((path for path, _ in cases), said))
        for machine, name, path, data, answer in self.each("valid"):
            counts[machine, answer[0]] += 1
            self.assertEqual(answer[0] in (MALFORMED, NOT_TEXT),
                             self.has_no_room(machine, expected[path]), path)
            if answer[0] in (DECODED, NODES):
                self.assertEqual(answer[0] == NODES,
                                 has_nodes(self.classes[name].FromString(data)), path)
            if answer[0] == DECODED:
                got = answer[1:]
                if name == "NetworkStatusReport":  # nanopb leaves zeros out of entries
                    got = known(self.classes[name].FromString(got))
                self.assertEqual(got, data, path)
        print("valid messages:", counts)
        for machine in MACHINES:
            self.assertGreater(counts[machine, DECODED], 380)

    @staticmethod
    def has_no_room(machine, said):
        """Whether a message is too large, or has a number that its enum in C has no room for."""
        largest = {"host": 2**31 - 1, "arm": 255}[machine]
        return any(finding["kind"] in ("tooLong", "tooMany", "zeroByte") or
                   (finding["kind"] == "undeclaredValue" and
                    not 0 <= finding["value"] <= largest) for finding in said)

    def test_other_bytes_are_refused_or_read_rightly(self):
        decoded = 0
        for _, name, path, _, answer in self.each("accepted"):
            if answer[0] != DECODED:
                continue
            decoded += 1
            canonical = path.with_name(path.name.replace(".binpb", ".canonical.binpb"))
            wanted = self.classes[name].FromString(canonical.read_bytes())
            self.assertEqual(known(self.classes[name].FromString(answer[1:])), known(wanted), path)
        self.assertGreater(decoded, 60 * len(MACHINES))

    def test_the_stack_is_as_small_as_the_page_says(self):
        print("stack of the Cortex-M3:", self.answers.stack["arm"])
        self.assertLess(self.answers.stack["arm"], MOST_STACK)

    def test_nothing_allocates(self):
        for program in "controller", "reader":
            names = subprocess.run(["arm-none-eabi-nm", OTHERS[0] / program], capture_output=True,
                                   text=True, check=True).stdout
            self.assertIn("pb_decode", names)
            self.assertNotRegex(names, r"\b_?(malloc|calloc|realloc|free|sbrk)\b")

    def test_lists_of_nodes_alone_are_callbacks(self):
        headers = "".join((HOST / f"{name}.pb.h").read_text() for name in ("Tarn", "Network"))
        self.assertEqual(set(re.findall(r"pb_callback_t (\w+);", headers)),
                         {"children", "mod_list", "modsAvailable", "modsConfigured",
                          "pendingModConfiguration"})


class ControllerTest(unittest.TestCase):
    def setUp(self):
        self.status = classes()["GetStatusModule"]

    def ask(self, line, message):
        return self.status.FromString(line.ask(message.SerializeToString()))

    def settings(self, **dimming):
        message = self.status(frameConfig=[{"fontStyle": 2, "productIDString": "diesel"}])
        message.dimmingConfig.CopyFrom(type(message.dimmingConfig)(**dimming))
        return message

    def on_each_machine(self):
        for machine in MACHINES:
            with self.subTest(machine), Line(machine, "controller") as line:
                yield line

    def test_settings_are_taken_and_kept(self):
        for line in self.on_each_machine():
            self.assertEqual(self.ask(line, self.status()).configRev, 0)
            sent = self.settings(minimumDimming=1, maximumDimming=100, manualDimming=40)
            got = self.ask(line, sent)
            self.assertEqual((got.errorFlags, got.configRev, got.frameCount), (0, 1, 1))
            self.assertEqual(got.dimmingConfig.currentDimming, 40)
            self.assertEqual(got.frameConfig, sent.frameConfig)
            self.assertEqual(self.ask(line, self.status()), got)

    def test_wrong_frames_change_nothing_and_the_next_is_read(self):
        wrong = {b"\x0a\x02\xc3\x28": TEXT_FAULT, b"\x0a\x01\x00": TEXT_FAULT,
                 b"\x0a\x05a": FORM_FAULT, b"\x0a\x20" + b"x" * 32: FORM_FAULT,
                 b"\x62\x00" * 17: FORM_FAULT, b"\x03": FORM_FAULT, b"\x00\x00": FORM_FAULT,
                 b"x" * 5000: FRAME_FAULT,
                 self.settings(minimumDimming=9, maximumDimming=1).SerializeToString():
                     SETTING_FAULT}
        for line in self.on_each_machine():
            before = self.ask(line, self.status())
            for data, fault in wrong.items():
                got = self.status.FromString(line.ask(data))
                self.assertEqual(got.errorFlags, fault, data[:40])
                got.errorFlags = 0
                self.assertEqual(got, before)
                self.assertEqual(self.ask(line, self.status()), before)

    def test_silence_ends_what_has_no_end(self):
        for line in self.on_each_machine():
            before = self.ask(line, self.status())
            # A frame that is cut off, and lengths that are none.
            for data in b"\x09abc", b"\xff" * 20, b"\xff\xff\xff\xff\x7f\x00\x00", b"\x80":
                line.send(data)
                got = self.status.FromString(line.answer())
                self.assertEqual(got.errorFlags, FRAME_FAULT)
                self.assertEqual(self.ask(line, self.status()), before)

    def test_random_bytes_do_no_harm(self):
        for line in self.on_each_machine():
            chance = random.Random(1)
            before = self.settings(minimumDimming=1, maximumDimming=9, manualDimming=5)
            valid = before.SerializeToString()
            for _ in range(2000):
                data = bytearray(valid)
                for _ in range(chance.randrange(1, 4)):
                    data[chance.randrange(len(data))] = chance.randrange(256)
                got = self.status.FromString(line.ask(bytes(data)))
                dimming = got.dimmingConfig
                self.assertLessEqual(dimming.minimumDimming, dimming.maximumDimming)
                self.assertEqual(got.hwId, "D16-24")


if __name__ == "__main__":
    if not OTHERS:
        del ReaderTest.test_the_stack_is_as_small_as_the_page_says
        del ReaderTest.test_nothing_allocates
    unittest.main(argv=sys.argv[:1])
