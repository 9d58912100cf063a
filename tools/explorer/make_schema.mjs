// Writes the schema as the explorer needs it: what `tarn describe` says of every message
// and enum, with the names that the TypeScript package gives to fields.
//
// usage: make_schema.mjs TARN PACKAGE OUTPUT
//   TARN     the program
//   PACKAGE  folder of the TypeScript package, made by typescript_dist
//   OUTPUT   file to write
// EMULATOR in the environment, words with ";" between them, runs the program.
import { execFileSync } from "node:child_process";
import { writeFileSync } from "node:fs";
import { resolve } from "node:path";
import { pathToFileURL } from "node:url";

const [program, folder, output] = process.argv.slice(2);

function tarn(...args) {
  const [first, ...others] = [...(process.env.EMULATOR || "").split(";"), program, ...args]
    .filter(Boolean);
  const text = execFileSync(first, others, { encoding: "utf8", maxBuffer: 1 << 26 });
  return text.split("\n").filter(Boolean);
}

const bare = (name) => name.replace(/^tarn\./, "");
const last = (name) => name.slice(name.lastIndexOf(".") + 1);
const describe = (name) => JSON.parse(tarn("describe", "--json", name)[0]);

// By the full name of the message, then by the number of the field.
async function localNames() {
  const names = new Map();
  for (const file of ["Network", "Tarn"]) {
    const module = await import(pathToFileURL(resolve(folder, `${file}.js`)));
    for (const { typeName, fields } of module[`file_${file}`].messages) {
      const local = (field) =>
        field.oneof ? `${field.oneof.localName}.value` : field.localName;
      names.set(typeName, new Map(fields.map((field) => [field.number, local(field)])));
    }
  }
  return names;
}

function fieldOf(field, local) {
  return {
    name: last(field.name),
    comment: field.comment,
    number: field.number,
    type: bare(field.type),
    ...(field.keyType && { map: true }),
    ...(field.repeated && { repeated: true }),
    ...(field.oneof && { oneof: last(field.oneof) }),
    tag: field.tag,
    wireType: field.wireType,
    jsonName: field.jsonName,
    cpp: field.accessors,
    typescript: local.get(field.number),
  };
}

function messageOf(message, local) {
  const oneofs = [...new Set(message.fields.flatMap(({ oneof }) => oneof ?? []))];
  return {
    name: bare(message.name),
    comment: message.comment,
    file: message.file,
    cppClass: message.class,
    header: message.header,
    fields: message.fields.map((field) => fieldOf(field, local)),
    oneofs: oneofs.map((name) => ({ name: last(name), comment: describe(name).comment })),
    usedIn: message.usedIn.map(bare),
  };
}

function enumOf(enumeration) {
  return {
    name: bare(enumeration.name),
    comment: enumeration.comment,
    file: enumeration.file,
    cppClass: enumeration.class,
    values: enumeration.values.map(({ name, number, comment, constant }) =>
      ({ name: last(name), number, comment, constant })),
    usedIn: enumeration.usedIn.map(bare),
  };
}

const local = await localNames();
const listed = tarn("list", "--json").map((line) => JSON.parse(line));
const named = (kind) => listed.filter((item) => item.kind === kind)
  .map(({ name }) => describe(name));
writeFileSync(output, JSON.stringify({
  version: tarn("--version")[0].split(" ")[1],
  messages: named("message").map((message) => messageOf(message, local.get(message.name))),
  enums: named("enum").map(enumOf),
}));
