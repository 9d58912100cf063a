"""Messages, and the programs that a test starts in a folder of its own.

All that is started ends with the test, and all that waits has a limit and says
what it waited for.
"""

import os
import re
import resource
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

from client import Client

sys.path.append(str(Path(__file__).resolve().parents[1] / "cli"))
# pylint: disable=wrong-import-position
from wire import field

PATIENCE = 90  # seconds, which only a failing test takes
SERVER = "/usr/sbin/nats-server"


def price(line, product=b"tea", amount=b"2.10"):
    return field(1, field(1, line) + field(2, product) + field(3, amount))


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

    def start(self, *command, preexec=None, environment=None):
        self.names += 1
        log = self.folder / f"log.{self.names}"
        with log.open("wb") as out:
            process = subprocess.Popen(  # pylint: disable=R1732,W1509
                [str(word) for word in command], stdout=out,
                stderr=subprocess.STDOUT, preexec_fn=preexec, cwd=self.folder,
                env={**os.environ, **(environment or {})})
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
        client = Client("127.0.0.1", self.port)
        self.addCleanup(client.__exit__)
        return client

    def make_keys(self, *options):
        """Keys and certificates in the folder."""
        subprocess.run([self.examples / "fleet/cluster/make_keys.py",
                        self.folder, *options], check=True, timeout=PATIENCE)

    def url(self):
        return f"nats://127.0.0.1:{self.port}"

    def office(self, *options, preexec=None, environment=None):
        return self.start(self.programs / "office", "--server", self.url(),
                          "--database", self.folder / "o.db", *options,
                          preexec=preexec, environment=environment)

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
