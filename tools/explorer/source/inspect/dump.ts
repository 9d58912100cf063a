// Dumps: lines with an offset, digits and often characters, as xxd, hexdump, od, tcpdump
// and others print them. The offsets tell how many bytes a line has, and the characters
// tell which; so digits and characters can be told apart.
import { Sink } from "./bytes";
import { fromHexDigits, trim } from "./digits";

export type Unit = "hexBytes" | "hexWords" | "octalBytes" | "octalWords";

export interface Dump {
  bytes: Uint8Array;
  verified: boolean;  // every line has characters, and they match its bytes
  certain: boolean;   // not just a number before other numbers
  ambiguous: boolean; // the groups of digits can be bytes or words
  skipped: number;    // the offset of the first line, unless it is an address in memory
}
// The line that does not fit, from 1. `missing`: bytes before it, less than 0: too many;
// 0: the line cannot be read. `gap`: the offsets around a line that stands for what
// somebody left out.
export interface NoDump { brokenLine: number; missing: number; gap?: [bigint, bigint] }

const MOST = 64 << 20;
// Lines whose offsets can follow one another in another base by chance.
const BY_CHANCE = 17;

// The lines of a text without their ends.
export function linesOf(text: string): string[] {
  const lines = text.split("\n");
  if (lines[lines.length - 1] === "") lines.pop();
  return lines;
}

interface Start { digits: string; rest: string; colon: boolean }

function split(line: string): Start | undefined {
  const match = /^(?:0x)?([0-9a-fA-F]{4,})(:?)(?=[ \t\r]|$)/.exec(line);
  if (match === null) return undefined;
  return { digits: match[1], colon: match[2] !== "", rest: trim(line.slice(match[0].length)) };
}

const PATTERNS: { [base: number]: [digits: RegExp, prefix: string] } =
  { 8: [/^[0-7]+$/, "0o"], 10: [/^[0-9]+$/, ""], 16: [/^/, "0x"] };

function offsetOf({ digits }: Start, base: number): bigint | undefined {
  const [pattern, prefix] = PATTERNS[base];
  if (!pattern.test(digits) || digits.length > 24) return undefined;
  const offset = BigInt(prefix + digits);
  return offset >> 64n === 0n ? offset : undefined;
}

function groupBytes(group: string, unit: Unit): Uint8Array | undefined {
  if (unit === "hexBytes") return group.length % 2 === 0 ? fromHexDigits(group) : undefined;
  if (unit === "hexWords") {
    if (group.length > 16 || group.length % 2 !== 0 || !/^[0-9a-fA-F]+$/.test(group)) {
      return undefined;
    }
    return fromHexDigits(group)?.reverse();
  }
  const size = unit === "octalBytes" ? 1 : 2;
  if (group.length !== 3 * size || !/^[0-7]+$/.test(group)) return undefined;
  const value = parseInt(group, 8);
  if (value >> 8 * size !== 0) return undefined;
  return Uint8Array.from({ length: size }, (_, i) => value >> 8 * i & 0xFF);
}

// Whether a group is a part of a word, as xxd -e has it at the end.
const isPartOfWord = (group: string): boolean => ![4, 8, 16].includes(group.length);

// Whether a text shows the bytes as characters, with a dot for each byte that cannot be
// printed. Blanks at both ends may be missing.
function shows(text: string, row: number[]): boolean {
  let first = 0;
  while (text.length < row.length - first && row[first] === 0x20 && text[0] !== " ") ++first;
  const size = row.length - first;
  if (text.length > size || text === "") return false;
  for (let i = 0; i < size; ++i) {
    const byte = row[first + i];
    const want = byte >= 0x20 && byte < 0x7F ? String.fromCharCode(byte) : ".";
    if ((text[i] ?? " ") !== want) return false;
  }
  return true;
}

// The characters between bars (hexdump) or between > and < (od), and what is before them.
function takeFramed(line: string): { rest: string; framed: string } {
  for (const [open, close] of [[" |", "|"], ["  >", "<"]]) {
    const at = line.indexOf(open);
    if (at < 0 || !line.endsWith(close)) continue;
    return { rest: trim(line.slice(0, at)), framed: line.slice(at + open.length, -1) };
  }
  return { rest: line, framed: "" };
}

// Whether a line stands for lines that somebody left out.
const isElision = (line: string): boolean => /\.\.|…|snip|skip|omit|cut/.test(line);

class Reader {
  brokenLine = 0;
  missing = 0;
  gap?: [bigint, bigint];
  private readonly sink = new Sink();
  private row: number[] = [];
  private base = 0n;
  private begun = false;
  private repeated = false; // the last line was "*"
  private ended = false;    // an offset alone, the last
  private odd = false;      // the last byte may be only padding
  private lines = 0;
  private colons = true;
  private verified = true;
  private pairs = true;
  private ambiguous = false;

  constructor(private readonly unit: Unit, private readonly radix: number) {}

  read(lines: string[]): Dump | undefined {
    for (const [i, raw] of lines.entries()) {
      ++this.brokenLine;
      const line = trim(raw);
      if (line === "") continue;
      if (line === "*") {
        if (this.row.length === 0 || this.repeated) return undefined;
        this.repeated = true;
        continue;
      }
      const start = split(line);
      const offset = start && offsetOf(start, this.radix);
      if (offset === undefined && isElision(line)) this.findGap(lines.slice(i + 1));
      if (offset === undefined || !this.continueAt(offset)) return undefined;
      if (!this.line(start!, lines[i + 1] ?? "")) return undefined;
    }
    const verified = this.lines > 0 && this.row.length > 0 && this.verified;
    const certain = this.colons || this.lines > 1 || verified;
    if (this.sink.size === 0 || this.repeated || (this.odd && !this.ended) ||
        (this.base !== 0n && !certain)) {
      return undefined;
    }
    const skipped = this.base <= BigInt(MOST) ? Number(this.base) : 0;
    return { bytes: this.sink.take(), verified, certain, ambiguous: this.ambiguous, skipped };
  }

