// How two messages of a type differ in meaning.
import type { Counts, Difference, Message, NodeName, Value } from "./api";
import { NodeMatch, type Above, type Pairing } from "./match";
import { listOf, mapOf, one, sortedEntries, zeroOf, type FieldMap } from "./message";
import { countInto, fieldNamed, holdsNodes, isNodeType, nameOf, nodeOf, WRAPPER } from "./nodes";
import { findType, type Field, type Type } from "./schema";
import { MASK } from "./spans";
import { unknownText, valueText } from "./value_text";
import { escaped, shortened } from "./words";

// Fields by which entries of lists are matched; others are matched by position.
const KEYS = new Map([
  "Product.id", "Price.line_num", "ERTDConnection.name", "Frame.number", "FrameContent.frame",
  "HwIdRowInfo.hwId", "HwIdColInfo.hwId", "DisplaySizeRef.assyId",
].map((name): [Type, Field] => {
  const [type, field] = name.split(".");
  const key = fieldNamed(findType(type), field);
  if (key === undefined) throw new Error(`no field ${name}`);
  return [findType(type), key];
}));

type Step = { item: Message; place: number };
const pathOf = (way: Step[]): string => way.map(({ place }) => place).join(".");
const itemName = (item: Message): NodeName => nameOf(nodeOf(item));
const same = (a: Value, b: Value): boolean => a instanceof Uint8Array
  ? sameBytes(a, b as Uint8Array) : a === b;
const sameBytes = (a: Uint8Array, b: Uint8Array): boolean =>
  a.length === b.length && a.every((byte, i) => byte === b[i]);

function quotedIfNeeded(text: string): string {
  const short = shortened(text);
  return /^[A-Za-z0-9\-_.:]+$/.test(short) ? short : `"${escaped(short, '\\"')}"`;
}

interface Entry { name: string; entry: Message } // named as in a path: [tea] or [5]

// The entries of a list by key and by how often the key was there before.
function entriesByKey(list: Message[], key: Field | undefined): Map<string, Entry> {
  const times = new Map<Value, number>();
  return new Map(list.map((entry, i): [string, Entry] => {
    if (key === undefined) return [String(i), { name: `[${i}]`, entry }];
    const value = one(entry, key) ?? zeroOf(key);
    const time = (times.get(value) ?? 0) + 1;
    times.set(value, time);
    const name = key.kind === "string" ? quotedIfNeeded(value as string)
      : `${key.name} ${value}`;
    return [`${time} ${value}`,
            { name: `[${name}${time > 1 ? ` again, ${time}` : ""}]`, entry }];
  }));
}

// Compares messages, but not the nodes in them.
class Comparison {
  readonly found: Difference[] = [];
  private node?: Message;
  private way: Step[] = [];
  private path = "";

  constructor(private readonly showSecrets: boolean, private readonly maskAll: boolean) {}

  // `way` leads to b.
  nodes(a: Message, b: Message, way: Step[]): void {
    this.node = a;
    this.way = way;
    const [inA, inB] = [nodeOf(a).message, nodeOf(b).message];
    if (inA !== undefined && inB !== undefined) this.messages(inA, inB);
    if (a.type === WRAPPER.name) this.unknown(a, b);
  }

  messages(a: Message, b: Message): void {
    for (const field of findType(a.type).fields) {
      this.step(field.name, () => {
        if (field.map) this.maps(mapOf(a, field), mapOf(b, field), field);
        else if (this.holdsOtherNodes(a, field)) this.holders(a, b, field);
        else if (!field.repeated) this.singular(a, b, field);
        else if (field.kind === "message") this.entries(a, b, field);
        else this.values(listOf(a, field), listOf(b, field), field);
      });
    }
    this.unknown(a, b);
  }

  private step(step: string, inside: () => void): void {
    const { path } = this;
    this.path += (path !== "" && step[0] !== "[" ? "." : "") + step;
    inside();
    this.path = path;
  }

