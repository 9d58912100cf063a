#!/usr/bin/python3
"""The report on the peers says what the numbers say, and nothing else.

usage: peers_test.py
"""
import pathlib
import sys
import unittest

sys.path[:0] = [str(pathlib.Path(__file__).parents[1])]

# pylint: disable=wrong-import-position
import peers


class Report(unittest.TestCase):
    def test_a_ratio_is_the_geometric_mean_of_the_trees(self):
        ours = {tree: {'parse block': 10} for tree in peers.TREES}
        other = {tree: {'parse new': time}
                 for tree, time in zip(peers.TREES, (10, 20, 40))}
        ratio, = peers.tree_ratios([{'ours': ours, 'json': other}], 'json',
                                   'parse new', 'parse block')
        self.assertAlmostEqual(ratio, 2)

    def test_the_verdict_follows_the_spread(self):
        self.assertEqual(peers.verdict([1.7, 1.5, 1.9], 1.5)[1], '1.5: reached')
        self.assertEqual(peers.verdict([1.5, 1.2, 1.9], 1.5)[1],
                         '1.5: within the spread')
        self.assertEqual(peers.verdict([1.3, 1.2, 1.4], 1.5)[1],
                         '1.5: not reached')

    def test_what_is_not_measured_has_no_verdict(self):
        self.assertEqual(peers.verdict(None, None), ('–', '–'))

    def test_times_have_two_digits_and_a_unit(self):
        self.assertEqual([peers.number(time) for time in
                          (0.2718, 45.61, 345.6, 999.6, 12345, 6.5e6, 2e9)],
                         ['0.27 ns', '46 ns', '350 ns', '1.0 µs',
                          '12 µs', '6.5 ms', '2.0 s'])


if __name__ == '__main__':
    unittest.main()
