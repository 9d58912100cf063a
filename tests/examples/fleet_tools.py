"""Servers, programs and a small NATS client for the tests of a fleet.

All that is started ends with the test, and all that waits has a limit and says
what it waited for.
"""

import json
import os
import re
import resource
import signal
import socket
import sqlite3
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

PATIENCE = 90  # seconds, which only a failing test takes
SERVER = "/usr/sbin/nats-server"


def varint(number):
    """A number as the wire has it."""
    out = b""
    while number > 0x7F:
        out += bytes([number & 0x7F | 0x80])
        number >>= 7
    return out + bytes([number])


def field(number, payload):
    """A field of bytes, or of a number."""
    if isinstance(payload, int):
        return varint(number << 3) + varint(payload)
    return varint(number << 3 | 2) + varint(len(payload)) + payload


def price(line, product=b"tea", amount=b"2.10"):
    return field(1, field(1, line) + field(2, product) + field(3, amount))


class Client:
    """Publishes any bytes under any subject, and knows the answers."""

    made = 0

    def __init__(self, port):
        Client.made += 1
        self.inbox = f"_TEST_{Client.made}"
        self.requests = 0
        self.socket = socket.create_connection(("127.0.0.1", port), PATIENCE)
        self.file = self.socket.makefile("rb")
        self.file.readline()
        self.write(b'CONNECT {"verbose":false,"headers":true,'
                   b'"no_responders":true}\r\nSUB %s.* 1\r\nPING\r\n' %
                   self.inbox.encode())
        while self.file.readline() != b"PONG\r\n":
            pass

    def close(self):
        self.file.close()
        self.socket.close()

    def write(self, data):
        self.socket.sendall(data)

    def request(self, subject, payload=b""):
        """The answer to a message; an empty one if nobody keeps it."""
        self.requests += 1
        reply = f"{self.inbox}.{self.requests}".encode()
        self.write(b"PUB %s %s %d\r\n%s\r\n" % (
            subject.encode(), reply, len(payload), payload))
        while True:
            words = self.file.readline().split()
            if not words:
                raise ConnectionError("the server has gone")
            if words[0] == b"PING":
                self.write(b"PONG\r\n")
            if words[0] == b"-ERR":
                raise ConnectionError(b" ".join(words).decode())
            if words[0] in (b"MSG", b"HMSG"):
                data = self.file.read(int(words[-1]) + 2)[:-2]
                if words[0] == b"HMSG":
                    data = data[int(words[-2]):]
                if words[1] == reply:
                    return json.loads(data) if data else {}

    def publish(self, subject, payload):
        """The sequence of a message that the stream has acknowledged."""
        answer = self.request(subject, payload)
        if not answer.get("seq"):  # 0 comes with an error
            raise ConnectionError(f"{subject} is not kept: {answer}")
        return answer["seq"]


class FleetTest(unittest.TestCase):
    """A folder, and the programs that a test starts in it."""

    programs = Path()
    examples = Path()

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.folder.chmod(0o755)
        self.port = 0
        self.names = 0
        self.logs = {}

    def await_(self, what, condition):
        """What the condition gives, as soon as that is true."""
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            result = condition()
            if result:
                return result
            time.sleep(0.02)
        logs = "".join(f"\n{path.name}:\n{path.read_text()[-2000:]}"
                       for path in self.logs.values())
        self.fail(f"waited {PATIENCE} s for: {what}{logs}")

    def start(self, *command, preexec=None):
        self.names += 1
        log = self.folder / f"log.{self.names}"
        with log.open("wb") as out:
            process = subprocess.Popen(  # pylint: disable=R1732,W1509
                [str(word) for word in command], stdout=out,
                stderr=subprocess.STDOUT, preexec_fn=preexec, cwd=self.folder)
        self.logs[process.pid] = log
        self.addCleanup(self.end, process, signal.SIGKILL)
        return process

    def end(self, process, how=signal.SIGTERM):
        """Ends a program, and returns what it has printed."""
        if process.returncode is None:
            process.send_signal(how)
            process.wait(PATIENCE)
        return self.said(process)

    def said(self, process):
        return self.logs[process.pid].read_text()

    def server(self, extra="", jetstream=True):
        """Starts a server, at the port of the one before if there was one."""
        config = self.folder / "server.conf"
        config.write_text(
            f'listen: "127.0.0.1:{self.port or -1}"\n'
            f'ports_file_dir: "{self.folder}"\n' + extra +
            (f'\njetstream {{\n store_dir: "{self.folder}/store"\n'
             ' max_file: 4GB\n}\n' if jetstream else ""))
        for old in self.folder.glob("*.ports"):
            old.unlink()
        process = self.start(SERVER, "-c", config)
        self.port = int(self.await_("port of the server", self.port_of))
        return process

    def port_of(self):
        for path in self.folder.glob("*.ports"):
            found = re.search(r":(\d+)\"", path.read_text())
            if found:
                return found[1]
        return None

    def client(self):
        client = Client(self.port)
        self.addCleanup(client.close)
        return client

    def url(self):
        return f"nats://127.0.0.1:{self.port}"

    def office(self, *options, preexec=None):
        return self.start(self.programs / "office", "--server", self.url(),
                          "--database", self.folder / "o.db", *options,
                          preexec=preexec)

    def ready_office(self, *options, preexec=None):
        office = self.office(*options, preexec=preexec)
        self.await_("office to be ready", lambda: "storing what comes" in
                    self.said(office))
        return office

    def site(self, folder, *options, name="kiosk"):
        return self.start(self.programs / "site", "--name", name, "--server",
                          self.url(), *options, folder)

    def run_office(self, *words):
        """Status and output of an office that ends by itself."""
        done = subprocess.run(
            [self.programs / "office", "--server", self.url(), "--database",
             self.folder / "o.db", *words], check=False, timeout=PATIENCE,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            encoding="utf-8", cwd=self.folder)
        return done.returncode, done.stdout

    def rows(self, sql, *values):
        path = self.folder / "o.db"
        if not path.exists():
            return []
        database = sqlite3.connect(path, timeout=PATIENCE)
        try:
            return database.execute(sql, values).fetchall()
        except sqlite3.OperationalError:  # no table yet
            return []
        finally:
            database.close()

    def await_rows(self, count, sql, *values):
        return self.await_(
            f"{count} rows of {sql} {values}",
            lambda: self.rows(sql, *values) * (
                len(self.rows(sql, *values)) >= count))

    def installation(self):
        """A copy of the example, for a test to change."""
        folder = self.folder / "installation"
        folder.mkdir()
        for path in self.examples.glob("*.txtpb"):
            (folder / path.name).write_text(path.read_text())
        return folder

    def edit(self, path, before, after):
        """Replaces a file at once, as a site that reads it expects."""
        text = path.read_text()
        self.assertIn(before, text)
        new = path.with_suffix(".new")
        new.write_text(text.replace(before, after, 1))
        os.replace(new, path)

    def reports(self):
        return self.rows("SELECT sequence FROM record WHERE record_type = "
                         "'tarn.NetworkStatusReport'")


def limit_files(size):
    """For a program that finds its disk full after `size` bytes."""
    def limit():
        resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    return limit
