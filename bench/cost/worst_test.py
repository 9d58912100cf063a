#!/usr/bin/python3
"""Tests that the worst inputs are what the table says, by the Python runtime.

usage: worst_test.py WORST DESCRIPTOR_SET
"""
import json
import subprocess
import sys

from google.protobuf import descriptor_pb2, descriptor_pool, message_factory


def output(*command):
    return subprocess.run(command, check=True, capture_output=True).stdout


def main(worst, descriptor_set):
    pool = descriptor_pool.DescriptorPool()
    files = descriptor_pb2.FileDescriptorSet()
    with open(descriptor_set, 'rb') as file:
        files.ParseFromString(file.read())
    for file in files.file:
        pool.Add(file)
    names = {message.name for file in files.file
             for message in file.message_type}
    found = [json.loads(line) for line in output(worst).splitlines()]
    if {now['type'] for now in found} != names or len(found) != len(names):
        sys.exit('not each type once')
    factory = message_factory.MessageFactory(pool)
    for now in found:
        for place in ('heap', 'arena'):
            if now[place]['memory'] < 40 * now[place]['bytes']:
                sys.exit(f'{now}: unknown fields alone take more')
            all_bytes = now[place]['times'] * now[place]['bytes']
            if now[place]['memory_of_all'] / all_bytes > 1.02 * (
                    now[place]['memory'] / now[place]['bytes']):
                sys.exit(f'{now}: a larger input takes more')
    for name in ('ChildTypes', 'NetworkStatusReport', 'KT4Products'):
        kind = factory.GetPrototype(pool.FindMessageTypeByName('tarn.' + name))
        said = next(now for now in found if now['type'] == name)
        for place in ('heap', 'arena'):
            data = output(worst, name, place)
            kind.FromString(data)
            if len(data) != said[place]['bytes']:
                sys.exit(f'{name}, {place}: {len(data)} bytes, not '
                         f'{said[place]["bytes"]}')


if __name__ == '__main__':
    main(*sys.argv[1:])
