// Puts generated code into the package, with the descriptions of the schema files
// as plain objects. Fails if these do not describe the same.
//
// usage: make_package.mjs    in the folder of the build, as `build` calls it
import assert from 'node:assert/strict';
import { copyFileSync, readFileSync, writeFileSync } from 'node:fs';
import { toJson } from '@bufbuild/protobuf';
import { FileDescriptorProtoSchema } from '@bufbuild/protobuf/wkt';
import { jsonName } from './package/schema_file.js';

// Whether schemaFile() puts the value there by itself.
function follows(name, value, message) {
  return name === '$typeName' || (Array.isArray(value) && value.length === 0) ||
    (name === 'label' && value === 1) ||
    (name === 'jsonName' && value === jsonName(message.name));
}

function plain(value) {
  if (Array.isArray(value)) return value.map(plain);
  if (typeof value !== 'object') return value;
  return Object.fromEntries(Object.entries(value)
    .filter(([name, item]) => !follows(name, item, value))
    .map(([name, item]) => [name, plain(item)]));
}

function replaceOnce(text, old, replacement) {
  assert.equal(text.split(old).length, 2, `not once: ${old}`);
  return text.replace(old, () => replacement);
}

async function described(name, file) {
  return (await import(file))[`file_${name}`].proto;
}

for (const name of ['Network', 'Tarn']) {
  const expected = await described(name, `./generated/${name}_pb.js`);
  let code = readFileSync(`generated/${name}_pb.js`, 'utf8');
  const [call] = code.match(/fileDesc\("[^"]*"\)/);
  code = replaceOnce(code, call, `schemaFile(${JSON.stringify(plain(expected))})`);
  code = replaceOnce(code, 'fileDesc, ', '');
  code = replaceOnce(code, '\nimport {',
    '\nimport { schemaFile } from "./schema_file.js";\nimport {');
  writeFileSync(`package/${name}.js`, code);
  copyFileSync(`generated/${name}_pb.d.ts`, `package/${name}.d.ts`);
  assert.deepEqual(toJson(FileDescriptorProtoSchema, await described(name, `./package/${name}.js`)),
    toJson(FileDescriptorProtoSchema, expected));
}