  // Notes which bytes are left out before the next line.
  private findGap(rest: string[]): void {
    const at = this.base + BigInt(this.sink.size);
    const start = split(trim(rest.find((line) => trim(line) !== "") ?? ""));
    const offset = start && offsetOf(start, this.radix);
    if (this.sink.size > 0 && offset !== undefined && offset > at) this.gap = [at, offset];
  }

  private continueAt(offset: bigint): boolean {
    if (this.ended) return false;
    if (!this.begun) this.base = offset;
    this.begun = true;
    if (offset < this.base || offset - this.base > BigInt(MOST)) return false;
    const at = Number(offset - this.base);
    while (this.repeated && this.sink.size + this.row.length <= at) {
      this.sink.put(Uint8Array.from(this.row));
    }
    this.repeated = false;
    // The last word may hold one byte and a zero as padding.
    if (this.odd && this.sink.size === at + 1) --this.sink.size;
    this.missing = at - this.sink.size;
    return this.missing === 0;
  }

  private bytesToNextOffset(next: string): number {
    const start = split(trim(next));
    const offset = start && offsetOf(start, this.radix);
    if (offset === undefined || offset <= this.base + BigInt(this.sink.size)) return Infinity;
    return Number(offset - this.base) - this.sink.size;
  }

  private line(start: Start, next: string): boolean {
    ++this.lines;
    this.colons &&= start.colon;
    if (start.rest === "") {
      this.ended = true;
      return true;
    }
    const { rest, framed } = takeFramed(start.rest);
    const expected = this.bytesToNextOffset(next);
    this.row = [];
    let gap = false, shown = false;
    let part = false; // of a word; only characters prove that
    const groups = /([^ \t]*)([ \t]*)/y;
    for (let at = 0; at < rest.length && !shown && !(gap && this.row.length >= expected);) {
      groups.lastIndex = at;
      const [, group, blanks] = groups.exec(rest)!;
      const bytes = groupBytes(group, this.unit);
      if (bytes === undefined) {
        // The characters do not match the bytes, for example in another alphabet.
        if (this.row.length === 0 || !gap || framed !== "") return false;
        break;
      }
      this.row.push(...bytes);
      part ||= this.unit === "hexWords" && isPartOfWord(group);
      this.pairs &&= group.length === 2;
      at = groups.lastIndex;
      gap = at < rest.length && (blanks.length > 1 || blanks === "\t");
      const shownAll = rest.length - at <= this.row.length;
      shown = gap && shownAll && shows(rest.slice(at), this.row);
    }
    if (part && !shown) return false;
    this.verified &&= shown || shows(framed, this.row);
    this.ambiguous = !this.pairs && !start.colon;
    this.odd = (this.unit === "hexWords" || this.unit === "octalWords") &&
      this.row[this.row.length - 1] === 0;
    if (this.row.length > MOST - this.sink.size) return false;
    this.sink.put(Uint8Array.from(this.row));
    return true;
  }
}

export function readDump(text: string, unit: Unit): Dump | NoDump {
  const lines = linesOf(text);
  let furthest: NoDump | undefined;
  for (const radix of [16, 8, 10]) {
    const reader = new Reader(unit, radix);
    const dump = reader.read(lines);
    if (dump !== undefined) return dump;
    const { brokenLine, missing, gap } = reader;
    if (furthest === undefined || (gotFurther(reader, furthest) &&
                                   (gap !== undefined || brokenLine > BY_CHANCE))) {
      furthest = { brokenLine, missing, gap };
    }
  }
  return furthest!;
}

// Of two that are no dump: whether the first is more like one.
export function gotFurther(dump: NoDump, other: NoDump): boolean {
  if (dump.gap !== undefined || other.gap !== undefined) return other.gap === undefined;
  return other.brokenLine <= 2 && dump.brokenLine > other.brokenLine;
}

export function whyNoDump({ brokenLine, missing, gap }: NoDump): string {
  if (gap !== undefined) {
    return `a dump with a gap: bytes 0x${gap[0].toString(16)} to ` +
      `0x${(gap[1] - 1n).toString(16)} are missing`;
  }
  if (missing === 0) {
    return `a dump of which line ${brokenLine} cannot be read; those of xxd, hexdump and ` +
      "od -t x1 can";
  }
  const problem = "a dump whose lines do not follow one another";
  // The offsets can be in another base.
  if (brokenLine <= 2) return problem;
  const count = Math.abs(missing);
  return `${problem}: ${count} ${count === 1 ? "byte is" : "bytes are"}` +
    `${missing > 0 ? " missing before" : " too many before"} line ${brokenLine}`;
}

// Whether a line has an offset and hexadecimal digits after it.
export function isDumpLine(line: string): boolean {
  const start = split(line);
  return start !== undefined && start.rest !== "" &&
    fromHexDigits(start.rest.split(" ", 1)[0]) !== undefined;
}

// Whether most lines begin like those of a dump, although it could not be read as one.
export function looksLikeDump(text: string): boolean {
  let lines = 0, like = 0, last = "";
  let after = false; // digits after an offset
  for (const raw of linesOf(text)) {
    const line = trim(raw);
    if (line === "" || line === "*") continue;
    ++lines;
    const start = split(line);
    if (start === undefined) continue;
    // Offsets grow from line to line; words of a text do not.
    const { digits } = start;
    if (digits.length === last.length ? digits > last : last === "") ++like;
    last = digits;
    after ||= start.rest !== "";
  }
  return lines > 1 && like === lines && after;
}
