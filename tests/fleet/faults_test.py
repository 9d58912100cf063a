#!/usr/bin/python3
"""Servers and offices are ended by force while sites report. In the end every
acknowledged message is in the database once, every rejected one in its table,
and every order of prices has its answer.

usage: faults_test.py PROGRAMS [--full] [TEST]

PROGRAMS is the folder in which examples/fleet is built. Without --full each case is a
short one; with it there are 2,000 sites for a minute.
"""
import json
import pathlib
import signal
import subprocess
import sys
import unittest

from ledger import differences
from servers import Servers, spent, version, wait_until

FULL = '--full' in sys.argv
if FULL:
    sys.argv.remove('--full')
PROGRAMS = pathlib.Path(sys.argv[1]).resolve()
SITES, SECONDS, RATE, HOSTILE, PRICES = ((2000, 60, 1500, 1000, 500) if FULL else
                                         (50, 3, 300, 60, 20))
MESSAGES = 3 * SITES + SECONDS * RATE
# Seconds after which a program counts as hanging.
END = 600


class Faults(unittest.TestCase):
    def setUp(self):
        self.programs = []
        self.database = self.ledger = self.errors = None

    def serve(self, count=1):
        """Starts servers, which end after the test, but before their folder."""
        servers = self.enterContext(Servers(count))
        self.addCleanup(self.end_programs)
        self.database = servers.folder / 'office.db'
        self.ledger = servers.folder / 'ledger'
        self.errors = servers.folder / 'errors'
        return servers

    def end_programs(self):
        for program in self.programs:
            program.kill()
            program.communicate()
        self.programs.clear()

    def start(self, *command):
        with open(self.errors, 'ab') as errors:
            program = subprocess.Popen(command, text=True,
                                       stdout=subprocess.PIPE, stderr=errors)
        self.programs.append(program)
        return program

    def office(self, servers, *options):
        return self.start(PROGRAMS / 'office', '--server', servers.urls,
                          '--database', self.database,
                          '--replicas', str(len(servers.hosts)), *options)

    def simulate(self, servers, *options):
        return self.start(PROGRAMS / 'simulate/simulate', '--server', servers.urls,
                          '--ledger', self.ledger, '--json',
                          '--sites', str(SITES), '--messages', str(MESSAGES), '--rate', str(RATE),
                          '--hostile', str(HOSTILE), '--prices', str(PRICES),
                          '--patience', str(END / 2), *options)

    def said(self):
        return self.errors.read_text()

    def streams_are_there(self, servers):
        """Whether a leader of each stream is known."""
        return None not in (servers.leader('TARN'), servers.leader('TARN_PRICES'))

    def check(self, servers, simulation):
        """What the simulator sent is stored: waits for it, then compares."""
        printed, _ = simulation.communicate(timeout=END)
        self.assertEqual(simulation.returncode, 0, printed + self.said()[-2000:])
        counts = json.loads(printed)
        self.assertEqual(counts['prices answered'], counts['prices taken'])
        self.assertEqual(counts['hostile'], HOSTILE)
        wait_until('the office has stored everything', lambda: servers.left() == 0, servers.left,
                   lambda: servers.report() + self.said()[-2000:])
        offices = [spent(program) for program in self.programs if program.poll() is None]
        running = [spent(process) for process in servers.processes]
        for program in self.programs:
            if program.poll() is None:
                program.send_signal(signal.SIGTERM)
                program.communicate(timeout=END)
                self.assertEqual(program.returncode, 0, self.said()[-2000:])
        found, sums = differences([self.ledger], self.database)
        self.assertEqual(found, [])
        self.assertEqual(sums['acknowledged'],
                         counts['acknowledged'] - counts['prices ordered'])
        print(f'{self.id()}: {counts} {sums}', file=sys.stderr)
        for name, list_of in (('office', offices), ('server', running)):
            for seconds, peak in list_of:
                print(f'{name}: {seconds / sums["acknowledged"] * 1e6:.0f} µs of a processor for '
                      f'each message, {peak:.0f} MiB at most', file=sys.stderr)

    def test_many_sites(self):
        servers = self.serve()
        self.office(servers)
        self.check(servers, self.simulate(servers))

    def test_many_are_sent_at_once(self):
        servers = self.serve()
        self.office(servers)
        wait_until('the streams are there', lambda: self.streams_are_there(servers))
        self.check(servers, self.simulate(servers, '--window', '50'))

    @unittest.skipIf(version() < (2, 10), 'with this server acknowledged messages can be lost')
    def test_leader_is_killed_twice(self):
        servers = self.serve(3)
        self.office(servers)
        wait_until('the streams are there', lambda: self.streams_are_there(servers))
        simulation = self.simulate(servers)
        for part in (1, 2):
            wait_until(f'a third of the messages is sent, {part} times',
                       lambda part=part: self.sent() > part * MESSAGES / 3, self.sent)
            leader = wait_until('the stream has a leader', servers.leader)
            index = servers.hosts.index(leader)
            servers.kill(index)
            wait_until('another server leads',
                       lambda leader=leader: servers.leader() not in (None, leader))
            servers.start(index)
            servers.wait_until_healthy()
        self.check(servers, simulation)

    def test_offices_are_killed_while_two_share(self):
        servers = self.serve()
        offices = [self.office(servers), self.office(servers)]
        simulation = self.simulate(servers)
        deaths = 20 if FULL else 4
        for death in range(deaths):
            wait_until(f'there is work for death {death}', lambda death=death: self.sent()
                       > (death + 1) * MESSAGES / (deaths + 2), self.sent)
            victim = offices[death % 2]
            victim.kill()
            victim.communicate()
            self.programs.remove(victim)
            offices[death % 2] = self.office(servers)
        self.check(servers, simulation)

    def test_store_is_full(self):
        servers = self.serve()
        first = self.office(servers, '--max-messages', '200')
        wait_until('the streams are there', lambda: self.streams_are_there(servers))
        first.kill()
        first.communicate()
        self.programs.remove(first)
        simulation = self.simulate(servers)
        wait_until('the simulator says that the store is full',
                   lambda: 'the store is full' in self.said())
        self.office(servers)
        self.check(servers, simulation)

    def test_server_without_the_stream(self):
        servers = self.serve()
        simulation = self.simulate(servers)
        wait_until('the simulator says what is missing',
                   lambda: 'start an office' in self.said())
        self.office(servers)
        self.check(servers, simulation)

    def sent(self):
        """Lines of the ledger so far; what is not flushed is missing."""
        return self.ledger.read_bytes().count(b'\n') if self.ledger.exists() else 0


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1] + sys.argv[2:], verbosity=2)
