// Which values of JSON the runtime takes for a field, and what it makes of them.
import type { Value } from "./api";
import { bitsOf, floatOf } from "./bytes";
import { fromBase64 } from "./digits";
import type { Field } from "./schema";

const NUMBER = /^-?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?$/;
const DIGITS = /^[+-]?[0-9]+$/;
const TRUE = /^(t|true|y|yes|1)$/i;
const FALSE = /^(f|false|n|no|0)$/i;
const FLOAT = /^[\t-\r ]*[+-]?([0-9]+(\.[0-9]*)?|\.[0-9]+)([eE][+-]?[0-9]+)?[\t-\r ]*$/;
const WORDS: { [word: string]: number } = {
  NaN: 0x7FC00000, Infinity: 0x7F800000, "-Infinity": 0xFF800000,
};
const MOST_FLOAT = 3.4028235e38;
const LETTERS: { [letter: string]: string } =
  { b: "\b", f: "\f", n: "\n", r: "\r", t: "\t" };

// What stands between the quotes of a string; undefined if it is no text. Like the runtime
// it takes other letters after a backslash for themselves.
export function unescaped(text: string): string | undefined {
  if (!/[\\\uD800-\uDFFF]/.test(text)) return text;
  let wrong = false;
  const result = text.replace(/\\(?:u([0-9a-fA-F]{4})|([^]))/g, (_, code, letter) => {
    if (letter === "u") wrong = true;
    return code === undefined ? LETTERS[letter] ?? letter
      : String.fromCharCode(parseInt(code, 16));
  });
  const alone = /[\uD800-\uDBFF](?![\uDC00-\uDFFF])|(?<![\uD800-\uDBFF])[\uDC00-\uDFFF]/;
  return wrong || alone.test(result) ? undefined : result;
}

function integer(field: Field, value: number): number | undefined {
  const [least, most] = field.kind === "uint32" ? [0, 0xFFFFFFFF] : [-0x80000000, 0x7FFFFFFF];
  return Number.isInteger(value) && value >= least && value <= most ? value + 0 : undefined;
}

function float(value: number): number | undefined {
  return Math.abs(value) <= MOST_FLOAT && Number.isFinite(floatOf(bitsOf(value)))
    ? bitsOf(value) : undefined;
}

function fromText(field: Field, text: string): Value | undefined {
  switch (field.kind) {
    case "string": return text;
    case "bytes": {
      const mixed = /[+/]/.test(text) && /[-_]/.test(text);
      if (text === "") return new Uint8Array();
      return mixed || /\s/.test(text) ? undefined : fromBase64(text, true);
    }
    case "bool": return TRUE.test(text) ? true : FALSE.test(text) ? false : undefined;
    case "float":
      if (Object.hasOwn(WORDS, text)) return WORDS[text];
      return FLOAT.test(text) ? float(Number(text)) : undefined;
    case "enum": {
      const named = field.enumeration!.numbers.get(text);
      if (named !== undefined) return named;
      const number = DIGITS.test(text) ? Number(text) : NaN;
      return field.enumeration!.names.has(number) ? number + 0 : undefined;
    }
    default: return DIGITS.test(text) ? integer(field, Number(text)) : undefined;
  }
}

// The value that a token of JSON, a string with its quotes or a word, is for a field that
// is no message; undefined if it is none.
export function scalarOf(field: Field, token: string): Value | undefined {
  if (token[0] === '"') {
    const text = unescaped(token.slice(1, -1));
    return text === undefined ? undefined : fromText(field, text);
  }
  if (field.kind === "bool") {
    return token === "true" ? true : token === "false" ? false : undefined;
  }
  if (field.kind === "string" || field.kind === "bytes" || !NUMBER.test(token)) return undefined;
  return field.kind === "float" ? float(Number(token)) : integer(field, Number(token));
}
