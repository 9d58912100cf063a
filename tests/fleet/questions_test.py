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
        text = (EXAMPLES / 'fleet/questions.sql').read_text()
        answers = []
        for part in text.split('\n-- ')[1:]:
            question, _, sql = part.partition('\n')
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


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
