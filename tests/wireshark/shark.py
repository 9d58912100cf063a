"""Wireshark's program for terminals with the plugin, as a user without rights has
it: the plugin and the schema files in his own folders."""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import xml.etree.ElementTree

TREE = pathlib.Path(__file__).resolve().parents[2]
TOOLS = TREE / 'tools/wireshark'
# Started as root, newer versions read no plugin from a user's folder.
NOBODY = 65534
# Of its Protocol Buffers, when a length is damaged; the packet says so, too.
OWN_FAULT = 'Dissector bug, protocol ProtoBuf'
# Older versions print these as they are.
NO_XML = re.compile('[^\t\n\r\x20-\ud7ff\ue000-\ufffd\U00010000-\U0010ffff]')


class Shark:
    def __init__(self):
        # pylint: disable=consider-using-with
        self.folder = tempfile.TemporaryDirectory(prefix='wireshark-')
        self.home = pathlib.Path(self.folder.name)
        plugins = self.home / '.local/lib/wireshark/plugins'
        default = self.home / '.config/wireshark'
        profile = default / 'profiles/Tarn'
        plugins.mkdir(parents=True)
        shutil.copy(TOOLS / 'tarn.lua', plugins)
        for folder in (default, profile):
            (folder / 'protobuf/tarn').mkdir(parents=True)
            for name in ('Tarn.proto', 'Network.proto'):
                shutil.copy(TREE / 'proto' / name, folder / 'protobuf/tarn')
        shutil.copy(TOOLS / 'preferences', profile)
        self.owner = {}
        if os.geteuid() == 0:
            self.owner = {'user': NOBODY, 'group': NOBODY, 'extra_groups': []}
            for path in (self.home, *self.home.rglob('*')):
                os.chown(path, NOBODY, NOBODY)

    def close(self):
        self.folder.cleanup()

    def run(self, *arguments, **settings):
        """What tshark prints. Settings are preferences of the plugin."""
        options = [word for name, value in settings.items()
                   for word in ('-o', f'tarn.{name}:{value}')]
        return self.start(['tshark', *options, *arguments])

    def start(self, command):
        """What a command prints, in the home of the user."""
        done = subprocess.run(
            command, cwd=self.home, check=False, encoding='utf-8',
            errors='replace', stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=600,
            env={'HOME': str(self.home), 'PATH': os.environ['PATH'], 'LC_ALL': 'C.UTF-8'},
            **self.owner)
        said = [line for line in done.stderr.splitlines() if line and OWN_FAULT not in line]
        if done.returncode or said:
            raise AssertionError(f'tshark: {done.returncode}: {said}')
        return done.stdout

    def write(self, capture, name='capture.pcap', **options):
        file = self.home / name
        with open(file, 'wb') as out:
            capture.write(out, **options)
        file.chmod(0o644)
        return str(file)

    def packets(self, capture, *arguments, **settings):
        """For each packet the trees of its protocols, as elements of XML."""
        printed = self.run('-r', self.write(capture), '-T', 'pdml', *arguments, **settings)
        return list(xml.etree.ElementTree.fromstring(NO_XML.sub('?', printed)))

    def columns(self, capture, *names, cut_at=65535, **settings):
        """For each packet of the plugin the values of fields, as lists of texts."""
        fields = [word for name in names for word in ('-e', name)]
        printed = self.run('-r', self.write(capture, cut_at=cut_at), '-Y', 'tarn', '-T',
                           'fields', '-E', 'aggregator=|', *fields, **settings)
        return [[cell.split('|') if cell else [] for cell in line.split('\t')]
                for line in printed.splitlines()]
