#!/usr/bin/python3
"""Holds the JSON of every verb against its section of the manual.

Usage: json_shape_test.py TARN MANUAL CORPUS

Each line is an object, and has only the members that the manual lists. A member
that is a list is one wherever it is. Codes are words of the manual.
"""
import json
import pathlib
import re
import subprocess
import sys

from wire import varint

# Members that are objects with names of the schema for their keys.
BY_NAME = {"address", "below", "along"}
LISTS = {"spans", "notes", "findings", "usedIn", "fields", "values", "accessors", "differences",
         "candidates", "parts", "types", "children", "columns", "forms", "errors", "groups",
         "commands", "secrets"}
# Members that are one of the words that the manual lists.
CODES = {("annotate", "kind"), ("annotate", "problem"), ("annotate", "wireType"),
         ("check", "kind"), ("check", "problem"), ("check", "severity"), ("diff", "change"),
         ("conform", "operation"), ("conform", "problem"), ("tree", "problem"),
         ("what", "source"), ("what", "kind"), ("what", "problem"), ("what", "severity")}
# That do everything wrong that tarn conform knows of.
ANSWER = 'while read -r id operation type data; do %s; done'
READERS = [ANSWER % answer for answer in (
    'echo "$id ok $data"', 'echo "$id ok"', 'echo "$id rejected why"', "kill -9 $$",
    "echo why >&2; exit 3", "exec >&-", "yes | tr -d '\\n'", "echo 0 ok", "echo ok",
    '[ $id != 2 ] || sleep 60; echo "$id unsupported"')]
FRAMED = ["--frame=varint", "--keep-going"]


def sections_of(manual):
    """The text of the manual by verb."""
    section = re.search(r"^\.SH JSON OUTPUT\n(.*?)^\.SH ", manual, re.M | re.S).group(1)
    parts = re.split(r"^\.SS (\w+)\n", section, flags=re.M)
    return dict(zip(parts[1::2], parts[2::2]))


def members_of(text):
    """The members that a section lists."""
    terms = re.findall(r"^\.TP\n\.IR? (.*)\n", text, re.M)
    return set(re.findall(r"\w+", " ".join(terms)))


def run(arguments, given=b"", words=()):
    done = subprocess.run([TARN, *arguments, "--json", *words], input=given, capture_output=True,
                          timeout=120, check=False)
    assert done.returncode in (0, 1, 3), (arguments, done.returncode, done.stderr[-300:])
    return done.stdout.decode()


def check(verb, value, seen):
    """Checks an object and those in it, and adds its members to what was seen."""
    for key, member in value.items():
        assert key in MEMBERS[verb], f"{verb}: the manual does not list {key}"
        seen.add(key)
        if (verb, key) in CODES:
            assert member in WORDS, f"{verb}: the manual does not list the {key} {member!r}"
        # "fields" is a number where the evidence for a type is counted.
        counted = key == "fields" and verb in ("guess", "what")
        assert counted or isinstance(member, list) == (key in LISTS), f"{verb}: {key} is {member!r}"
        for part in member if isinstance(member, list) else [member]:
            if isinstance(part, dict) and key not in BY_NAME:
                check(verb, part, seen)


def stream_of(kind):
    """The corpus of a type, valid and rejected, as one stream with its count."""
    files = sorted(path for folder in ("valid", "accepted", "rejected")
                   for path in CORPUS.glob(f"{folder}/{kind}/*.binpb"))
    return b"".join(varint(len(data)) + data for data in (path.read_bytes() for path in files)), \
        len(files)


