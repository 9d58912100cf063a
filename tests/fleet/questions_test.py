#!/usr/bin/python3
"""The questions of examples/fleet/questions.sql have answers on a simulated
fleet, and those that can be counted from the messages are right.

usage: questions_test.py PROGRAMS EXAMPLES [COPY]

COPY is a file that gets the database of that fleet.
"""
import collections
import pathlib
import signal
import sqlite3
import subprocess
import sys
import unittest

from servers import Servers, wait_until

PROGRAMS, EXAMPLES, *COPY = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
SITES = 200
DAY = 4  # seconds that a day of the simulation takes
END = 300
QUESTIONS = [part.partition('\n')[::2] for part in
             (EXAMPLES / 'fleet/questions.sql').read_text().split('\n\n-- ')[1:]]


def stretch(database):
    """Makes a day of the seconds that it took."""
    tables = [name for name, in database.execute(
        "SELECT name FROM sqlite_master WHERE type = 'table' AND sql LIKE '%time%'")]
    begin = database.execute('SELECT julianday(min(time)) FROM record').fetchone()[0]
    for table in tables:
        database.execute(
            f'UPDATE "{table}" SET time = strftime(\'%Y-%m-%dT%H:%M:%fZ\', '
            f"julianday('2026-03-01') + (julianday(time) - ?) * {86400 / DAY})", (begin,))


class Questions(unittest.TestCase):
    def run_fleet(self):
        servers = self.enterContext(Servers(1))
        file = servers.folder / 'office.db'
        with open(servers.folder / 'said', 'wb') as said:
            office = subprocess.Popen([PROGRAMS / 'office', '--server', servers.urls,
                                       '--database', file], stderr=said)
        self.addCleanup(office.wait)
        self.addCleanup(office.kill)
        subprocess.run([PROGRAMS / 'simulate/simulate', '--server', servers.urls,
                        '--sites', str(SITES), '--seconds', str(3 * DAY), '--day', str(DAY),
                        '--rate', '500', '--prices', '4000'],
                       check=True, timeout=END, stdout=subprocess.DEVNULL)
        wait_until('the office has stored everything', lambda: servers.left() == 0,
                   servers.left, servers.report)
        office.send_signal(signal.SIGTERM)
        self.assertEqual(office.wait(END), 0)
        database = sqlite3.connect(file)
        self.addCleanup(database.close)
        return database

    def test_have_answers(self):
        database = self.run_fleet()
        stretch(database)
        database.commit()
        for copy in COPY:
            database.execute('VACUUM INTO ?', (str(copy),))
        answers = []
        for question, sql in QUESTIONS:
            cursor = database.execute(sql)
            answers.append(cursor.fetchall())
            print(question, [column[0] for column in cursor.description], len(answers[-1]),
                  *answers[-1][:3], sep='\n  ', file=sys.stderr)
        self.assertEqual(len(answers), 5)
        wrong, nightly, silent, modules, prices = answers
        for answer in wrong, nightly, modules, prices:
            self.assertNotEqual(answer, [])
        self.check_wrong(database, wrong)
        self.check_silent(database, silent)
        self.assertEqual([row[:2] for row in modules], [('D16-24', 214)])
        self.assertEqual([row[:2] for row in prices],
                         [(name, SITES) for name in ('diesel', 'gas', 'plus', 'regular')])

    def check_wrong(self, database, wrong):
        """As a program finds it that reads the rows one after another."""
        since, end = {}, max(time for time, in database.execute('SELECT time FROM record'))
        for site, key, name, time in database.execute(
                "SELECT site, key, status_name, time FROM status WHERE field = "
                "'price_sync_status_packet' ORDER BY sequence"):
            if name == 'price_update_ok':
                since.pop((site, key), None)
            elif not key.startswith('prices-'):
                since.setdefault((site, key), time)
        hour = database.execute("SELECT strftime('%Y-%m-%dT%H:%M:%f', ?, '-1 hour')",
                                (end,)).fetchone()[0]
        self.assertEqual(sorted(row[:2] for row in wrong),
                         sorted(place for place, time in since.items() if time < hour))

    def check_silent(self, database, silent):
        last = collections.defaultdict(str)
        for site, time in database.execute('SELECT site, time FROM message'):
            last[site] = max(last[site], time)
        hour = database.execute("SELECT strftime('%Y-%m-%dT%H:%M:%f', ?, '-1 hour')",
                                (max(last.values()),)).fetchone()[0]
        self.assertEqual(sorted(row[0] for row in silent),
                         sorted(site for site, time in last.items() if time < hour))


class RowsByHand(unittest.TestCase):
    """Rows that a simulated fleet does not have."""

    def setUp(self):
        self.database = sqlite3.connect(':memory:')
        self.addCleanup(self.database.close)

    def fill(self, table, columns, *rows):
        self.database.execute(f'CREATE TABLE {table} ({columns})')
        self.database.executemany(
            f'INSERT INTO {table} VALUES ({", ".join("?" * len(rows[0]))})', rows)

    def answer(self, word, old='', new=''):
        (_, sql), = [asked for asked in QUESTIONS if word in asked[0]]
        self.assertIn(old, sql)
        return self.database.execute(sql.replace(old, new) if old else sql).fetchall()

    def test_a_renamed_radio_counts_once_and_night_moves_with_the_zone(self):
        self.fill('node', 'site, time, kind, uuid, name',
                  ('a', '2026-03-01T00:00:00Z', 'client', 'u', 'old'),
                  ('a', '2026-03-02T00:00:00Z', 'client', 'u', 'new'),
                  ('a', '2026-03-02T00:00:00Z', 'display', 'v', 'sign'))
        self.fill('status', 'site, time, field, key, status_name',
                  *(('a', f'2026-03-02T{time}Z', 'status_packet', 'u', 'comm_error')
                    for time in ('03:00:00', '04:59:59', '05:00:00', '21:00:00', '21:59:59',
                                 '22:00:00', '23:00:00')))
        self.assertEqual(self.answer('radios'), [('a', 'new', 7, 4)])
        self.assertEqual(self.answer('radios', '24 + 0', '24 + 1'), [('a', 'new', 7, 5)])
        self.assertEqual(self.answer('radios', '24 + 0', '24 + -2'), [])

    def test_a_module_counts_for_the_firmware_that_it_has_now(self):
        self.fill('node', 'site, time, kind, uuid, hw_id, fw_rev',
                  ('a', '2026-03-01', 'module', 'u', 'D', 1),
                  ('a', '2026-03-02', 'module', 'u', 'D', 2))
        self.fill('status', 'site, time, field, key, status_name',
                  ('a', '2026-03-02', 'status_packet', 'u', 'comm_error'))
        self.assertEqual(self.answer('firmware'), [('D', 2, 1, 1)])

    def test_a_price_that_is_no_number_is_no_amount(self):
        texts = ['10.5', '9', '', ' 1', '1 ', '1,5', '.5', '1.', '1.2.3', '-1', '+1', '1e3',
                 '0x1', '1_0', 'nan', 'inf', 'free', '1 EUR', '\u0663', '9' * 400, None]
        self.fill('product', 'site, time, id, price, enabled',
                  *((f's{i}', '2026-03-01', 'gas', text, 1) for i, text in enumerate(texts)),
                  ('s0', '2026-03-01', 'plus', 'free', 1))
        self.assertEqual(self.answer('charge'),
                         [('gas', len(texts), 9, 10.5), ('plus', 1, None, None)])


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
