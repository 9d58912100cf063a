// Values in the text format, on one line.
import type { Message, Value } from "./api";
import { shortFloat } from "./numbers";
import { listOf, one } from "./message";
import { findType, type Field, type Type } from "./schema";
import { Walker } from "./walker";
import { escapedBytes, inQuotes, inQuotesBytes } from "./words";

const NOTHING_KNOWN: Type =
  { name: "", fullName: "", fields: [], byNumber: [], slots: 0, entry: false, secret: false };

// Shows the bits of a NaN other than the usual one: there are many.
function floatText(bits: number): string {
  const text = shortFloat(bits);
  return text === "nan" && bits !== 0x7FC00000 ? `nan(0x${bits.toString(16)})` : text;
}

// Unknown fields as their bytes: tags, lengths and values each by themselves.
export function unknownText(items: Uint8Array[]): string {
  let text = "";
  for (const bytes of items) {
    const add = (from: number, to: number) => {
      text += escapedBytes(bytes.subarray(from, to), '\\"');
    };
    const tail = (at: number, end: number) => {
      while (at < end && bytes[at] >= 0x80) ++at;
      return at + 1;
    };
    new Walker(NOTHING_KNOWN, bytes, {
      enter: (_, { begin, value }) => add(begin, value),
      leave: (_, at) => add(at, tail(at, bytes.length)),
      unknown(_, { begin, value, data, end }) {
        add(begin, value);
        add(value, data);
        add(data, end);
      },
    }).run();
  }
  return `"${text}"`;
}

export function valueText(field: Field, value: Value): string {
  switch (field.kind) {
    case "message": return messageText(value as Message);
    case "string": return inQuotes(value as string);
    case "bytes": return inQuotesBytes(value as Uint8Array);
    case "float": return floatText(value as number);
    case "enum": return field.enumeration!.names.get(value as number) ?? String(value);
    default: return String(value);
  }
}

function messageText(message: Message): string {
  const parts = ["{"];
  for (const field of findType(message.type).byNumber) {
    if (field === undefined || !message.fields.has(field.number)) continue;
    const values = field.repeated ? listOf(message, field) : [one(message, field)!];
    const sign = field.kind === "message" ? "" : ":";
    for (const value of values) parts.push(`${field.name}${sign} ${valueText(field, value)}`);
  }
  if (message.unknown.length > 0) parts.push(`unknown fields: ${unknownText(message.unknown)}`);
  return `${parts.join(" ")} }`;
}
