// The forms in which people keep the bytes of a message: recognized by their layout, and
// turned back into bytes. Nothing here knows a type.
import type { Form } from "./api";
import { bytesOf } from "./bytes";
import { arePairs, fromArray, fromBase64, fromEscapes, fromHexDigits, fromNumbers, isHexPair,
  trim }
  from "./digits";
import { gotFurther, isDumpLine, linesOf, looksLikeDump, readDump, whyNoDump, type NoDump }
  from "./dump";
import { lineAndColumn } from "./json_read";
import { readLogLine, unlog, unnumber, unquote, unquoted } from "./log";

// One way to read an input.
export interface Found {
  form: Form;
  layout: string;
  bytes: Uint8Array;
  text?: string;     // of text and JSON: the message as it was written
  digits?: string;   // of several lines of digits: as written
  skipped?: number;  // bytes before those of a dump, by its offsets
  certain: boolean;  // the layout is unmistakable
  problem?: string;  // why a recognized form cannot be read
  at: number;        // its place in other text
  size: number;
  joined: boolean;   // from lines of a log, which can also be messages of their own
}

function found(form: Form, certain: boolean, bytes: Uint8Array = new Uint8Array(),
               layout = ""): Found {
  return { form, layout, bytes, certain, at: 0, size: 0, joined: false };
}

