// Writes a message as JSON, as `tarn decode --to json` does.
import type { JsonOptions, Message, Value } from "./api";
import { toBase64 } from "./bytes";
import { listOf, mapOf, one, sortedEntries } from "./message";
import { jsonFloatText } from "./numbers";
import { findType, type Field } from "./schema";
import { MASK } from "./spans";
import { isInvisible } from "./words";

const LETTERS: { [character: string]: string } =
  { "\b": "b", "\f": "f", "\n": "n", "\r": "r", "\t": "t", '"': '"', "\\": "\\" };

// A text in quotes. What cannot be seen, < and > are escaped.
function jsonText(text: string): string {
  if (/^[ !#-;=?-[\]-~]*$/.test(text)) return `"${text}"`;
  let result = '"';
  for (const character of text) {
    const letter = LETTERS[character];
    if (letter !== undefined) {
      result += `\\${letter}`;
    } else if (character === "<" || character === ">" || isInvisible(character.codePointAt(0)!)) {
      for (let i = 0; i < character.length; ++i) {
        result += `\\u${character.charCodeAt(i).toString(16).padStart(4, "0")}`;
      }
    } else {
      result += character;
    }
  }
  return `${result}"`;
}

class JsonWriter {
  private readonly space: string;

  constructor(private readonly options: JsonOptions, private readonly leaks: boolean) {
    this.space = options.pretty ? " " : "";
  }

  // Members or elements between brackets, each in a line of its own if it is to be pretty.
  private block(brackets: string, parts: string[], indent: string): string {
    if (parts.length === 0) return brackets;
    const inner = this.options.pretty ? `\n${indent}  ` : "";
    const outer = this.options.pretty ? `\n${indent}` : "";
    return brackets[0] + inner + parts.join(`,${inner}`) + outer + brackets[1];
  }

  message(message: Message, indent: string): string {
    const members: string[] = [];
    for (const field of findType(message.type).byNumber) {
      if (field === undefined || !message.fields.has(field.number)) continue;
      members.push(`${jsonText(field.jsonName)}:${this.space}` +
        this.field(field, message, `${indent}  `));
    }
    return this.block("{}", members, indent);
  }

  private field(field: Field, message: Message, indent: string): string {
    const inner = `${indent}  `;
    if (field.map) {
      const value = field.type!.fields[1];
      return this.block("{}", sortedEntries(mapOf(message, field)).map(([key, number]) =>
        `${jsonText(key)}:${this.space}${this.scalar(value, number)}`), indent);
    }
    if (!field.repeated) return this.value(field, one(message, field)!, indent);
    return this.block("[]", listOf(message, field).map((value) =>
      this.value(field, value, inner)), indent);
  }

  private value(field: Field, value: Value, indent: string): string {
    return field.kind === "message" ? this.message(value as Message, indent)
      : this.scalar(field, value);
  }

  private scalar(field: Field, value: Value): string {
    switch (field.kind) {
      case "string":
        if ((field.secret || (this.leaks && field.maskable)) && !this.options.showSecrets) {
          return `"${MASK}"`;
        }
        if (field.maskable && value === MASK) return '"\\u002a**"';
        return jsonText(value as string);
      case "bytes":
        return `"${toBase64(value as Uint8Array)}"`;
      case "enum": {
        const name = field.enumeration!.names.get(value as number);
        return name === undefined ? String(value) : `"${name}"`;
      }
      case "float":
        return jsonFloatText(value as number);
      default:
        return String(value);
    }
  }
}

export const toJson = (message: Message, options: JsonOptions = {}): string =>
  new JsonWriter(options, message.leaks ?? false).message(message, "");
