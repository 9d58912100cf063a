// Messages as objects, from bytes and back.
import type { Message, Value } from "./api";
import { bytesOf, Sink, textOf, type Long } from "./bytes";
import { reasonOf } from "./reasons";
import { findType, type Field, type Type } from "./schema";
import { mayLeak, numberOf } from "./spans";
import { Walker, type Fault, type Item, type Stack, type Visitor } from "./walker";

export type FieldMap = Map<string, number>; // a map of the schema
export const newMessage = (type: Type): Message =>
  ({ type: type.name, fields: new Map(), unknown: [] });

export const listOf = (message: Message, field: Field): Value[] =>
  (message.fields.get(field.number) ?? []) as Value[];
export const mapOf = (message: Message, field: Field): FieldMap =>
  (message.fields.get(field.number) ?? new Map()) as FieldMap;
export const one = (message: Message, field: Field): Value | undefined =>
  message.fields.get(field.number) as Value | undefined;

// Zero of a field: what it has where it is absent.
export function zeroOf(field: Field): Value {
  switch (field.kind) {
    case "bool": return false;
    case "string": return "";
    case "bytes": return new Uint8Array();
    default: return 0;
  }
}

const isZero = (value: Value): boolean =>
  value === 0 || value === false || value === "" ||
  (value instanceof Uint8Array && value.length === 0);

// Sets a field that is not repeated, or takes it out where zero says the same.
export function setOne(message: Message, field: Field, value: Value): void {
  for (const other of field.others) message.fields.delete(other.number);
  const absent = field.kind !== "message" && field.oneof === undefined && isZero(value);
  if (absent) message.fields.delete(field.number);
  else message.fields.set(field.number, value);
}

export function addTo(message: Message, field: Field, value: Value): void {
  const list = message.fields.get(field.number);
  if (list === undefined) message.fields.set(field.number, [value]);
  else (list as Value[]).push(value);
}

export function putInto(message: Message, field: Field, key: string, value: number): void {
  const map = message.fields.get(field.number);
  if (map === undefined) message.fields.set(field.number, new Map([[key, value]]));
  else (map as FieldMap).set(key, value);
}

class Decoder implements Visitor {
  readonly open: Message[];
  // An unknown item that is being copied: groups are as deep as they are.
  private readonly copy = new Sink();
  private groups: number[] = [];
  fault?: { reason: string; path: string };

  constructor(type: Type, private readonly bytes: Uint8Array) {
    this.open = [newMessage(type)];
  }

  private get top(): Message {
    return this.open[this.open.length - 1];
  }
  private valueOf(item: Item): Value {
    const { kind } = item.field!;
    if (kind === "float") return item.bits.low;
    if (kind !== "string" && kind !== "bytes") return numberOf(item.field!, item.bits);
    const part = this.bytes.subarray(item.data, item.end);
    return kind === "string" ? textOf(part) : part.slice();
  }
  value(_: Stack, item: Item): void {
    const field = item.field!;
    if (field.repeated) addTo(this.top, field, this.valueOf(item));
    else setOne(this.top, field, this.valueOf(item));
  }
  element(_: Stack, item: Item): void {
    addTo(this.top, item.field!, this.valueOf(item));
  }
  enter(_: Stack, { field, number }: Item): void {
    if (field === undefined) {
      this.copy.varint((number << 3 | 3) >>> 0);
      this.groups.push(number);
      return;
    }
    const type = field.type!;
    const held = field.repeated ? undefined : one(this.top, field);
    const message = held !== undefined ? held as Message : newMessage(type);
    if (!field.repeated) setOne(this.top, field, message);
    else if (!field.map) addTo(this.top, field, message);
    this.open.push(message);
  }
  leave({ top: frame }: Stack): void {
    const group = this.groups.pop();
    if (group !== undefined) {
      this.copy.varint((group << 3 | 4) >>> 0);
      return this.keepUnknown();
    }
    const message = this.open.pop()!;
    if (!frame.field!.map) return;
    const [key, value] = [1, 2].map((number) => message.fields.get(number));
    putInto(this.top, frame.field!, (key ?? "") as string, (value ?? 0) as number);
  }
  unknown(_: Stack, { tag, wire, bits, data, end }: Item): void {
    this.copy.varint(tag);
    if (wire === 0) this.copy.varint(bits.low, bits.high);
    if (wire === 2) this.copy.varint(end - data);
    if (wire !== 0) this.copy.put(this.bytes.subarray(data, end));
    this.keepUnknown();
  }
  private keepUnknown(): void {
    if (this.groups.length > 0) return;
    this.top.unknown.push(this.copy.take());
    this.copy.size = 0;
  }
  fail(stack: Stack, fault: Fault): boolean {
    const { field, number } = fault.item;
    this.fault = { reason: reasonOf(fault, stack, 0), path: stack.path(field, number) };
    return false;
  }
}

