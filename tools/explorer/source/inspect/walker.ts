// Walks over the wire bytes of one message without making objects of them.
//
// The walk keeps a stack of its own, so no nesting can exhaust that of the program. It
// gives every item to a visitor. It takes and refuses what the C++ library does, and
// names the byte and the reason.
import type { Problem } from "./api";
import { findInvalidUtf8, readVarint, type Long } from "./bytes";
import type { Field, Type } from "./schema";

// How deep records may be nested.
export const MAX_DEPTH = 100;
const MOST_LENGTH = 0x7FFFFFFF - 16;

// One tag with its value: [begin, value) tag, [value, data) length or nothing, [data, end)
// the value itself. What has not been read is -1.
export interface Item {
  begin: number;
  value: number;
  data: number;
  end: number;
  tag: number;
  number: number;     // of the field
  wire: number;
  bits: Long;         // of a varint or a fixed value
  field?: Field;      // absent: not known, or not with this wire type
}

// A record that the walk is inside of.
export class Frame {
  type?: Type;        // absent: a group
  field?: Field;      // that holds the record; absent: the message itself, or a group
  begin = 0;
  data = 0;
  end = 0;            // of a group: of the record around it
  low = 0;            // fields met, a bit each; of a oneof only the last member
  high = 0;           // those from number 32 on
  prefix?: string;    // the path of what is inside, once it was asked for
  group = 0;          // field number of a group
  index = 0;          // among the elements of a repeated field
  counts: number[] = []; // elements met, by the slots of the fields
  clipped = false;    // ends only because the input does

  has({ number }: Field): boolean {
    return ((number < 32 ? this.low >>> number : this.high >>> number - 32) & 1) !== 0;
  }
  // Whether a field with a higher number was met.
  hasHigher({ number }: Field): boolean {
    if (number >= 32) return number < 63 && this.high >>> number - 31 !== 0;
    return this.high !== 0 || (number < 31 && this.low >>> number + 1 !== 0);
  }
  add({ number, others }: Field): void {
    for (const other of others) {
      if (other.number < 32) this.low &= ~(1 << other.number);
      else this.high &= ~(1 << other.number - 32);
    }
    if (number < 32) this.low |= 1 << number;
    else this.high |= 1 << number - 32;
  }
}

export class Stack {
  readonly frames = [new Frame()];
  depth = 0;

  constructor(readonly masked: boolean) {}

  get top(): Frame {
    return this.frames[this.depth];
  }
  count(field: Field): number {
    return this.top.counts[field.slot] ?? 0;
  }

  // The path of an item of the top record: "children[2].server.name". Without a field a
  // number other than 0 names an unknown one. Elements count from 0.
  path(field: Field | undefined, number: number): string {
    const prefix = this.prefix(this.depth);
    if (field === undefined && number === 0) return prefix;
    const step = field === undefined ? this.nameOf(number)
      : field.repeated ? `${field.name}[${this.count(field)}]` : field.name;
    return prefix === "" ? step : `${prefix}.${step}`;
  }
  private prefix(depth: number): string {
    if (depth === 0) return "";
    const frame = this.frames[depth];
    if (frame.prefix !== undefined) return frame.prefix;
    const { field, group, index } = frame;
    const step = field === undefined ? this.nameOf(group)
      : field.repeated ? `${field.name}[${index}]` : field.name;
    const above = this.prefix(depth - 1);
    frame.prefix = above === "" ? step : `${above}.${step}`;
    return frame.prefix;
  }
  private nameOf(unknown: number): string {
    return this.masked ? "***" : String(unknown);
  }
}

export interface Fault { problem: Problem; at: number; item: Item }

// What a walk calls, all of it optional.
export interface Visitor {
  // A field with one value. Called before the item is entered into the top frame.
  value?(stack: Stack, item: Item): void;
  // A packed list as a whole, then each of its values, then its end.
  packed?(stack: Stack, item: Item): void;
  element?(stack: Stack, item: Item): void;
  packedEnd?(stack: Stack, item: Item): void;
  // A message, map entry or (without a field) group begins; the stack does not hold it
  // yet. It ends; the stack still holds it. `tail`: the end tag of a group, or the end.
  enter?(stack: Stack, item: Item): void;
  leave?(stack: Stack, tail: number): void;
  unknown?(stack: Stack, item: Item): void;
  // An error. Returns whether to go on after the broken part.
  fail?(stack: Stack, fault: Fault): boolean;
  // Bytes that are skipped after an error, if the walk goes on.
  skip?(stack: Stack, from: number, to: number): void;
}

