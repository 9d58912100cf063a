#!/usr/bin/python3
"""Holds the JSON Schemas against the corpus and against what tarn encodes: of
values that are right or wrong by a rule, both take the same.

Usage: json_schema_test.py TARN DESCRIPTOR_SET CORPUS [FOLDER]
  FOLDER  has to hold the same schemas
"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from google.protobuf import descriptor_pb2
from jsonschema import Draft202012Validator

Field = descriptor_pb2.FieldDescriptorProto
STRINGS = ['""', '" "', '"a"', '"1"', '"NaN"', '"é\\n"', '"\\ud83d\\ude00"', '"\\u0000"']
OTHERS = ['{}', '[]', '[{}]', '{"a":1}']
WHOLE = ['0', '-0', '0.0', '1', '1.0', '1e2', '100e-2', '2147483647', '2147483647.0', '"0"', '"1"',
         '"+1"', '"007"', '"2147483647"', '"02147483647"', '"999999999"', '"\\u0031"', 'null']
BELOW = ['-1', '-2147483648', '"-1"', '"-0"', '"-02147483648"', '"-2147483647"', '-1e2']
ABOVE = ['2147483648', '3e9', '4294967295', '"2147483648"', '"3000000000"', '"4294967295"',
         '4294967295.0']
NO_NUMBER = ['true', 'false', '""', '" "', '"a"', '" 1"', '"1 "', '"--1"', '"+"', '"-"', '"1_0"',
             '"1,0"', '"true"', '"null"', '"١"', '"nan"', '"inf"', '"infinity"', *OTHERS]
NO_WHOLE = ['1.5', '1e-2', '1e300', '-2147483649', '4294967296', '9223372036854775808', '1e400',
            '"1.0"', '"1e2"', '"0x10"', '"1\\n"', '"\\t1"', '"4294967296"', '"-2147483649"',
            '"99999999999"', '"NaN"', *NO_NUMBER]
# For each type of a field, values that are taken and values that are refused.
VALUES = {
    Field.TYPE_INT32: (WHOLE + BELOW, ABOVE + NO_WHOLE),
    Field.TYPE_UINT32: (WHOLE + ABOVE, BELOW + NO_WHOLE),
    Field.TYPE_BOOL: (
        ['true', 'false', 'null', '"true"', '"TRUE"', '"f"', '"Yes"', '"n"', '"1"', '"0"'],
        ['0', '1', '""', '"on"', '"tr"', '" true"', '"true\\n"', '"01"', '"null"', *OTHERS]),
    Field.TYPE_FLOAT: (
        WHOLE + ABOVE + ['-1.5', '1e38', '-3.4028235e38', '3.4028235677973362e38', '1e-400',
                         '"1.5"', '".5"', '"1."', '"-1E+2"', '"1e-400"', '"0x1p3"', '"0X.8"',
                         '"\\t 1"', '"1 \\n"', '"NaN"', '"Infinity"', '"-Infinity"'],
        NO_NUMBER + ['1e39', '-3.5e38', '3.4028235677973366e38', '1e400', '"+Infinity"', '"-NaN"',
                     '"."', '"1e"', '"0x"', '"1f"', '"INF"', '"1\\t "']),
    Field.TYPE_STRING: (STRINGS + ['null'], ['0', '1.5', 'true', *OTHERS]),
    Field.TYPE_BYTES: (
        ['""', '"AA"', '"AA=="', '"AAA"', '"AAA="', '"AAAA"', '"+/+/"', '"-_-_"', '"_w=="', '"/w"',
         '"AAAAAAA="', 'null'],
        ['"A"', '"AA="', '"AB"', '"AB=="', '"AAB="', '"AAAA="', '"+/-_"', '"AA AA"', '"AAAA\\n"',
         '"=="', '"AA==AAAA"', '"é"', '0', 'true', *OTHERS]),
    Field.TYPE_MESSAGE: (['{}', 'null'], ['0', '""', 'true', '[]', '{"no such":null}']),
}
# What a schema cannot say, or is not to say: it takes the first and refuses the
# second, and tarn does the opposite.
ONLY_SCHEMA = [
    ('Price', '{"lineNum":1,"lineNum":1}', 'it cannot see a name twice'),
    ('NetworkStatusReport', '{"statusPacket":{"a":1,"a":1}}', 'nor a key'),
    ('Format', '{"tenths":"\\ud800"}', 'characters that no UTF-8 can hold'),
    ('NetworkStatusReport', '{"statusPacket":{"\\udc00":1}}', 'the same in a key'),
    ('ClientStatusMsg', '{"rxSignalStrDb":"1e39"}', 'it cannot compare a string'),
    ('ModsConfigured', '{"modsConfigured":[' + '{"server":{"children":[' * 50 + ']}}' * 50 + ']}',
     'it cannot count levels'),
    ('Wifi', '{"pass":"***"}', 'a mask of tarn, which is any text for the library'),
]
ONLY_TARN = [
    ('Server', '{"@unknown":[]}', 'a member of tarn, which the library refuses'),
    ('ClientStatusMsg', '{"rxSignalStrDb":"1\\u0000a"}', 'what is after a NUL is not read'),
]


def tarn(*arguments):
    return subprocess.run([TARN, *arguments], capture_output=True, check=True, timeout=60).stdout


def taken_by_tarn(name, texts):
    """For each of the texts whether tarn encodes it."""
    done = subprocess.run([TARN, 'encode', name, '--frame=varint', '--keep-going'],
                          input='\n'.join(texts).encode(), capture_output=True, check=False,
                          timeout=300)
    refused = set(map(int, re.findall(rb': record (\d+): ', done.stderr)))
    assert done.returncode == (3 if refused else 0), (done.returncode, done.stderr[-300:])
    return [number not in refused for number in range(1, len(texts) + 1)]


def load(folder):
    return {path.stem: json.loads(path.read_bytes()) for path in pathlib.Path(folder).iterdir()}


def messages_of(path):
    """All messages and enums by their full names."""
    messages, enums = {}, {}

    def add(scope, message, nested):
        messages[f'{scope}.{message.name}'] = message
        enums.update((f'{scope}.{message.name}.{enum.name}', enum) for enum in message.enum_type)
        for inner in nested:
            add(f'{scope}.{message.name}', inner, inner.nested_type)

    for file in descriptor_pb2.FileDescriptorSet.FromString(path.read_bytes()).file:
        enums.update((f'.{file.package}.{enum.name}', enum) for enum in file.enum_type)
        for message in file.message_type:
            add(f'.{file.package}', message, message.nested_type)
    return messages, enums


def values_of(field):
    """The values that are right for one element of a field, and those that are wrong."""
    if field.type != Field.TYPE_ENUM:
        return VALUES[field.type]
    values = ENUMS[field.type_name].value
    numbers = [str(value.number) for value in values]
    right = [f'"{text}"' for value in values for text in (value.name, value.number)]
    right += ['99', '-7', '1.0', '2147483647', '-2147483648', '"+1"', '"-0"', '"01"', 'null']
    wrong = [f'"{value.name}x"' for value in values]
    wrong += [f'"{value.name.swapcase()}"' for value in values]
    assert '99' not in numbers
    return right, wrong + ['"99"', '"-1"', '2147483648', '"2147483647"', '"ok "', *NO_WHOLE]


def contents_of(field):
    """The same for all that a field holds."""
    right, wrong = values_of(field)
    if field.label != Field.LABEL_REPEATED:
        return right, wrong
    entry = MESSAGES.get(field.type_name)
    if entry is not None and entry.options.map_entry:
        assert entry.field[0].type == Field.TYPE_STRING
        right, wrong = values_of(entry.field[1])
        return ([f'{{"a":{value}}}' for value in right] + ['{}', 'null', '{"":null,"b":null}'],
                [f'{{"a":{value}}}' for value in wrong] + ['[]', '[{}]', '0', '""', 'true'])
    lists = [f'[{value}]' for value in right] + [f'[null,{right[0]},{right[-1]}]', '[]', 'null']
    bad = [f'[{value}]' for value in wrong] + [f'[{right[0]},{wrong[0]}]', '[[]]', '{}', '{"0":0}']
    if field.type == Field.TYPE_MESSAGE:
        return lists, bad + ['0', '""', 'true']
    # One value is a list of one.
    return lists + right, bad


def names_of(field):
    return list(dict.fromkeys((field.name, field.json_name)))


def cases_of(message):
    """JSON with whether it is such a message."""
    names = {name for field in message.field for name in names_of(field)}
    yield from ((text, text == '{}') for text in ('{}', 'null', '[]', '0', '""', 'true', '[{}]'))
    for field in message.field:
        right, wrong = contents_of(field)
        for name in names_of(field):
            yield from ((f'{{"{name}":{value}}}', True) for value in right)
            yield from ((f'{{"{name}":{value}}}', False) for value in wrong)
            for misspelt in (name + 'x', name[:-1], name.capitalize().swapcase()):
                yield f'{{"{misspelt}":{right[0]}}}', misspelt in names
        if field.name != field.json_name:
            for value in right[0], 'null':
                yield f'{{"{field.name}":{value},"{field.json_name}":null}}', False
    for one in message.field:
        for other in message.field:
            if one.HasField('oneof_index') and other.name != one.name:
                alone = other.oneof_index != one.oneof_index or not other.HasField('oneof_index')
                yield f'{{"{one.name}":{{}},"{other.name}":{{}}}}', alone
                yield f'{{"{one.name}":{{}},"{other.name}":null}}', True
                yield f'{{"{one.name}":null,"{other.name}":null}}', True


class JsonSchemaTest(unittest.TestCase):
    def test_schemas_are_valid_and_printed_one_by_one(self):
        wanted = {name.removeprefix('.tarn.') for name, message in MESSAGES.items()
                  if not message.options.map_entry}
        self.assertEqual(set(SCHEMAS), wanted)
        for name, schema in SCHEMAS.items():
            Draft202012Validator.check_schema(schema)
            self.assertEqual(json.loads(tarn('describe', '--json-schema', name)), schema)
        for folder in sys.argv[4:]:
            self.assertEqual(load(folder), SCHEMAS)

    def test_the_corpus_is_taken(self):
        files = sorted((CORPUS / 'valid').glob('*/*.json'))
        self.assertEqual({path.parent.name for path in files}, set(SCHEMAS))
        for path in files:
            VALIDATORS[path.parent.name].validate(json.loads(path.read_bytes()))

    def test_tarn_and_the_schema_take_the_same(self):
        refused = 0
        for name, validator in VALIDATORS.items():
            cases = list(cases_of(MESSAGES[f'.tarn.{name}']))
            answers = taken_by_tarn(name, [text for text, _ in cases])
            for (text, right), taken in zip(cases, answers, strict=True):
                self.assertEqual((taken, validator.is_valid(json.loads(text))), (right, right),
                                 f'{name}: {text}')
                refused += not right
        self.assertGreater(refused, 5000)

    def test_patterns_take_linear_time(self):
        """A pattern that tries each digit twice would take hours."""
        for name, field in (('Err', 'code'), ('POSDataMsg', 'data'), ('AppStates', 'state'),
                            ('ClientStatusMsg', 'rxSignalStrDb'), ('FileMessage', 'fileData'),
                            ('AppSettings', 'ssoSupport')):
            for long in '0', '1', '0x', '1.', '1e', '\t', '\t ', '1\n', '1 ', 'A', '=':
                text = long + long[-1] * 300000 + '*'
                self.assertFalse(VALIDATORS[name].is_valid({field: text}), (name, field, long))

    def test_what_a_schema_cannot_say(self):
        for cases, right in ((ONLY_SCHEMA, True), (ONLY_TARN, False)):
            for name, text, why in cases:
                self.assertEqual(VALIDATORS[name].is_valid(json.loads(text)), right, (text, why))
                self.assertEqual(taken_by_tarn(name, [text]), [not right], (text, why))


if __name__ == '__main__':
    TARN, CORPUS = sys.argv[1], pathlib.Path(sys.argv[3])
    sys.setrecursionlimit(20000)  # the validator calls itself for each level
    MESSAGES, ENUMS = messages_of(pathlib.Path(sys.argv[2]))
    with tempfile.TemporaryDirectory() as temporary:
        tarn('describe', '--json-schema', '--folder', temporary)
        SCHEMAS = load(temporary)
    VALIDATORS = {name: Draft202012Validator(schema) for name, schema in SCHEMAS.items()}
    unittest.main(argv=sys.argv[:1])
