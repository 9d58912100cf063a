// The schema: as the page shows it, and as tables for walking over bytes.
import type { Kind, Schema, SchemaEnum, SchemaField, SchemaMessage } from "./api";
import data from "./schema.json";

const PYTHON_KEYWORDS = new Set(["and", "as", "assert", "async", "await", "break", "class",
  "continue", "def", "del", "elif", "else", "except", "finally", "for", "from", "global", "if",
  "import", "in", "is", "lambda", "nonlocal", "not", "or", "pass", "raise", "return", "try",
  "while", "with", "yield"]);

const PACKAGE = "tarn.";
export const full = (name: string): string => PACKAGE + name;
const bare = (name: string): string =>
  name.startsWith(PACKAGE) ? name.slice(PACKAGE.length) : name;

const enums = new Map<string, SchemaEnum>(data.enums.map((item) => [item.name, item]));
const SCALARS = new Set(["int32", "uint32", "bool", "float", "string", "bytes"]);

type Listed = (typeof data.messages)[number]["fields"][number] &
  { map?: boolean; repeated?: boolean; oneof?: string };

function kindOf(field: Listed): Kind {
  if (field.map) return "map";
  if (SCALARS.has(field.type)) return field.type as Kind;
  return enums.has(field.type) ? "enum" : "message";
}

function fieldOf(message: string, field: Listed): SchemaField {
  return {
    ...field,
    message,
    kind: kindOf(field),
    repeated: field.repeated ?? false,
    wireType: field.wireType as SchemaField["wireType"],
    python: PYTHON_KEYWORDS.has(field.name) ? `getattr(message, "${field.name}")`
      : `message.${field.name}`,
    typescript: `message.${field.typescript}`,
    secret: message === "Wifi" && field.name === "pass",
  };
}

function messageOf(listed: (typeof data.messages)[number]): SchemaMessage {
  const fields = listed.fields.map((field) => fieldOf(listed.name, field));
  const held = fields.map(({ type }) => type).filter((type) => !SCALARS.has(type));
  return { ...listed, fields, embeds: [...new Set(held)] };
}

const messages = new Map(data.messages.map((item) => [item.name, messageOf(item)]));

export const schema: Schema = {
  version: data.version,
  messages: [...messages.values()],
  enums: [...enums.values()],
  message: (name) => messages.get(bare(name)),
  enumeration: (name) => enums.get(bare(name)),
};

// ---- Tables, as the walk needs them.

export interface Enum { name: string; names: Map<number, string>; numbers: Map<string, number> }

export interface Field {
  name: string;
  fullName: string;       // "tarn.Server.name"
  jsonName: string;
  number: number;
  kind: Exclude<Kind, "map">;
  tag: number;            // of one value
  packedTag: number;      // of many values in one record; 0: cannot be
  repeated: boolean;
  map: boolean;           // `type` is that of its entries
  secret: boolean;
  maskable: boolean;      // it, or another field of its message, is secret
  oneof?: string;         // full name
  others: Field[];        // the other members of its oneof, by number
  type?: Type;            // of a message
  enumeration?: Enum;
  slot: number;           // of a repeated field, its counter within the record
}

export interface Type {
  name: string;
  fullName: string;
  fields: Field[];        // as declared
  byNumber: (Field | undefined)[];
  slots: number;          // repeated fields
  entry: boolean;         // of a map
  secret: boolean;        // has a secret field
}

const WIRES: { [kind in Field["kind"]]: number } =
  { int32: 0, uint32: 0, bool: 0, enum: 0, float: 5, string: 2, bytes: 2, message: 2 };

const tables = new Map<string, Type>();
const enumTables = new Map([...enums.values()].map(({ name, values }): [string, Enum] => [name, {
  name: full(name),
  // Of several names for a number, the first.
  names: new Map([...values].reverse().map((value) => [value.number, value.name])),
  numbers: new Map(values.map((value) => [value.name, value.number])),
}]));

function plainField(owner: string, name: string, number: number, kind: Field["kind"]): Field {
  return {
    name, fullName: `${owner}.${name}`, jsonName: name, number, kind,
    tag: number << 3 | WIRES[kind], packedTag: 0, repeated: false, map: false, secret: false,
    maskable: false, others: [], slot: -1,
  };
}

function makeTable(name: string, fields: Field[], entry: boolean): Type {
  const type: Type = {
    name, fullName: full(name), fields, byNumber: [], slots: 0, entry,
    secret: fields.some((field) => field.secret),
  };
  for (const field of fields) {
    if (field.number > 63) throw new Error(`${field.fullName}: a number above 63`);
    type.byNumber[field.number] = field;
  }
  for (const field of fields) {
    if (field.repeated) field.slot = type.slots++;
    field.maskable = type.secret;
    field.others = type.byNumber.filter((other) => other !== undefined &&
      other !== field && other.oneof !== undefined && other.oneof === field.oneof) as Field[];
  }
  return type;
}

function entryTable(field: SchemaField): Type {
  const pascal = field.jsonName[0].toUpperCase() + field.jsonName.slice(1);
  const name = `${field.message}.${pascal}Entry`;
  const value = plainField(full(name), "value", 2, "enum");
  value.enumeration = enumTables.get(field.type);
  return makeTable(name, [plainField(full(name), "key", 1, "string"), value], true);
}

function tableField(field: SchemaField): Field {
  const kind = field.kind === "map" ? "message" : field.kind;
  const table = plainField(full(field.message), field.name, field.number, kind);
  table.jsonName = field.jsonName;
  table.repeated = field.repeated;
  table.secret = field.secret;
  table.map = field.kind === "map";
  if (field.oneof !== undefined) table.oneof = `${full(field.message)}.${field.oneof}`;
  if (field.repeated && WIRES[kind] !== 2) table.packedTag = field.number << 3 | 2;
  table.enumeration = kind === "enum" ? enumTables.get(field.type) : undefined;
  if (table.map) table.type = entryTable(field);
  return table;
}

for (const message of messages.values()) {
  tables.set(message.name, makeTable(message.name, message.fields.map(tableField), false));
}
for (const message of messages.values()) {
  for (const field of message.fields) {
    if (field.kind !== "message") continue;
    tables.get(message.name)!.byNumber[field.number]!.type = tables.get(field.type);
  }
}

export const allTypes: Type[] = [...tables.values()];

// The table of a type named `Server` or `tarn.Server`.
export function findType(name: string): Type {
  const type = tables.get(bare(name));
  if (type === undefined) throw new Error(`no message type ${name}`);
  return type;
}
