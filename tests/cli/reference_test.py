#!/usr/bin/python3
"""Holds the reference of the messages against the descriptor set and the headers,
reading it as Markdown and as plain text.

Usage: reference_test.py TARN GENERATED [FILE...]
  FILE  has to hold the same page
"""
import collections
import pathlib
import re
import subprocess
import sys

from google.protobuf import descriptor_pb2

Field = descriptor_pb2.FieldDescriptorProto
SCALARS = {Field.TYPE_INT32: ("int32", "varint"), Field.TYPE_UINT32: ("uint32", "varint"),
           Field.TYPE_BOOL: ("bool", "varint"), Field.TYPE_FLOAT: ("float", "fixed32"),
           Field.TYPE_STRING: ("string", "length"), Field.TYPE_BYTES: ("bytes", "length")}
HEADS = {"message": ["no.", "name", "type", "label", "wire", "JSON", "C++", "meaning"],
         "enum": ["no.", "name", "C++", "meaning"]}
CODE = re.compile(r"(?<![\\`])(`+)(?!`)(.*?)(?<!`)\1(?!`)", re.S)


def words(text):
    return " ".join(text.split())


def shown(markdown):
    """What a reader sees: code as it is, with its backticks as in the schema."""
    text, end = "", 0
    for code in [*CODE.finditer(markdown), None]:
        prose = markdown[end:code.start() if code else None]
        assert not re.search(r"(?<![\\])[*<~$&]", prose), prose
        text += re.sub(r"\\([^\w\s])", r"\1", re.sub(r"(?<!\\)\[([\w.]+)\]", r"\1", prose))
        text, end = text + (code[0] if code else ""), code.end() if code else None
    return words(text)


def links(markdown):
    return re.findall(r"(?<!\\)\[([\w.]+)\]", CODE.sub("", markdown))


class Schema:
    """All that the descriptor set says, by its own names without the package."""

    def __init__(self, path):
        self.types, self.fields, self.comments = {}, [], collections.Counter()
        files = descriptor_pb2.FileDescriptorSet.FromString(path.read_bytes()).file
        self.of_file = {file.name: [] for file in files}
        self.about = {}
        for file in files:
            places = {tuple(place.path): place for place in file.source_code_info.location}
            for place in places.values():
                self.comments.update(words(text) for text in (
                    place.leading_comments, place.trailing_comments,
                    *place.leading_detached_comments) if text)
            self.about[file.name] = words(" ".join(places[12,].leading_detached_comments))
            self.add(file, file, (), "", places)

    def add(self, file, scope, path, outer, places):
        """Adds the messages and enums of a scope; nested ones stand in tags 3 and 4."""
        def comment(*end):
            return words(places[path + end].leading_comments) if path + end in places else ""

        nested = bool(path)
        for i, message in enumerate(scope.nested_type if nested else scope.message_type):
            tag, name = (3 if nested else 4), outer + message.name
            inner = {entry.name: entry for entry in message.nested_type}
            rows = []
            for j, field in enumerate(message.field):
                entry = inner.get(field.type_name.rpartition(".")[2])
                if entry and not entry.options.map_entry:
                    entry = None
                rows.append((field, entry, comment(tag, i, 2, j)))
            if not message.options.map_entry:
                self.types[name] = ("message", file.name, comment(tag, i), rows, [
                    (oneof.name, comment(tag, i, 8, j))
                    for j, oneof in enumerate(message.oneof_decl)], message)
                self.of_file[file.name].append(name)
            self.add(file, message, path + (tag, i), name + ".", places)
        for i, enum in enumerate(scope.enum_type):
            tag = 4 if nested else 5
            rows = [(value, comment(tag, i, 2, j)) for j, value in enumerate(enum.value)]
            self.types[outer + enum.name] = ("enum", file.name, comment(tag, i), rows, [], enum)
            self.of_file[file.name].append(outer + enum.name)


def type_of(field):
    """The type as the page has it, and the wire type of one value."""
    if field.type in SCALARS:
        return SCALARS[field.type]
    name = field.type_name.removeprefix(".tarn.")
    return f"[{name}]", "varint" if field.type == Field.TYPE_ENUM else "length"


def row_of_field(field, entry, comment, message):
    kind, wire = type_of(entry.field[1] if entry else field)
    label = ""
    if entry:
        label, wire = f"map by {type_of(entry.field[0])[0]}", "length"
    elif field.label == Field.LABEL_REPEATED:
        label, wire = "repeated", "length"
    elif field.HasField("oneof_index"):
        label = f"oneof `{message.oneof_decl[field.oneof_index].name}`"
    return [str(field.number), f"`{field.name}`", kind, label, wire, f"`{field.json_name}`",
            f"`{field.name.lower()}()`", comment]


