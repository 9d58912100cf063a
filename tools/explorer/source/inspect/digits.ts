// Digits, numbers and strings turned into bytes. Each returns undefined if the text has
// another form.
import { bytesOf, Sink } from "./bytes";

const isSpace = (c: string): boolean => c === " " || c === "\t" || c === "\r" || c === "\n";
export function trim(text: string): string {
  let from = 0, to = text.length;
  while (from < to && isSpace(text[from])) ++from;
  while (to > from && isSpace(text[to - 1])) --to;
  return text.slice(from, to);
}

// The value of a hexadecimal digit by its character code; -1: it is none.
function hexValue(code: number): number {
  if (code >= 48 && code <= 57) return code - 48;
  const letter = code | 0x20;
  return letter >= 97 && letter <= 102 ? letter - 87 : -1;
}

// Also with blanks, commas, colons or 0x between the digits, and pairs with dashes.
export function fromHexDigits(text: string): Uint8Array | undefined {
  const sink = new Sink();
  let half = -1;
  const dashes = text[2] === "-"; // else of a uuid
  for (let i = 0; i < text.length; ++i) {
    const digit = hexValue(text.charCodeAt(i));
    if (digit < 0) {
      const c = text[i];
      const between = isSpace(c) || c === "," || c === ":" || (c === "-" && dashes);
      if (!between || half >= 0) return undefined;
    } else if (half >= 0) {
      sink.byte(half << 4 | digit);
      half = -1;
    } else if (digit === 0 && (text[i + 1] === "x" || text[i + 1] === "X")) {
      ++i;
    } else {
      half = digit;
    }
  }
  return half < 0 ? sink.take() : undefined;
}

const PAIR = /^(0[xX])?[0-9a-fA-F]{2}$/;
// Whether a word is two hexadecimal digits, also after 0x; whether a text is several such.
export const isHexPair = (token: string): boolean => PAIR.test(token);
export function arePairs(digits: string): boolean {
  const groups = digits.split(/[ \t\r\n,:-]/).filter(Boolean);
  return groups.length > 1 && groups.every(isHexPair);
}

// `strict`: as JSON has it, where bits that are left over are zero.
export function fromBase64(text: string, strict = false): Uint8Array | undefined {
  const digits = text.replace(/[ \t\r\n]+/g, "").replace(/-/g, "+").replace(/_/g, "/");
  const match = /^([A-Za-z0-9+/]+)(=*)$/.exec(digits);
  if (match === null) return undefined;
  const [, letters, { length: padding }] = match;
  const rest = letters.length % 4;
  if (rest === 1 || (padding > 0 && padding !== (4 - rest) % 4)) return undefined;
  const bytes = new Uint8Array(Math.floor(letters.length * 3 / 4));
  let bits = 0, held = 0, size = 0;
  for (let i = 0; i < letters.length; ++i) {
    const c = letters.charCodeAt(i);
    const value = c >= 97 ? c - 71 : c >= 65 ? c - 65 : c >= 48 ? c + 4 : c === 43 ? 62 : 63;
    bits = (bits << 6 | value) & 0xFFFFFF;
    held += 6;
    if (held < 8) continue;
    held -= 8;
    bytes[size++] = bits >> held & 0xFF;
  }
  return strict && (bits & (1 << held) - 1) !== 0 ? undefined : bytes;
}

// One number of an array, from -128 (a byte in Java) to 255.
function numberIn(token: string): number | undefined {
  const match = /^(-?)(?:0[xX]([0-9a-fA-F]+)|([0-9]+))$/.exec(token);
  if (match === null) return undefined;
  const value = match[2] !== undefined ? parseInt(match[2], 16) : parseInt(match[3], 10);
  if (value > (match[1] ? 128 : 255)) return undefined;
  return match[1] ? -value & 0xFF : value;
}