  private add(difference: Difference): void {
    const about: Difference = { ...difference };
    if (this.node !== undefined) {
      Object.assign(about, { path: pathOf(this.way) }, itemName(this.node));
      const above = this.way.slice(0, -1).map(({ item }) => itemName(item));
      if (above.length > 0) about.above = above[above.length - 1];
      if (above.length > 1) [about.top] = above;
    }
    if (this.path !== "") about.field = this.path;
    if (this.maskAll && about.before !== undefined) about.before = MASK;
    if (this.maskAll && about.after !== undefined) about.after = MASK;
    this.found.push(about);
  }

  private unknown(a: Message, b: Message): void {
    const equal = a.unknown.length === b.unknown.length &&
      a.unknown.every((item, i) => sameBytes(item, b.unknown[i]));
    if (equal) return;
    this.add({ change: "changed", unknownFields: true, before: unknownText(a.unknown),
               after: unknownText(b.unknown) });
  }

  // The record of a module is part of it, not a node below it.
  private holdsOtherNodes({ type }: Message, field: Field): boolean {
    return field.type !== undefined && type !== "Module" && holdsNodes(field.type);
  }

  // Messages that hold lists of nodes. The nodes themselves are compared elsewhere.
  private holders(a: Message, b: Message, field: Field): void {
    if (!field.repeated || field.type === WRAPPER) return;
    const [inA, inB] = [listOf(a, field), listOf(b, field)];
    if (inA.length !== inB.length) {
      this.add({ change: "resized", sizeBefore: inA.length, sizeAfter: inB.length });
    }
    for (let i = 0; i < Math.min(inA.length, inB.length); ++i) {
      this.step(`[${i}]`, () => this.messages(inA[i] as Message, inB[i] as Message));
    }
  }

  private singular(a: Message, b: Message, field: Field): void {
    const [inA, inB] = [one(a, field), one(b, field)];
    if (field.kind === "message") {
      if (inA !== undefined && inB !== undefined) this.messages(inA as Message, inB as Message);
      else this.cameOrWent(field, inA, inB);
      return;
    }
    const [before, after] = [inA ?? zeroOf(field), inB ?? zeroOf(field)];
    if (same(before, after)) return;
    const masked = field.secret && !this.showSecrets;
    this.add({ change: "changed", before: masked ? MASK : valueText(field, before),
               after: masked ? MASK : valueText(field, after) });
  }

  private cameOrWent(field: Field, before?: Value, after?: Value): void {
    if (before !== undefined) this.add({ change: "removed", before: valueText(field, before) });
    if (after !== undefined) this.add({ change: "added", after: valueText(field, after) });
  }

  private values(a: Value[], b: Value[], field: Field): void {
    for (let i = 0; i < Math.max(a.length, b.length); ++i) {
      if (i < a.length && i < b.length && same(a[i], b[i])) continue;
      this.step(`[${i}]`, () => {
        if (i >= a.length || i >= b.length) return this.cameOrWent(field, a[i], b[i]);
        this.add({ change: "changed", before: valueText(field, a[i]),
                   after: valueText(field, b[i]) });
      });
    }
  }

  private maps(a: FieldMap, b: FieldMap, field: Field): void {
    const value = field.type!.fields[1];
    for (const [key, before] of sortedEntries(a)) {
      const after = b.get(key);
      if (after === before) continue;
      this.step(`[${quotedIfNeeded(key)}]`, () => {
        if (after === undefined) return this.cameOrWent(value, before);
        this.add({ change: "changed", before: valueText(value, before),
                   after: valueText(value, after) });
      });
    }
    for (const [key, after] of sortedEntries(b)) {
      if (a.has(key)) continue;
      this.step(`[${quotedIfNeeded(key)}]`, () => this.cameOrWent(value, undefined, after));
    }
  }

