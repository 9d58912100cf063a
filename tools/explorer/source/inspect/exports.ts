// A message in forms that other tools take: source code, and a case of the golden messages.
import type { Message, Value } from "./api";
import { bytesOf, floatOf, toHex } from "./bytes";
import { decode, encode, listOf, mapOf, one, sortedEntries } from "./message";
import { shortFloat } from "./numbers";
import { findType, schema, type Field } from "./schema";
import { walk } from "./spans";

const lowerFirst = (name: string): string => name[0].toLowerCase() + name.slice(1);

function rowsOf(bytes: Uint8Array): string[] {
  const rows: string[] = [];
  for (let i = 0; i < bytes.length; i += 12) {
    const row = toHex(bytes.subarray(i, i + 12)).split(" ").map((byte) => `0x${byte}`);
    rows.push(`    ${row.join(", ")},`);
  }
  return rows;
}

// C has no empty arrays, so an empty message has one byte that does not count.
export function toCArray(name: string, bytes: Uint8Array): string {
  const type = findType(name);
  const variable = lowerFirst(type.name);
  const rows = bytes.length === 0 ? ["    0x00,"] : rowsOf(bytes);
  return [`// A message ${type.fullName}.`, `const unsigned char ${variable}[] = {`, ...rows, "};",
          `const unsigned int ${variable}_len = ${bytes.length};`, ""].join("\n");
}

const LETTERS: { [byte: number]: string } =
  { 0x0A: "\\n", 0x0D: "\\r", 0x09: "\\t", 0x22: '\\"', 0x5C: "\\\\", 0x3F: "\\?" };

// A string of C++ with these bytes; escapes have all three digits.
function literal(bytes: Uint8Array): string {
  const text = Array.from(bytes, (byte) => LETTERS[byte] ??
    (byte >= 0x20 && byte < 0x7F ? String.fromCharCode(byte)
      : `\\${byte.toString(8).padStart(3, "0")}`)).join("");
  return bytes.includes(0) ? `std::string("${text}", ${bytes.length})` : `"${text}"`;
}

function floatLiteral(bits: number): string {
  const value = floatOf(bits);
  const limit = (name: string) => `std::numeric_limits<float>::${name}()`;
  if (Number.isNaN(value)) return limit("quiet_NaN");
  if (!Number.isFinite(value)) return (value < 0 ? "-" : "") + limit("infinity");
  const text = shortFloat(bits);
  return `${/[.e]/.test(text) ? text : `${text}.0`}f`;
}

// The statements that fill a message.
class CppWriter {
  readonly lines: string[] = [];
  private count = 0;

  // `to`: what the name of a member follows: "server." or "children1->".
  fill(message: Message, to: string): void {
    for (const field of findType(message.type).fields) {
      if (message.fields.has(field.number)) this.field(field, message, to);
    }
    if (message.unknown.length === 0) return;
    const owner = to.endsWith(".") ? `&${to.slice(0, -1)}` : to.slice(0, -2);
    const unknown = Uint8Array.from(message.unknown.flatMap((item) => [...item]));
    this.lines.push(`${to}GetReflection()->MutableUnknownFields(${owner})->ParseFromString(`,
      `    ${literal(unknown)});`);
  }

  private field(field: Field, message: Message, to: string): void {
    const name = field.name.toLowerCase();
    if (field.map) {
      for (const [key, value] of sortedEntries(mapOf(message, field))) {
        this.lines.push(`(*${to}mutable_${name}())[${literal(bytesOf(key))}] = ` +
          `${this.enumConstant(field.type!.fields[1], value)};`);
      }
      return;
    }
    const values = field.repeated ? listOf(message, field) : [one(message, field)!];
    for (const value of values) {
      const verb = field.repeated ? "add" : field.kind === "message" ? "mutable" : "set";
      if (field.kind === "message") {
        const part = `${lowerFirst(field.name).replace(/^_/, "size")}${++this.count}`;
        this.lines.push(`auto* ${part} = ${to}${verb}_${name}();`);
        this.fill(value as Message, `${part}->`);
      } else {
        this.lines.push(`${to}${verb}_${name}(${this.scalar(field, value)});`);
      }
    }
  }

  private scalar(field: Field, value: Value): string {
    switch (field.kind) {
      case "string": return literal(bytesOf(value as string));
      case "bytes": return literal(value as Uint8Array);
      case "float": return floatLiteral(value as number);
      case "enum": return this.enumConstant(field, value as number);
      case "uint32": return `${value}u`;
      default: return value === -0x80000000 ? "-2147483647 - 1" : String(value);
    }
  }

  private enumConstant(field: Field, number: number): string {
    const { values, cppClass } = schema.enumeration(field.enumeration!.name)!;
    return values.find((value) => value.number === number)?.constant ??
      `static_cast<${cppClass}>(${number})`;
  }
}

// A function in C++ that makes the message. Of a NaN it keeps only that it is one.
export function toCpp(message: Message): string {
  const { name, cppClass, header } = schema.message(message.type)!;
  const variable = lowerFirst(name);
  const writer = new CppWriter();
  writer.fill(message, `${variable}.`);
  const body = writer.lines.map((line) => `  ${line}`);
  const includes = [body.some((line) => line.includes("numeric_limits")) ? "#include <limits>" : "",
                    body.some((line) => line.includes("MutableUnknownFields"))
                      ? "#include <google/protobuf/unknown_field_set.h>" : "",
                    `#include <${header}>`].filter(Boolean);
  return [...includes, "", `${cppClass} Make${name}() {`, `  ${cppClass} ${variable};`,
          ...body, `  return ${variable};`, "}", ""].join("\n");
}

const bytesLine = (bytes: Uint8Array): string[] =>
  bytes.length === 0 ? [] : [`  \`${toHex(bytes).toUpperCase()}\``];

// The lines of a case for tests/corpus/<type>.txt: valid, accepted or rejected as the bytes
// are, and all bytes in hex.
export function toCorpusCase(type: string, name: string, bytes: Uint8Array): string {
  const [error] = walk(type, bytes, { showSecrets: true }).errors;
  if (error !== undefined) {
    return [`rejected ${name}`, ...bytesLine(bytes), `reason ${error.word}`, ""].join("\n");
  }
  const canonical = encode(decode(type, bytes));
  const same = toHex(canonical) === toHex(bytes);
  const unknown = walk(type, bytes).spans.some(({ kind }) => kind === "unknown" ||
    kind === "groupEnd");
  return [`${same && !unknown ? "valid" : "accepted"} ${name}`, ...bytesLine(bytes),
          ...(same ? [] : ["canonical", ...bytesLine(canonical)]), ""].join("\n");
}
