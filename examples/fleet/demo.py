#!/usr/bin/python3
"""Runs a server, an office and a site, and counts what has arrived in the end.

On the way it ends the office and the server by force and starts them again, and
sends prices to the site. What it starts ends with it, however it ends.

Usage: demo.py PROGRAMS INSTALLATION FOLDER
"""

import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
PATIENCE = 60  # seconds, for whatever is waited for


class Demo:
    def __init__(self, programs, installation, folder):
        self.programs = pathlib.Path(programs).resolve()
        self.folder = pathlib.Path(folder)
        shutil.rmtree(self.folder, ignore_errors=True)
        shutil.copytree(installation, self.folder / "installation",
                        ignore=lambda folder, names: [
                            name for name in names
                            if not name.endswith(".txtpb")])
        self.running = []
        self.port = "-1"

    def start(self, name, *command):
        """Starts a program whose end does not outlive this one's."""
        with (self.folder / f"{name}.log").open("ab") as log:
            process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "KILL", *map(str, command)],
                cwd=self.folder, stdout=log, stderr=log,
                env={"PATH": "/usr/sbin:/usr/bin:/bin", "PORT": self.port})
        self.running.append(process)
        return process

    def kill(self, process):
        process.kill()
        process.wait()
        self.running.remove(process)

    def wait(self, what, condition):
        end = time.monotonic() + PATIENCE
        while not condition():
            if time.monotonic() > end:
                raise SystemExit(f"demo: no {what} in {PATIENCE} s; see the "
                                 f"logs in {self.folder}")
            time.sleep(0.05)

    def start_server(self):
        for old in self.folder.glob("*.ports"):
            old.unlink()
        server = self.start("server", "nats-server", "-c", HERE / "server.conf")
        self.wait("server", self.find_port)
        return server

    def find_port(self):
        texts = [path.read_text() for path in self.folder.glob("*.ports")]
        found = re.search(r":(\d+)\"", "".join(texts))
        self.port = found[1] if found else self.port
        return found

    def start_office(self):
        return self.start("office", self.programs / "office", "--server",
                          self.url(), "--database", "office.db")

    def url(self):
        return f"nats://127.0.0.1:{self.port}"

    def office(self, *words, quiet=False):
        """Lets an office do one thing; returns its status and what it says."""
        sys.stdout.flush()
        done = subprocess.run(
            [self.programs / "office", "--server", self.url(), "--database",
             "office.db", *words], cwd=self.folder, check=False,
            stdout=subprocess.PIPE if quiet else None,
            stderr=subprocess.DEVNULL if quiet else None, encoding="utf-8")
        return done.returncode, done.stdout

    def stored(self, count):
        return f"stored           {count}\n" in self.office(
            "count", quiet=True)[1]

    def break_line(self, name):
        """Breaks the contact to a display: an edit of the installation."""
        path = self.folder / "installation" / "installation.txtpb"
        new = path.with_suffix(".new")
        new.write_text(re.sub(rf'(name: "{name}"\s+status:) ok',
                              r"\1 comm_error", path.read_text()))
        new.replace(path)

    def run(self):
        server = self.start_server()
        office = self.start_office()
        site = self.start("site", self.programs / "site", "--name", "kiosk",
                          "--server", self.url(), "--ledger", "ledger",
                          "installation")
        self.wait("whole state of the site", lambda: self.stored(11))
        self.office("show", "kiosk")

        print("\nThe office is killed, a display fails, the office is back.")
        self.kill(office)
        self.break_line("North line 1")
        self.wait("report", lambda: len(self.ledger()) == 12)
        office = self.start_office()
        self.wait("report in the office", lambda: self.stored(12))

        print("The server is killed, another display fails, the server is "
              "back.")
        self.kill(server)
        self.break_line("North line 2")
        server = self.start_server()
        self.wait("whole state again", lambda: self.stored(23))

        print("Prices go to the site, and its signs answer:\n")
        status = self.office("prices", "kiosk", "installation/prices.txtpb")[0]
        if status not in (0, 1):
            raise SystemExit("demo: the prices were not sent")
        self.wait("answer in the office", lambda: self.stored(25))

        site.terminate()
        site.wait(PATIENCE)
        print("\n" + (self.folder / "site.log").read_text().splitlines()[-2])
        return self.office("compare", "ledger")[0]

    def ledger(self):
        path = self.folder / "ledger"
        return path.read_text().splitlines() if path.exists() else []

    def end(self):
        for process in self.running:
            process.kill()
        for process in self.running:
            process.wait()


def main():
    if len(sys.argv) != 4:
        raise SystemExit(__doc__)
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda number, _: sys.exit(128 + number))
    demo = Demo(*sys.argv[1:])
    try:
        status = demo.run()
    except KeyboardInterrupt:
        status = 130
    finally:
        demo.end()
    if status == 0:
        print("\nAll that was acknowledged is stored as it was sent.")
    return status


if __name__ == "__main__":
    sys.exit(main())
