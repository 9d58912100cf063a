#!/usr/bin/python3
"""What site and office say of bad input, and that it stops and delays nothing.

Usage: bad_input_test.py PROGRAMS EXAMPLES [unittest options]
"""

import os
import signal
import sqlite3
import stat
import sys
import unittest
from pathlib import Path

from programs import PATIENCE, FleetTest, field, limit_files, price

MEBIBYTE = 1 << 20
INPUT_OUTPUT = 5


def nested(depth, inside=b""):
    """Clients within one another, in a tree."""
    for _ in range(depth):
        inside = field(7, field(2, inside))
    return field(1, field(2, inside))


def filled(piece, size=MEBIBYTE - 64):
    """Pieces that take nearly all of the largest message."""
    return piece * (size // len(piece))


class Messages(FleetTest):
    def setUp(self):
        super().setUp()
        self.server()

    def rejected(self, subject, payload):
        """Why a message is rejected, and that the next one is stored."""
        client = self.client()
        bad = client.keep(subject, payload)
        good = client.keep("tarn.v0.a.Prices", price(1))
        self.await_rows(1, "SELECT 1 FROM message WHERE sequence = ?", good)
        self.assertEqual(self.rows("SELECT 1 FROM message WHERE sequence = ?",
                                   bad), [])
        self.assertEqual(self.rows("SELECT 1 FROM record WHERE sequence = ?",
                                   bad), [])
        row, = self.rows("SELECT subject, size, bytes, reason FROM rejected "
                         "WHERE sequence = ?", bad)
        self.assertEqual(row[:3], (subject, len(payload), payload[:256]))
        return row[3]

    def test_of_an_unknown_type_are_rejected(self):
        self.ready_office()
        for name in ("Price2", "StatusPacketEntry", "prices", "tarn"):
            self.assertEqual(
                self.rejected(f"tarn.v0.a.{name}", b""),
                "the subject names no type of this schema: update the office, "
                "or mend the site")

    def test_of_a_site_with_another_name_are_rejected(self):
        self.ready_office()
        for name in ("a$b", "a/b", "käse", "';DROP", "a\x1b[31m", "x" * 65):
            self.assertEqual(
                self.rejected(f"tarn.v0.{name}.Prices", price(1)),
                "the subject names no site: 1 to 64 letters, digits, - and _")

    def test_that_do_not_parse_are_rejected(self):
        self.ready_office()
        for payload in (b"\xff", b"\x0a\x05abc", b"\x00", b"\x0a\x04\x12\x02"
                        b"\xc3\x28", nested(51), os.urandom(64) + b"\x07"):
            name = "ModsConfigured" if len(payload) > 99 else "Prices"
            self.assertEqual(
                self.rejected(f"tarn.v0.a.{name}", payload),
                f"these bytes are no {name}: look into them with "
                "\"tarn annotate\"")

    def test_without_bytes_have_every_field_at_zero(self):
        self.ready_office()
        self.client().keep("tarn.v0.a.AppSettings", b"")
        self.await_rows(1, "SELECT 1 FROM app_settings WHERE NOT ertd_support")
        self.assertEqual(self.rows("SELECT 1 FROM rejected"), [])

    def test_that_are_too_large_are_rejected(self):
        self.ready_office("--max-size", "5000")
        self.assertEqual(self.rows("SELECT 1 FROM message"), [])
        office = self.ready_office("--max-size", "4000")
        self.assertIsNone(office.poll())
        client = self.client()
        answer = client.ask("tarn.v0.a.Prices", filled(price(1), 6000))
        self.assertEqual(answer["error"]["err_code"], 10054)

    def test_larger_than_this_office_takes_are_rejected(self):
        self.end(self.ready_office())
        self.ready_office("--max-size", "4000")
        self.assertEqual(
            self.rejected("tarn.v0.a.Prices", filled(price(1), 6000)),
            "larger than 4000 bytes: send less, or start the office with a "
            "larger --max-size")

    def test_of_8_mb_are_refused_and_the_others_of_a_site_arrive(self):
        self.ready_office()
        folder = self.installation()
        (folder / "big.txtpb").write_text(
            "# proto-message: tarn.FileMessage\n"
            f'fileName: "{"x" * (8 << 20)}"\n')
        site = self.site(folder)
        self.await_rows(11, "SELECT 1 FROM message")
        self.await_("a sentence", lambda: "FileMessage: larger than the server "
                    'takes; see "max_payload"' in self.said(site))
        self.assertIsNone(site.poll())
        order = self.examples / "prices.txtpb"
        self.assertIn("prices for kiosk: price_update_failure",
                      self.run_office("prices", "kiosk", str(order))[1])

    def test_of_the_worst_bytes_stay_within_the_memory(self):
        office = self.ready_office()
        client = self.client()
        node = field(1, b"")  # a node without a kind
        worst = {
            "ModsConfigured": [
                filled(node), filled(field(1, field(4, b""))),
                filled(field(1, field(1, field(7, b"")))),
                filled(nested(49)), filled(field(1, field(6, field(12, b"")))),
                filled(field(1, b"\x3b\x3c")),  # groups without end
                field(1, field(3, field(1, b"\x01" * (MEBIBYTE - 64))) + node),
                filled(field(1, field(3, field(1, b"n" * 20000)))),
                field(1, field(1, field(1, b"n" * 18000) + filled(
                    field(7, field(4, b"")), MEBIBYTE - 20000)))],
            "NetworkStatusReport": [
                b"".join(field(1, field(1, b"%06d" % key) + field(2, 1))
                         for key in range(80000)),
                filled(b"\x7b\x7c")],
            "Prices": [filled(field(1, b"")), filled(price(1)),
                       filled(field(2, 1)), filled(field(3, b"x" * 16)),
                       filled(b"\x7b" * 90 + b"\x7c" * 90)],
            "DisplayMsg": [filled(field(1, b"")), filled(field(1, b"x" * 16))],
            "AppStates": [field(1, b"\x01" * (MEBIBYTE - 64))],
            "HwIdGroups": [filled(field(1, field(8, b"\x01")))],
        }
        for name, payloads in worst.items():
            for payload in payloads:
                for _ in range(2):
                    last = client.keep(f"tarn.v0.worst.{name}", payload)
        self.await_("the last message", lambda: self.rows(
            "SELECT 1 FROM message WHERE sequence = ?1 UNION "
            "SELECT 1 FROM rejected WHERE sequence = ?1", last))
        count = 2 * sum(map(len, worst.values()))
        self.assertEqual(len(self.rows(
            "SELECT sequence FROM message UNION SELECT sequence FROM rejected"
            )), count)
        peak = int(next(line for line in Path(
            f"/proc/{office.pid}/status").read_text().splitlines()
                        if line.startswith("VmHWM")).split()[1])
        self.assertLess(peak, 128 * 1024, "KiB")

    def test_show_nothing_that_controls_a_terminal(self):
        self.ready_office()
        name = b"\x1b[31m\xe2\x80\xaered\x0a" + b"long" * 50
        self.client().keep("tarn.v0.a.ModsConfigured",
                              field(1, field(1, field(1, name))))
        self.client().keep("tarn.v0.a.\x1bX", b"")
        self.await_rows(1, "SELECT 1 FROM rejected")
        status, picture = self.run_office("show", "a")
        self.assertEqual(status, 0)
        self.assertRegex(picture, r"\n\\x1b\[31m\\xe2\\x80\\xaered\\x0alonglo")
        self.assertNotIn("long" * 20, picture)
        self.assertNotIn("\x1b", picture)
        self.assertNotIn("\x1b", "".join(map(
            lambda path: path.read_text(), self.logs.values())))

    def test_with_many_nodes_are_shown(self):
        self.ready_office()
        nodes = b"".join(
            field(7, field(2, field(1, b"n%d" % i) + field(4, b"u%d" % i)))
            for i in range(20000))
        self.client().keep("tarn.v0.a.ModsConfigured",
                              field(1, field(1, nodes)))
        self.client().keep("tarn.v0.a.NetworkStatusReport", b"".join(
            field(1, field(1, b"u%d" % i) + field(2, 2))
            for i in range(20000)))
        self.await_rows(2, "SELECT 1 FROM record")
        status, picture = self.run_office("show", "a")
        self.assertEqual(status, 0)
        self.assertIn("server: 1, client: 20000\n", picture)
        self.assertRegex(picture, r"comm_error +n19999 +u19999\n")


class Servers(FleetTest):
    def refused(self, *words):
        """What an office says that cannot connect."""
        status, said = self.run_office(
            *words, "prices", "a", str(self.examples / "prices.txtpb"))
        self.assertEqual(status, INPUT_OUTPUT, said)
        return said

    def test_that_are_not_there_are_named(self):
        self.end(self.server(), signal.SIGKILL)
        self.assertEqual(
            self.refused(),
            f"office: {self.url()}: no server there; start it, or name another "
            "with --server\n")

    def test_that_keep_nothing_are_named(self):
        self.server(jetstream=False)
        self.assertIn('switch on "jetstream" in the server\'s file',
                      self.refused())
        office = self.office()
        self.await_("a sentence", lambda: 'switch on "jetstream"' in
                    self.said(office))

    def test_that_do_not_know_the_key_are_named(self):
        self.make_keys("--sites", "right", "wrong")
        right, wrong = self.folder / "right.nk", self.folder / "wrong.nk"
        public = (self.folder / "right.nk.pub").read_text().strip()
        self.server(f'authorization {{ users: [ {{ nkey: "{public}" }} ] }}\n')
        sentence = "the server refuses the key; see whether it knows that of"
        self.assertIn(sentence, self.refused("--nkey", str(wrong)))
        for start in (lambda: self.office("--nkey", wrong),
                      lambda: self.site(self.examples, "--nkey", wrong)):
            program = start()
            self.assertEqual(program.wait(PATIENCE), INPUT_OUTPUT)
            self.assertIn(sentence, self.said(program))
        self.ready_office("--nkey", right)
        self.site(self.examples, "--nkey", right)
        self.await_rows(11, "SELECT 1 FROM message")

    def certificate(self, days):
        """A certificate of this machine, which is good for some days."""
        self.make_keys("--hosts", "127.0.0.1", "--days", str(days))
        return 'tls { cert_file: "server.pem", key_file: "server.key" }\n'

    def test_with_an_expired_certificate_are_named(self):
        self.server(self.certificate(0))
        self.assertIn("no trust in the server's certificate; see its date, and "
                      "--tls-ca", self.refused("--tls-ca", "ca.pem"))

    def test_with_a_good_certificate_are_trusted(self):
        self.server(self.certificate(365))
        self.ready_office("--tls-ca", "ca.pem")
        self.assertIn("no trust in the server's certificate", self.refused())


class Databases(FleetTest):
    def setUp(self):
        super().setUp()
        self.server()
        self.path = self.folder / "o.db"

    def refused(self, preexec=None):
        office = self.office(preexec=preexec)
        self.assertEqual(office.wait(PATIENCE), INPUT_OUTPUT)
        return self.said(office)

    def test_of_another_version_are_named_and_left_alone(self):
        self.end(self.ready_office())
        database = sqlite3.connect(self.path)
        database.execute("PRAGMA user_version = 7")
        database.close()
        sentence = ("made by another version of the office, or by another "
                    "program; name another --database")
        self.assertIn(sentence, self.refused())
        self.assertIn(sentence, self.run_office("count")[1])
        self.assertEqual(self.rows("PRAGMA user_version"), [(7,)])
        self.assertEqual(self.rows("SELECT count(*) FROM message"), [(0,)])

    def test_that_are_no_databases_are_named(self):
        self.path.write_text("These are notes.\n" * 99)
        self.assertIn("file is not a database; name another", self.refused())

    def test_that_are_locked_are_named(self):
        self.end(self.ready_office())
        database = sqlite3.connect(self.path, isolation_level=None)
        database.execute("BEGIN IMMEDIATE")
        self.assertIn("database is locked; end the program that keeps it "
                      "locked", self.refused())
        database.close()
        self.ready_office()

    def test_that_cannot_be_written_are_named(self):
        self.end(self.ready_office())
        for path in self.folder.glob("o.db*"):
            self.assertEqual(stat.S_IMODE(path.stat().st_mode), 0o600)
            path.chmod(0o444)
        self.folder.chmod(0o555)
        nobody = (lambda: os.setuid(65534)) if os.getuid() == 0 else None
        said = self.refused(preexec=nobody)
        self.folder.chmod(0o755)
        self.assertIn("see whether this user may write the file and its folder",
                      said)

    def test_that_are_missing_are_named(self):
        for words in (("count",), ("show", "a"), ("compare", "ledger")):
            status, said = self.run_office(*words)
            self.assertEqual(status, INPUT_OUTPUT)
            self.assertIn("unable to open database file; see whether", said)

    def test_that_are_full_end_the_office_and_nothing_is_lost(self):
        office = self.ready_office(preexec=limit_files(2 << 20))
        client = self.client()
        sequences = [client.keep("tarn.v0.a.DisplayMsg",
                                    field(1, b"x" * 100000))
                     for _ in range(40)]
        self.assertEqual(office.wait(PATIENCE), INPUT_OUTPUT)
        self.assertIn("make room on its disk and start again", self.said(office))
        self.ready_office()
        self.await_rows(40, "SELECT 1 FROM message")
        self.assertEqual([row[0] for row in self.rows(
            "SELECT sequence FROM message ORDER BY 1")], sequences)


class CommandLines(FleetTest):
    def test_that_are_wrong_are_told_so(self):
        self.server()
        for words in (("prices", "a"), ("prices", "a.b", "x"), ("shew",),
                      ("--max-size", "1x"), ("--max-size", "0"), ("--what",),
                      ("--server", "", "prices", "a",
                       self.examples / "prices.txtpb"),
                      ("count", "a")):
            status, said = self.run_office(*words)
            self.assertEqual(status, 2, words)
            self.assertRegex(said, "office: ")
        for folder, name in ((self.examples, "a.b"), (self.examples, ""),
                             (self.folder, "a")):
            site = self.site(folder, name=name)
            self.assertEqual(site.wait(PATIENCE), 2)
            self.assertRegex(self.said(site), "site: .*name")

    def test_name_files_that_are_no_prices(self):
        self.server()
        for text, status, words in (
                ("", 3, "add a line"), ("# proto-message: tarn.X\n", 4, "X"),
                ("# proto-message: tarn.Prices\nx", 3, ":2:2: "),
                ("# proto-message: tarn.POS\n", 2, "holds no tarn.Prices")):
            (self.folder / "order").write_text(text)
            done = self.run_office("prices", "a", "order")
            self.assertEqual(done[0], status, done)
            self.assertIn(words, done[1])


if __name__ == "__main__":
    FleetTest.programs, FleetTest.examples = (
        Path(path).resolve() for path in sys.argv[1:3])
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
