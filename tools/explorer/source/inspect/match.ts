// Matches the nodes of two messages.
//
// Nodes of the same kind and uuid are the same node. A match is looked for first below the
// same node, in any order, and then anywhere. Nodes without a uuid are matched by their
// position among nodes of the same kind. If several nodes have the same uuid, the first is
// matched with the first, and so on.
import type { Message } from "./api";
import { listOf, one } from "./message";
import { childrenOf, holdsNodes, isNodeType, nodeOf, textIn } from "./nodes";
import { findType, type Field } from "./schema";

// What holds a node: another node, or the field with the top nodes, which is empty for the
// message itself.
export interface Above { node?: Message; field: string }
export type Side = "before" | "after";

export interface Pairing {
  partner?: Message;
  above: Above;         // of the node
  partnerAbove?: Above;
  moved: boolean;       // whether the partner is elsewhere
  place: number;        // of the node among its siblings, from 0
}

export interface NodeVisitor {
  enter(item: Message, pairing: Pairing): void;
  leave(): void;
}

interface Lists {
  here: Message[];
  there: Message[];
  above: Above;
  aboveThere: Above;
  strays: boolean;      // all nodes with a uuid in these lists are strays
  first: number;        // place of the first node that is visited
}

// A node that has a uuid, and no partner below the same node.
interface Stray { item: Message; above: Above; partner?: Stray }

const kindOf = (item: Message): number => {
  const { kind } = nodeOf(item);
  return kind === undefined ? 0 : kind.number;
};
const uuidOf = (item: Message): string => textIn(nodeOf(item).message, "uuid");
const keyOf = (item: Message): string => `${kindOf(item)} ${uuidOf(item)}`;

// Calls `match` for the first of each key on both sides, then for the second, and so on.
function matchByKey<T>(a: T[], b: T[], key: (one: T) => string, match: (a: T, b: T) => void): void {
  const waiting = new Map<string, T[]>();
  for (const other of b) {
    const list = waiting.get(key(other));
    if (list === undefined) waiting.set(key(other), [other]);
    else list.push(other);
  }
  const next = new Map<string, number>();
  for (const one of a) {
    const place = next.get(key(one)) ?? 0;
    const partner = waiting.get(key(one))?.[place];
    if (partner === undefined) continue;
    next.set(key(one), place + 1);
    match(one, partner);
  }
}

// The partners of the nodes in `here`, where there is one in `there`.
function siblings({ here, there, above, strays }: Lists): Map<Message, Message> {
  const partners = new Map<Message, Message>();
  const most = Math.min(here.length, there.length);
  if (above.node === undefined && above.field === "" && !strays) {
    if (most === 1 && kindOf(here[0]) === kindOf(there[0])) partners.set(here[0], there[0]);
    return partners;
  }
  const withUuid = (list: Message[]) => list.filter((item) => uuidOf(item) !== "");
  const without = (list: Message[]) => list.filter((item) => uuidOf(item) === "");
  const pair = (a: Message, b: Message) => { partners.set(a, b); };
  if (!strays) matchByKey(withUuid(here), withUuid(there), keyOf, pair);
  matchByKey(without(here), without(there), keyOf, pair);
  return partners;
}

export class NodeMatch {
  private readonly strays = new Map<Message, Stray>();

  constructor(private readonly before: Message, private readonly after: Message) {
    const [a, b] = (["before", "after"] as const).map((side) => this.collect(side));
    matchByKey(a, b, ({ item }) => keyOf(item), (x, y) => {
      x.partner = y;
      y.partner = x;
    });
    for (const stray of [...a, ...b]) this.strays.set(stray.item, stray);
  }

  private collect(side: Side): Stray[] {
    const strays: Stray[] = [];
    this.visit(side, {
      enter(item, { partner, above }) {
        const root = above.node === undefined && above.field === "";
        if (partner === undefined && !root && uuidOf(item) !== "") strays.push({ item, above });
      },
      leave() {},
    });
    return strays;
  }

  // Visits all nodes of one side, each before those below it.
  visit(side: Side, visitor: NodeVisitor): void {
    const [here, there] = side === "before" ? [this.before, this.after]
      : [this.after, this.before];
    this.visitHolder(here, there, "", { count: 0 }, visitor);
  }

  private visitHolder(here: Message, there: Message | undefined, path: string,
                      top: { count: number }, visitor: NodeVisitor): void {
    const type = findType(here.type);
    const listIn = (message: Message | undefined, field: Field): Message[] => {
      if (message === undefined) return [];
      if (field.repeated) return listOf(message, field) as Message[];
      return message.fields.has(field.number) ? [one(message, field) as Message] : [];
    };
    const lists = (a: Message[], b: Message[], field: string): Lists =>
      ({ here: a, there: b, above: { field }, aboveThere: { field }, strays: false,
         first: top.count });
    if (isNodeType(type)) {
      return this.visitLists(lists([here], there === undefined ? [] : [there], ""), visitor);
    }
    for (const field of type.fields) {
      if (field.type === undefined || field.map) continue;
      const at = path === "" ? field.name : `${path}.${field.name}`;
      const held = listIn(here, field);
      if (isNodeType(field.type)) {
        this.visitLists(lists(held, listIn(there, field), at), visitor);
        top.count += held.length;
      } else if (field.repeated && holdsNodes(field.type)) {
        const others = listIn(there, field);
        held.forEach((holder, i) =>
          this.visitHolder(holder, others[i], `${at}[${i}]`, top, visitor));
      }
    }
  }

  private visitLists(lists: Lists, visitor: NodeVisitor): void {
    const partners = siblings(lists);
    lists.here.forEach((item, i) => {
      const pairing: Pairing = {
        partner: partners.get(item), above: lists.above, moved: false, place: lists.first + i,
      };
      const stray = this.strays.get(item);
      let { strays } = lists;
      if (pairing.partner !== undefined) {
        pairing.partnerAbove = lists.aboveThere;
      } else if (stray !== undefined) {
        strays = true;
        pairing.partner = stray.partner?.item;
        pairing.partnerAbove = stray.partner?.above;
        // Strays at the top are below different fields.
        const holder = stray.partner?.above.node;
        pairing.moved = stray.partner !== undefined &&
          (holder === undefined || holder !== lists.aboveThere.node);
      }
      visitor.enter(item, pairing);
      const there = pairing.partner === undefined ? [] : childrenOf(nodeOf(pairing.partner));
      this.visitLists({
        here: childrenOf(nodeOf(item)), there, above: { node: item, field: "" },
        aboveThere: { node: pairing.partner, field: "" }, strays, first: 0,
      }, visitor);
      visitor.leave();
    });
  }
}
