#!/usr/bin/python3
"""Makes the keys, certificates and permissions of a cluster in a folder.

usage: make_keys.py FOLDER [--hosts ADDRESS...] [--sites NAME...] [--days N]

--hosts  names or addresses of the servers; makes their certificate and routes
--sites  names of sites, which get a key each; those of before keep theirs
--days   days for which the certificate of the servers is good, by default 365

Copy server.conf, routes.conf, users.conf, ca.pem, server.pem and server.key to
each server; ca.pem, office.nk and office.nk.pub to the office; ca.pem and its own
two to each site. Keep all *.nk.pub here: users.conf is made of them. Whoever has
ca.key can sign certificates: keep it elsewhere until --hosts asks for it again.
When users.conf has changed, run "nats-server --signal reload" on each server.
"""
import argparse
import base64
import ipaddress
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
# What stands before the 32 bytes of a secret Ed25519 key in DER.
DER = bytes.fromhex('302e020100300506032b657004220420')
# The first bytes of a user's secret key ("SU") and of the public one ("U").
SECRET, PUBLIC = bytes((0x95, 0x00)), bytes((0xa0,))

OFFICE = '''    { nkey: %(key)s, permissions: {
        publish: ["tarn.v0.*.Prices.set", "$JS.API.>", "$JS.ACK.TARN.>"]
        subscribe: ["tarn.v0.*.NetworkStatusReport", "_STORE.>"] } }
'''
# A site publishes under its own name, and reads its own orders and the answers
# that servers give to it.
SITE = '''    { nkey: %(key)s, permissions: {
        publish: ["tarn.v0.%(name)s.*", "$JS.API.DIRECT.GET.TARN_PRICES.tarn.v0.%(name)s.Prices.set"]
        subscribe: ["tarn.v0.%(name)s.Prices.set", "_SITE.%(name)s.>"] } }
'''


def openssl(*words, text=b''):
    done = subprocess.run(('openssl', *words), input=text, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, check=False)
    if done.returncode:
        sys.exit(f'make_keys.py: openssl {words[0]}: {done.stderr.decode().strip()}')
    return done.stdout


def written(key):
    """A key as servers and programs read it: base 32, with a checksum."""
    crc = 0
    for byte in key:
        crc ^= byte << 8
        for _ in range(8):
            crc = crc << 1 ^ (0x11021 if crc & 0x8000 else 0)
    return base64.b32encode(key + crc.to_bytes(2, 'little')).decode().rstrip('=')


def make_key(folder, name):
    """Writes NAME.nk, the secret, and NAME.nk.pub, which users.conf repeats."""
    secret = os.urandom(32)
    public = openssl('pkey', '-inform', 'DER', '-pubout', '-outform', 'DER', text=DER + secret)
    (folder / f'{name}.nk').write_text(written(SECRET + secret) + '\n')
    (folder / f'{name}.nk.pub').write_text(written(PUBLIC + public[-32:]) + '\n')


def make_certificates(folder, hosts, days):
    if (folder / 'ca.pem').exists():
        if not (folder / 'ca.key').exists():
            sys.exit(f'make_keys.py: {folder}/ca.key, which signs certificates, is not there: '
                     'bring it back for as long as this runs')
    else:
        openssl('req', '-x509', '-newkey', 'ed25519', '-nodes', '-days', '3650',
                '-subj', '/CN=tarn authority',
                '-addext', 'keyUsage=critical,keyCertSign,cRLSign', '-keyout', folder / 'ca.key',
                '-out', folder / 'ca.pem')
    request = openssl('req', '-new', '-newkey', 'ed25519', '-nodes', '-subj', '/CN=tarn server',
                      '-keyout', folder / 'server.key')
    with tempfile.NamedTemporaryFile('w') as extensions:
        print('keyUsage=critical,digitalSignature\n'
              'extendedKeyUsage=serverAuth,clientAuth\n'
              'subjectKeyIdentifier=hash\nauthorityKeyIdentifier=keyid\nsubjectAltName='
              + ','.join(map(alternative_name, hosts)), file=extensions, flush=True)
        openssl('x509', '-req', '-days', str(days), '-CA', folder / 'ca.pem',
                '-CAkey', folder / 'ca.key', '-extfile', extensions.name,
                '-out', folder / 'server.pem', text=request)


def alternative_name(host):
    try:
        return f'IP:{ipaddress.ip_address(host)}'
    except ValueError:
        return f'DNS:{host}'


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition('\n')[0])
    parser.add_argument('folder', type=pathlib.Path)
    parser.add_argument('--hosts', nargs='+', help='names or addresses of the servers')
    parser.add_argument('--sites', nargs='+', default=[], help='names of sites')
    parser.add_argument('--days', type=int, default=365,
                        help='how long the certificate of the servers is good')
    options = parser.parse_args()
    folder = options.folder
    os.umask(0o077)
    folder.mkdir(parents=True, exist_ok=True)
    for name in options.sites:
        if not re.fullmatch('[A-Za-z0-9_-]{1,64}', name) or name in ('office', 'ca', 'server'):
            sys.exit(f'make_keys.py: {name!r} cannot be the name of a site: it takes 1 to 64 '
                     'letters, digits, "-" and "_", and is not office, ca or server')
    if options.hosts:
        make_certificates(folder, options.hosts, options.days)
        routes = ', '.join(f'"nats-route://{host}:6222"' for host in options.hosts)
        (folder / 'routes.conf').write_text(f'routes: [{routes}]\n')
    for name in ['office', *options.sites]:
        if not (folder / f'{name}.nk.pub').exists():
            make_key(folder, name)
    users = ''
    for file in sorted(folder.glob('*.nk.pub')):
        name = file.name.partition('.')[0]
        users += (OFFICE if name == 'office' else SITE) % {'key': file.read_text().strip(),
                                                           'name': name}
    (folder / 'users.conf').write_text(f'authorization {{\n  users: [\n{users}  ]\n}}\n')
    if not (folder / 'server.conf').exists():
        shutil.copy(HERE / 'server.conf', folder)


if __name__ == '__main__':
    main()
