// Reads a message from JSON, and says what is wrong and where, as `tarn encode` does.
import { InputFault, type Message, type Value } from "./api";
import { scalarOf, unescaped } from "./json_scalar";
import { addTo, encode, listOf, newMessage, putInto, setOne } from "./message";
import { findType, type Field, type Type } from "./schema";
import { MASK } from "./spans";
import { didYouMean } from "./words";

const MOST_OBJECTS = 99; // that can be nested
const UNKNOWN = "@unknown"; // a member that tarn writes; it is left out

export function noSuchField(type: Type, name: string, names: string[]): string {
  return `${type.fullName} has no ${type.secret ? "such field" : `field ${name}`}` +
    didYouMean(name, names);
}

export function noValueOf(field: Field, value: string): string {
  const word = value.replace(/^"(.+)"$/, "$1");
  const words = field.kind === "bool" ? ["true", "false"]
    : [...field.enumeration?.numbers.keys() ?? []];
  return `${field.maskable ? "this" : value} is no value for ${field.fullName}` +
    (/^[a-z]/i.test(word) ? didYouMean(word, words) : "");
}

export const maskedReason = (where: string): string =>
  `${where} is masked, not *** itself: decode with --show-secrets, or write the first * as ` +
  "an escape";

class JsonReader {
  private at = 0;
  private objects = 0;
  private levels = 0;

  // What was understood so far: two for a value that fits, one for another.
  understood = 0;

  // 'names' checks names and signs, 'values' all. 'known' leaves out fields that the type
  // does not have, and 'count' takes values that do not fit.
  constructor(private readonly text: string,
              private readonly check: "names" | "values" | "known" | "count") {}

  private get values(): boolean {
    return this.check !== "names";
  }

  read(type: Type | undefined): Message | undefined {
    if (this.next() !== "{") this.expected("{");
    const message = type && newMessage(type);
    this.object(type, message, true);
    this.next();
    if (this.at !== this.text.length) this.fail(this.at, "nothing can follow the message");
    return message;
  }

  private fail(at: number, reason: string): never {
    throw new InputFault(reason, at);
  }
  private next(): string {
    while (" \t\r\n".includes(this.text[this.at] ?? "x")) ++this.at;
    return this.text[this.at] ?? "";
  }

  // Something else follows, or nothing at all.
  private expected(what: string): never {
    const ends = this.at >= this.text.length;
    this.fail(this.at, ends ? `the input ends here, before ${what}` : `expected ${what}`);
  }

  // Reads a string and returns it with its quotes.
  private string(): string {
    const begin = this.at++;
    for (; this.text[this.at] !== '"'; this.at += this.text[this.at] === "\\" ? 2 : 1) {
      if (this.at >= this.text.length) this.fail(begin, "the input ends inside this string");
      if (this.text[this.at] < " ") this.fail(this.at, "control character in a string");
    }
    return this.text.slice(begin, ++this.at);
  }

  // Reads what is between brackets: `part` reads a member or an element.
  private parts(list: boolean, part: () => void): void {
    const close = list ? "]" : "}";
    if (this.objects > MOST_OBJECTS || this.levels > 3 * MOST_OBJECTS) {
      this.fail(this.at, `nested deeper than ${MOST_OBJECTS}, the most that is read from JSON`);
    }
    this.objects += list ? 0 : 1;
    ++this.levels;
    ++this.at;
    for (let first = true; this.next() !== close; first = false) {
      if (!first) {
        if (this.text[this.at] !== ",") this.expected(`, or ${close}`);
        ++this.at;
        this.next();
      }
      part();
    }
    ++this.at;
    --this.levels;
    this.objects -= list ? 0 : 1;
  }

  private name(): string {
    if (this.next() !== '"') this.expected("a name in quotes");
    const name = this.string();
    if (this.next() !== ":") this.expected(":");
    ++this.at;
    return name.slice(1, -1);
  }

  private object(type: Type | undefined, message: Message | undefined, top: boolean): void {
    const seen = new Set<Field>();
    const set = new Set<Field>();
    this.parts(false, () => {
      this.next();
      const begin = this.at;
      const written = this.name();
      if (type === undefined || (top && written === UNKNOWN)) return this.anything();
      // Names with escapes wait until values are read.
      if (written.includes("\\") && !this.values) return this.anything();
      const name = unescaped(written);
      const field = type.fields.find((one) => name === one.jsonName || name === one.name);
      if (field === undefined) {
        if (this.check === "known") return this.anything();
        this.fail(begin, noSuchField(type, written, type.fields.map((one) => one.jsonName)));
      }
      if (seen.has(field)) this.fail(begin, `${field.fullName} is there twice`);
      seen.add(field);
      if (!this.atNull()) {
        if (field.others.some((other) => set.has(other))) {
          this.fail(begin, `another member of ${field.oneof} is there already`);
        }
        set.add(field);
      }
      this.member(field, message!);
    });
  }

