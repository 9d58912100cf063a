#!/usr/bin/python3
"""site and office together: what is acknowledged is stored once, whatever ends.

Usage: together_test.py PROGRAMS EXAMPLES [unittest options]
"""

import json
import signal
import sys
import threading
import time
import unittest
from pathlib import Path

from programs import PATIENCE, FleetTest, field, price

ORDER = "tarn.v0.kiosk.Prices.set"
FAILURE, PENDING, OK = 5, 9, 11  # answers to an order


class Site(FleetTest):
    def test_sends_all_first_and_then_only_what_changes(self):
        self.server()
        self.ready_office()
        folder = self.installation()
        ledger = self.folder / "ledger"
        site = self.site(folder, "--ledger", ledger)
        self.await_rows(11, "SELECT 1 FROM message")
        before = self.reports()
        self.edit(folder / "installation.txtpb",
                  'name: "North line 1"\n            status: ok',
                  'name: "North line 1"\n            status: comm_error')
        self.await_rows(12, "SELECT 1 FROM message")
        new = [row for row in self.reports() if row not in before]
        self.assertEqual(len(new), 1)
        keys = self.rows("SELECT key, status_name FROM status WHERE "
                         "sequence = ? ORDER BY field", *new[0])
        self.assertEqual([name for _, name in keys],
                         ["price_sync_pending", "comm_error"])
        self.assertEqual(len({key for key, _ in keys}), 1)
        status, said = self.run_office("--json", "show", "kiosk")
        reports = [message["message"] for message in map(
            json.loads, said.splitlines())
                   if message["type"] == "NetworkStatusReport"]
        self.assertEqual(len(reports), 1)
        self.assertGreater(len(reports[0]["status_packet"]), len(keys))
        said = self.end(site)
        self.assertRegex(said, r"sent +12\nacknowledged +12\n")
        status, said = self.run_office("--json", "compare", str(ledger))
        self.assertEqual((status, json.loads(said)), (0, {
            "acknowledged": 12, "stored": 12, "read_back": 12, "equal": 12}))

    def test_goes_on_without_a_server_and_then_sends_what_is_current(self):
        server = self.server()
        folder = self.installation()
        site = self.site(folder)
        self.ready_office()
        self.await_rows(11, "SELECT 1 FROM message")
        self.end(server, signal.SIGKILL)
        self.await_("the site to miss the server", lambda: "no server" in
                    self.said(site))
        for amount in ("2.51", "2.52", "2.53"):
            path = folder / "prices.txtpb"
            text = path.read_text().split('set_price: "', 1)
            path.write_text(text[0] + f'set_price: "{amount}' +
                            text[1][text[1].index('"'):])
        self.server()
        self.await_rows(22, "SELECT 1 FROM message")
        self.assertEqual(self.rows(
            "SELECT set_price FROM price WHERE line_num = 1"),
            [("2.50",), ("2.53",)])

    def test_starts_before_there_is_a_server_or_a_stream(self):
        self.server()
        site = self.site(self.installation())
        self.await_("the site to miss the stream", lambda:
                    "nobody keeps these messages" in self.said(site))
        self.ready_office()
        self.await_rows(11, "SELECT 1 FROM message")

    def test_keeps_what_was_there_when_a_file_is_broken(self):
        self.server()
        self.ready_office()
        folder = self.installation()
        site = self.site(folder)
        self.await_rows(11, "SELECT 1 FROM message")
        self.edit(folder / "prices.txtpb", "prices {", "prices [")
        self.await_("the site to name the place", lambda:
                    "prices.txtpb:6:10: " in self.said(site))
        self.assertIsNone(site.poll())

    def test_says_that_the_store_is_full_and_goes_on_when_it_is_not(self):
        self.server()
        office = self.ready_office("--max-messages", "5")
        self.end(office)
        site = self.site(self.installation())
        self.await_("a full store", lambda: "store is full" in self.said(site))
        self.ready_office()
        self.await_rows(11, "SELECT DISTINCT type FROM message")