def outputs():
    """The verbs with what they print; the number of lines where it is known."""
    names = run(["list"])
    yield "list", names, None
    for name in (json.loads(line)["name"] for line in names.splitlines()):
        yield "describe", run(["describe", name]), 1
    yield "fingerprint", run(["fingerprint"]), 1
    for name in "ChildTypes.types", "StatusCodes.ok", "NetworkStatusReport.status_packet":
        yield "describe", run(["describe", name]), 1
    yield "fingerprint", run(["fingerprint", "Server"]), 1
    for kind in "ModsConfigured", "ChildTypes", "Server", "NetworkStatusReport", "Wifi", "Display":
        stream, count = stream_of(kind)
        assert count > 3, kind
        yield "annotate", run(["annotate", kind, *FRAMED], stream), count
        yield "check", run(["check", kind, "--budget=40", *FRAMED], stream), count
        profile = CORPUS.parent / "proto" / "nanopb" / "Network.options"
        if kind != "Wifi":
            yield "check", run(["check", kind, f"--profile={profile}", *FRAMED], stream), count
        yield "guess", run(["guess", *FRAMED], stream), count
        yield "guess", run(["guess", "--all", *FRAMED], stream), count
        yield "what", run(["what", "--frame=varint"], stream), 1
        for path in sorted(CORPUS.glob(f"*/{kind}/*.binpb")):
            yield "what", run(["what", f"--type={kind}", "--from=binary", path]), 1
    yield "what", run(["what", '{"nmae": ""}']), 1
    yield "what", run(["what", "--type=ModsConfigured"], 2 * bytes.fromhex("0a050a03220161")), 1
    for reader in READERS:
        yield "conform", run(["conform", f"--corpus={CORPUS}", "--timeout=1", "--only=Server",
                              "--only=ModsConfigured", "--only=BaseMsg/one_hundred_groups"],
                             words=["--", "sh", "-c", reader]), 1
    yield "status", run(["status", *FRAMED], stream_of("NetworkStatusReport")[0]), None
    nodes, _ = stream_of("ModsConfigured")
    yield "tree", run(["tree", "--type=ModsConfigured", *FRAMED], nodes), None
    nodes, count = stream_of("Server")
    yield "tree", run(["tree", "--type=Server", "--partial", *FRAMED], nodes), count
    yield "tree", run(["tree"]), 1
    yield "rows", run(["rows", "--columns"]), None
    network = CORPUS / "valid" / "ModsConfigured"
    files = sorted(network.glob("*.binpb"))
    for before in files:
        for after in files[:5]:
            yield "diff", run(["diff", "ModsConfigured", "--from=binary", before, after]), 1
    cases = pathlib.Path(__file__).resolve().parent
    for kind, case, names in (("Price", "diff_unknown_fields", ("a", "b")),
                              ("AddressingStatus", "diff_lists_of_lists", ("a.txtpb", "b.txtpb")),
                              ("ModsConfigured", "diff_path_is_one_of_tree",
                               ("before.txtpb", "after.txtpb"))):
        yield "diff", run(["diff", kind, *(cases / case / name for name in names)]), 1


TARN, MANUAL, CORPUS = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
SECTIONS = sections_of(MANUAL.read_text())
WORDS = set(re.findall(r"\w+", " ".join(SECTIONS.values())))
MEMBERS = {section: members_of(text) for section, text in SECTIONS.items()}
usage = subprocess.run([TARN, "help"], capture_output=True, text=True, check=True).stdout
verbs = {verb for verb in re.findall(r"^  (\w+) {2,}\w", usage, re.M) if "--json" in subprocess.run(
    [TARN, "help", verb], capture_output=True, text=True, check=True).stdout}
assert verbs == set(MEMBERS), f"the help has --json for {verbs}, the manual for {set(MEMBERS)}"
found = {verb: set() for verb in MEMBERS}
lines = 0
for each, text, wanted in outputs():
    objects = [json.loads(line) for line in text.splitlines()]
    assert wanted is None or len(objects) == wanted, (each, wanted, len(objects))
    for item in objects:
        check(each, item, found[each])
    lines += len(objects)
for verb, seen in found.items():
    assert seen == MEMBERS[verb], f"{verb}: never met {MEMBERS[verb] - seen}"
print(f"{lines} lines have the members that the manual lists")
