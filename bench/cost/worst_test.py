#!/usr/bin/python3
"""Tests that the worst inputs are what the table says.

usage: worst_test.py WORST DESCRIPTOR_SET
"""
import json
import subprocess
import sys

from google.protobuf import descriptor_pb2


def main(worst, descriptor_set):
    with open(descriptor_set, 'rb') as file:
        files = descriptor_pb2.FileDescriptorSet.FromString(file.read())
    names = [message.name for file in files.file
             for message in file.message_type]
    found = [json.loads(line) for line in subprocess.run(
        worst, check=True, capture_output=True).stdout.splitlines()]
    if sorted(now['type'] for now in found) != sorted(names):
        sys.exit('not each type once')
    for now in found:
        for place in (now['heap'], now['arena']):
            if place['memory'] < 40 * place['bytes']:
                sys.exit(f'{now}: unknown fields alone take more')
            all_bytes = place['times'] * place['bytes']
            if place['memory_of_all'] / all_bytes > 1.02 * (
                    place['memory'] / place['bytes']):
                sys.exit(f'{now}: a larger input takes more')


if __name__ == '__main__':
    main(*sys.argv[1:])
