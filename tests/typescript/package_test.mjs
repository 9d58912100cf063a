// The package as it is packed: what tools for packages say of it, its types, the
// size of a page that loads one message, the benchmark, and the programs of its
// README.
//
// usage: node --test package_test.mjs    with TREE, in the folder of the build
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { copyFileSync, mkdirSync, readdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { basename, join } from 'node:path';
import { test } from 'node:test';
import { gzipSync } from 'node:zlib';
import { checkPackage, Package } from '@arethetypeswrong/core';
import { buildSync } from 'esbuild';
import { publint } from 'publint';
import { MISTAKES, schemas, wholeProgram } from './whole_program.mjs';

const TREE = process.env.TREE;
const HERE = join(TREE, 'languages/typescript');
const INSTALLED = 'node_modules/libschema';
const LARGEST_PAGE = 15_000;
const about = JSON.parse(readFileSync(join(INSTALLED, 'package.json')));

function run(...command) {
  const done = spawnSync(command[0], command.slice(1), { encoding: 'utf8', timeout: 120_000 });
  return [done.status, done.stdout + done.stderr];
}

// Lines of the file with which the compiler disagrees, and its words.
function compiled(name) {
  const [status, said] = run('node_modules/.bin/tsc', '--strict', '--module', 'nodenext',
    '--target', 'es2022', '--types', 'node', `programs/${name}.ts`);
  const lines = [...said.matchAll(new RegExp(`${name}\\.ts\\((\\d+),`, 'g'))];
  assert.equal(status === 0, lines.length === 0, said);
  return [new Set(lines.map(([, line]) => Number(line))), said];
}

rmSync('programs', { recursive: true, force: true });
mkdirSync('programs');

test('publint has nothing to say', async () => {
  const { messages } = await publint({ pkgDir: INSTALLED, strict: true });
  assert.deepEqual(messages, []);
});

test('every entry has its types where modules are imported', async () => {
  const files = Object.fromEntries(readdirSync(INSTALLED).map((file) =>
    [`/${INSTALLED}/${file}`, readFileSync(join(INSTALLED, file), 'utf8')]));
  const { types, problems, entrypoints } =
    await checkPackage(new Package(files, about.name, about.version));
  assert.deepEqual(types, { kind: 'included' });
  assert.deepEqual(Object.keys(entrypoints), Object.keys(about.exports));
  // The package is for import alone; require() and the oldest resolution are not.
  assert.deepEqual(problems.filter(({ resolutionKind }) =>
    !['node10', 'node16-cjs'].includes(resolutionKind)), []);
});

test('it takes the runtime with which it is tested, and nothing else', () => {
  const { dependencies } = JSON.parse(readFileSync('package.json'));
  const [[name, version]] = Object.entries(dependencies);
  assert.deepEqual(about.dependencies, { [name]: `^${version}` });
});

test('it holds every message of the schema', () => {
  const text = ['Network', 'Tarn'].map((name) =>
    readFileSync(join(TREE, `proto/${name}.proto`), 'utf8')).join('');
  assert.deepEqual(schemas.map(({ name }) => name).sort(),
    [...text.matchAll(/^message (\w+)/gm)].map(([, name]) => name).sort());
});

test('every message, field and value has its comment', () => {
  for (const file of ['Network.d.ts', 'Tarn.d.ts']) {
    const blocks = readFileSync(join(INSTALLED, file), 'utf8').match(/\/\*\*.*?\*\//gs)
      .filter((block) => /@generated from (message|field|enum)/.test(block));
    assert.ok(blocks.length > 100, `${file}: ${blocks.length}`);
    for (const block of blocks) assert.match(block, /^\/\*\*\s*\* [A-Z]/);
  }
});

test('the types are those of the messages', () => {
  writeFileSync('programs/whole.ts', wholeProgram);
  const [lines, said] = compiled('whole');
  assert.deepEqual(lines, new Set(), said);
  assert.deepEqual(run(process.execPath, 'programs/whole.js'), [0, '']);
});

test('mistakes are found', () => {
  writeFileSync('programs/mistakes.ts', MISTAKES);
  const wrong = MISTAKES.trim().split('\n').map((_, index) => index + 1).slice(2);
  const [lines, said] = compiled('mistakes');
  assert.deepEqual(lines, new Set(wrong), said);
});

for (const entry of ['libschema', 'libschema/Tarn', 'libschema/Network']) {
  const name = entry.endsWith('Tarn') ? 'Price' : 'Server';
  test(`a page with ${name} of ${entry} takes at most ${LARGEST_PAGE} bytes`, () => {
    const { outputFiles: [bundle] } = buildSync({
      stdin: {
        contents: `import { create, fromBinary, toBinary } from '@bufbuild/protobuf';
          import { ${name}Schema } from '${entry}';
          const bytes = toBinary(${name}Schema, create(${name}Schema));
          document.body.textContent = fromBinary(${name}Schema, bytes).$typeName;`,
        resolveDir: '.',
      },
      bundle: true, format: 'esm', minify: true, platform: 'browser', write: false,
    });
    const size = gzipSync(bundle.contents, { level: 9 }).length;
    console.log(`${entry}: ${size} bytes`);
    assert.ok(size <= LARGEST_PAGE && size > 1000, `${size} bytes`);
  });
}

test('the benchmark says how many times as long the others take', () => {
  const [status, said] = run(process.execPath, 'bench.mjs', '../generated/portable', '--quick');
  assert.equal(status, 0, said);
  assert.deepEqual([...said.matchAll(/^\| (\w[^|]*) \| [\d.]+ \(.*\) \| [\d.]+ \(.*\) \|$/gm)]
    .map(([, name]) => name), ['protobufjs', 'JSON of plain objects']);
});

test('the programs of the page compile and print what it shows', () => {
  const page = readFileSync(join(HERE, 'README.md'), 'utf8');
  const programs = readdirSync(join(HERE, 'examples')).filter((file) => file.endsWith('.ts'));
  assert.ok(programs.length >= 2);
  for (const name of programs.map((file) => basename(file, '.ts'))) {
    const expected = readFileSync(join(HERE, `examples/${name}.txt`), 'utf8');
    copyFileSync(join(HERE, `examples/${name}.ts`), `programs/${name}.ts`);
    const [lines, said] = compiled(name);
    assert.deepEqual(lines, new Set(), said);
    assert.deepEqual(run(process.execPath, `programs/${name}.js`), [0, expected]);
    assert.ok(page.includes(`\`\`\`\n${expected}\`\`\``), `${name}: not what the page shows`);
  }
});
