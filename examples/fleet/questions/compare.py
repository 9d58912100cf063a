#!/usr/bin/python3
"""Asks the questions of a head office in three engines. SQLite reads the
database of an office; DuckDB and ClickHouse read the CSV that `tarn rows` makes
of its messages, and Parquet that DuckDB makes of this CSV. Prints how many
answers each question has, and where they differ.

usage: compare.py DATABASE [--tarn TARN]

The engines are installed beside this file by npm ci --ignore-scripts.
Exit status: 0 all answers are equal, 1 they are not, 5 something cannot be read.
"""
import argparse
import csv
import json
import os
import pathlib
import re
import sqlite3
import subprocess
import sys
import tempfile
import urllib.parse

HERE = pathlib.Path(__file__).resolve().parent
TABLES = ('record', 'node', 'status', 'product')
# What every row has of its message, and what finds the message of a row: its
# number in the stream of its type.
ORIGIN = {'site': 'text', 'time': 'time', 'sequence': 'integer'}
MESSAGE = {'type': 'text', 'number': 'integer', **ORIGIN}
# How each engine names types and reads a file.
ENGINES = {
    'duckdb': {
        'types': {'integer': 'BIGINT', 'real': 'DOUBLE', 'text': 'VARCHAR',
                  'time': 'TIMESTAMP_NS'},
        'csv': "read_csv({file}, header = true, nullstr = '', allow_quoted_nulls = false, "
               'columns = {{{columns}}})',
        'column': "'{name}': '{type}'",
        'parquet': 'read_parquet({file})',
        'setup': []},
    'clickhouse': {
        'types': {'integer': 'Nullable(Int64)', 'real': 'Nullable(Float64)',
                  'text': 'Nullable(String)', 'time': "DateTime64(9, ''UTC'')"},
        'csv': "file({file}, 'CSVWithNames', '{columns}')",
        'column': '"{name}" {type}',
        'parquet': "file({file}, 'Parquet')",
        'setup': ["SET date_time_input_format = 'best_effort'"]},
}


def fail(text):
    """Ends with a sentence, in which nothing can change a terminal."""
    print('compare.py: ' + ''.join(c if c.isprintable() or c == '\n' else ascii(c)[1:-1]
                                   for c in text.strip()), file=sys.stderr)
    sys.exit(5)


def run(*command, text=None, **options):
    try:
        done = subprocess.run(command, input=text, capture_output=True, text=True, check=False,
                              **options)
    except OSError as error:
        fail(f'{command[0]}: {error.strerror}')
    if done.returncode != 0:
        fail(f'{command[0]} failed:\n{done.stderr}')
    return done.stdout


def varint(number):
    encoded = bytearray()
    while number > 127:
        encoded.append(number & 127 | 128)
        number >>= 7
    return bytes(encoded + bytes([number]))


def write_streams(database, folder):
    """A stream of the messages of each type, and of which site and time each is."""
    types = [name for name, in database.execute('SELECT DISTINCT type FROM message')]
    if not all(re.fullmatch(r'\w+', str(name)) for name in types):
        fail('the database has messages whose type is no name')
    with open(folder / 'message.csv', 'w', newline='') as file:
        lines = csv.writer(file)
        lines.writerow(MESSAGE)
        for name in types:
            with open(folder / name, 'wb') as stream:
                for number, (*origin, data) in enumerate(database.execute(
                        'SELECT site, time, sequence, bytes FROM message WHERE type = ?',
                        (name,)), 1):
                    lines.writerow([name, number, *origin])
                    stream.write(varint(len(data)) + data)
    return types


def literal(path):
    return "'" + str(path).replace('\\', '\\\\').replace("'", "''") + "'"


def read_csv(engine, file, columns):
    return engine['csv'].format(file=literal(file), columns=', '.join(
        engine['column'].format(name=name, type=engine['types'][kind])
        for name, kind in columns.items()))


def tables_of_csv(engine, folder, types, columns):
    """{table: SQL}: every row gets the site, the time and the sequence of its message."""
    made = {'message': f'SELECT * FROM {read_csv(engine, folder / "message.csv", MESSAGE)}'}
    for table in TABLES:
        values = [f'message.{name} AS {name}' for name in ORIGIN]
        values += [f'part."{name}" AS "{name}"' for name in columns[table] if name not in ORIGIN]
        made[table] = ' UNION ALL '.join(
            f'SELECT {", ".join(values)} FROM '
            f'{read_csv(engine, folder / f"{name}.rows" / f"{table}.csv", columns[table])} AS part '
            f"JOIN message ON message.number = part.sequence AND message.type = '{name}'"
            for name in types)
    return made


