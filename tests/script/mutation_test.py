#!/usr/bin/python3
"""What script/mutate would break, without breaking it.

Usage: mutation_test.py SOURCE_DIR BUILD_DIR [unittest options]
"""

import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
SOURCE = Path(sys.argv[1]).resolve()
sys.path.insert(1, str(SOURCE / "tests/mutation"))
# pylint: disable=wrong-import-position
import lists
import rules
from mutate import GROUPS

CODE = """\
#include <a>  // a == b
bool f(const std::vector<int>& a, int b) {
  if (a.size() < 2 && b != 0) return true;
  Call("a < b");
  return a[0] == b;
}
"""
BROKEN = {
    ("comparison turned", "  if (a.size() >= 2 && b != 0) return true;"),
    ("comparison turned", "  if (a.size() < 2 && b == 0) return true;"),
    ("comparison turned", "  return a[0] != b;"),
    ("bound moved by one", "  if (a.size() <= 2 && b != 0) return true;"),
    ("bound moved by one", "  if (a.size() < 3 && b != 0) return true;"),
    ("bound moved by one", "  if (a.size() < 2 && b != 1) return true;"),
    ("bound moved by one", "  return a[1] == b;"),
    ("and, or exchanged", "  if (a.size() < 2 || b != 0) return true;"),
    ("condition negated", "  if (!(a.size() < 2 && b != 0)) return true;"),
    ("call dropped", "  ;"),
    ("return changed", "  if (a.size() < 2 && b != 0) return false;"),
    ("return changed", "  return {};"),
}


class Mutation(unittest.TestCase):
    def test_all_that_is_written_down_fits_the_tree(self):
        counts = {group: len(list(lists.breaks_of(SOURCE, group))) for group in GROUPS}
        self.assertGreaterEqual(
            sum(min(wanted or counts[group], counts[group])
                for group, wanted in GROUPS.items()), 300)
        lists.Explained(SOURCE, SOURCE / "tests/mutation/explained.txt")

    def test_rules_break_code_and_neither_texts_nor_comments(self):
        with tempfile.TemporaryDirectory() as folder:
            (Path(folder) / "a.cc").write_text(CODE)
            broken = [(a_break.rule, line)
                      for a_break in rules.code_breaks(Path(folder), "", ["a.cc"])
                      for line in set(a_break.apply(CODE).splitlines()) -
                      set(CODE.splitlines())]
        self.assertEqual(sorted(broken), sorted(BROKEN))

    def test_what_is_drawn_does_not_depend_on_other_lines(self):
        def drawn(text):
            with tempfile.TemporaryDirectory() as folder:
                (Path(folder) / "a.cc").write_text(text)
                breaks = rules.code_breaks(Path(folder), "", ["a.cc"])
                return [(a_break.rule, a_break.new)
                        for a_break in rules.drawn(breaks, Path(folder))]

        self.assertEqual(drawn(CODE), drawn("// More.\n\n" + CODE))

    def test_every_rule_for_the_schema_finds_something(self):
        found = {a_break.rule for a_break in lists.breaks_of(SOURCE, "schema")}
        self.assertEqual(found, {
            "enum value's name", "enum value's number", "label", "map key", "map value",
            "message's name", "name", "number", "numbers exchanged", "oneof dissolved",
            "oneof's name", "optional", "order of fields", "order of messages", "packed",
            "put into a oneof", "removed", "type"})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
