#!/usr/bin/python3
"""Holds the installed pages to the installed tree: each link to a file leads to
one, and a page says all that it says in the source tree.

Usage: links_test.py STAGE TREE
"""
import pathlib
import re
import sys
import unittest

STAGE, TREE = (pathlib.Path(path) for path in sys.argv[1:])
PAGES = STAGE / 'share/doc/tarn'
LINK = re.compile(r'(!?)\[([^]]*)\]\(([^)]+)\)')


def words(text):
    """The text without its pictures, and without where its links lead."""
    return LINK.sub(lambda link: '' if link[1] else link[2], text).split()


class LinksTest(unittest.TestCase):
    def setUp(self):
        self.pages = [PAGES / 'README.md', *PAGES.glob('docs/*.md')]
        self.assertGreater(len(self.pages), 10)

    def test_links_lead_to_installed_files(self):
        inside = 0
        for page in self.pages:
            for _, _, link in LINK.findall(page.read_text()):
                path = link.partition('#')[0]
                if path and not path.startswith('http'):
                    inside += 1
                    with self.subTest(page=page.name, link=link):
                        self.assertTrue((page.parent / path).exists())
        self.assertGreater(inside, 50)

    def test_words_are_those_of_the_source(self):
        for page in self.pages:
            with self.subTest(page=page.name):
                source = TREE / page.relative_to(PAGES)
                self.assertEqual(words(page.read_text()),
                                 words(source.read_text()))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])
