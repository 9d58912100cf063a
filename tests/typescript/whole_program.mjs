// A program in TypeScript that uses every field of every message, with the types
// that it should have.
import * as libschema from 'libschema';

// Type and value by what the schema calls the type of a scalar.
const SCALARS = {
  2: ['number', '0.5'], 5: ['number', '-7'], 8: ['boolean', 'true'], 9: ['string', '"s"'],
  12: ['Uint8Array', 'Uint8Array.of(1)'], 13: ['number', '7'],
};

const local = (descriptor) => descriptor.typeName.replace(/^tarn\./, '').replaceAll('.', '_');

function scalar(number) {
  if (!SCALARS[number]) throw new Error(`no value for scalar type ${number}`);
  return SCALARS[number];
}

// Type and value of one element of the field.
function element(field) {
  if (field.enum) return [`t.${local(field.enum)}`, '1'];
  if (field.message) {
    const name = local(field.message);
    return [`t.${name}`, `create(t.${name}Schema)`];
  }
  return scalar(field.scalar);
}

function typeAndValue(field) {
  const [type, value] = element(field);
  if (field.fieldKind === 'list') return [`${type}[]`, `[${value}]`];
  if (field.fieldKind === 'map') return [`Record<string, ${type}>`, `{ k: ${value} }`];
  return [field.fieldKind === 'message' ? `${type} | undefined` : type, value];
}

function messageLines(schema, number) {
  const name = local(schema), variable = `m${number}`;
  const lines = schema.fields.map((field, index) => {
    const [type, value] = typeAndValue(field);
    const oneof = field.oneof?.localName;
    const place = oneof ? `${variable}.${oneof}.value` : `${variable}.${field.localName}`;
    const check = oneof ? `${variable}.${oneof}.case === "${field.localName}"` : 'true';
    const assign = oneof ?
      `${variable}.${oneof} = { case: "${field.localName}", value: ${value} }` :
      `${place} = ${value}`;
    return `${assign};\nif (${check}) { const v${index}: ${type} = ${place}; v${index}; }`;
  });
  return [`{ const ${variable}: t.${name} = create(t.${name}Schema);`, ...lines,
    `const again: t.${name} = fromBinary(t.${name}Schema, toBinary(t.${name}Schema, ${variable}));`,
    `if (!equals(t.${name}Schema, again, ${variable})) throw new Error("${name}"); }`];
}

export const schemas = Object.values(libschema).filter(({ kind }) => kind === 'message');

export const wholeProgram = ['import * as t from "libschema";',
  'import { create, equals, fromBinary, toBinary } from "@bufbuild/protobuf";',
  ...schemas.flatMap(messageLines), ''].join('\n');

// Every line after the first two is wrong.
export const MISTAKES = `import { create, fromBinary, toBinary } from "@bufbuild/protobuf";
import { ChildTypesSchema, ModuleSchema, PriceSchema, ServerSchema, StatusCodes } from "libschema";
create(ServerSchema, { nmae: "x" });
create(ServerSchema, { name: 1 });
create(ServerSchema).nmae;
create(ServerSchema).name = 1;
create(ServerSchema, { children: [create(ServerSchema)] });
create(ChildTypesSchema, { types: { case: "modul", value: create(ModuleSchema) } });
create(ChildTypesSchema).types.value.hwId;
toBinary(PriceSchema, create(ServerSchema));
fromBinary(ServerSchema, new Uint8Array()).status = "ok";
StatusCodes.okk;
`;
