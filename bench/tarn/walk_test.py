#!/usr/bin/python3
"""Tests that the walk by protozero meets every field that annotate shows.

usage: walk_test.py TARN WALK
"""
import json
import subprocess
import sys


def main(tarn, walk):
    stream = subprocess.run(
        [tarn, 'sample', 'network', '--count', '5', '--frame', 'varint'],
        check=True, capture_output=True).stdout
    found = json.loads(subprocess.run([walk], input=stream, check=True,
                                      capture_output=True).stdout)
    annotated = subprocess.run(
        [tarn, 'annotate', '--json', '--frame', 'varint', 'ModsConfigured'],
        input=stream, check=True, capture_output=True).stdout.splitlines()
    kinds = [span['kind'] for line in annotated
             for span in json.loads(line)['spans']]
    fields = sum(kinds.count(kind) for kind in ('field', 'record', 'list'))
    if (found['messages'], found['fields']) != (len(annotated), fields):
        sys.exit(f'walk: {found}; annotate: {len(annotated)} messages, '
                 f'{fields} fields')
    cut = subprocess.run([walk], input=stream[:-1], capture_output=True)
    if cut.returncode == 0:
        sys.exit('walk takes a stream that is cut off')


if __name__ == '__main__':
    main(*sys.argv[1:])
