// Runs the golden messages in Node and in a browser. What differs is listed.
//
// usage: node --test corpus_test.mjs    with TREE, in the folder of the build
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, readdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { buildSync } from 'esbuild';
import { EXPECTED, differences } from './corpus.mjs';

const CORPUS = join(process.env.TREE, 'corpus');
const LIMITS = new Set(readFileSync(join(CORPUS, 'runtime_limits.txt'), 'utf8')
  .trim().split('\n').map((line) => line.split(' ')[1]));

function read(kind, type, name) {
  const base = join(CORPUS, kind, type, name);
  const base64 = (ending) => readFileSync(base + ending).toString('base64');
  const one = { kind, type, path: `${kind}/${type}/${name}`, bytes: base64('.binpb') };
  if (kind === 'valid') {
    return { ...one, canonical: one.bytes, json: readFileSync(`${base}.json`, 'utf8') };
  }
  return kind === 'accepted' ? { ...one, canonical: base64('.canonical.binpb') } : one;
}

const cases = ['valid', 'accepted', 'rejected'].flatMap((kind) =>
  readdirSync(join(CORPUS, kind)).flatMap((type) =>
    readdirSync(join(CORPUS, kind, type))
      .filter((file) => /^[^.]+\.binpb$/.test(file))
      .map((file) => read(kind, type, file.replace('.binpb', '')))));

// Without those at the limits of the C++ runtime, where every answer is right.
const counted = (found) => found.filter((text) => !LIMITS.has(text.split(' ')[1])).sort();

const expected = EXPECTED.flatMap(({ answers }) => answers).sort();

test('Node answers every golden message as listed', () => {
  assert.ok(cases.length > 600, `only ${cases.length} cases`);
  assert.deepEqual(counted(differences(cases)), expected);
});

test('the page has a row for each way in which answers differ', () => {
  const page = readFileSync(join(process.env.TREE, 'languages/typescript/README.md'), 'utf8');
  const rows = [...page.matchAll(/^\| (.+) \| (\d+) \| (.+) \|$/gm)];
  assert.deepEqual(rows.map((row) => row.slice(1)), EXPECTED.map(({ does, answers, right }) =>
    [does, String(answers.length), right]));
});

test('a browser answers them as Node does', (context) => {
  const folder = mkdtempSync(join(tmpdir(), 'page-'));
  context.after(() => rmSync(folder, { recursive: true }));
  const { outputFiles: [bundle] } = buildSync({
    stdin: {
      contents: `import { differences } from './corpus.mjs';
        document.body.textContent = 'answers: ' + JSON.stringify(differences(cases));`,
      resolveDir: new URL('.', import.meta.url).pathname,
    },
    define: { cases: JSON.stringify(cases) },
    bundle: true, charset: 'ascii', platform: 'browser', write: false,
  });
  const page = join(folder, 'page.html');
  const code = bundle.text.replaceAll('</script', '<\\/script');
  writeFileSync(page, `<!doctype html><body><script>${code}</script>`);
  const shown = execFileSync('chromium', [
    '--headless', '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage',
    `--user-data-dir=${folder}/profile`, '--dump-dom', `file://${page}`,
  ], { encoding: 'utf8', timeout: 120_000, stdio: ['ignore', 'pipe', 'ignore'] });
  const [, answers] = shown.match(/answers: (\[.*\])/);
  assert.deepEqual(JSON.parse(answers), differences(cases));
});