  private entries(a: Message, b: Message, field: Field): void {
    const key = KEYS.get(field.type!);
    const inA = entriesByKey(listOf(a, field) as Message[], key);
    const inB = entriesByKey(listOf(b, field) as Message[], key);
    for (const [id, { name, entry }] of inA) {
      const after = inB.get(id)?.entry;
      this.step(name, () => {
        if (after === undefined) this.cameOrWent(field, entry);
        else this.messages(entry, after);
      });
    }
    for (const [id, { name, entry }] of inB) {
      if (!inA.has(id)) this.step(name, () => this.cameOrWent(field, undefined, entry));
    }
    const order = [...inB.keys()].filter((id) => inA.has(id));
    const matched = [...inA.keys()].filter((id) => inB.has(id));
    if (matched.some((id, i) => id !== order[i])) this.add({ change: "reordered" });
  }
}

const parentOf = ({ node, field }: Above): NodeName =>
  (node !== undefined ? itemName(node) : field !== "" ? { field } : {}) as NodeName;

// The nodes that only one side has. Those below such a node are counted with it.
function unmatched(match: NodeMatch, side: "before" | "after"): Difference[] {
  const found: Difference[] = [];
  const way: Step[] = [];
  const open: { top?: Difference; own: boolean; along: Counts }[] = [];
  match.visit(side, {
    enter(item: Message, { partner, above, place }: Pairing) {
      way.push({ item, place });
      const outer = open[open.length - 1];
      if (partner !== undefined) {
        open.push({ own: false, along: {} });
      } else if (outer?.top !== undefined) {
        countInto(outer.along, itemName(item).kind);
        open.push({ ...outer, own: false });
      } else {
        const parent = parentOf(above);
        const top: Difference = {
          change: side === "before" ? "removed" : "added", path: pathOf(way), ...itemName(item),
          ...(side === "before" ? { from: parent } : { to: parent }),
        };
        open.push({ top, own: true, along: {} });
      }
    },
    leave() {
      way.pop();
      const { top, own, along } = open.pop()!;
      if (own) found.push({ ...top!, ...(Object.keys(along).length > 0 && { along }) });
    },
  });
  return found;
}

// Where the nodes were that have moved.
function movedFrom(match: NodeMatch): Map<Message, string> {
  const paths = new Map<Message, string>();
  const way: Step[] = [];
  match.visit("before", {
    enter(item, { moved, place }) {
      way.push({ item, place });
      if (moved) paths.set(item, pathOf(way));
    },
    leave: () => way.pop(),
  });
  return paths;
}

// First fields outside of nodes, then nodes that were removed and that were added, then the
// others from the top down, in the order of the message after.
export function compare(before: Message, after: Message, showSecrets = false): Difference[] {
  if (before.type !== after.type) throw new Error(`${before.type} and ${after.type} differ`);
  const masked = !showSecrets && Boolean(before.leaks || after.leaks);
  const comparison = new Comparison(showSecrets, masked);
  const match = new NodeMatch(before, after);
  if (!isNodeType(findType(before.type))) comparison.messages(before, after);
  for (const side of ["before", "after"] as const) {
    for (const difference of unmatched(match, side)) comparison.found.push(difference);
  }
  const moved = movedFrom(match);
  const way: Step[] = [];
  match.visit("after", {
    enter(item, pairing) {
      way.push({ item, place: pairing.place });
      const { partner } = pairing;
      if (partner === undefined) return;
      if (pairing.moved) {
        comparison.found.push({
          change: "moved", path: pathOf(way), ...itemName(item),
          pathBefore: moved.get(partner), from: parentOf(pairing.partnerAbove!),
          to: parentOf(pairing.above),
        });
      }
      comparison.nodes(partner, item, [...way]);
    },
    leave: () => way.pop(),
  });
  return comparison.found;
}

// Two nodes without a uuid can be different ones; the message itself is at no other place.
export const byPlace = (type: string, differences: Difference[]): boolean =>
  differences.some(({ kind, uuid, above }) => kind !== undefined && uuid === undefined &&
    (above !== undefined || !isNodeType(findType(type))));
