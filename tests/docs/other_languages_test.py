#!/usr/bin/python3
"""Whether the generators of other languages make names that begin with a
digit, of which languages docs/compatibility.md says so, whether the portable
schema files help, and whether they differ in nothing else.

Usage: other_languages_test.py PAGE SCHEMA_FOLDER PORTABLE_FOLDER CMAKE
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from google.protobuf import descriptor_pb2

PAGE, SCHEMA, PORTABLE = (pathlib.Path(path) for path in sys.argv[1:4])
CMAKE = sys.argv[4]
FILES = 'Tarn.proto', 'Network.proto'
RENAMED = {f'_{size}': f'size_{size}' for size in (
    '1hx1w', '1hx2w', '2hx2w', '1hx3w', '2hx3w', '2hx4w', '2hx5w')}
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
                        *FILES], check=True)
        files = [file for file in pathlib.Path(folder).rglob('*')
                 if file.is_file() and file.parent.name != 'GPBMetadata']
        assert files, generator
        code = '\n'.join(file.read_text('latin-1') for file in files)
        return BAD_NAME.findall(COMMENT.sub('', code))


def descriptors(schema):
    """What protoc makes of both files, with comments, by their names."""
    with tempfile.NamedTemporaryFile() as file:
        subprocess.run(['protoc', f'-I{schema}', '--include_source_info',
                        f'--descriptor_set_out={file.name}', *FILES],
                       check=True)
        files = descriptor_pb2.FileDescriptorSet.FromString(file.read()).file
    assert len(files) == len(FILES)
    return {file.name: file for file in files}


def comments(file):
    """The comment of each thing that has one, by its path."""
    return {tuple(place.path): (place.leading_comments,
                                place.trailing_comments)
            for place in file.source_code_info.location
            if place.leading_comments or place.trailing_comments}


class OtherLanguagesTest(unittest.TestCase):
    def test_the_page_names_the_languages_that_get_bad_names(self):
        for language, generator in GENERATORS.items():
            with self.subTest(language):
                self.assertEqual(language in section(),
                                 bool(bad_names(SCHEMA, generator)))

    def test_the_portable_files_give_no_bad_names(self):
        for generator in GENERATORS.values():
            with self.subTest(generator):
                self.assertEqual(bad_names(PORTABLE, generator), [])


class PortableTest(unittest.TestCase):
    def test_only_the_names_of_seven_fields_differ(self):
        expected, found = descriptors(SCHEMA), descriptors(PORTABLE)
        message = next(message for message in
                       expected['Network.proto'].message_type
                       if message.name == 'CashCreditMsg')
        self.assertEqual([field.name for field in message.field],
                         list(RENAMED))
        for field in message.field:
            field.name = RENAMED[field.name]
        for name in FILES:
            with self.subTest(name):
                there = comments(found[name])
                self.assertGreater(len(there), 100)
                self.assertEqual(there, comments(expected[name]))
                for file in expected[name], found[name]:
                    file.ClearField('source_code_info')
                self.assertEqual(found[name], expected[name])

    def test_the_head_lists_every_name_that_differs(self):
        for name, renamed in zip(FILES, ({}, RENAMED)):
            head, _, rest = (PORTABLE / name).read_text().partition('\n\n')
            listed = re.findall(r'^// +(\w+) is (\w+), in JSON (\w+)$', head,
                                re.M)
            self.assertEqual(listed, [(old, new, old[1:])
                                      for old, new in renamed.items()])
            for old, new in renamed.items():
                rest = re.sub(rf'\b{new} = (\d) \[json_name = "{old[1:]}"\];',
                              rf'{old} = \1;', rest)
            self.assertEqual(rest, (SCHEMA / name).read_text())


class MakingTest(unittest.TestCase):
    """What proto/Portable.cmake refuses."""

    def make(self, old, new):
        """Its status and its error for a schema in which old is now new."""
        text = (SCHEMA / 'Network.proto').read_text()
        changed = text.replace(old, new)
        self.assertEqual(changed == text, old == new)
        with tempfile.TemporaryDirectory() as folder:
            source = pathlib.Path(folder) / 'Network.proto'
            source.write_text(changed)
            made = pathlib.Path(folder) / 'made.proto'
            done = subprocess.run(
                [CMAKE, '-D', f'INPUT={source}', '-D', f'OUTPUT={made}', '-D',
                 f'RENAMED={";".join(RENAMED)}', '-P',
                 SCHEMA / 'Portable.cmake'], capture_output=True, text=True)
            self.assertEqual(made.exists(), done.returncode == 0)
            return done.returncode, ' '.join(done.stderr.split())

    def refuse(self, old, new, reason):
        status, error = self.make(old, new)
        self.assertEqual(status, 1)
        self.assertIn(reason, error)

    def test_takes_the_schema_as_it_is(self):
        self.assertEqual(self.make('', ''), (0, ''))

    def test_a_field_that_is_gone(self):
        self.refuse('_2hx4w', 'large', '_2hx4w is there 0 times')

    def test_a_field_that_is_there_twice(self):
        self.refuse('_2hx4w = 6;', '_2hx4w = 6;\n int32 _2hx4w = 8;',
                    '_2hx4w is there 2 times')

    def test_a_field_that_only_a_comment_names(self):
        self.refuse('repeated CCMsgDefinitions _2hx4w = 6;', '// _2hx4w = 6;',
                    '_2hx4w is there 1 times')

    def test_a_field_with_options_of_its_own(self):
        self.refuse('_2hx4w = 6;', '_2hx4w = 6 [deprecated = true];',
                    'not once as a plain field')

    def test_a_new_name_that_is_taken(self):
        self.refuse('networkId', 'size_2hx4w', '_2hx4w is there 2 times')

    def test_another_name_of_that_form(self):
        for name in ('_3hx1w', '__3', '_2hx4'):
            with self.subTest(name):
                self.refuse('networkId', name, f'{name} becomes a name')


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