  private atNull(): boolean {
    this.next();
    if (this.text[this.at] !== "n") return false;
    return /^null(?=[ \t\r\n,}]|$)/.test(this.text.slice(this.at, this.at + 5));
  }

  // A value that is not looked at.
  private anything(): void {
    const c = this.next();
    if (c === "{") return this.object(undefined, undefined, false);
    if (c === "[") return this.parts(true, () => this.anything());
    this.token();
  }

  private token(): string {
    if (this.next() === '"') return this.string();
    const begin = this.at;
    while (!" \t\r\n,:{}[]\"".includes(this.text[this.at] ?? ",")) ++this.at;
    if (this.at === begin) this.expected("a value");
    return this.text.slice(begin, this.at);
  }

  private member(field: Field, message: Message): void {
    const c = this.next();
    // The runtime itself takes one message for a list of one.
    const alone = this.check === "known" && c === "{" && !field.map;
    if (field.repeated && !alone && (c === "{" || c === "[")) {
      if (field.map !== (c === "{")) {
        this.fail(this.at, `${field.fullName} is a ` +
          (field.map ? "map: expected {" : "list: expected ["));
      }
      return field.map ? this.map(field, message) : this.list(field, message);
    }
    const value = this.value(field);
    if (value === undefined) return;
    if (field.repeated) addTo(message, field, value);
    else setOne(message, field, value);
  }

  private list(field: Field, message: Message): void {
    this.parts(true, () => {
      const value = this.value(field);
      if (value !== undefined) addTo(message, field, value);
    });
    if (listOf(message, field).length === 0) message.fields.delete(field.number);
  }

  private map(field: Field, message: Message): void {
    const keys = new Set<string>();
    this.parts(false, () => {
      this.next();
      const begin = this.at;
      const written = this.name();
      const key = unescaped(written);
      if (this.values && key === undefined) {
        this.fail(begin, noValueOf(field.type!.fields[0], `"${written}"`));
      }
      if (this.values && keys.has(key!)) this.fail(begin, `the key ${written} is there twice`);
      keys.add(key ?? "");
      const value = this.value(field.type!.fields[1]) ?? 0;
      if (this.values) putInto(message, field, key!, value as number);
    });
  }

  // A value of a field, or of an element of a list or a map; undefined for null.
  private value(field: Field): Value | undefined {
    const c = this.next();
    const begin = this.at;
    if (c === "{" || c === "[") {
      if (field.kind !== "message" || c === "[") {
        this.fail(begin, `${c} cannot begin a value of ${field.fullName}`);
      }
      const message = newMessage(field.type!);
      this.object(field.type, message, false);
      return message;
    }
    const token = this.token();
    if (token === "null") return undefined;
    if (field.maskable && token === `"${MASK}"`) this.fail(begin, maskedReason(field.fullName));
    if (!this.values) return undefined;
    const value = field.kind === "message" ? undefined : scalarOf(field, token);
    // To the runtime, a name that the enum does not have is no more than an unknown field.
    const unknown = this.check === "known" && field.kind === "enum" && token[0] === '"';
    if (value === undefined && unknown) return undefined;
    this.understood += value === undefined ? 1 : 2;
    if (value === undefined && this.check !== "count") this.fail(begin, noValueOf(field, token));
    return value;
  }
}

// Throws an InputFault. What is wrong about the form of a text comes before wrong values.
export function fromJson(name: string, json: string): Message {
  const type = findType(name);
  new JsonReader(json, "names").read(type);
  return new JsonReader(json, "values").read(type)!;
}

// How much of a JSON that is no message of the type could be one: the bytes of what is left
// without names that the type does not have, or about as many if a value is none.
export function understoodJson(type: Type, json: string): number {
  try {
    return encode(new JsonReader(json, "known").read(type)!).length;
  } catch {
    const reader = new JsonReader(json, "count");
    try {
      reader.read(type);
    } catch {
      // What was read until then counts.
    }
    return reader.understood;
  }
}

// Why a text is no JSON at all.
export function jsonProblem(json: string): InputFault | undefined {
  try {
    new JsonReader(json, "names").read(undefined);
    return undefined;
  } catch (fault) {
    return fault as InputFault;
  }
}

// "line 3, column 7": columns count characters, from 1.
export function lineAndColumn(text: string, offset: number): string {
  const before = text.slice(0, offset).split("\n");
  return `line ${before.length}, column ${[...before[before.length - 1]].length + 1}`;
}
