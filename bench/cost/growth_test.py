#!/usr/bin/python3
"""Tests that a fitted exponent is the one that the numbers were made with.

usage: growth_test.py BENCH
"""
import pathlib
import sys
import unittest

BENCH = pathlib.Path(sys.argv.pop())
sys.path[:0] = [str(BENCH), str(BENCH / 'cost')]
import growth  # noqa: E402


class Exponent(unittest.TestCase):
    def test_is_found_again(self):
        for power in (0, 0.5, 1, 1.5, 2):
            points = [(10 ** n, 7 * 10 ** (n * power)) for n in range(1, 7)]
            self.assertAlmostEqual(growth.exponent(points), power)

    def test_of_a_fixed_cost_beside_a_linear_one_is_below_1(self):
        points = [(10 ** n, 1000 + 10 ** n) for n in range(1, 7)]
        self.assertLess(growth.exponent(points), 1)


if __name__ == '__main__':
    unittest.main()
