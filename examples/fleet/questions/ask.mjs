// Runs SQL in one engine, in memory: the standard input is a list of statements
// in JSON, the output a list of the rows of each.
//
// usage: ask.mjs duckdb|clickhouse
import { readFileSync } from 'node:fs';

// Whole numbers are numbers; what JSON does not know is text.
function plain(value) {
  if (typeof value === 'bigint') return Number(value);
  return value !== null && typeof value === 'object' ? String(value) : value;
}

async function openDuckDB() {
  const { DuckDBInstance } = await import('@duckdb/node-api');
  const connection = await (await DuckDBInstance.create(':memory:')).connect();
  return async (sql) => {
    const rows = (await connection.runAndReadAll(sql)).getRows();
    return rows.map((row) => row.map(plain));
  };
}

async function openClickHouse() {
  const { Session } = await import('chdb');
  const session = new Session();
  session.query('SET output_format_json_quote_64bit_integers = 0');
  return async (sql) => {
    const answer = session.query(sql, 'JSONCompact');
    return answer ? JSON.parse(answer).data : [];
  };
}

const open = { duckdb: openDuckDB, clickhouse: openClickHouse };
const ask = await open[process.argv[2]]();
const answers = [];
for (const sql of JSON.parse(readFileSync(0))) answers.push(await ask(sql));
process.stdout.write(JSON.stringify(answers));
