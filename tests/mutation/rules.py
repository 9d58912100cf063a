"""Breaks that rules make of the schema and of C++, and which of them are drawn."""

import hashlib
import re
from typing import NamedTuple

SEED = "1"


class Break(NamedTuple):
    """One change of one file: the text from `begin` to `end` becomes `new`."""
    group: str
    rule: str
    file: str
    begin: int
    end: int
    new: str
    stages: tuple = ()
    written: bool = False  # by hand: then it is noticed where a build fails

    def apply(self, text):
        return text[:self.begin] + self.new + text[self.end:]


def drawn(breaks, tree):
    """The breaks in the order in which they are drawn. It depends on the broken
    lines alone, so that a change elsewhere draws no other breaks."""
    seen = {}

    def place(a_break):
        text = (tree / a_break.file).read_text()
        line = text[text.rfind("\n", 0, a_break.begin) + 1:
                    (text + "\n").index("\n", a_break.end)]
        key = (SEED, a_break.rule, a_break.file, line.strip(), a_break.new)
        seen[key] = seen.get(key, 0) + 1
        return hashlib.sha256(repr((*key, seen[key])).encode()).digest()

    return sorted(breaks, key=place)


def code_alone(text):
    """C++ or a schema of the same length, with blanks for comments, and for what
    stands in quotes and in lines of the preprocessor."""
    pattern = (r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"'
               r"|(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+'|^#(?:\\\n|[^\n])*")
    return re.sub(pattern, lambda match: re.sub(r"[^\n]", "\0", match[0]), text,
                  flags=re.DOTALL | re.MULTILINE)


# A rule: its name, what it finds, and the text that replaces the first group.
# Operators have blanks around them, where templates and references have none.
OPERATORS = {"==": "!=", "!=": "==", "<": ">=", ">=": "<", ">": "<=", "<=": ">"}
BOUNDS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
LOGIC = {"&&": "||", "||": "&&"}
CODE = [
    ("comparison turned", r" (==|!=|<=?|>=?) ", lambda m: OPERATORS[m[1]]),
    ("bound moved by one", r" (<=?|>=?) ", lambda m: BOUNDS[m[1]]),
    ("bound moved by one", r"(?<![\w.])(\d+)(?![\w.'>])",
     lambda m: str(int(m[1]) + 1)),
    ("and, or exchanged", r" (&&|\|\|)\s", lambda m: LOGIC[m[1]]),
    ("condition negated",
     r"\bif \(((?:[^;={}]|[=!<>]=)*?)\) (?:\{$|return\b|continue;|break;)",
     lambda m: f"!({m[1]})"),
    ("call dropped", r"^ +((?!return\b|delete\b|throw\b)[\w.:>-]+\(.*\);)$",
     lambda m: ";"),
    ("return changed", r"\breturn (true|false);",
     lambda m: {"true": "false", "false": "true"}[m[1]]),
    ("return changed", r"\breturn (?!true|false|nullptr|0)([^;{]+);", lambda m: "{}"),
]


def code_breaks(tree, group, files):
    """Every break that the rules for code make of the files."""
    for file in files:
        text = (tree / file).read_text()
        code = code_alone(text)
        for rule, pattern, change in CODE:
            for match in re.finditer(pattern, code, re.MULTILINE):
                begin, end = match.span(1)
                if not splits_brackets(code[begin:end]):
                    new = change(Quoted(match, text))
                    yield Break(group, rule, file, begin, end, new)


class Quoted:
    """A match within code alone that gives back what the file has there."""

    def __init__(self, match, text):
        self.match, self.text = match, text

    def __getitem__(self, index):
        return self.text[slice(*self.match.span(index))]


def splits_brackets(code):
    """Whether some bracket has its partner outside of the text."""
    depth = 0
    for letter in code:
        depth += (letter in "([{") - (letter in ")]}")
        if depth < 0:
            return True
    return depth != 0


TYPES = {"int32": "sint32", "uint32": "int32", "bool": "uint32", "float": "fixed32",
         "string": "bytes", "bytes": "string", "StatusCodes": "int32"}
FIELD = re.compile(r"^( +)((?:repeated )?)(map<string, (\w+)>|[\w.]+) (\w+) = (\d+);$",
                   re.MULTILINE)
VALUE = re.compile(r"^( +)(\w+) = (\d+);$", re.MULTILINE)
BLOCK = re.compile(r"^message (\w+) \{\n(.*?)^\}\n", re.MULTILINE | re.DOTALL)


def schema_breaks(tree, file):
    """Every break that the rules for a schema make of its file."""
    text = (tree / file).read_text()
    code = code_alone(text)

    def change(rule, begin, end, new):
        return Break("schema", rule, file, begin, end, new)

    for field in FIELD.finditer(code):
        indent, label, kind, value, name, number = field.groups()
        yield change("number", *field.span(6), str(int(number) + 40))
        yield change("name", *field.span(5), f"{name}_")
        yield change("removed", *field.span(), "")
        if value:
            yield change("map value", *field.span(4), TYPES.get(value, "string"))
            yield change("map key", *field.span(3), kind.replace("string", "int32"))
            continue
        yield change("type", *field.span(3), TYPES.get(kind, "bytes"))
        if len(indent) > 2:
            continue  # of a oneof
        yield change("label", *field.span(2), "" if label else "repeated ")
        yield change("put into a oneof", *field.span(),
                     f"  oneof only {{ {kind} {name} = {number}; }}")
        if label and (kind in TYPES and kind not in ("string", "bytes")
                      or is_enum(code, kind)):
            yield change("packed", *field.span(),
                         field[0][:-1] + " [packed = false];")
        if not label:
            yield change("optional", *field.span(2), "optional ")
    for value in VALUE.finditer(code):
        yield change("enum value's number", *value.span(3), str(int(value[3]) + 40))
        yield change("enum value's name", *value.span(2), f"{value[2]}_")
    for oneof in re.finditer(r"^  (oneof (\w+) \{)\n(.*?)^  (\})$", code,
                             re.MULTILINE | re.DOTALL):
        yield change("oneof's name", *oneof.span(2), f"{oneof[2]}_")
        yield change("oneof dissolved", *oneof.span(1), "")._replace(
            end=oneof.end(4), new=oneof[3].replace("\0", ""))
    yield from reordered(change, text, code)


def is_enum(code, name):
    return re.search(rf"^ *enum {name} ", code, re.MULTILINE) is not None


def reordered(change, text, code):
    """Neighbours that change places: fields of a message, and messages."""
    for first, second in pairs(BLOCK.finditer(code)):
        yield change("order of messages", first.start(), second.end(),
                     text[second.start():second.end()] +
                     text[first.end():second.start()] +
                     text[first.start():first.end()])
        yield change("message's name", *first.span(1), f"{first[1]}_")
    for message in BLOCK.finditer(code):
        fields = FIELD.finditer(code, *message.span(2))
        for first, second in pairs(f for f in fields if len(f[1]) == 2):
            yield change("order of fields", first.start(), second.end(),
                         second[0] + text[first.end():second.start()] + first[0])
            yield change(
                "numbers exchanged", first.start(6), second.end(6),
                second[6] + text[first.end(6):second.start(6)] + first[6])


def pairs(items):
    items = list(items)
    return zip(items, items[1:])
