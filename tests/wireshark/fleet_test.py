#!/usr/bin/python3
"""Wireshark shows what a site, a NATS server and an office have exchanged.

Usage: fleet_test.py PROGRAMS EXAMPLES [unittest options]
"""
import collections
import select
import socket
import sys
import threading
import unittest
from pathlib import Path

from shark import TREE, Shark
sys.path[1:1] = [str(TREE / 'tools/wireshark'), str(TREE / 'tests/fleet')]
from capture import Capture
from programs import FleetTest

CHUNK = 65536


class Recorder:
    """Stands between the programs and a server, and writes down what they send."""

    def __init__(self, port):
        self.server, self.capture, self.lock = port, Capture(), threading.Lock()
        self.listener = socket.create_server(('127.0.0.1', 0))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:  # the test has closed it
                return
            threading.Thread(target=self.serve, args=(client,), daemon=True).start()

    def serve(self, client):
        server = socket.create_connection(('127.0.0.1', self.server))
        with self.lock:
            connection = self.capture.connect(4222)
        other = {client: server, server: client}
        with client, server:
            while True:
                for end in select.select(list(other), [], [])[0]:
                    try:
                        data = end.recv(CHUNK)
                    except ConnectionError:  # ended by force
                        data = b''
                    if not data:
                        return
                    with self.lock:
                        connection.send(data, upwards=end is client)
                    other[end].sendall(data)

    def close(self):
        self.listener.close()


def carried(packets):
    """What the lines of NATS carry, by verb: site, type and bytes."""
    found = collections.defaultdict(list)
    for packet in packets:
        for line in packet.findall('proto[@name="tarn"]'):
            item = {field.get('name'): field for field in line.iter('field')}
            if 'tarn.type' not in item:
                continue
            name = item['tarn.type'].get('show')
            first = line.find('proto[@name="protobuf"]/field')
            data = bytes.fromhex(first.get('value')) if first is not None else b''
            verb = item['tarn.nats.verb'].get('show').lstrip('H')
            if item['tarn.nats.subject'].get('show').endswith('.Prices.set'):
                verb += ' order'
            found[verb].append((item['tarn.site'].get('show'), name, data))
    return found


class Fleet(FleetTest):
    def test_every_message_is_shown_as_it_is_stored(self):
        self.server()
        recorder = Recorder(int(self.port_of()))
        self.addCleanup(recorder.close)
        self.port = recorder.port  # pylint: disable=attribute-defined-outside-init
        office = self.ready_office()
        site = self.site(self.installation())
        self.await_rows(11, 'SELECT 1 FROM message')
        orders = self.examples / 'prices.txtpb'
        self.run_office('prices', 'kiosk', orders)
        stored = self.await_rows(13, 'SELECT site, type, bytes FROM message')
        self.end(site)
        self.end(office)
        shark = Shark()
        self.addCleanup(shark.close)
        with recorder.lock:
            packets = shark.packets(recorder.capture)
        found = carried(packets)
        self.assertEqual(sorted(found['PUB']), sorted(stored))
        order = found['PUB order']
        self.assertEqual([line[:2] for line in order], [('kiosk', 'Prices')])
        # Who has ordered prices hears the answers, too. The site asks for its order,
        # which comes to it under another subject.
        got, given = (collections.Counter(lines) for lines in
                      (found['MSG'] + found['MSG order'], stored + order))
        self.assertEqual((set(got), given - got), (set(given), collections.Counter()))
        unread = [item for packet in packets for item in packet.iter('field')
                  if item.get('name') in ('tarn.unread', 'tarn.damaged')]
        self.assertEqual(unread, [])


if __name__ == '__main__':
    Fleet.programs, Fleet.examples = (Path(path).resolve() for path in sys.argv[1:3])
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
