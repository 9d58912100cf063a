#!/usr/bin/python3
"""Holds what tarn describe says against the generated headers and the parser.

Usage: describe_test.py TARN GENERATED
"""
import json
import pathlib
import re
import subprocess
import sys


def tarn(*arguments, given=None):
    return subprocess.run([TARN, *arguments], input=given, capture_output=True, text=True,
                          check=True, timeout=60).stdout


def declarations(header):
    """What each class of a generated header declares, by class."""
    text = header.read_text().replace("::PROTOBUF_NAMESPACE_ID::", "google::protobuf::")
    text = re.sub(r"PROTOBUF_NODISCARD\s+", "", text)
    text = text.replace("::tarn::", "tarn::")
    # Text is set through a template; this is the argument that it defaults to.
    text = re.sub(r"template <typename ArgT0 = const std::string&, typename\.\.\. ArgT>\s*"
                  r"void (set_\w+)\(ArgT0&& arg0, ArgT\.\.\. args\)",
                  r"void \1(const std::string& value)", text)
    classes = {}
    for name, body in re.findall(r"^class (\w+) final.*?\{(.*?)^\};", text, re.S | re.M):
        body = re.sub(r"^ *private:\n.*?^ *public:\n", "", body, flags=re.S | re.M)
        body = re.sub(r"\s+", " ", body)
        classes["tarn::" + name] = body.replace("< ", "<").replace(" >", ">")
    return classes


def check_message(name, classes):
    message = json.loads(tarn("describe", "--json", name))
    body = classes[message["class"]]
    fields = 0
    for field in message["fields"]:
        alone = json.loads(tarn("describe", "--json", field["name"]))
        assert alone == field, field["name"]
        assert field["comment"], field["name"]
        for accessor in field["accessors"]:
            assert f" {accessor};" in body, f"{message['class']} does not declare: {accessor}"
            fields += 1
    tarn("decode", name, "--from", "json", given=tarn("describe", "--template", name))
    return fields


TARN, generated = sys.argv[1], pathlib.Path(sys.argv[2])
names = [json.loads(line) for line in tarn("list", "--json").splitlines()]
classes = {}
for file in {entry["file"] for entry in names}:
    classes.update(declarations(generated / file.replace(".proto", ".pb.h")))
accessors = sum(check_message(entry["name"], classes)
                for entry in names if entry["kind"] == "message")
for entry in names:
    if entry["kind"] == "enum":
        for value in json.loads(tarn("describe", "--json", entry["name"]))["values"]:
            assert value["comment"], value["name"]
assert accessors > 700, accessors
print(f"{accessors} accessors are declared as described")