function looksLikeText(input: string): boolean {
  const text = trim(input);
  return text[0] === "#" || /^[A-Za-z_][0-9A-Za-z_]*[ \t\r\n]*[:{]/.test(text);
}

const looksLikeJson = (text: string): boolean =>
  /^[ \t\r\n]*\{[ \t\r\n]*("|\}[ \t\r\n]*$)/.test(text);

const WRAPS = [["<Buffer", ">"], ["X'", "'"], ["x'", "'"], ['"', '"'], ["'", "'"], ["`", "`"],
               ["[", "]"], ["<", ">"], ["(", ")"]];

// Removes quotation marks, brackets and the like around digits.
function unwrap(input: string): string {
  const text = trim(input);
  for (const [open, close] of WRAPS) {
    if (text.length > open.length && text.startsWith(open) && text.endsWith(close)) {
      return trim(text.slice(open.length, -1));
    }
  }
  return text;
}

// "data:application/x-protobuf;base64,CgE="
function dataUri(text: string): Found | undefined {
  const comma = text.indexOf(",");
  if (!text.startsWith("data:") || comma < 0) return undefined;
  const form = found("base64", true, undefined, "a data address");
  if (!text.slice(0, comma).endsWith(";base64")) {
    form.problem = "a data address that is not in base64";
    return form;
  }
  const bytes = fromBase64(text.slice(comma + 1));
  if (bytes === undefined) form.problem = "a data address whose base64 is broken";
  return { ...form, bytes: bytes ?? form.bytes };
}

function dumps(text: string): Found[] {
  let forms: Found[] = [];
  let furthest: NoDump = { brokenLine: 0, missing: 0 };
  let verified = false;
  for (const [unit, form] of [["hexBytes", "hex"], ["hexWords", "words"], ["octalBytes", "octal"],
                              ["octalWords", "octal"]] as const) {
    const dump = readDump(text, unit);
    if (!("bytes" in dump)) {
      if (gotFurther(dump, furthest)) furthest = dump;
      continue;
    }
    const words = unit === "hexWords" && forms.length > 0;
    if (words) {
      // Groups after a colon are bytes, unless the characters show that they are words.
      if (verified || (!dump.ambiguous && !dump.verified)) continue;
      if (dump.verified) forms = [];
    }
    ({ verified } = dump);
    const { skipped } = dump;
    const layout = skipped > 0 ? `a dump without its first ${skipped} bytes` : "a dump";
    const read = { ...found(form, dump.certain, dump.bytes, layout), skipped };
    // Without a colon, groups are likelier words.
    if (words) forms.unshift(read);
    else forms.push(read);
  }
  if (forms.length > 0 || (furthest.gap === undefined && !looksLikeDump(text))) return forms;
  return [{ ...found("hex", true), problem: whyNoDump(furthest) }];
}

// Says that a digit of hexadecimal digits is missing or too many.
function oddDigits(text: string): string | undefined {
  if (!/^[0-9a-fA-F \t\r\n:]*$/.test(text) || !/[0-9]/.test(text)) return undefined;
  let count = 0, groups = 0, odd = 0, place = "";
  linesWithEmpty(text).forEach((line, i) => {
    line.split(/[ \t\r:]+/).filter(Boolean).forEach((group, j) => {
      ++groups;
      count += group.length;
      if (group.length % 2 !== 0 && ++odd === 1) place = `, in group ${j + 1} of line ${i + 1}`;
    });
  });
  if (odd !== 1 || groups === 2 || count < 7) return undefined;
  return `${count} hexadecimal digits, which are not whole bytes: one is missing or too many` +
    (groups > 1 ? place : "");
}
const linesWithEmpty = (text: string): string[] => text.split("\n");

// Whether digits are in pairs but for letters that look like 0 and 1, as a scan has them.
function looksScanned(text: string): boolean {
  const digits = text.replace(/[Oo]/g, "0").replace(/[lI]/g, "1");
  return digits !== text && arePairs(digits);
}

// Keeps the digits of several lines, which can be messages of their own.
const severalLines = (digits: string): { digits?: string } =>
  digits.includes("\n") ? { digits } : {};

// Says that one character among many hexadecimal digits is none, and where in the text.
function wrongDigit(text: string, digits: string): string | undefined {
  const wrong = digits.search(/[^0-9a-fA-F \t\r\n,:]/);
  const rest = digits.slice(0, wrong) + digits.slice(wrong + 1);
  if (wrong < 0 || !/^[0-9a-fA-F \t\r\n,:]*$/.test(rest) || !/[a-zA-Z]/.test(digits[wrong]) ||
      rest.replace(/[ \t\r\n,:]+/g, "").length < 15 || !/[0-9]/.test(rest) ||
      !/[0-9a-fA-F]/.test(digits.slice(Math.max(0, wrong - 1), wrong + 2)) ||
      fromHexDigits(digits) !== undefined) {
    return undefined;
  }
  return "hexadecimal digits with one character among them that is none: " +
    lineAndColumn(text, text.indexOf(digits) + wrong);
}

// The forms of a text that has nothing else around it.
function plainForms(input: string): Found[] {
  const text = trim(input);
  const uri = dataUri(text);
  const forms = uri !== undefined ? [uri] : dumps(text);
  if (forms.length > 0 && forms[0].certain) return forms;
  const array = fromArray(text);
  if (array !== undefined) return [...forms, found("source", true, array, "an array")];
  const numbers = fromNumbers(text);
  if (numbers !== undefined) {
    forms.push({ ...found("source", text[0] === "[", numbers, "numbers"), ...severalLines(text) });
  }
  const json = looksLikeJson(text);
  if (json || looksLikeText(text)) {
    forms.push({ ...found(json ? "json" : "text", json), text });
  }
  const digits = unwrap(text);
  const odd = oddDigits(digits);
  if (odd !== undefined) return [...forms, { ...found("hex", true), problem: odd }];
  const wrong = wrongDigit(input, digits);
  if (wrong !== undefined) return [...forms, { ...found("hex", true), problem: wrong }];
  if (looksScanned(digits)) {
    const problem = "hexadecimal digits with letters among them that look like 0 or 1";
    return [...forms, { ...found("hex", false), problem }];
  }
  const prefixed = digits.startsWith("\\x") ? fromHexDigits(digits.slice(2)) : undefined;
  if (prefixed !== undefined) forms.push(found("hex", false, prefixed));
  const escapes = fromEscapes(text);
  if (escapes !== undefined) {
    forms.push(found("source", escapes.length > 1, escapes, "strings with escapes"));
  }
  const lines = severalLines(digits);
  const hex = fromHexDigits(digits);
  if (hex !== undefined && hex.length > 0) {
    forms.push({ ...found("hex", arePairs(digits), hex), ...lines });
  }
  // Many digits that are all hexadecimal are hardly base64.
  const hardly = numbers !== undefined || (hex !== undefined && hex.length >= 8);
  const base64 = hardly ? undefined : fromBase64(digits);
  if (base64 !== undefined) forms.push({ ...found("base64", false, base64), ...lines });
  return forms;
}

const within = (layout: string, forms: Found[]): Found[] => forms.map((form) =>
  ({ ...form, layout: form.layout === "" ? layout : `${form.layout}, ${layout}` }));

// Whether a text holds only characters that a person can type, in any language.
export const isText = (text: string): boolean => !/[\x00-\x08\x0B\x0C\x0E-\x1F\x7F]/.test(text);

// All ways to read a text, the likeliest first.
export function formsOf(input: string): Found[] {
  const text = input.replace(/^\uFEFF/, "");
  if (!isText(text) || trim(text) === "") return [];
  const mail = unquote(text);
  if (mail !== undefined) return within("quoted as in a mail", formsOf(mail));
  // JSON goes on over lines; words of several lines are no digits.
  const log = unlog(text);
  if (log !== undefined && looksLikeJson(log)) return within("in a log", plainForms(log));
  const forms = plainForms(text);
  if (forms.length === 0 || !forms[0].certain || forms[0].problem !== undefined) {
    const plain = unnumber(text);
    if (plain !== undefined) forms.push(...within("numbered", plainForms(plain)));
  }
  // A form that cannot be read counts only if no other form can be read.
  return [...forms.filter(({ problem }) => problem === undefined),
          ...forms.filter(({ problem }) => problem !== undefined)];
}

// Whether a token is hardly base64, but a word, a name or words with strokes between them.
function isProse(token: string): boolean {
  let changes = 0, last = 0;
  for (const c of token) {
    const kind = /[a-z]/.test(c) ? 1 : /[A-Z]/.test(c) ? 2 : /[0-9]/.test(c) ? 3 : last;
    if (last !== 0 && kind !== last) ++changes;
    last = kind;
  }
  return 3 * changes < bytesOf(token).length;
}

// Collects the pieces of a text that can be digits, with their places.
class Pieces {
  readonly forms: Found[] = [];
  constructor(private readonly input: string) {}

  // The longest rows of pairs that are separated by blanks, commas or colons, and every
  // word of the part between `begin` and `end`.
  addFrom(begin: number, end: number): void {
    let row = -1;
    for (let word = begin; word <= end;) {
      let stop = word;
      while (stop < end && !" ,:".includes(this.input[stop])) ++stop;
      const token = this.input.slice(word, stop);
      const pair = isHexPair(token);
      if (pair && row < 0) row = word;
      if (row >= 0 && (!pair || stop === end)) {
        this.add("hex", row, pair ? stop : word);
        row = -1;
      }
      if (!pair && !this.add("hex", word, stop)) this.addBase64(word, stop, token);
      word = stop + 1;
    }
  }
  private add(form: "hex" | "base64", begin: number, end: number): boolean {
    const part = this.input.slice(begin, end);
    const piece = form === "hex" ? trim(part) : part;
    const bytes = form === "hex" ? fromHexDigits(piece) : fromBase64(piece);
    if (bytes === undefined || bytes.length < 4) return false;
    const at = begin + part.indexOf(piece);
    this.forms.push({ ...found(form, false, bytes), at, size: piece.length });
    return true;
  }
  private addBase64(begin: number, end: number, token: string): void {
    let to = end;
    while (this.input[to] === "=") ++to;
    if (to === end && isProse(token)) return;
    this.add("base64", begin, to);
  }
}

// Whether a line can be one of many with digits. The last one can be short.
function isDigitLine(raw: string, last: boolean): boolean {
  const line = trim(unquoted(raw));
  if (line === "") return false;
  if (arePairs(line) || isDumpLine(line)) return true;
  if (line.length < 16 && !last) return false;
  return fromHexDigits(line) !== undefined ||
    (!line.includes(" ") && fromBase64(line) !== undefined);
}

function block(input: string, begin: number, end: number): Found[] {
  const text = input.slice(begin, end);
  const log = unlog(text);
  return formsOf(log ?? text)
    .filter(({ problem, text: written }) => problem === undefined && written === undefined)
    .map((form) => ({ ...form, at: begin, size: end - begin,
                      joined: log !== undefined && form.layout === "" }));
}

// The rows of lines that together can be one message; lines of a log must have one sender.
function blocks(input: string): Found[] {
  const forms: Found[] = [];
  let begin = 0, count = 0, sender = "", at = 0;
  for (const line of [...linesOf(input), undefined]) {
    const log = readLogLine(line ?? "");
    const next = Math.min(at + (line ?? "").length + 1, input.length);
    const digits = line !== undefined && isDigitLine(log.text, false);
    const follows = line !== undefined && count > 0 && log.sender === sender;
    if (digits && follows) {
      ++count;
    } else {
      if (follows && isDigitLine(log.text, true)) forms.push(...block(input, begin, next));
      if (count > 1) forms.push(...block(input, begin, at));
      count = digits ? 1 : 0;
      begin = at;
      ({ sender } = log);
    }
    at = next;
  }
  return forms;
}

const MOST_TEXT = 1 << 20; // in which messages are looked for

// Digits inside other text, such as a line of a log: first those that take several lines,
// then the pieces of lines.
export function formsInside(input: string): Found[] {
  if (input.length > MOST_TEXT || !isText(input)) return [];
  const pieces = new Pieces(input);
  for (let begin = 0; begin < input.length;) {
    let end = begin;
    while (end < input.length && !"\t\r\n\"'`()[]{}<>;=|".includes(input[end])) ++end;
    pieces.addFrom(begin, end);
    begin = end + 1;
  }
  return [...blocks(input), ...pieces.forms];
}

const FORMATS: [string, string][] = [
  ["1f8b", "compressed by gzip"], ["28b52ffd", "compressed by zstd"],
  ["fd377a585a", "compressed by xz"], ["425a68", "compressed by bzip2"],
  ["504b0304", "a zip archive"], ["d4c3b2a1", "a capture of packets (pcap)"],
  ["a1b2c3d4", "a capture of packets (pcap)"], ["0a0d0d0a", "a capture of packets (pcapng)"],
  ["fffe", "text in UTF-16; iconv -f UTF-16 makes it readable"],
  ["feff", "text in UTF-16; iconv -f UTF-16 makes it readable"],
];

// The format of bytes that cannot be a message; undefined if it is not known.
export function knownFormat(bytes: Uint8Array): string | undefined {
  const start = Array.from(bytes.subarray(0, 5), (byte) => byte.toString(16).padStart(2, "0"))
    .join("");
  return FORMATS.find(([mark]) => start.startsWith(mark))?.[1];
}