def rows_of(name, section):
    """The table of a section, whose bars stand below one another."""
    lines = [line for line in section.splitlines() if line.startswith("|")]
    count = len(HEADS[SCHEMA.types[name][0]])
    bars = [[found.start() for found in re.finditer(r"(?<!\\)\|", line)] for line in lines]
    for line, there in zip(lines, bars):
        assert there[:count] == bars[0][:count], f"{name}: not below the bar above: {line}"
    assert re.fullmatch(r"\|-+:(\|-+)+\|", lines[1]), lines[1]
    return [[cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
            for line in lines[:1] + lines[2:]]


def check_type(name, section):
    kind, file, comment, rows, oneofs, proto = SCHEMA.types[name]
    prose, _, rest = section.strip().partition("\n- ")
    assert shown(prose) == comment, f"{name}: {prose}\nis not\n{comment}"
    items = [words(item) for item in ("- " + rest.partition("\n|")[0]).split("- ")[1:]]
    header = f"tarn/{file.replace('.proto', '.pb.h')}"
    symbol = name.replace(".", "_")
    assert items[0] == f"C++: `tarn::{symbol}` in `<{header}>`", items[0]
    assert re.search(rf"^(class {symbol} final|enum {symbol} :)", HEADERS[file], re.M), symbol
    uses = re.sub(r"[\[\]\\]", "", items[1].removeprefix("used in: ")).split(", ")
    wanted = [f"{user}.{field.name}" for user, (what, _, _, fields, _, _) in SCHEMA.types.items()
              if what == "message" for field, entry, _ in fields
              if (entry.field[1] if entry else field).type_name == f".tarn.{name}"]
    assert sorted(uses) == sorted(wanted or ["no other message"]), f"{name}: {uses}, not {wanted}"
    for (oneof, about), item in zip(oneofs, items[2:], strict=True):
        assert re.fullmatch(rf"oneof `{oneof}`, in C\+\+ `\w+ {oneof}_case\(\) const`: .*", item)
        assert shown(item.partition(": ")[2]) == about, item
    head, *got = rows_of(name, section)
    assert head == HEADS[kind], head
    if kind == "message":
        right = [row_of_field(*row, proto) for row in rows]
        for row in right:
            assert f" {row[6].strip('`')} const;" in HEADERS[file], row[6]
    else:
        prefix = f"{symbol}_" if "." in name else ""
        right = [[str(value.number), f"`{value.name}`", f"`tarn::{prefix}{value.name}`", about]
                 for value, about in rows]
    got = [row[:-1] + [shown(row[-1])] for row in got]
    assert got == right, f"{name}: {got}\nis not\n{right}"
    SEEN.update([comment, *(row[-1] for row in rows), *(about for _, about in oneofs)])
    return len(got)


def check_links(page, headings):
    """Every link has a target, and every target is the anchor of one heading."""
    targets = dict(re.findall(r"^\[(.+)\]: #(.+)$", page, re.M))
    anchors = collections.Counter(
        re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings)
    assert set(targets) == set(SCHEMA.types), set(targets) ^ set(SCHEMA.types)
    for name, anchor in targets.items():
        assert anchors[anchor] == 1 and anchor == name.lower().replace(".", ""), name
    found = links(re.sub(r"^\[.+\]: .*$", "", page, flags=re.M))
    assert set(found) <= set(targets), set(found) - set(targets)
    return len(found)


TARN, generated = sys.argv[1], pathlib.Path(sys.argv[2])
SCHEMA = Schema(generated / "tarn.binpb")
HEADERS = {name: (generated / name.replace(".proto", ".pb.h")).read_text()
           for name in SCHEMA.of_file}
SEEN = collections.Counter()
text = subprocess.run([TARN, "describe", "--markdown"], capture_output=True, text=True,
                      check=True, timeout=60).stdout
for line in text.splitlines():
    assert line == line.rstrip() and line.isprintable(), line
    assert line.startswith("|") or len(line) <= 80, line
rows_seen, files = 0, re.split(r"^## (.*)\n", text, flags=re.M)
assert sorted(files[1::2]) == sorted(SCHEMA.of_file), files[1::2]
for schema_file, part in zip(files[1::2], files[2::2]):
    first, *types = re.split(r"^### (.*)\n", part, flags=re.M)
    assert shown(first) == SCHEMA.about[schema_file], first
    SEEN.update([SCHEMA.about[schema_file]])
    assert sorted(types[::2]) == sorted(SCHEMA.of_file[schema_file]), types[::2]
    rows_seen += sum(map(check_type, types[::2], types[1::2]))
assert SEEN == SCHEMA.comments, (SEEN - SCHEMA.comments, SCHEMA.comments - SEEN)
linked = check_links(text, re.findall(r"^#+ (.*)$", text, re.M))
for installed in map(pathlib.Path, sys.argv[3:]):
    assert installed.read_text() == text, f"{installed} is another page"
print(f"{len(SCHEMA.types)} types, {rows_seen} rows, {linked} links")