export class Walker {
  readonly stack: Stack;
  at = 0;
  done = false;
  accepted = true;
  private list?: Item; // packed, and being read

  constructor(type: Type, readonly bytes: Uint8Array, private readonly visitor: Visitor,
              masked = false) {
    this.stack = new Stack(masked);
    this.stack.frames[0].type = type;
    this.stack.frames[0].end = bytes.length;
  }

  // Returns whether the message is taken.
  run(): boolean {
    while (!this.done) this.step();
    return this.accepted;
  }

  // Reads an item, an element of a list, or an end.
  step(): void {
    if (this.list !== undefined) return this.element(this.list);
    const frame = this.stack.top;
    if (this.at === frame.end) return this.end(frame);
    const item: Item = {
      begin: this.at, value: -1, data: -1, end: -1, tag: 0, number: 0, wire: 0,
      bits: { low: 0, high: 0 },
    };
    const value = readVarint(this.bytes, this.at, frame.end, 5, item.bits);
    if (value < 0) return this.brokenVarint(this.at, 5, item);
    item.value = item.data = value;
    item.tag = item.bits.low;
    item.number = item.tag >>> 3;
    item.wire = item.tag & 7;
    const field = frame.type?.byNumber[item.number];
    if (field !== undefined && item.tag === field.tag) {
      item.field = field;
      this.known(item, field);
    } else if (field !== undefined && item.tag === field.packedTag) {
      item.field = field;
      this.packed(item);
    } else {
      this.unknown(item);
    }
  }

  private atInputEnd(): boolean {
    return this.stack.depth === 0 || this.stack.top.clipped;
  }

  private end(frame: Frame): void {
    if (frame.clipped || frame.group !== 0) {
      const item = { begin: this.at, value: -1, data: -1, end: -1, tag: 0, number: 0, wire: 0,
                     bits: { low: 0, high: 0 } };
      this.broken(frame.clipped ? "cutOff" : "openGroup", this.at, item);
    } else if (this.stack.depth === 0) {
      this.done = true;
    } else {
      this.visitor.leave?.(this.stack, this.at);
      --this.stack.depth;
    }
  }

  private known(item: Item, field: Field): void {
    if (field.kind === "message") {
      if (this.length(item, true)) this.enter(item, item.end > this.stack.top.end);
      return;
    }
    if (field.kind === "float") {
      if (!this.fixed(item, 4)) return;
    } else if (field.kind === "string" || field.kind === "bytes") {
      if (!this.length(item, false)) return;
      const bad = field.kind === "bytes" ? -1
        : findInvalidUtf8(this.bytes, item.data, item.end);
      if (bad >= 0) return this.broken("badUtf8", bad, item);
    } else {
      item.end = readVarint(this.bytes, item.value, this.stack.top.end, 10, item.bits);
      if (item.end < 0) return this.brokenVarint(item.value, 10, item);
    }
    this.visitor.value?.(this.stack, item);
    this.enterSeen(field);
    this.at = item.end;
  }

  private packed(item: Item): void {
    if (!this.length(item, false)) return;
    this.visitor.packed?.(this.stack, item);
    this.list = item;
    this.at = item.data;
  }

  private element(list: Item): void {
    if (this.at >= list.end) {
      this.visitor.packedEnd?.(this.stack, list);
      this.list = undefined;
      return;
    }
    const at = this.at;
    const item = { ...list, begin: at, value: at, data: at, bits: { low: 0, high: 0 } };
    item.end = readVarint(this.bytes, at, list.end, 10, item.bits);
    if (item.end < 0) {
      this.list = undefined;
      if (list.end - at < 10) return this.broken("pastEnd", at, item);
      return this.broken("longVarint", at + 9, item);
    }
    this.visitor.element?.(this.stack, item);
    this.enterSeen(item.field!);
    this.at = item.end;
  }

  private unknown(item: Item): void {
    if (item.number === 0) return this.broken("zeroNumber", this.at, item);
    switch (item.wire) {
      case 0:
        item.end = readVarint(this.bytes, item.value, this.stack.top.end, 10, item.bits);
        if (item.end < 0) return this.brokenVarint(item.value, 10, item);
        break;
      case 1:
        if (!this.fixed(item, 8)) return;
        break;
      case 2:
        if (!this.length(item, false)) return;
        break;
      case 3:
        item.end = item.value;
        return this.enter(item, this.atInputEnd());
      case 4:
        return this.endGroup(item);
      case 5:
        if (!this.fixed(item, 4)) return;
        break;
      default:
        return this.broken("noSuchWireType", this.at, item);
    }
    this.visitor.unknown?.(this.stack, item);
    this.at = item.end;
  }

