// A message as spans. A span is some bytes that belong together, with their meaning and
// their oddities. Each byte of the message is in one span.
import type { Note, NoteKind, Span, SpanKind, Walk, WalkOptions, WireError } from "./api";
import { bigOf, readVarint, textOf, toBase64, varintSize, type Long } from "./bytes";
import { jsonFloat } from "./numbers";
import { reasonOf, wordOf } from "./reasons";
import { findType, type Field, type Type } from "./schema";
import { Walker, type Fault, type Item, type Stack, type Visitor } from "./walker";

const WIRE_NAMES = ["varint", "fixed64", "length", "start", "end", "fixed32"] as const;
export const MASK = "***";

// Whether a pass phrase may be outside of its field: the type has one, and the bytes are
// not as a sender writes them. One wrong length or tag is enough.
export function mayLeak(type: Type, bytes: Uint8Array): boolean {
  if (!type.secret) return false;
  let odd = false;
  const setOdd = () => { odd = true; };
  const walker = new Walker(type, bytes, {
    value({ top }, { field, data, end }) {
      if (top.has(field!) || top.hasHigher(field!)) odd = true;
      for (const byte of bytes.subarray(data, end)) odd ||= byte < 0x20 || byte === 0x7F;
    },
    enter: setOdd,
    unknown: setOdd,
  });
  return !walker.run() || odd;
}

// The number of an integer, a boolean or an enum, as the library keeps it.
export function numberOf(field: Field, { low, high }: Long): number | boolean {
  if (field.kind === "bool") return low !== 0 || high !== 0;
  return field.kind === "uint32" ? low : low | 0;
}

const isInteger = ({ kind }: Field): boolean =>
  kind === "int32" || kind === "uint32" || kind === "bool" || kind === "enum";

// Oddities of an item.
class Notes {
  readonly list: Note[] = [];

  add(kind: NoteKind, field?: Field): void {
    if (kind === "undeclaredValue") this.list.push({ kind, enum: field!.enumeration!.name });
    else this.list.push(field === undefined ? { kind } : { kind, field: field.fullName });
  }
  lengths({ begin, value, data, end, tag, wire }: Item): this {
    if (value - begin > 1 && value - begin > varintSize(tag)) this.add("overlongTag");
    if (wire === 2 && data - value > 1 && data - value > varintSize(end - data)) {
      this.add("overlongLength");
    }
    return this;
  }
  varint({ value, end, bits }: Item): void {
    if (end - value > 1 && end - value > varintSize(bits.low, bits.high)) {
      this.add("overlongVarint");
    }
  }
  number(item: Item): this {
    const field = item.field!;
    if (!isInteger(field)) return this;
    this.varint(item);
    const { low, high } = item.bits;
    if (field.kind === "enum" && !field.enumeration!.names.has(low | 0)) {
      this.add("undeclaredValue", field);
    }
    const kept = field.kind === "uint32" || (low | 0) >= 0 ? 0 : 0xFFFFFFFF;
    if (field.kind !== "bool" && high !== kept) this.add("highBitsIgnored");
    return this;
  }
  repetition({ top }: Stack, field: Field, kind: NoteKind): this {
    if (!field.repeated && top.has(field)) this.add(kind);
    for (const other of field.others) {
      if (top.has(other)) this.add("replacesMember", other);
    }
    return this;
  }
}

class SpanFinder implements Visitor {
  readonly spans: Span[] = [];
  readonly errors: WireError[] = [];
  covered = false;
  odd = false;
  private readonly maskAll: boolean; // a pass phrase may be anywhere

  constructor(type: Type, private readonly bytes: Uint8Array, private readonly offset: number,
              private readonly masked: boolean) {
    this.maskAll = masked && mayLeak(type, bytes);
  }

  value(stack: Stack, item: Item): void {
    const notes = new Notes().lengths(item).number(item);
    this.draw(stack, "field", item, item.end,
      notes.repetition(stack, item.field!, "replacesValue"));
  }
  packed(stack: Stack, item: Item): void {
    this.draw(stack, "list", item, item.data, new Notes().lengths(item));
  }
  element(stack: Stack, item: Item): void {
    this.draw(stack, "element", item, item.end, new Notes().number(item));
  }
  enter(stack: Stack, item: Item): void {
    const notes = new Notes().lengths(item);
    if (item.field === undefined) {
      notes.add("unknownGroup");
    } else {
      notes.repetition(stack, item.field, "mergesWithEarlier");
      if (item.end > stack.top.end) notes.add("cutOff");
    }
    this.draw(stack, "record", item, item.data, notes);
  }
  leave(stack: Stack, tail: number): void {
    const { group, end: limit } = stack.top;
    if (group === 0) return;
    const bits = { low: 0, high: 0 };
    const end = readVarint(this.bytes, tail, limit, 5, bits);
    const item: Item = { begin: tail, value: end, data: end, end, tag: bits.low, number: group,
                         wire: 4, bits };
    this.draw(stack, "groupEnd", item, end, new Notes().lengths(item));
  }
  unknown(stack: Stack, item: Item): void {
    const notes = new Notes().lengths(item);
    if (item.wire === 0) notes.varint(item);
    const known = stack.top.type?.byNumber[item.number];
    notes.add(known === undefined ? "unknownField" : "wrongWireType", known);
    this.draw(stack, "unknown", item, item.end, notes);
  }
  fail(stack: Stack, fault: Fault): boolean {
    const { problem, at, item } = fault;
    this.errors.push({
      offset: this.offset + at,
      path: stack.path(item.field, item.number),
      problem,
      reason: reasonOf(fault, stack, this.offset),
      word: wordOf(fault, stack),
    });
    if (problem === "badUtf8") {
      this.draw(stack, "field", item, item.end, new Notes().lengths(item), true);
    }
    return true;
  }
  skip(stack: Stack, from: number, to: number): void {
    const span: Span = {
      offset: this.offset + from, size: to - from, kind: "skipped", depth: stack.depth,
    };
    if (this.maskAll) this.covered = span.masked = true;
    this.spans.push(this.withError(span));
  }