class Office(FleetTest):
    def load(self, count, site, acknowledged):
        """Publishes until all is acknowledged, like a site."""
        client = None
        for number in range(count):
            payload = price(number, b"product-%d" % number)
            while True:
                try:
                    client = client or self.client()
                    sequence = client.keep(f"tarn.v0.{site}.Prices", payload)
                    acknowledged[sequence] = payload
                    break
                except (OSError, ValueError):
                    client = None
                    time.sleep(0.05)

    def check(self, acknowledged):
        self.await_rows(len(acknowledged), "SELECT 1 FROM message")
        stored = self.rows("SELECT sequence, bytes FROM message")
        self.assertEqual(sorted(acknowledged.items() - set(stored))[:3], [])
        rows = self.rows("SELECT sequence, line_num FROM price")
        self.assertEqual(len(rows), len(stored))
        self.assertEqual(len(set(rows)), len(stored))

    def test_stores_all_once_though_it_and_the_server_are_killed(self):
        server = self.server()
        office = self.ready_office()
        acknowledged = {}
        load = threading.Thread(target=self.load,
                                args=(1500, "kiosk", acknowledged))
        load.start()
        for kill in range(1, 6):
            self.await_("messages", lambda kill=kill:
                        len(acknowledged) >= kill * 250)
            if kill % 2:
                self.end(office, signal.SIGKILL)
                office = self.office()
            else:
                self.end(server, signal.SIGKILL)
                server = self.server()
        load.join(PATIENCE)
        self.assertEqual(len(acknowledged), 1500)
        self.check(acknowledged)

    def test_two_share_one_stream_and_one_database(self):
        self.server()
        self.ready_office()
        self.ready_office()
        acknowledged = {}
        loads = [threading.Thread(target=self.load,
                                  args=(400, f"site-{i}", acknowledged))
                 for i in range(3)]
        for load in loads:
            load.start()
        for load in loads:
            load.join(PATIENCE)
        self.check(acknowledged)

    def test_does_not_wait_until_a_batch_is_full(self):
        self.server()
        self.ready_office()
        client = self.client()
        begin = time.monotonic()
        for number in range(1, 31):
            client.keep("tarn.v0.a.Prices", price(number))
            self.await_rows(number, "SELECT 1 FROM message")
        self.assertLess(time.monotonic() - begin, 15)

    def test_stores_what_follows_when_the_stream_was_made_anew(self):
        self.server()
        office = self.ready_office()
        client = self.client()
        self.assertEqual(client.keep("tarn.v0.a.Prices", price(1)), 1)
        self.await_rows(1, "SELECT 1 FROM message")
        client.ask("$JS.API.STREAM.DELETE.TARN")
        self.await_("a new stream", lambda: client.ask(
            "tarn.v0.a.Prices", price(2)).get("seq"))
        self.await_rows(2, "SELECT 1 FROM message")
        self.assertEqual(len(self.rows("SELECT DISTINCT sequence FROM message")),
                         1)
        ledger = self.folder / "ledger"
        ledger.write_text("".join(f"1 tarn.v0.a.Prices {price(i).hex()}\n"
                                  for i in (1, 2)))
        self.assertEqual(self.run_office("compare", str(ledger)), (
            0, "acknowledged     2\nstored           2\n"
            "read back        2\nequal            2\n"))
        self.assertIsNone(office.poll())

    def test_stores_once_what_the_server_has_kept_twice(self):
        self.server()
        self.ready_office()
        client = self.client()
        config = client.ask("$JS.API.STREAM.INFO.TARN")["config"]
        shortest = dict(config, duplicate_window=100_000_000)  # nanoseconds
        self.assertNotIn("error", client.ask("$JS.API.STREAM.UPDATE.TARN",
                                             json.dumps(shortest).encode()))
        sent = [("tarn.v0.a.Prices", price(1), "a-1")] * 2 + [
            ("tarn.v0.a.Prices", price(2), "a-1"),
            ("tarn.v0.b.Prices", price(1), "a-1"),
            ("tarn.v0.a.Prices", price(1), "")] + [
                ("tarn.v0.a.Prices", b"\xff", "a-2")] * 2
        for number, message in enumerate(sent, 1):
            self.assertEqual(client.keep(*message), number)
            time.sleep(0.5)
        self.await_rows(1, "SELECT 1 FROM rejected")
        self.assertEqual(self.rows("SELECT sequence FROM message "
                                   "ORDER BY sequence"),
                         [(1,), (3,), (4,), (5,)])
        self.assertEqual(self.rows("SELECT sequence FROM rejected"), [(6,)])
        self.assertEqual(self.rows("SELECT count(*) FROM price"), [(4,)])
        ledger = self.folder / "ledger"
        ledger.write_text(f"2 tarn.v0.a.Prices {price(1).hex()} a-1\n")
        self.assertEqual(self.run_office("compare", str(ledger)), (
            0, "acknowledged     1\nstored           4\n"
            "read back        1\nequal            1\n"))

    def test_shows_a_site_and_counts_for_people_and_programs(self):
        self.server()
        self.ready_office()
        self.site(self.examples)
        self.await_rows(11, "SELECT 1 FROM message")
        status, picture = self.run_office("show", "kiosk")
        self.assertEqual(status, 0)
        for line in (
                "│  └─ South banner     message  ok                    "
                "2 × 4 T16-32, 8 modules, 296–307 K",
                "server: 1, client: 3, display: 16, module: 60, direct: 1",
                "8     lunch-credit   9.20"):
            self.assertIn(line + "\n", picture)
        status, text = self.run_office("--json", "show", "kiosk")
        messages = [json.loads(line) for line in text.splitlines()]
        self.assertEqual(len(messages), 11)
        self.assertIn({"ertd_support": True, "sso_support": True},
                      [message["message"] for message in messages])
        self.assertEqual(self.run_office("count")[1],
                         "stored           11\nrejected         0\n"
                         "sites            1\n")

    def test_shows_a_pass_phrase_to_nobody(self):
        self.server()
        self.ready_office()
        self.client().keep("tarn.v0.a.Wifi", b"\x0a\x01n\x12\x06secret")
        self.await_rows(1, "SELECT 1 FROM message")
        for words in (("show", "a"), ("--json", "show", "a")):
            self.assertNotIn("secret", self.run_office(*words)[1])


