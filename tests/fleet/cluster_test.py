#!/usr/bin/python3
"""The cluster of examples/fleet/cluster: three servers keep one stream, and each
site may do with its key what it has to do, and no more.

usage: cluster_test.py PROGRAMS EXAMPLES [TEST]

PROGRAMS is the folder in which examples/fleet is built, EXAMPLES is examples/.
"""
import contextlib
import pathlib
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import unittest

from client import Client, Refused
from servers import PORT, Servers, wait_until

PROGRAMS, EXAMPLES = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
CLUSTER = EXAMPLES / 'fleet/cluster'
# Seconds after which a program counts as hanging.
END = 120


def configure(folder, hosts, days=365):
    """As the page says, but for the ports, and a server alone has no cluster."""
    make_keys(folder, '--hosts', *hosts, '--sites', 'north', 'south', '--days', str(days))
    for name in ('server.conf', 'routes.conf'):
        file = folder / name
        text = re.sub(r'\b([468]222)\b', r'1\1', file.read_text())
        if len(hosts) == 1:
            text = re.sub(r'^cluster \{$.*?^\}$', '', text, flags=re.M | re.S)
        file.write_text(text)
    return folder / 'server.conf'


def make_keys(folder, *options):
    return subprocess.run([CLUSTER / 'make_keys.py', folder, *options], check=True, timeout=END)


def first_field(data):
    """Data of 16 KiB to 2 MiB as the length-delimited field 1."""
    size = len(data)
    return bytes((0x0a, size & 127 | 128, size >> 7 & 127 | 128, size >> 14)) + data


class Programs(unittest.TestCase):
    servers = folder = None

    def serve(self, *options):
        self.servers = self.enterContext(Servers(*options))
        self.folder = self.servers.folder

    def start(self, name, *words, key=None):
        """A program with a key; what it says is in a file of its name."""
        with open(self.folder / f'{name}.said', 'wb') as said:
            program = subprocess.Popen(
                [PROGRAMS / name, '--server', self.servers.urls, '--tls-ca',
                 self.folder / 'ca.pem', '--nkey', self.folder / f'{key or name}.nk', *words],
                stdout=said, stderr=said)
        self.addCleanup(program.wait)
        self.addCleanup(program.kill)
        return program

    def said(self, name):
        return (self.folder / f'{name}.said').read_text()

    def site(self, name, key=None):
        return self.start('site', '--name', name, EXAMPLES, key=key or name)

    def wait_until_said(self, name, text):
        try:
            wait_until(f'{name} says "{text}"', lambda: text in self.said(name))
        except TimeoutError:
            self.fail(f'{name} said not "{text}", but:\n{self.said(name)}')


class Cluster(Programs):
    def setUp(self):
        self.serve(3, configure)
        self.database = self.folder / 'office.db'

    def office(self, *options):
        return self.start('office', '--database', self.database, '--replicas', '3',
                          '--max-messages', '10', *options)

    def client(self, name):
        client = Client(self.servers.hosts[0], PORT, self.folder / f'{name}.nk',
                        self.folder / 'ca.pem', f'_SITE.{name}')
        self.addCleanup(client.__exit__)
        return client

    def stored(self, site):
        try:
            with contextlib.closing(
                    sqlite3.connect(f'file:{self.database}?mode=ro', uri=True)) as opened:
                return opened.execute('SELECT count(*) FROM message WHERE site = ?',
                                      (site,)).fetchone()[0]
        except sqlite3.OperationalError:
            return 0

    def refuses(self, client, act, words):
        with self.subTest(words), self.assertRaisesRegex(Refused, words):
            act()
            client.flush()

    def test_a_site_reports_and_gets_prices(self):
        self.office()
        self.site('north')
        wait_until('the office has the messages of the site', lambda: self.stored('north') > 2)
        # While a server does not know the leader yet, it counts all three.
        wait_until('there are two copies beside the leader', lambda: {2} == {
            len(stream['cluster']['replicas']) for _, stream in self.servers.streams()
            if stream['name'] == 'TARN' and 'cluster' in stream})
        prices = self.start('office', 'prices', 'north', EXAMPLES / 'prices.txtpb')
        prices.wait(END)
        self.assertRegex(self.said('office'), 'prices for north: price_update_(ok|failure)\n')
        self.check_permissions()

    def check_permissions(self):
        north = self.client('north')
        allowed = 'tarn.v0.north.ModsConfigured'
        self.assertIn(b'"stream":"TARN"', north.request(allowed)[1])
        for subject in ('tarn.v0.south.ModsConfigured', 'tarn.v0.north.Prices.set',
                        '$JS.API.STREAM.INFO.TARN', '$JS.API.STREAM.PURGE.TARN',
                        '$JS.API.DIRECT.GET.TARN_PRICES',
                        '$JS.API.DIRECT.GET.TARN_PRICES.tarn.v0.south.Prices.set',
                        '$JS.API.CONSUMER.MSG.NEXT.TARN.office'):
            self.refuses(north, lambda subject=subject: north.publish(subject),
                         f'Permissions Violation for Publish to "{re.escape(subject)}"')
        for subject in ('>', '_INBOX.>', '_SITE.>', '_SITE.south.>', 'tarn.v0.*.*',
                        'tarn.v0.south.Prices.set'):
            self.refuses(north, lambda subject=subject: north.subscribe(subject),
                         f'Permissions Violation for Subscription to "{re.escape(subject)}"')
        self.assertIn(b'"stream":"TARN"', north.request(allowed)[1])

    def test_a_full_store_refuses_until_an_office_has_emptied_it(self):
        first = self.office()
        self.wait_until_said('office', 'storing what comes')
        first.send_signal(signal.SIGTERM)
        self.assertEqual(first.wait(END), 0)
        north = self.client('north')
        # A name of 100,000 letters, 20 times.
        message = first_field(first_field(first_field(b'n' * 100000)))
        answers = [north.request('tarn.v0.north.ModsConfigured', message)[1] for _ in range(20)]
        self.assertIn(b'"seq":1', answers[0])
        self.assertIn(b'10077', answers[-1])
        kept = sum(b'10077' not in answer for answer in answers)
        site = self.site('north')
        self.wait_until_said('site', 'the store is full')
        self.office()
        wait_until('the office has what was kept', lambda: self.stored('north') > kept)
        self.assertNotIn('rejected', self.said('office'))
        site.send_signal(signal.SIGTERM)
        self.assertEqual(site.wait(END), 0)

    def test_a_new_site_needs_no_restart(self):
        make_keys(self.folder, '--sites', 'west')
        for process in self.servers.processes:
            process.send_signal(signal.SIGHUP)
        self.office()
        self.site('west')
        wait_until('the office has the messages of west', lambda: self.stored('west') > 2)


class Refusals(Programs):
    def test_an_unknown_key_gets_a_sentence(self):
        self.serve(1, configure)
        make_keys(self.folder / 'other', '--sites', 'north')
        for name in ('north.nk', 'north.nk.pub'):
            shutil.copy(self.folder / 'other' / name, self.folder / f'stranger{name[5:]}')
        site = self.site('north', key='stranger')
        self.wait_until_said('site', 'the server refuses the key')
        self.assertEqual(site.wait(END), 5)

    def test_an_expired_certificate_gets_a_sentence(self):
        self.serve(1, lambda folder, hosts: configure(folder, hosts, days=0))
        self.site('north')
        self.wait_until_said('site', 'certificate')


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
