// A reader for tarn conform with the code that Protobuf-ES generates for JavaScript.
// Debian: nodejs npm protobuf-compiler
//   npm install --ignore-scripts @bufbuild/protobuf@2.17.0 @bufbuild/protoc-gen-es@2.6.3
//   protoc -I /usr/share/tarn/portable --plugin=node_modules/.bin/protoc-gen-es \
//     --es_out=js_import_style=legacy_commonjs:. Tarn.proto Network.proto
//   tarn conform -- node reader.js
const { createInterface } = require('node:readline');
const { createRegistry, fromBinary, fromJsonString, toBinary, toJsonString } =
  require('@bufbuild/protobuf');
const { file_Network } = require('./Network_pb');
const { file_Tarn } = require('./Tarn_pb');

const types = createRegistry(file_Network, file_Tarn);

function answer(operation, schema, data) {
  const message = operation === 'from_json' ?
    fromJsonString(schema, data.toString()) : fromBinary(schema, data);
  return operation === 'to_json' ? toJsonString(schema, message) : toBinary(schema, message);
}

createInterface({ input: process.stdin }).on('line', (line) => {
  const [identifier, operation, name, data] = line.split(' ');
  let said;
  try {
    const result = answer(operation, types.getMessage(name), Buffer.from(data, 'base64'));
    said = `ok ${Buffer.from(result).toString('base64')}`;
  } catch (error) {
    said = `rejected ${error.message.replace(/[^ -~]+/g, ' ')}`;
  }
  process.stdout.write(`${identifier} ${said}\n`);
});
