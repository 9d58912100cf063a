#!/usr/bin/python3
"""From the rows of a message the message can be built again.

Usage: rows_test.py TARN CORPUS DESCRIPTOR_SET

Messages of every type, from the corpus, from tarn sample and made at random, go
through tarn rows as CSV and as JSON. Both must say the same, and the messages
that are built of it must be the same bytes. Unknown fields, Wifi and which of
the NaNs a float is are what rows do not hold.
"""
import base64
import json
import math
import os
import pathlib
import random
import re
import subprocess
import sys
import tempfile

from wire import framed

os.environ["PROTOCOL_BUFFERS_PYTHON_IMPLEMENTATION"] = "cpp"
# pylint: disable=wrong-import-position
from google.protobuf import descriptor_pb2, descriptor_pool, message_factory

TARN, CORPUS = sys.argv[1], pathlib.Path(sys.argv[2])
READERS = {"integer": int, "real": float, "text": str}
TEXTS = ("", "a", "North, sign", 'a "quote"', "line\r\nfeed", "\n", "\0", "\x1b[31m", "=1+1",
         "Ünï", "\U0001F6AA\u202E", "\\N", "NULL", "17", " ", "a" * 300)
NUMBERS = (0, 1, 17, 127, 300, 2 ** 31 - 1, -1, -2 ** 31)
FLOATS = (0.0, -0.0, 1.5, 0.1, 1e20, 3.4028234663852886e38, 1e-45, math.inf, -math.inf, math.nan)


def load_classes():
    files = descriptor_pb2.FileDescriptorSet.FromString(
        pathlib.Path(sys.argv[3]).read_bytes()).file
    pool = descriptor_pool.DescriptorPool()
    for file in files:
        pool.Add(file)
    factory = message_factory.MessageFactory(pool)
    return {name: factory.GetPrototype(descriptor) for file in files for name, descriptor
            in pool.FindFileByName(file.name).message_types_by_name.items()}


def fill(message, depth, dice):
    """Sets some of the fields; not deeper than `depth` messages."""
    for field in message.DESCRIPTOR.fields:
        many = field.label == field.LABEL_REPEATED
        for _ in range(dice.randrange(3) if many else dice.random() < 0.7):
            if field.message_type and field.message_type.GetOptions().map_entry:
                getattr(message, field.name)[dice.choice(TEXTS)] = dice.choice((0, 1, 5, 17, -1))
            elif field.message_type:
                held = getattr(message, field.name)
                if many:
                    held = held.add()
                else:
                    held.SetInParent()
                if depth > 0:
                    fill(held, depth - 1, dice)
            else:
                value = {field.CPPTYPE_STRING: dice.choice(TEXTS),
                         field.CPPTYPE_BOOL: dice.random() < 0.5,
                         field.CPPTYPE_ENUM: dice.choice((0, 1, 5, 17, -1)),
                         field.CPPTYPE_FLOAT: dice.choice(FLOATS),
                         field.CPPTYPE_UINT32: dice.choice(NUMBERS) & 0xFFFFFFFF,
                         }.get(field.cpp_type, dice.choice(NUMBERS))
                if field.type == field.TYPE_BYTES:
                    value = dice.randbytes(dice.randrange(9))
                if many:
                    getattr(message, field.name).append(value)
                else:
                    setattr(message, field.name, value)


def messages_of(name, cls, dice):
    for path in sorted((CORPUS / "valid" / name).glob("*.binpb")):
        yield path.read_bytes()
    for path in sorted((CORPUS / "accepted" / name).glob("*.canonical.binpb")):
        yield path.read_bytes()
    for seed in 1, 2:
        yield run(["sample", name, f"--seed={seed}", "--to=binary"])
    for number in range(12 if name != "ModsConfigured" else 300):
        message = cls()
        fill(message, number % 10, dice)
        yield message.SerializeToString(deterministic=True)


def run(arguments, given=b"", status=0):
    done = subprocess.run([TARN, *arguments], input=given, capture_output=True, timeout=300,
                          check=False)
    assert done.returncode == status, (arguments, done.returncode, done.stderr[-300:])
    return done.stdout


def csv_lines(text):
    """The lines of a CSV file by RFC 4180; None stands for empty without quotes."""
    at, line = 0, []
    value = re.compile(r'"((?:[^"]|"")*)"|([^,"\r\n]*)')
    while at < len(text):
        found = value.match(text, at)
        quoted, plain = found.groups()
        line.append(quoted.replace('""', '"') if quoted is not None else plain or None)
        at = found.end()
        if text[at] == ",":
            at += 1
            continue
        assert text[at:at + 2] == "\r\n", text[at - 20:at + 20]
        at += 2
        yield line
        line = []


def rows_of_csv(name, stream, folder):
    assert run(["rows", name, "--frame=varint", f"--folder={folder}"], stream) == b""
    assert {path.name for path in pathlib.Path(folder).iterdir()} == {
        f"{table}.csv" for table in COLUMNS}
    for table, columns in COLUMNS.items():
        text = (pathlib.Path(folder) / f"{table}.csv").read_bytes().decode()
        head, *lines = csv_lines(text)
        assert head == list(columns), table
        for line in lines:
            assert len(line) == len(columns), (table, line)
            yield table, {column: READERS[kind](value) for (column, kind), value
                          in zip(columns.items(), line) if value is not None}


def rows_of_json(name, stream):
    for line in run(["rows", name, "--frame=varint", "--to=ndjson"], stream).decode().splitlines():
        row = json.loads(line)
        table = row.pop("table")
        for column, value in row.items():
            kind = COLUMNS[table][column]
            if kind == "real":  # one that is no number is a text
                row[column] = float(value)
            assert isinstance(row[column], READERS[kind]), (table, column, value)
        yield table, row


