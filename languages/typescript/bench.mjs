// Times the package beside protobufjs and JSON with one tree of radios, displays
// and modules, all in turn in one run, and prints how many times as long the
// others take.
//
// usage: bench.mjs PORTABLE_FOLDER [--quick]    in the folder of the build
import assert from 'node:assert/strict';
import { join } from 'node:path';
import { create, fromBinary, toBinary, toJson } from '@bufbuild/protobuf';
import * as libschema from 'libschema';
import protobufjs from 'protobufjs';

const [folder, option] = process.argv.slice(2);
if (!folder || ![undefined, '--quick'].includes(option)) {
  console.error('usage: bench.mjs PORTABLE_FOLDER [--quick]');
  process.exit(2);
}
const ROUNDS = option ? 1 : 10;
// A processor that is shared runs for seconds on end at another speed: all is timed
// often and briefly, and the least time of a round counts.
const TURNS = option ? 1 : 8;
const BATCH_MS = option ? 5 : 50;

const times = (count, make) => Array.from({ length: count }, (_, index) => make(index));

const node = (name, value) =>
  create(libschema.ChildTypesSchema, { types: { case: name, value } });

const uuid = (number) => `00000000-0000-4000-8000-${String(number).padStart(12, '0')}`;

const moduleOf = (index) => node('module', create(libschema.ModuleSchema, {
  uuid: uuid(index), hwId: 'D16-24', status: 1, linearAddr: index, nodeAddr: 20 + index,
}));

const displayOf = (index) => node('display', create(libschema.DisplaySchema, {
  name: `Line ${index + 1}`, status: 1, uuid: uuid(index), children: times(3, moduleOf),
}));

const clientOf = (index) => node('client', create(libschema.ClientSchema, {
  name: `Sign ${index + 1}`, status: 1, uuid: uuid(index), firmwareVersion: '4.2.1',
  children: times(4, displayOf),
}));

const schema = libschema.ModsConfiguredSchema;
const tree = create(schema, {
  modsConfigured: [node('server', create(libschema.ServerSchema, {
    name: 'Roof radio', status: 1, uuid: uuid(0), children: times(20, clientOf),
  }))],
});
const bytes = toBinary(schema, tree);
const text = JSON.stringify(toJson(schema, tree));
const other = protobufjs.loadSync(join(folder, 'Network.proto')).lookupType(schema.typeName);

// Each with what it parses, and how it parses and serializes.
const CONTESTANTS = {
  libschema: [bytes, (data) => fromBinary(schema, data), (value) => toBinary(schema, value)],
  protobufjs: [bytes, (data) => other.decode(data), (value) => other.encode(value).finish()],
  'JSON of plain objects': [text, JSON.parse, JSON.stringify],
};

// Milliseconds of one call, as the mean over a batch.
function time(call) {
  const begin = performance.now();
  let calls = 0, passed;
  do {
    call();
    calls += 1;
    passed = performance.now() - begin;
  } while (passed < BATCH_MS);
  return passed / calls;
}

function round() {
  const least = {};
  for (let turn = 0; turn < TURNS; turn += 1) {
    for (const [name, [data, parse, serialize]] of Object.entries(CONTESTANTS)) {
      const value = parse(data);
      const taken = [time(() => parse(data)), time(() => serialize(value))];
      least[name] = taken.map((one, index) => Math.min(one, least[name]?.[index] ?? one));
    }
  }
  return least;
}

function ratio(rounds, name, operation) {
  const ratios = rounds.map((least) => least[name][operation] / least.libschema[operation])
    .sort((a, b) => a - b);
  const [low, median, high] = [0, ratios.length >> 1, ratios.length - 1]
    .map((index) => ratios[index].toPrecision(2));
  return `${median} (${low}–${high})`;
}

for (const [name, [data, parse, serialize]] of Object.entries(CONTESTANTS)) {
  const again = serialize(parse(data));
  assert.deepEqual(typeof again === 'string' ? again : Buffer.from(again),
    typeof data === 'string' ? data : Buffer.from(data), `${name} holds other values`);
}
const rounds = times(ROUNDS, round);
console.log(`Times as long as libschema, Node ${process.versions.node}; ` +
  `${bytes.length} bytes, as JSON ${text.length}; rounds: ${ROUNDS}.\n
| | parse | serialize |\n| --- | ---: | ---: |`);
for (const name of Object.keys(CONTESTANTS).slice(1)) {
  console.log(`| ${name} | ${ratio(rounds, name, 0)} | ${ratio(rounds, name, 1)} |`);
}