  private withError(span: Span): Span {
    const { problem, offset } = this.errors[this.errors.length - 1];
    span.problem = problem;
    span.errorOffset = offset;
    return span;
  }

  private draw(stack: Stack, kind: SpanKind, item: Item, end: number, notes: Notes,
               broken = false): void {
    const { field } = item;
    const secret = this.maskAll || (this.masked && field !== undefined && field.secret);
    const span: Span = {
      offset: this.offset + item.begin, size: end - item.begin, kind, depth: stack.depth,
    };
    if (secret) this.covered = span.masked = true;
    if (field !== undefined || !secret) this.describe(stack, span, item, secret, broken);
    if (notes.list.length > 0) {
      span.notes = notes.list;
      this.odd = true;
    }
    this.spans.push(broken ? this.withError(span) : span);
  }

  private describe(stack: Stack, span: Span, item: Item, secret: boolean, broken: boolean): void {
    const { field, number, wire, begin, value, data, end } = item;
    span.path = span.kind === "groupEnd" ? stack.path(undefined, 0) : stack.path(field, number);
    if (span.kind !== "element") {
      span.number = number;
      span.wireType = WIRE_NAMES[wire];
      span.tagSize = value - begin;
      if (wire === 2) {
        span.lengthSize = data - value;
        span.length = end - data;
      }
      if (span.kind !== "field" && span.kind !== "unknown") return;
    }
    if (secret) span.value = MASK;
    else if (wire === 2 && span.kind !== "element") this.text(span, item, broken);
    else this.number(span, item);
  }

  private text(span: Span, { field, data, end }: Item, broken: boolean): void {
    const bytes = this.bytes.subarray(data, end);
    if (!broken && field?.kind === "string") {
      span.value = textOf(bytes);
    } else {
      span.value = toBase64(bytes);
      span.base64 = true;
    }
  }

  private number(span: Span, { field, bits }: Item): void {
    if (field === undefined) {
      span.value = String(bigOf(bits));
    } else if (field.kind === "float") {
      span.value = jsonFloat(bits.low);
    } else {
      const number = numberOf(field, bits);
      span.value = number;
      const name = field.enumeration?.names.get(Number(number));
      if (name !== undefined) span.name = name;
    }
  }
}

export function startWalk(name: string, bytes: Uint8Array, options: WalkOptions = {}): Walk {
  const type = findType(name);
  const masked = type.secret && !options.showSecrets;
  const finder = new SpanFinder(type, bytes, options.offset ?? 0, masked);
  const walker = new Walker(type, bytes, finder, masked);
  return {
    spans: finder.spans,
    errors: finder.errors,
    get masked() { return finder.covered; },
    get odd() { return finder.odd; },
    get done() { return walker.done; },
    get read() { return walker.at; },
    step(spans) {
      const enough = finder.spans.length + spans;
      while (!walker.done && finder.spans.length < enough) walker.step();
      return walker.done;
    },
  };
}

export function walk(name: string, bytes: Uint8Array, options: WalkOptions = {}): Walk {
  const found = startWalk(name, bytes, options);
  found.step(Infinity);
  return found;
}

const NOTE_WORDS: { [kind in NoteKind]: string } = {
  overlongTag: "overlong tag",
  overlongLength: "overlong length",
  overlongVarint: "overlong varint",
  unknownGroup: "unknown group",
  unknownField: "unknown field",
  wrongWireType: "wrong wire type for FIELD, kept as unknown",
  undeclaredValue: "not declared in ENUM",
  highBitsIgnored: "only the low 32 bits count",
  replacesValue: "replaces the earlier value",
  replacesMember: "replaces FIELD",
  mergesWithEarlier: "merges into the earlier record",
  cutOff: "cut off",
};

export function wordsOf(note: Note): string {
  return NOTE_WORDS[note.kind]
    .replace("FIELD", (note.field ?? "").replace(/^.*\./, "")).replace("ENUM", note.enum ?? "");
}
