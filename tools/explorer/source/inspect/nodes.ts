// The nodes of a sign network, in any message that holds some.
import type { Counts, Message, NodeName, Tree, TreeNode } from "./api";
import { listOf, one } from "./message";
import { findType, type Field, type Type } from "./schema";
import { statusLook, statusOf } from "./status";
import { shortened } from "./words";

export const WRAPPER = findType("ChildTypes");
const ADDRESS = ["port", "networkId", "channel", "linearAddr", "nodeAddr", "assyAddr", "assyId"];

export const fieldNamed = (type: Type, name: string): Field | undefined =>
  type.fields.find((field) => field.name === name);

// The member of ChildTypes for nodes of a type.
const memberFor = (type: Type): Field | undefined =>
  WRAPPER.fields.find((field) => field.type === type);

export const isNodeType = (type: Type): boolean =>
  type === WRAPPER || memberFor(type) !== undefined;

const holders = new Map<Type, boolean>();
// Whether messages of the type can hold nodes, or are nodes themselves.
export function holdsNodes(type: Type): boolean {
  const known = holders.get(type);
  if (known !== undefined) return known;
  const met = new Set<Type>();
  const reaches = (held: Type): boolean => {
    if (memberFor(held) !== undefined) return true;
    if (met.has(held)) return false;
    met.add(held);
    return held.fields.some((field) => field.type !== undefined && reaches(field.type));
  };
  holders.set(type, reaches(type));
  return holders.get(type)!;
}

// A node: its ChildTypes if there is one, its kind, and the Server, Client, ... itself.
export interface Node { item: Message; kind?: Field; message?: Message }

export function nodeOf(item: Message): Node {
  if (item.type !== WRAPPER.name) {
    return { item, kind: memberFor(findType(item.type)), message: item };
  }
  const kind = WRAPPER.fields.find(({ number }) => item.fields.has(number));
  return kind === undefined ? { item } : { item, kind, message: one(item, kind) as Message };
}

export function childrenOf({ message }: Node): Message[] {
  if (message === undefined) return [];
  const children = fieldNamed(findType(message.type), "children");
  return children === undefined ? [] : listOf(message, children) as Message[];
}

export function textIn(message: Message | undefined, name: string): string {
  if (message === undefined) return "";
  const field = fieldNamed(findType(message.type), name);
  return field === undefined ? "" : (one(message, field) ?? "") as string;
}

export function nameOf({ kind, message }: Node): NodeName {
  const name: NodeName = { kind: kind?.name ?? "none" };
  const label = shortened(textIn(message, "name"));
  const uuid = shortened(textIn(message, "uuid"));
  if (label !== "") name.name = label;
  if (uuid !== "") name.uuid = uuid;
  return name;
}

// The top nodes of a message.
function topNodes(message: Message): Message[] {
  const type = findType(message.type);
  if (isNodeType(type)) return [message];
  return type.fields.flatMap((field) => {
    if (field.type === undefined || !holdsNodes(field.type)) return [];
    const held = field.repeated ? listOf(message, field) : [one(message, field)];
    return held.filter((item) => item !== undefined)
      .flatMap((item) => topNodes(item as Message));
  });
}

function addressOf(message: Message | undefined): TreeNode["address"] {
  const address: TreeNode["address"] = {};
  if (message === undefined) return address;
  for (const name of ADDRESS) {
    const field = fieldNamed(findType(message.type), name);
    const value = field && one(message, field);
    if (value !== undefined && value !== "") address[name] = value as string | number;
  }
  return address;
}

export function countInto(counts: Counts, kind: string, more = 1): void {
  counts[kind] = (counts[kind] ?? 0) + more;
}

function belowOf(children: TreeNode[]): Counts {
  const counts: Counts = {};
  for (const child of children) {
    countInto(counts, child.kind);
    for (const [kind, count] of Object.entries(child.below)) countInto(counts, kind, count);
  }
  return counts;
}

function treeNode(item: Message, path: string): TreeNode {
  const node = nodeOf(item);
  const { kind, message } = node;
  const children = childrenOf(node).map((child, i) => treeNode(child, `${path}.${i}`));
  const type = message && findType(message.type);
  const valueOf = (name: string) => {
    const field = type && fieldNamed(type, name);
    return field && (one(message!, field) ?? 0);
  };
  const status = valueOf("status") as number | undefined;
  const error = Boolean(valueOf("error") ?? valueOf("errorFlags"));
  return {
    path,
    kind: kind?.name ?? "none",
    name: textIn(message, "name"),
    uuid: textIn(message, "uuid"),
    ...(status !== undefined && { status: statusOf(status) }),
    error,
    well: !error && (status === undefined || statusLook(statusOf(status)).well),
    address: addressOf(message),
    below: belowOf(children),
    children,
  };
}

export function tree(message: Message): Tree {
  if (!holdsNodes(findType(message.type))) throw new Error(`${message.type} holds no nodes`);
  const children = topNodes(message).map((item, i) => treeNode(item, String(i)));
  return { below: belowOf(children), children };
}
