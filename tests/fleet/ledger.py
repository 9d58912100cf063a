"""Compares what servers acknowledged to the simulator, as its ledger has it,
with what an office has stored."""
import collections
import sqlite3
import zlib

Line = collections.namedtuple('Line', 'sequence fate crc size id subject')


def read(path):
    with open(path) as lines:
        for line in lines:
            sequence, fate, crc, size, name, subject = line.split()
            yield Line(int(sequence), fate, int(crc), int(size), name, subject)


def differences(ledgers, database):
    """What is not as it should be, at most 20 of it, and what there is."""
    found = []
    opened = sqlite3.connect(f'file:{database}?mode=ro', uri=True)
    # By id, not by sequence: of a message that the servers kept twice, the ledger can
    # have one and the office the other. An id that is there twice has a length of 2.
    stored, rejected = collections.defaultdict(list), collections.defaultdict(list)
    for name, site, kind, data in opened.execute('SELECT id, site, type, bytes FROM message'):
        stored[name].append((f'tarn.v0.{site}.{kind}', len(data), zlib.crc32(data)))
    for name, subject, size in opened.execute('SELECT id, subject, size FROM rejected'):
        rejected[name].append((subject, size))
    rows = opened.execute('SELECT count(DISTINCT sequence), count(*) FROM record').fetchone()
    if rows != (len(stored), len(stored)):
        found.append(f'rows of {rows} messages, {len(stored)} stored')
    orders, lines = {}, 0
    for line in (line for path in ledgers for line in read(path)):
        if line.fate == 'order':
            orders[line.subject] = max(line.sequence, orders.get(line.subject, 0))
            continue
        lines += 1
        as_stored = stored.get(line.id, []) == [(line.subject, line.size, line.crc)]
        as_rejected = rejected.get(line.id, []) == [(line.subject, line.size)]
        if (as_stored == as_rejected or (line.fate == 'stored' and not as_stored)
                or (line.fate == 'rejected' and not as_rejected)):
            found.append(f'{line}: stored {stored.get(line.id)}, '
                         f'rejected {rejected.get(line.id)}')
    if lines != len(stored) + len(rejected):
        found.append(f'{lines} acknowledged, {len(stored)} stored, {len(rejected)} rejected')
    answered = set(opened.execute(
        "SELECT site, key FROM status WHERE key LIKE 'prices-%' AND status_name IN "
        "('price_update_ok', 'price_update_failure')"))
    for subject, sequence in orders.items():
        if (subject.split('.')[2], f'prices-{sequence}') not in answered:
            found.append(f'{subject}: no answer to order {sequence}')
    opened.close()
    return found[:20], {'acknowledged': lines, 'stored': len(stored), 'rejected': len(rejected),
                        'sites with orders': len(orders)}
