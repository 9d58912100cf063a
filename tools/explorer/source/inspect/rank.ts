// Which types bytes may have: how well each type explains them.
import type { Candidate } from "./api";
import { reasonOf } from "./reasons";
import { allTypes, type Type } from "./schema";
import { Walker, type Fault, type Item, type Stack, type Visitor } from "./walker";
import { count } from "./words";

const UUID = /^[0-9a-fA-F]{8}(-[0-9a-fA-F]{4}){3}-[0-9a-fA-F]{12}$/;

// What speaks for and against a type.
export class Evidence implements Visitor {
  accepted = false;
  unexplained = 0;  // bytes after an error, and of what is unknown, undeclared or strange
  fields = 0;       // with a name
  unknowns = 0;
  misplaced = 0;    // of these, known fields with another wire type
  undeclared = 0;
  strangeTexts = 0; // with control characters
  uuids = 0;        // where a uuid belongs
  wrongUuids = 0;   // another text there
  disorder = 0;     // fields out of the usual order
  badUtf8 = false;  // is the error
  fault?: { at: number; reason: string };
  private group = -1; // where the outermost unknown group begins that is open

  constructor(readonly type: Type, private readonly bytes: Uint8Array) {
    this.accepted = new Walker(type, bytes, this, type.secret).run();
  }

  // Whether the type accounts for every byte, and nothing is odd about it.
  get clean(): boolean {
    return this.accepted && this.unknowns === 0 && this.undeclared === 0 &&
      this.strangeTexts === 0;
  }

  // Smaller is likelier. A type without any oddity comes first.
  get order(): number[] {
    return [this.clean ? 0 : 1, this.unexplained, this.accepted ? 0 : 1, this.unknowns,
            this.undeclared + this.strangeTexts, this.wrongUuids, this.disorder, -this.uuids];
  }

  value(stack: Stack, item: Item): void {
    this.named(stack, item);
    this.number(item);
    const field = item.field!;
    const { low, high } = item.bits;
    const entry = stack.top.type!.entry;
    const zero = item.wire === 2 ? item.data === item.end : low === 0 && high === 0;
    // A sender leaves out zero and empty values, except in map entries.
    if (!field.repeated && !entry && zero) ++this.disorder;
    if (field.kind === "bool" && (high !== 0 || low > 1)) ++this.disorder;
    if (field.kind !== "string") return;
    this.text(item.begin, item.data, item.end);
    if (item.data === item.end || !field.name.endsWith("uuid")) return;
    const text = String.fromCharCode(...this.bytes.subarray(item.data, item.data + 37));
    const isUuid = item.end - item.data === 36 && UUID.test(text.slice(0, 36));
    if (isUuid) ++this.uuids;
    else ++this.wrongUuids;
  }
  packed(stack: Stack, item: Item): void {
    this.named(stack, item);
  }
  element(_: Stack, item: Item): void {
    this.number(item);
  }
  enter(stack: Stack, item: Item): void {
    if (item.field !== undefined) return this.named(stack, item);
    ++this.unknowns;
    if (this.group < 0) this.group = item.begin;
  }
  leave({ top }: Stack, tail: number): void {
    if (top.field !== undefined || top.begin !== this.group) return;
    this.unexplained += tail - this.group;
    this.group = -1;
  }
  unknown({ top }: Stack, item: Item): void {
    ++this.unknowns;
    if (top.type?.byNumber[item.number] !== undefined) ++this.misplaced;
    if (this.group < 0) this.unexplained += item.end - item.begin;
  }
  fail(stack: Stack, fault: Fault): boolean {
    this.badUtf8 = fault.problem === "badUtf8";
    this.fault = { at: fault.at, reason: reasonOf(fault, stack, 0) };
    this.unexplained += this.bytes.length - fault.at;
    if (fault.problem === "cutOff") this.cutOff(fault.item, fault.at);
    return false;
  }

  // What is there of a field tells as much as a whole one.
  private cutOff({ field, begin, data, wire }: Item, end: number): void {
    if (field?.kind === "string") {
      if (data >= 0) this.text(begin, data, end);
    } else if (field === undefined || (wire === 2 && field.kind !== "bytes")) {
      this.unexplained += end - begin;
    }
  }
  private text(begin: number, data: number, end: number): void {
    for (let at = data; at < end; ++at) {
      const byte = this.bytes[at];
      if (byte >= 0x20 || byte === 0x0A || byte === 0x0D || byte === 0x09) continue;
      ++this.strangeTexts;
      this.unexplained += end - begin;
      return;
    }
  }
  private named({ top }: Stack, { field }: Item): void {
    ++this.fields;
    const again = !field!.repeated && top.has(field!);
    if (again || top.hasHigher(field!)) ++this.disorder;
  }
  private number({ field, begin, end, bits }: Item): void {
    if (field!.kind !== "enum" || field!.enumeration!.names.has(bits.low | 0)) return;
    ++this.undeclared;
    this.unexplained += end - begin;
  }
}

function compareOrder(a: Evidence, b: Evidence): number {
  const x = a.order, y = b.order;
  for (let i = 0; i < x.length; ++i) {
    if (x[i] !== y[i]) return x[i] - y[i];
  }
  return 0;
}

// Types, the likeliest first. Those that the evidence cannot tell apart keep their order.
export const weighAll = (bytes: Uint8Array, types = allTypes): Evidence[] =>
  types.map((type) => new Evidence(type, bytes)).sort(compareOrder);

function reasons(e: Evidence): string {
  const parts = [e.accepted ? `parses fully, ${count(e.fields, "field")}`
    : `broken at byte ${e.fault!.at}: ${e.fault!.reason}`];
  const add = (number: number, what: string, more = "") => {
    if (number > 0) parts.push(count(number, what) + more);
  };
  add(e.unknowns, "unknown field");
  add(e.undeclared, "undeclared enum number");
  add(e.uuids, "uuid", " in place");
  add(e.wrongUuids, "text", " where a uuid belongs");
  add(e.strangeTexts, "text", " with control characters");
  add(e.disorder, "field", " out of the usual order");
  return parts.join(", ");
}

// The first of ranked types, and those that the evidence cannot tell from it.
export const likeliestOf = (ranked: Evidence[]): string[] => ranked
  .filter((evidence) => compareOrder(evidence, ranked[0]) === 0).map(({ type }) => type.name);

export function rank(bytes: Uint8Array): Candidate[] {
  let place = 0;
  const ranked = weighAll(bytes);
  return ranked.map((evidence, i) => {
    if (i === 0 || compareOrder(ranked[i - 1], evidence) !== 0) place = i + 1;
    const { type, accepted, fields, fault } = evidence;
    return {
      rank: place, type: type.name, accepted, ...(fault && { errorOffset: fault.at }), fields,
      reasons: reasons(evidence),
    };
  });
}

// The types that bytes are: several if nothing tells them apart, none if no type explains
// the bytes well.
export function verdict(bytes: Uint8Array): string[] {
  const ranked = weighAll(bytes);
  const [best] = ranked;
  // What a newer sender added is odd, but little, and none of it is a known field.
  if (!best.accepted || best.strangeTexts > 0 || best.misplaced > 0 ||
      best.unexplained > Math.floor(bytes.length / 4)) {
    return [];
  }
  return likeliestOf(ranked);
}
