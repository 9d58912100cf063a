#!/usr/bin/python3
"""Whether docs/performance.md shows what the makers of its tables make of the
results that are kept, and whether the makers mark what cannot be told apart.
"""
import sys
import unittest

sys.dont_write_bytecode = True
# pylint: disable=wrong-import-position
import run
import measure

PAGE = (run.DOCS / 'performance.md').read_text()


class TablesTest(unittest.TestCase):
    def test_the_page_shows_the_results_that_are_kept(self):
        for part in run.PARTS:
            with self.subTest(part):
                section = run.section(run.load(part), *run.kept(part))
                self.assertEqual(run.replace_section(PAGE, part, section),
                                 PAGE)

    def test_figures_have_two_digits(self):
        for number, text in ((0, '0'), (1.354, '1.4'), (0.996, '1.0'),
                             (9.96, '10'), (19667941, '20,000,000'),
                             (0.0304, '0.030'), (104, '100')):
            self.assertEqual(measure.digits(number), text)

    def test_a_spread_is_the_lowest_and_the_highest(self):
        self.assertEqual(measure.show(measure.spread([1.24, 4, 2, 3])),
                         '2.5 (1.2–4.0)')

    def test_what_overlaps_is_not_told_apart(self):
        low, middle, high = map(measure.spread, ([1, 3], [2, 4], [5, 6]))
        self.assertTrue(measure.overlap(low, middle))
        self.assertTrue(measure.overlap(middle, low))
        self.assertFalse(measure.overlap(middle, high))
        peers = run.load('peers')
        self.assertEqual(peers.spread([1.02, 0.97, 1.09]),
                         '≈ **1.0** (0.97–1.1)')
        self.assertEqual(peers.verdict([2.98, 2.90, 3.06], 3)[1],
                         '3: within the spread')


if __name__ == '__main__':
    unittest.main()