  private endGroup(item: Item): void {
    if (this.stack.top.group !== item.number) return this.broken("endGroup", this.at, item);
    this.visitor.leave?.(this.stack, item.begin);
    --this.stack.depth;
    this.at = item.value;
  }

  private enter(item: Item, clipped: boolean): void {
    const outer = this.stack.top;
    if (this.stack.depth === MAX_DEPTH) {
      return this.broken("tooDeep", item.begin, clipped ? { ...item, end: outer.end } : item);
    }
    this.visitor.enter?.(this.stack, item);
    const frame = this.stack.frames[this.stack.depth + 1] ??= new Frame();
    const { field } = item;
    frame.field = field;
    frame.type = field?.type;
    frame.begin = item.begin;
    frame.data = item.data;
    frame.end = clipped || field === undefined ? outer.end : item.end;
    frame.low = frame.high = 0;
    frame.prefix = undefined;
    frame.clipped = clipped;
    frame.group = field === undefined ? item.number : 0;
    frame.index = field?.repeated ? this.stack.count(field) : 0;
    frame.counts = [];
    if (field !== undefined) this.enterSeen(field);
    this.at = item.data;
    ++this.stack.depth;
  }

  private enterSeen(field: Field): void {
    const frame = this.stack.top;
    frame.add(field);
    if (field.repeated) frame.counts[field.slot] = (frame.counts[field.slot] ?? 0) + 1;
  }

  // Reads a length. A record may be longer than the rest of the input: the part that is
  // there can be walked.
  private length(item: Item, mayBeClipped: boolean): boolean {
    const end = this.stack.top.end;
    const data = readVarint(this.bytes, item.value, end, 5, item.bits);
    if (data < 0) {
      this.brokenVarint(item.value, 5, item);
      return false;
    }
    item.data = data;
    const length = item.bits.low + 0x100000000 * item.bits.high;
    if (length > MOST_LENGTH) {
      this.broken("longLength", data - 1, item);
      return false;
    }
    item.end = data + length;
    if (item.end <= end || (mayBeClipped && this.atInputEnd())) return true;
    this.overrun(item);
    return false;
  }

  private fixed(item: Item, size: number): boolean {
    if (this.stack.top.end - item.value < size) {
      this.overrun(item);
      return false;
    }
    const word = (at: number) => (this.bytes[at] | this.bytes[at + 1] << 8 |
      this.bytes[at + 2] << 16 | this.bytes[at + 3] << 24) >>> 0;
    item.end = item.value + size;
    item.bits.low = word(item.value);
    item.bits.high = size === 8 ? word(item.value + 4) : 0;
    return true;
  }

  // A value that is longer than the top record.
  private overrun(item: Item): void {
    if (this.atInputEnd()) this.broken("cutOff", this.stack.top.end, item);
    else this.broken("pastEnd", item.value < 0 ? item.begin : item.value, item);
  }

  // A varint that is too long or is cut off at the end of the top record.
  private brokenVarint(at: number, limit: number, item: Item): void {
    if (this.stack.top.end - at < limit) return this.overrun(item);
    this.broken(limit === 10 ? "longVarint" : item.tag === 0 ? "longTag" : "longLength",
      at + limit - 1, item);
  }

  // Reports an error. Ends the walk, or moves to where it can go on.
  private broken(problem: Problem, at: number, item: Item): void {
    this.accepted = false;
    if (!this.visitor.fail?.(this.stack, { problem, at, item })) {
      this.done = true;
      return;
    }
    if (problem === "badUtf8") {
      this.enterSeen(item.field!);
      this.at = item.end;
      return;
    }
    if (problem === "tooDeep" && item.field !== undefined) {
      this.visitor.skip?.(this.stack, item.begin, item.end);
      this.at = item.end;
      return;
    }
    // After an error the end of a group is not known.
    while (this.stack.top.group !== 0) --this.stack.depth;
    const frame = this.stack.top;
    this.visitor.skip?.(this.stack, item.begin, frame.end);
    this.at = frame.end;
    // One report that the input is cut off is enough.
    if (!frame.clipped) return;
    for (const open of this.stack.frames) open.clipped = false;
  }
}