// Throws an Error with path and reason where the bytes are refused.
export function decode(name: string, bytes: Uint8Array): Message {
  const type = findType(name);
  const decoder = new Decoder(type, bytes);
  if (new Walker(type, bytes, decoder, type.secret).run()) {
    const [message] = decoder.open;
    if (mayLeak(type, bytes)) message.leaks = true;
    return message;
  }
  const { path, reason } = decoder.fault!;
  throw new Error(path === "" ? reason : `${path}: ${reason}`);
}

// Texts in the order of their bytes.
export function compareBytes(a: string, b: string): number {
  const x = bytesOf(a), y = bytesOf(b);
  for (let i = 0; i < Math.min(x.length, y.length); ++i) {
    if (x[i] !== y[i]) return x[i] - y[i];
  }
  return x.length - y.length;
}

export const sortedEntries = (map: FieldMap): [string, number][] =>
  [...map].sort(([a], [b]) => compareBytes(a, b));

function longOf(field: Field, value: Value): Long {
  const number = Number(value);
  return { low: number >>> 0, high: field.kind !== "uint32" && number < 0 ? 0xFFFFFFFF : 0 };
}

function writeScalar(field: Field, value: Value, sink: Sink): void {
  if (field.kind === "float") {
    sink.fixed32(value as number);
  } else if (field.kind === "string" || field.kind === "bytes") {
    writeBytes(field.kind === "string" ? bytesOf(value as string) : value as Uint8Array, sink);
  } else {
    const { low, high } = longOf(field, value);
    sink.varint(low, high);
  }
}

function writeBytes(bytes: Uint8Array, sink: Sink): void {
  sink.varint(bytes.length);
  sink.put(bytes);
}

function writeEntries(field: Field, map: FieldMap, sink: Sink): void {
  for (const [key, value] of sortedEntries(map)) {
    const entry = new Sink();
    const [keyField, valueField] = field.type!.fields;
    entry.varint(keyField.tag);
    writeScalar(keyField, key, entry);
    entry.varint(valueField.tag);
    writeScalar(valueField, value, entry);
    sink.varint(field.tag);
    writeBytes(entry.take(), sink);
  }
}

function writeField(field: Field, message: Message, sink: Sink): void {
  if (field.map) return writeEntries(field, mapOf(message, field), sink);
  const values = field.repeated ? listOf(message, field) : [one(message, field)!];
  if (values.length === 0) return;
  if (field.packedTag !== 0) {
    const list = new Sink();
    for (const value of values) writeScalar(field, value, list);
    sink.varint(field.packedTag);
    return writeBytes(list.take(), sink);
  }
  for (const value of values) {
    sink.varint(field.tag);
    if (field.kind === "message") writeBytes(encode(value as Message), sink);
    else writeScalar(field, value, sink);
  }
}

// The bytes in their one canonical order: fields by number, maps by key.
export function encode(message: Message): Uint8Array {
  const sink = new Sink();
  for (const field of findType(message.type).byNumber) {
    if (field !== undefined && message.fields.has(field.number)) {
      writeField(field, message, sink);
    }
  }
  for (const item of message.unknown) sink.put(item);
  return sink.take();
}
