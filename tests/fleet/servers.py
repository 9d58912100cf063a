"""Servers that tests start, in a folder of their own, and end."""
import contextlib
import http.client
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import time

PATIENCE = 60
PORT, ROUTES, MONITOR = 14222, 16222, 18222


def version():
    """Of the server, as (2, 10, 27)."""
    said = subprocess.run(('nats-server', '--version'), stdout=subprocess.PIPE, text=True,
                          check=True).stdout
    return tuple(int(part) for part in re.search(r'v(\d+)\.(\d+)\.(\d+)', said).groups())


def wait_until(what, condition, progress=lambda: None, report=lambda: ''):
    """Waits for a condition for as long as there is progress: until what it
    returns has stayed the same for PATIENCE seconds. Then says what did not
    come about, and what there is to report."""
    before, end = progress(), time.monotonic() + PATIENCE
    while not (result := condition()):
        if time.monotonic() > end:
            if (now := progress()) == before:
                raise TimeoutError(f'waited {PATIENCE} s in vain until {what}\n{report()}')
            before, end = now, time.monotonic() + PATIENCE
        time.sleep(0.05)
    return result


def spent(process):
    """Seconds of a processor that a process has taken, and its peak of memory in MiB."""
    folder = pathlib.Path(f'/proc/{process.pid}')
    times = (folder / 'stat').read_text().rpartition(')')[2].split()
    peak = re.search(r'VmHWM:\s*(\d+)', (folder / 'status').read_text())[1]
    return (int(times[11]) + int(times[12])) / os.sysconf('SC_CLK_TCK'), int(peak) / 1024


class Servers:
    """One server or three. Each has an address of its own in 127.0.0.0/8, made
    from the number of this process, so that tests beside one another do not
    meet, and a server keeps its address when it starts again."""

    def __init__(self, count=1, configure=None):
        """`configure` writes into a folder what the servers at some addresses
        need, and returns the file with which each starts."""
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix='fleet-'))
        number = os.getpid()
        self.hosts = [f'127.{64 + (number >> 14) % 128}.{(number >> 6) % 256}'
                      f'.{(number % 64) * 4 + i}' for i in range(count)]
        self.processes = [None] * count
        self.config = (configure or self.plain)(self.folder, self.hosts)

    @staticmethod
    def plain(folder, hosts):
        """Servers for everybody, without TLS."""
        routes = ', '.join(f'"nats-route://{host}:{ROUTES}"' for host in hosts)
        text = (f'server_name: $HOST\nhost: $HOST\nport: {PORT}\nhttp_port: {MONITOR}\n'
                f'max_payload: 8MB\n'
                f'jetstream {{ store_dir: $STORE, max_file_store: 4GB }}\n')
        if len(hosts) > 1:
            text += f'cluster {{ name: tarn, host: $HOST, port: {ROUTES}, routes: [{routes}] }}\n'
        file = folder / 'server.conf'
        file.write_text(text)
        return file

    def __enter__(self):
        try:
            for index in range(len(self.hosts)):
                self.start(index)
            self.wait_until_healthy()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        for index, process in enumerate(self.processes):
            if process:
                self.kill(index)
        shutil.rmtree(self.folder, ignore_errors=True)

    @property
    def urls(self):
        return ','.join(f'nats://{host}:{PORT}' for host in self.hosts)

    def log(self, index):
        return self.folder / f'log{index}'

    def start(self, index):
        with open(self.log(index), 'ab') as log:
            self.processes[index] = subprocess.Popen(
                ('nats-server', '-c', self.config.name), cwd=self.config.parent,
                stdout=log, stderr=log,
                env=dict(os.environ, HOST=self.hosts[index],
                         STORE=str(self.folder / f'store{index}')))

    def kill(self, index):
        self.processes[index].send_signal(signal.SIGKILL)
        self.processes[index].wait()
        self.processes[index] = None

    def monitor(self, index, path):
        """What the server says of itself; None if it says nothing."""
        with contextlib.closing(http.client.HTTPConnection(self.hosts[index], MONITOR,
                                                           timeout=PATIENCE)) as connection:
            try:
                connection.request('GET', '/' + path)
                return json.load(connection.getresponse())
            except (OSError, http.client.HTTPException, json.JSONDecodeError):
                return None

    def healthy(self, index):
        process = self.processes[index]
        if process and process.poll() is not None:
            raise RuntimeError(f'the server ended:\n{self.log(index).read_text()}')
        return (self.monitor(index, 'healthz') or {}).get('status') == 'ok'

    def wait_until_healthy(self):
        for index in range(len(self.hosts)):
            wait_until(f'server {index} is healthy', lambda index=index: self.healthy(index),
                       lambda index=index: (self.monitor(index, 'jsz') or {}).get('bytes'),
                       self.report)

    def report(self):
        """What the servers say of themselves, for whoever reads why a test failed."""
        lines = [json.dumps(item) for item in self.streams()]
        for index in range(len(self.hosts)):
            lines.append(f'server {index}: {self.monitor(index, "healthz")}')
            lines += self.log(index).read_text().splitlines()[-10:]
        return '\n'.join(lines)

    def streams(self):
        """What each server that runs says of each stream: (server, stream)."""
        for index, process in enumerate(self.processes):
            answer = process and self.monitor(index, 'jsz?streams=1&consumers=1') or {}
            for account in answer.get('account_details', []):
                for stream in account.get('stream_detail', []):
                    yield index, stream

    def leader(self, name='TARN'):
        """The host that leads a stream; None if none does or it is not there."""
        for index, stream in self.streams():
            cluster = stream.get('cluster') or {}
            host = cluster.get('leader') if len(self.hosts) > 1 else self.hosts[index]
            if stream['name'] == name and host in self.hosts:
                return host
        return None

    def left(self, name='TARN'):
        """Messages that no office has acknowledged; None if nobody knows."""
        leader = self.leader(name)
        for index, stream in self.streams():
            if stream['name'] == name and self.hosts[index] == leader:
                return stream['state']['messages']
        return None
