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
                shown = run.shown(part, run.load(part))
                self.assertEqual(run.replace_section(PAGE, part, shown), PAGE)

    def test_figures_have_two_digits(self):
        for number, text in ((0, '0'), (1.354, '1.4'), (0.996, '1.0'),
                             (9.96, '10'), (19667941, '20,000,000'),
                             (0.0304, '0.030'), (104, '100')):
            self.assertEqual(measure.digits(number), text)

    def test_a_spread_is_the_lowest_and_the_highest(self):
        self.assertEqual(measure.show(measure.spread([1.24, 4, 2, 3])),
                         '2.5 (1.2–4.0)')

    def test_what_overlaps_is_not_told_apart(self):
        peers = run.load('peers')
        self.assertEqual(peers.times_as_long([3, 2, 4], [2, 1, 3]), '≈ 1.5')
        self.assertEqual(peers.times_as_long([3, 2.5, 4], [2, 1, 2.4]), '1.5')
        self.assertEqual(peers.spread([1.02, 0.97, 1.09]),
                         '≈ **1.0** (0.97–1.1)')

    def test_a_ratio_is_the_geometric_mean_of_the_trees(self):
        peers = run.load('peers')
        ours = {f'{tree}/parse block': 10 for tree in peers.TREES}
        other = {f'{tree}/parse new': time
                 for tree, time in zip(peers.TREES, (10, 20, 40))}
        ratio, = peers.tree_ratios([{'ours': ours, 'json': other}], 'json',
                                   'parse new', 'parse block')
        self.assertAlmostEqual(ratio, 2)

    def test_times_have_two_digits_and_a_unit(self):
        self.assertEqual([run.load('peers').number(time) for time in
                          (0.2718, 45.61, 345.6, 999.6, 12345, 6.5e6, 2e9)],
                         ['0.27 ns', '46 ns', '350 ns', '1.0 µs',
                          '12 µs', '6.5 ms', '2.0 s'])

    def test_a_fitted_exponent_is_the_one_the_numbers_were_made_with(self):
        growth = run.load('growth')
        for power in (0, 0.5, 1, 1.5, 2):
            points = [(10 ** n, 7 * 10 ** (n * power)) for n in range(1, 7)]
            self.assertAlmostEqual(growth.exponent(points), power)
        fixed_cost = [(10 ** n, 1000 + 10 ** n) for n in range(1, 7)]
        self.assertLess(growth.exponent(fixed_cost), 1)


if __name__ == '__main__':
    unittest.main()