def questions(file):
    """{question: SQL}"""
    parts = (part.partition('\n') for part in file.read_text().split('\n\n-- ')[1:])
    return {question: sql.strip().rstrip(';') for question, _, sql in parts}


def counts(columns):
    """Questions for how many values each column has: NULL stays NULL everywhere."""
    return {f'How many values has each column of {table}?':
            f'SELECT count(*), {", ".join(f"""count("{name}")""" for name in columns[table])} '
            f'FROM "{table}"' for table in TABLES}


def plain(value):
    """A point in time as text, without what only one engine writes."""
    if isinstance(value, str) and re.fullmatch(r'\d{4}-\d\d-\d\d[T ][\d:]{8}(\.\d*)?Z?', value):
        whole, _, part = value.replace(' ', 'T').rstrip('Z').partition('.')
        return f'{whole}.{part.rstrip("0")}'
    return value


def same_order(rows):
    """Rows that a question puts into no order have one here."""
    return sorted((tuple(map(plain, row)) for row in rows), key=repr)


def ask(name, setup, asked):
    engine = ENGINES[name]
    statements = engine['setup'] + setup + list(asked)
    printed = run('node', HERE / 'ask.mjs', name, text=json.dumps(statements),
                  env=dict(os.environ, TZ='UTC'))
    return json.loads(printed)[-len(asked):]


def ask_engines(folder, types, columns, asked):
    """{engine and form: the answer to each question}"""
    files = {table: literal(folder / f'{table}.parquet') for table in TABLES}
    found = {}
    for form in ('CSV', 'Parquet'):
        for name, engine in ENGINES.items():
            made = (tables_of_csv(engine, folder, types, columns) if form == 'CSV' else
                    {table: f'SELECT * FROM {engine["parquet"].format(file=file)}'
                     for table, file in files.items()})
            setup = [f'CREATE VIEW "{table}" AS {sql}' for table, sql in made.items()]
            if (name, form) == ('duckdb', 'CSV'):
                setup += [f'COPY "{table}" TO {file}' for table, file in files.items()]
            found[f'{name} with {form}'] = ask(name, setup, asked)
    return found


def report(asked, expected, found):
    """Prints each question and its answers; returns how many answers differ."""
    different = 0
    for number, question in enumerate(asked):
        rows = same_order(expected[number])
        print(f'{len(rows):6}  {question}')
        for way, answers in found.items():
            others = same_order(answers[number])
            if others == rows:
                continue
            different += 1
            print(f'        {way} differs: {len(others)} answers')
            for name, odd in (('sqlite', set(rows) - set(others)),
                              (way, set(others) - set(rows))):
                for row in sorted(odd, key=repr)[:3]:
                    print(f'          only {name}: {row!r}')
    ways = ', '.join(['sqlite', *found])
    print(f'{different} answers differ' if different else f'all the same: {ways}')
    return different


def compare(file, tarn, folder):
    try:
        database = sqlite3.connect(f'file:{urllib.parse.quote(str(file))}?mode=ro', uri=True)
        database.execute('BEGIN')  # what an office adds from here on does not count
        types = write_streams(database, folder)
        if not types:
            fail(f'{file}: there is no message')
        columns = {}
        for line in run(tarn, 'rows', '--columns', '--json').splitlines():
            table = json.loads(line)
            columns[table['table']] = {column['name']: column['type']
                                       for column in table['columns']}
        asked = {**questions(HERE.parent / 'questions.sql'), **counts(columns)}
        expected = [database.execute(sql).fetchall() for sql in asked.values()]
    except sqlite3.Error as error:
        fail(f'{file}: {error}')
    for name in types:
        run(tarn, 'rows', name, '--frame', 'varint', '--folder', folder / f'{name}.rows',
            folder / name)
    others = {**questions(HERE / 'columns.sql'), **counts(columns)}
    if list(others) != list(asked):
        fail('questions.sql and columns.sql ask different questions')
    return report(asked, expected, ask_engines(folder, types, columns, others.values()))


def main():
    parser = argparse.ArgumentParser(description='Asks three engines the same questions.')
    parser.add_argument('database', type=pathlib.Path, help='of an office')
    parser.add_argument('--tarn', default='tarn', help='the inspector, by default of PATH')
    given = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        sys.exit(1 if compare(given.database, given.tarn, pathlib.Path(folder)) else 0)


if __name__ == '__main__':
    main()
