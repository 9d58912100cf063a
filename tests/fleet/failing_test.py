#!/usr/bin/python3
"""Whatever fails in an office, nothing that was acknowledged is lost or half stored.

Usage: failing_test.py PROGRAMS EXAMPLES FAILING_MALLOC FAILING_CALLS [unittest options]

While messages come, calls of the system and allocations fail, one in each office; with
FAILING=all in the environment 60 of each kind, otherwise 3. An office that ends because of it
says why. The next one stores the rest.
"""
import errno
import os
import sys
import unittest
from pathlib import Path

from programs import FleetTest, price

sys.path.append(str(Path(__file__).resolve().parents[1] / "cli"))
# pylint: disable=wrong-import-position
from faults import LIKELY, Faults

INPUT_OUTPUT = 5
ROUNDS = 60 if os.environ.get("FAILING") == "all" else 3


class Office(FleetTest):
    malloc = calls = ""

    def setUp(self):
        super().setUp()
        self.server()
        self.ready_office()  # makes the streams
        self.sequences = []

    def failing_office(self, said, **environment):
        """An office in which something fails, and that stores what comes, or ends."""
        client = self.client()
        office = self.office(environment=environment)
        self.await_("office to be ready or to end", lambda: "storing what comes" in
                    self.said(office) or office.poll() is not None)
        new = [client.keep("tarn.v0.a.Prices", price(1)) for _ in range(20)]
        self.sequences += new
        self.await_("all to be stored, or the end", lambda: len(self.rows(
            "SELECT 1 FROM message")) == len(self.sequences) or office.poll() is not None)
        if office.poll() is not None:
            self.assertEqual(office.returncode, INPUT_OUTPUT, environment)
            self.assertIn(said, self.said(office))
            self.ended += 1
        self.end(office)

    def expect_all(self):
        self.ready_office()
        self.await_rows(len(self.sequences), "SELECT 1 FROM message")
        for sql in ("SELECT sequence FROM message ORDER BY 1",
                    "SELECT sequence FROM price ORDER BY 1"):
            self.assertEqual([row[0] for row in self.rows(sql)], self.sequences)
        self.assertEqual(self.rows("SELECT 1 FROM rejected"), [])
        self.assertEqual(self.rows("PRAGMA integrity_check"), [("ok",)])

    ended = 0

    def test_in_which_a_call_fails_loses_nothing(self):
        tried = 0
        for call in "write", "fsync", "read", "open", "mmap":
            for number in range(1, 2 * ROUNDS, 2):
                error = LIKELY[call][number // 2 % len(LIKELY[call])]
                self.failing_office("office: ", LD_PRELOAD=self.calls, FAIL_CALL=call,
                                    FAIL_AT=str(number), FAIL_WITH=str(error))
                tried += 1
        self.expect_all()
        print(f"{tried} offices with a failing call, {self.ended} ended with status 5")
        self.assertGreater(self.ended, 0)

    def test_out_of_memory_rejects_nothing(self):
        for number in range(100, 100 + 700 * ROUNDS, 700):
            self.failing_office("office: ", LD_PRELOAD=self.malloc, FAIL_IN_MAIN="1",
                                FAIL_AT=str(number))
        self.expect_all()
        print(f"{ROUNDS} offices with a failing allocation, {self.ended} ended with status 5")


class Ledger(FleetTest):
    calls = ""

    def test_that_cannot_be_read_whole_is_not_compared(self):
        self.server()
        self.ready_office()
        ledger = self.folder / "ledger"
        ledger.write_bytes(b"1 tarn.v0.a.Prices 0a00 a-1\n" * 1000)
        compare = Faults(self.calls, [self.programs / "office", "--database",
                                      self.folder / "o.db", "compare", ledger])
        self.assertEqual(compare.run().returncode, 1)
        count = compare.counts()["read"]
        refused = [number for number in range(1, count + 1) if b"cannot be read whole" in
                   compare.fail("read", number, errno.EIO).stderr]
        self.assertGreater(len(refused), 2)


if __name__ == "__main__":
    FleetTest.programs, FleetTest.examples = map(Path, sys.argv[1:3])
    Office.malloc, Office.calls = sys.argv[3:5]
    Ledger.calls = Office.calls
    unittest.main(argv=sys.argv[:1] + sys.argv[5:])
