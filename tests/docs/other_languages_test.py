#!/usr/bin/python3
"""Whether the generators of other languages make names that begin with a
digit, of which languages docs/compatibility.md says so, and whether the way
out that it shows keeps bytes and JSON.

Usage: other_languages_test.py PAGE SCHEMA_FOLDER
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from google.protobuf import descriptor_pb2

PAGE = pathlib.Path(sys.argv[1])
SCHEMA = pathlib.Path(sys.argv[2])
# protoc's own generators, by the name of the language in the page.
GENERATORS = {'C#': 'csharp', 'Kotlin': 'kotlin', 'Objective-C': 'objc',
              'Java': 'java', 'PHP': 'php', 'Python': 'pyi', 'Ruby': 'ruby'}
# A name where code, and neither a comment nor a text, has it.
BAD_NAME = re.compile(r'(?<![\w$"])[12]hx[1-5]w', re.IGNORECASE)
COMMENT = re.compile(r'^\s*(///?|\*|/\*|#).*$|"[^"\n]*"', re.MULTILINE)


def section():
    text = PAGE.read_text()
    return re.search(r'^## Other languages\n(.*?)^## ', text, re.M | re.S)[1]


def bad_names(schema, generator):
    """What the generator makes of the schema that no compiler takes. The
    descriptors that PHP keeps beside its classes are no names."""
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(['protoc', f'-I{schema}', f'--{generator}_out={folder}',
                        'Tarn.proto', 'Network.proto'], check=True)
        files = [file for file in pathlib.Path(folder).rglob('*')
                 if file.is_file() and file.parent.name != 'GPBMetadata']
        assert files, generator
        code = '\n'.join(file.read_text('latin-1') for file in files)
        return BAD_NAME.findall(COMMENT.sub('', code))


def renamed(folder):
    """The schema with the names changed as the page has it."""
    old, new = re.search(r'`(_1hx1w) = 1`.*?`(.*? = 1 .*?)`', section(),
                         re.S).groups()
    pattern = re.escape(new).replace('1hx1w', r'(\dhx\dw)')
    assert re.fullmatch(pattern, new), new
    for file in 'Tarn.proto', 'Network.proto':
        text = (SCHEMA / file).read_text()
        text = re.sub(r'\b_(\dhx\dw) = (\d);', lambda found: new.replace(
            old[1:], found[1]).replace('= 1', f'= {found[2]}') + ';', text)
        (folder / file).write_text(text)


def fields(schema):
    """JSON name, number and type of each field, by message."""
    with tempfile.NamedTemporaryFile() as file:
        subprocess.run(['protoc', f'-I{schema}',
                        f'--descriptor_set_out={file.name}', 'Tarn.proto',
                        'Network.proto'], check=True)
        files = descriptor_pb2.FileDescriptorSet.FromString(file.read()).file
    return {message.name: [(field.json_name, field.number, field.type,
                            field.label) for field in message.field]
            for file in files for message in file.message_type}


class OtherLanguagesTest(unittest.TestCase):
    def test_the_page_names_the_languages_that_get_bad_names(self):
        for language, generator in GENERATORS.items():
            with self.subTest(language):
                self.assertEqual(language in section(),
                                 bool(bad_names(SCHEMA, generator)))

    def test_the_way_out_gives_no_bad_names_and_changes_no_bytes(self):
        with tempfile.TemporaryDirectory() as folder:
            renamed(pathlib.Path(folder))
            self.assertNotEqual(
                (SCHEMA / 'Network.proto').read_text(),
                (pathlib.Path(folder) / 'Network.proto').read_text())
            for generator in GENERATORS.values():
                with self.subTest(generator):
                    self.assertEqual(bad_names(folder, generator), [])
            self.assertEqual(fields(folder), fields(SCHEMA))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