class Prices(FleetTest):
    def answers(self, key):
        return [name for name, in self.rows(
            "SELECT status_name FROM status WHERE key = ? ORDER BY sequence",
            key)]

    def test_are_pending_and_then_updated_or_failed(self):
        self.server()
        self.ready_office()
        self.site(self.installation())
        self.await_rows(11, "SELECT 1 FROM message")
        order = self.folder / "order.txtpb"
        order.write_text('# proto-message: tarn.Prices\n'
                         'prices { line_num: 5 set_price: "4.70" }\n')
        status, said = self.run_office("prices", "kiosk", str(order))
        self.assertIn("the site has them\n", said)
        for line in ("price_update_ok  North line 3\n",
                     "prices for kiosk: price_update_ok\n"):
            self.assertIn(line, said)
        self.assertEqual(status, 0)
        status, said = self.run_office(
            "--json", "prices", "kiosk", str(self.examples / "prices.txtpb"))
        self.assertEqual(status, 1)
        answer = json.loads(said[said.index("{"):said.rindex("}") + 1])
        self.assertEqual(
            (answer["site"], answer["order"], answer["answer"]),
            ("kiosk", 2, "price_update_failure"))
        self.assertEqual(
            [uuid for uuid, name in answer["displays"].items()
             if name == "price_update_failure"],
            ["3ecce515-c900-4bc0-8c7d-ae9d4c7497b8"])
        self.await_rows(2, "SELECT 1 FROM status WHERE key = 'prices-2'")
        self.assertEqual(self.answers("prices-1"),
                         ["price_sync_pending", "price_update_ok"])
        self.assertEqual(self.answers("prices-2"),
                         ["price_sync_pending", "price_update_failure"])
        self.await_("the price that the site shows", lambda: ("4.70",) in
                    self.rows("SELECT set_price FROM price"))

    def test_are_shown_by_a_sign_when_it_is_within_reach_again(self):
        self.server()
        self.ready_office()
        folder = self.installation()
        self.site(folder)
        order = self.folder / "order.txtpb"
        order.write_text('# proto-message: tarn.Prices\n'
                         'prices { line_num: 3 set_price: "4.70" }\n')
        status, said = self.run_office("prices", "kiosk", str(order))
        self.assertIn("prices for kiosk: price_update_failure\n", said)
        self.assertEqual(status, 1)
        self.edit(folder / "installation.txtpb", "status: comm_error",
                  "status: ok")
        self.await_("the price that all signs show", lambda: ("4.70",) in
                    self.rows("SELECT set_price FROM price"))
        self.await_rows(3, "SELECT 1 FROM status WHERE key = 'prices-1'")
        self.assertEqual(self.answers("prices-1"),
                         ["price_sync_pending", "price_update_failure",
                          "price_update_ok"])

    def test_take_the_place_of_those_before(self):
        self.server()
        self.ready_office()
        self.site(self.installation())
        for line in (5, 6):
            order = self.folder / "order.txtpb"
            order.write_text('# proto-message: tarn.Prices\n'
                             f'prices {{ line_num: {line} set_price: "4.70" }}\n')
            self.run_office("prices", "kiosk", str(order))
            self.await_rows(1, "SELECT 1 FROM price WHERE line_num ="
                            " ? AND set_price = '4.70'", line)
        self.assertEqual(self.rows(
            "SELECT line_num FROM price WHERE set_price = '4.70'"), [(5,), (6,)])

    def test_wait_for_a_site_that_is_away_and_only_the_last_counts(self):
        self.server()
        self.ready_office()
        path = str(self.examples / "prices.txtpb")
        for _ in range(2):
            status, said = self.run_office("--wait", "1", "prices", "kiosk",
                                           path)
            self.assertEqual(status, 1)
            self.assertIn("no answer in 1 s; the order stands", said)
        self.site(self.installation())
        self.await_rows(2, "SELECT 1 FROM status WHERE key = 'prices-2'")
        self.assertEqual(self.answers("prices-1"), [])

    def test_are_not_answered_by_what_a_site_said_of_an_earlier_stream(self):
        self.server()
        self.ready_office()
        client = self.client()
        path = self.examples / "prices.txtpb"
        office = self.office("--wait", "9", "prices", "north", path)
        self.await_("the order", lambda: "kept as order 1" in self.said(office))

        def report(*answers):
            client.keep("tarn.v0.north.NetworkStatusReport", b"".join(
                field(2, field(1, f"prices-{order}") + field(2, answer))
                for order, answer in answers))
        report((1, OK), (17, OK))
        self.await_rows(2, "SELECT 1 FROM status")
        time.sleep(1)
        self.assertIsNone(office.poll())
        report((1, PENDING))
        report((1, FAILURE))
        self.assertEqual(office.wait(PATIENCE), 1)
        self.assertIn("prices for north: price_update_failure\n",
                      self.said(office))

    def test_that_are_no_prices_are_answered_as_failed(self):
        self.server()
        self.ready_office()
        self.site(self.installation())
        self.client().keep(ORDER, b"\x0a\xff")
        self.await_rows(1, "SELECT 1 FROM status WHERE key = 'prices-1'")
        self.assertEqual(self.answers("prices-1"), ["price_update_failure"])

    def test_are_answered_again_by_a_site_that_was_killed(self):
        self.server()
        self.ready_office()
        folder = self.installation()
        site = self.site(folder)
        self.run_office("prices", "kiosk", str(self.examples / "prices.txtpb"))
        self.end(site, signal.SIGKILL)
        self.site(folder)
        self.await_rows(4, "SELECT 1 FROM status WHERE key = 'prices-1'")


if __name__ == "__main__":
    FleetTest.programs, FleetTest.examples = (
        Path(path).resolve() for path in sys.argv[1:3])
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
