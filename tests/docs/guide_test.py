#!/usr/bin/python3
"""Holds what docs/guide.md says of messages to the schema: its table has every
message once, those inside others with all their places; its drawing and its
abbreviations have only names that there are.

Usage: guide_test.py TARN PAGE
"""
import json
import pathlib
import re
import subprocess
import sys
import unittest

TARN, PAGE = sys.argv[1], pathlib.Path(sys.argv[2]).read_text()
# By what stands between the columns of the drawing.
ARROWS = {'<--': 'to the office', '-->': 'to the application'}
# What the table says beside the phases of the drawing.
PHASES = {'always'}


def tarn(*arguments):
    printed = subprocess.run([TARN, *arguments, '--json'], check=True,
                             capture_output=True, text=True).stdout
    return [json.loads(line) for line in printed.splitlines()]


def bare(name):
    return name.removeprefix('tarn.')


def table(heading):
    """The rows of the first table below a heading, as lists of cells."""
    section = re.search(rf'^## {heading}\n(.*?)(?:^## |\Z)', PAGE,
                        re.M | re.S)[1]
    rows = re.findall(r'^\| (.*) \|$', section, re.M)
    return [row.split(' | ') for row in rows[1:]]


def drawing():
    """The lines of the first block, without the heads of its columns."""
    block = re.search(r'\n\n((?: {4}.*\n|\n)+)', PAGE)[1]
    return block.splitlines()[1:]


class GuideTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        kinds = {'message': set(), 'enum': set()}
        for entry in tarn('list'):
            kinds[entry['kind']].add(entry['name'])
        cls.described = {bare(name): tarn('describe', name)[0]
                         for name in kinds['message']}
        cls.states = {bare(value['name'])
                      for value in tarn('describe', 'AppState')[0]['values']}
        cls.rows = {row[0].strip('`'): row[1:]
                    for row in table('Who sends what, and when')}

    def test_the_table_has_every_message_once(self):
        rows = table('Who sends what, and when')
        self.assertEqual(sorted(row[0] for row in rows),
                         sorted(f'`{name}`' for name in self.described))

    def test_a_message_inside_others_names_all_its_places(self):
        for name, (direction, when) in self.rows.items():
            with self.subTest(name):
                places = {bare(use) for use in self.described[name]['usedIn']}
                self.assertEqual(set(re.findall(r'`(\w+\.\w+)`', when)),
                                 places)
                self.assertTrue(places or direction != 'inside')
                self.assertIn(direction,
                              {'inside', 'either', *ARROWS.values()})

    def test_the_drawing_has_messages_that_go_its_way(self):
        phases, met = set(PHASES), set()
        for line in drawing():
            if not line.strip():
                continue
            phase, words = re.fullmatch(r' {4}((?:\w+ ?)*) {2,}(.*)',
                                        line).groups()
            phases.add(phase.strip())
            arrow = re.search('<--|-->', words)[0]
            for name in set(re.findall(r'[A-Z]\w+', words)) - self.states:
                met.add(name)
                with self.subTest(name):
                    self.assertIn(self.rows[name][0],
                                  {ARROWS[arrow], 'either'})
        self.assertGreater(len(met), 15)
        for direction, when in self.rows.values():
            if direction != 'inside':
                named = set(when.partition(':')[0].split(', '))
                self.assertLessEqual(named, phases, when)

    def test_abbreviations_are_parts_of_names(self):
        names = {field['name'] for message in self.described.values()
                 for field in message['fields']} | set(self.described)
        for shown, _ in table('Abbreviations'):
            for part in re.findall(r'`(\w+)`', shown):
                self.assertTrue(any(part in name for name in names), part)
        self.assertGreater(len(table('Abbreviations')), 10)


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
