// A reader for tarn conform with protobufjs, which reads the schema files itself.
// Debian: nodejs npm
//   npm install --ignore-scripts protobufjs@8.8.1
//   tarn conform -- node reader_protobufjs.js /usr/share/tarn/portable
const { createInterface } = require('node:readline');
const protobuf = require('protobufjs');
const { fromJsonString, toJsonString } = require('protobufjs/ext/protojson.js');

// Otherwise it drops unknown fields.
protobuf.Reader.discardUnknown = false;
const files = ['Tarn.proto', 'Network.proto'].map((name) => `${process.argv[2]}/${name}`);
const root = protobuf.loadSync(files);

function answer(operation, type, data) {
  const message = operation === 'from_json' ?
    fromJsonString(type, data.toString()) : type.decode(data);
  return operation === 'to_json' ? toJsonString(type, message) : type.encode(message).finish();
}

createInterface({ input: process.stdin }).on('line', (line) => {
  const [identifier, operation, name, data] = line.split(' ');
  let said;
  try {
    const result = answer(operation, root.lookupType(name), Buffer.from(data, 'base64'));
    said = `ok ${Buffer.from(result).toString('base64')}`;
  } catch (error) {
    said = `rejected ${error.message.replace(/[^ -~]+/g, ' ')}`;
  }
  process.stdout.write(`${identifier} ${said}\n`);
});
