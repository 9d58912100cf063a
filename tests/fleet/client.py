"""A small client of a NATS server, which shows tests what the server itself
says: text over a socket, TLS and a key if asked for."""
import base64
import json
import pathlib
import socket
import ssl
import subprocess
import tempfile
import time

PATIENCE = 60
# What stands before the 32 bytes of a secret Ed25519 key in DER.
DER = bytes.fromhex('302e020100300506032b657004220420')


class Refused(ConnectionError):
    """The server said -ERR, or that it does not keep a message."""


def signature(seed, nonce):
    """Of a nonce, by the key whose seed is in a file."""
    text = pathlib.Path(seed).read_text().strip()
    raw = base64.b32decode(text + '=' * (-len(text) % 8))[2:34]
    with tempfile.NamedTemporaryFile() as key, tempfile.NamedTemporaryFile() as data:
        pathlib.Path(key.name).write_bytes(DER + raw)
        pathlib.Path(data.name).write_bytes(nonce.encode())
        done = subprocess.run(('openssl', 'pkeyutl', '-sign', '-rawin', '-keyform', 'DER',
                               '-inkey', key.name, '-in', data.name),
                              stdout=subprocess.PIPE, check=True)
    return base64.urlsafe_b64encode(done.stdout).decode().rstrip('=')


class Client:
    """Every wait ends after PATIENCE seconds with a TimeoutError."""

    def __init__(self, host, port, seed=None, authority=None, inbox='_INBOX'):
        self.socket = socket.create_connection((host, port), timeout=PATIENCE)
        self.text = b''
        self.inbox = f'{inbox}.test{time.monotonic_ns()}'
        self.requests = 0
        info = json.loads(self.line().split(b' ', 1)[1])
        if authority:
            context = ssl.create_default_context(cafile=authority)
            context.verify_flags |= ssl.VERIFY_X509_STRICT  # the default from 3.13 on
            self.socket = context.wrap_socket(self.socket, server_hostname=host)
        options = {'verbose': False, 'pedantic': False, 'lang': 'python', 'version': '0',
                   'headers': True, 'no_responders': True}
        if seed:
            options['nkey'] = pathlib.Path(f'{seed}.pub').read_text().strip()
            options['sig'] = signature(seed, info['nonce'])
        self.send(f'CONNECT {json.dumps(options)}\r\nSUB {self.inbox}.* 0\r\nPING\r\n')
        self.read_until_pong()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, text):
        self.socket.sendall(text if isinstance(text, bytes) else text.encode())

    def line(self):
        while b'\r\n' not in self.text:
            more = self.socket.recv(1 << 16)
            if not more:
                raise ConnectionError('the server closed the connection')
            self.text += more
        line, _, self.text = self.text.partition(b'\r\n')
        return line

    def exactly(self, size):
        while len(self.text) < size + 2:
            more = self.socket.recv(1 << 16)
            if not more:
                raise ConnectionError('the server closed the connection')
            self.text += more
        data, self.text = self.text[:size], self.text[size + 2:]
        return data

    def next(self):
        """('PONG',), or ('MSG', subject, reply, headers, data)."""
        while True:
            words = self.line().decode().split(' ')
            if words[0] == 'PING':
                self.send('PONG\r\n')
            elif words[0] == '-ERR':
                raise Refused(' '.join(words[1:]))
            elif words[0] == 'PONG':
                return ('PONG',)
            elif words[0] == 'MSG':
                reply = words[3] if len(words) == 5 else ''
                return ('MSG', words[1], reply, b'', self.exactly(int(words[-1])))
            elif words[0] == 'HMSG':
                reply = words[3] if len(words) == 6 else ''
                whole = self.exactly(int(words[-1]))
                return ('MSG', words[1], reply, whole[:int(words[-2])], whole[int(words[-2]):])

    def read_until_pong(self):
        """What came before the server's answer to a PING."""
        came = []
        while (item := self.next()) != ('PONG',):
            came.append(item)
        return came

    def flush(self):
        """Returns when the server has read everything; raises what it refused."""
        self.send('PING\r\n')
        refusal = None
        while True:
            try:
                came = self.read_until_pong()
                break
            except Refused as refused:
                refusal = refusal or refused
        if refusal:
            raise refusal
        return came

    def subscribe(self, subject, number=1):
        self.send(f'SUB {subject} {number}\r\n')

    def publish(self, subject, data=b'', reply='', message_id=''):
        if message_id:
            headers = f'NATS/1.0\r\nNats-Msg-Id: {message_id}\r\n\r\n'.encode()
            self.send(f'HPUB {subject} {reply} {len(headers)} '
                      f'{len(headers) + len(data)}\r\n'.encode() + headers + data + b'\r\n')
        else:
            self.send(f'PUB {subject} {reply} {len(data)}\r\n'.encode() + data + b'\r\n')

    def request(self, subject, data=b'', message_id=''):
        """The answer: its headers and its data."""
        self.requests += 1
        reply = f'{self.inbox}.{self.requests}'
        self.publish(subject, data, reply, message_id)
        while (item := self.next())[0] != 'MSG' or item[1] != reply:
            pass
        return item[3], item[4]

    def ask(self, subject, data=b'', message_id=''):
        """What JetStream answers; nothing if nobody keeps the message."""
        _, answer = self.request(subject, data, message_id)
        return json.loads(answer) if answer else {}

    def keep(self, subject, data=b'', message_id=''):
        """The sequence of a message, which the stream has acknowledged."""
        answer = self.ask(subject, data, message_id)
        if not answer.get('seq'):  # 0 comes with an error
            raise Refused(f'{subject} is not kept: {answer}')
        return answer['seq']