def by_sequence(rows):
    sorted_rows = {}
    for table, row in rows:
        tables = sorted_rows.setdefault(row["sequence"], {})
        tables.setdefault(table, []).append(row)
    return sorted_rows


def snake(name):
    return re.sub(r"(?<=[a-z0-9])(?=[A-Z])|(?<=[A-Z])(?=[A-Z][a-z])", "_", name).lower()


def put(message, row, prefix=""):
    """Sets the fields of a message from the columns of its row."""
    for field in message.DESCRIPTOR.fields:
        column = prefix + snake(field.name)
        value = row.get(column)
        if field.message_type:
            if any(other.startswith(column + "_") for other in row):
                held = getattr(message, field.name)
                held.SetInParent()
                put(held, row, column + "_")
            continue
        if field.label == field.LABEL_REPEATED:
            value = json.loads(value)
            getattr(message, field.name).extend(value)
        else:
            value = base64.b64decode(value) if field.type == field.TYPE_BYTES else value
            if field.type == field.TYPE_BOOL:
                assert value in (0, 1), (column, value)
                value = value == 1
            setattr(message, field.name, value)
        if field.enum_type:
            numbers = field.enum_type.values_by_number
            many = isinstance(value, list)
            names = [numbers[one].name if one in numbers else str(one)
                     for one in (value if many else [value])]
            shown = row[column + "_name"]
            assert (json.loads(shown) if many else [shown]) == names, (column, value, shown)


def list_in(message, path):
    """The field at a path as `mod_list[0].modsAvailable`."""
    for step in path.split("."):
        name, index = re.fullmatch(r"(\w+)(?:\[(\d+)\])?", step).groups()
        message = getattr(message, name)
        if index is not None:
            message = message[int(index)]
    return message


def add(message, path, place):
    held = list_in(message, path)
    if not hasattr(held, "add"):
        held.SetInParent()
        return held
    assert place is None or place == len(held), (path, place, len(held))
    return held.add()


def build_nodes(record, rows):
    nodes, places = [], {}
    for position, row in enumerate(rows):
        assert row["position"] == position, row
        parent = row.get("parent")
        above = rows[parent] if parent is not None else {}
        assert row["depth"] == above.get("depth", 0) + 1, (row, above)
        place = places[parent] = places.get(parent, -1) + 1
        assert row["path"] == f"{above['path']}.{place}" if above else str(place), (row, above)
        uuid = above.get("uuid", "")
        assert row.get("parent_uuid") == (uuid if above and len(uuid.encode()) <= 64 else None)
        holder = record if parent is None else nodes[parent]
        node = add(holder, row["field"], None) if "field" in row else record
        if node.DESCRIPTOR.name == "ChildTypes" and "kind" in row:
            node = getattr(node, row["kind"])
            node.SetInParent()
        if "kind" in row:
            put(node, row)
        nodes.append(node)
    return nodes


def build(cls, tables):
    """The message whose rows are in the tables."""
    message = cls()
    assert [row["record_type"] for row in tables["record"]] == [cls.DESCRIPTOR.full_name]
    elements = [(table, row) for table, rows in tables.items() if table in MESSAGES
                for row in rows]
    for table, row in elements:
        if "field" not in row:
            assert MESSAGES[table] == cls.DESCRIPTOR.full_name, (table, row)
            put(message, row)
        elif "position" not in row:
            put(add(message, row["field"], row["place"]), row)
    nodes = build_nodes(message, tables.get("node", []))
    for _, row in elements:
        if "position" in row:
            put(add(nodes[row["position"]], row["field"], row["place"]), row)
    for row in tables.get("status", []):
        getattr(message, row["field"])[row["key"]] = row["status"]
    return message


def comparable(message):
    """The bytes of a message without what rows do not hold."""
    message.DiscardUnknownFields()
    if message.DESCRIPTOR.name == "Wifi":
        message.Clear()

    def plain(part):
        for field, value in part.ListFields():
            if field.type == field.TYPE_FLOAT and math.isnan(value):
                setattr(part, field.name, math.nan)
            elif field.message_type and not field.message_type.GetOptions().map_entry:
                for held in value if field.label == field.LABEL_REPEATED else [value]:
                    plain(held)

    plain(message)
    return message.SerializeToString(deterministic=True)


def check(name, cls, dice):
    messages = list(messages_of(name, cls, dice))
    with tempfile.TemporaryDirectory() as folder:
        tables = by_sequence(rows_of_csv(name, framed(messages), folder))
    others = by_sequence(rows_of_json(name, framed(messages)))
    assert list(tables) == list(others) == list(range(1, len(messages) + 1)), name
    for sequence, wanted in enumerate(messages, 1):
        want = comparable(cls.FromString(wanted))
        for rows in tables[sequence], others[sequence]:
            got = comparable(build(cls, rows))
            assert got == want, (name, sequence, want, got)
    return len(messages)


CLASSES = load_classes()
EXPLAINED = [json.loads(line) for line in run(["rows", "--columns", "--json"]).splitlines()]
COLUMNS = {table["table"]: {column["name"]: column["type"] for column in table["columns"]}
           for table in EXPLAINED}
MESSAGES = {table["table"]: table["message"] for table in EXPLAINED if "message" in table}
DICE = random.Random(5)
assert sorted(CLASSES) == sorted(
    name for file in pathlib.Path(__file__).parents[2].glob("proto/*.proto")
    for name in re.findall(r"^message (\w+)", file.read_text(), re.M)), sorted(CLASSES)
print(sum(check(name, cls, DICE) for name, cls in CLASSES.items()),
      "messages are the same after they were rows")