// Whether the bracket at `open` begins an array of bytes, with little else around it.
function arrayAt(text: string, open: number): Uint8Array | undefined {
  const head = text.slice(0, open);
  if (/["']/.test(head) || (head.includes(":") && !head.includes("="))) return undefined;
  const close = text.indexOf(text[open] === "{" ? "}" : "]", open);
  if (close < 0) return undefined;
  const tokens = text.slice(open + 1, close).split(",").map(trim);
  if (tokens[tokens.length - 1] === "") tokens.pop();
  const sink = new Sink();
  for (const token of tokens) {
    const number = numberIn(token);
    if (number === undefined) return undefined;
    sink.byte(number);
  }
  const commas = text.slice(open, close).split(",").length - 1;
  let tail = text.slice(close + 1).replace(/^[ \t\r\n);]+/, "");
  // xxd -i writes the number of bytes after the array.
  const length = /_len = ([0-9]*)/.exec(tail);
  if (length !== null) {
    if (Number(length[1]) !== sink.size) return undefined;
    tail = "";
  }
  return tail === "" && (commas > 0 || (sink.size > 0 && open > 0)) ? sink.take() : undefined;
}

export function fromArray(text: string): Uint8Array | undefined {
  // "new byte[] {" has brackets before those of the array.
  let open = text.search(/[{[]/);
  for (let i = 0; i < 4 && open >= 0; ++i) {
    const bytes = arrayAt(text, open);
    if (bytes !== undefined) return bytes;
    const next = text.slice(open + 1).search(/[{[]/);
    open = next < 0 ? -1 : open + 1 + next;
  }
  return undefined;
}

// Decimal numbers of bytes with blanks between them, also in brackets, as Go prints them.
// Pairs of digits alone are no numbers, but in brackets.
export function fromNumbers(input: string): Uint8Array | undefined {
  const text = trim(input);
  const inside = text.length > 2 ? /^\[([^]*)\]$/.exec(text)?.[1] : undefined;
  const tokens = trim(inside ?? text).split(/[ \t\r\n]+/);
  if (tokens.length < 4 || !tokens.every((token) => /^(0|[1-9][0-9]{0,2})$/.test(token))) {
    return undefined;
  }
  if (inside === undefined && tokens.every(({ length }) => length === 2)) return undefined;
  const numbers = tokens.map(Number);
  return numbers.every((number) => number < 256) ? Uint8Array.from(numbers) : undefined;
}

const MEANINGS: { [letter: string]: number } =
  { a: 7, b: 8, e: 27, f: 12, n: 10, r: 13, t: 9, v: 11, "\\": 92, '"': 34, "'": 39, "?": 63 };

// Takes one character or escape at `at`, and returns where it ends; -1: it is wrong.
export function takeEscaped(text: string, at: number, sink: Sink): number {
  if (text[at] !== "\\") {
    const character = String.fromCodePoint(text.codePointAt(at)!);
    sink.put(bytesOf(character));
    return at + character.length;
  }
  const rest = text.slice(at + 1, at + 4);
  const hex = /^x[0-9a-fA-F]{2}/.exec(rest);
  const octal = /^[0-7]{1,3}/.exec(rest);
  if (hex !== null) {
    sink.byte(parseInt(rest.slice(1), 16));
    return at + 4;
  }
  if (octal !== null) {
    const value = parseInt(octal[0], 8);
    sink.byte(value & 0xFF);
    return value < 256 ? at + 1 + octal[0].length : -1;
  }
  const meaning = MEANINGS[rest[0] ?? ""];
  if (meaning === undefined) return -1;
  sink.byte(meaning);
  return at + 2;
}

// Strings with escapes, as in the source of a program.
export function fromEscapes(input: string): Uint8Array | undefined {
  const text = trim(input);
  if (!text.includes("\\")) return undefined;
  const sink = new Sink();
  if (text[0] === "\\") {
    for (let at = 0; at < text.length;) {
      at = takeEscaped(text, at, sink);
      if (at < 0) return undefined;
    }
    return sink.take();
  }
  // Before the quotes may stand b (Python), $ (shells) or "char data[] =" (C).
  let at = text.search(/["']/);
  if (at < 0) return undefined;
  const head = trim(text.slice(0, at));
  if (head.length > 2 && !/[=(]$/.test(head)) return undefined;
  // Strings that follow one another are joined.
  while (at < text.length) {
    const mark = text[at];
    if (mark !== '"' && mark !== "'") {
      return [";", ")", ");"].includes(text.slice(at)) ? sink.take() : undefined;
    }
    for (++at; text[at] !== mark;) {
      if (at >= text.length) return undefined;
      at = takeEscaped(text, at, sink);
      if (at < 0) return undefined;
    }
    for (++at; at < text.length && isSpace(text[at]);) ++at;
  }
  return sink.take();
}
