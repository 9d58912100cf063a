// Reads a message from the text format, and says what is wrong and where.
import { InputFault, type Message, type Value } from "./api";
import { bitsOf, findInvalidUtf8, Sink, textOf } from "./bytes";
import { takeEscaped } from "./digits";
import { maskedReason, noSuchField, noValueOf } from "./json_read";
import { addTo, encode, newMessage, one, putInto, setOne } from "./message";
import { findType, type Field, type Type } from "./schema";
import { MASK } from "./spans";
import { MAX_DEPTH } from "./walker";

type TokenKind = "word" | "integer" | "float" | "string" | "sign" | "end";
interface Token { kind: TokenKind; text: string; at: number }

// No pattern repeats a group: the stack of the engine would end with a long text.
const SPACE = /[ \t\r\n\v\f]+|#[^\n]*/y;
const TOKENS: [TokenKind, RegExp][] = [
  ["word", /[A-Za-z_][A-Za-z0-9_]*/y],
  ["float", /(?:[0-9]+\.[0-9]*|\.[0-9]+)(?:[eE][+-]?[0-9]+)?[fF]?/y],
  ["float", /[0-9]+(?:[eE][+-]?[0-9]+[fF]?|[fF])/y],
  ["integer", /0[xX][0-9a-fA-F]+|[0-9]+/y],
  ["sign", /[^]/y],
];
const WORDS: { [word: string]: boolean } =
  { true: true, True: true, t: true, false: false, False: false, f: false };

class TextReader {
  private at = 0;
  private token: Token = { kind: "end", text: "", at: 0 };

  // `lenient`: leaves out fields that the type does not have.
  constructor(private readonly text: string, private readonly lenient = false) {
    this.next();
  }

  read(type: Type, message = newMessage(type)): Message {
    while (this.token.kind !== "end") this.member(type, message, 0);
    return message;
  }

  private fail(reason: string, at = this.token.at): never {
    throw new InputFault(reason, at);
  }
  private next(): Token {
    const last = this.token;
    for (SPACE.lastIndex = this.at; SPACE.test(this.text);) this.at = SPACE.lastIndex;
    this.token = { kind: "end", text: "", at: this.at };
    const end = this.endOfString();
    if (end > 0) {
      this.token = { kind: "string", text: this.text.slice(this.at, end), at: this.at };
      this.at = end;
      return last;
    }
    for (const [kind, pattern] of TOKENS) {
      pattern.lastIndex = this.at;
      const match = pattern.exec(this.text);
      if (match === null) continue;
      this.token = { kind, text: match[0], at: this.at };
      this.at += match[0].length;
      break;
    }
    return last;
  }
  // Where the string ends that begins here; 0: there is none.
  private endOfString(): number {
    const mark = this.text[this.at];
    if (mark !== '"' && mark !== "'") return 0;
    for (let at = this.at + 1; at < this.text.length; ++at) {
      if (this.text[at] === mark) return at + 1;
      if (this.text[at] === "\\") ++at;
    }
    return 0;
  }
  private took(...signs: string[]): boolean {
    const is = this.token.kind === "sign" && signs.includes(this.token.text);
    if (is) this.next();
    return is;
  }
  private expected(what: string): never {
    this.fail(`Expected ${what}, got: ${this.token.text}`);
  }

  private member(type: Type, message: Message, depth: number): void {
    if (this.token.kind !== "word") this.expected("identifier");
    const { text, at } = this.next();
    const field = type.fields.find(({ name }) => name === text);
    if (field === undefined) {
      if (this.lenient) return this.leaveOut();
      this.fail(noSuchField(type, text, type.fields.map(({ name }) => name)), at);
    }
    if (!field.repeated && this.seen(message).has(field)) {
      this.fail(`${field.fullName} is there twice`, at);
    }
    if (field.others.some((other) => this.seen(message).has(other))) {
      this.fail(`another member of ${field.oneof} is there already`, at);
    }
    this.seen(message).add(field);
    const colon = this.took(":");
    if (!colon && field.kind !== "message") this.fail(`Expected ":", found "${this.token.text}"`);
    if (field.repeated && this.took("[")) {
      while (!this.took("]")) {
        this.put(field, message, this.value(field, depth));
        if (!this.took(",") && this.token.text !== "]") this.expected('"]"');
      }
    } else {
      this.put(field, message, this.value(field, depth));
    }
    this.took(",", ";");
  }

  // What follows the name of a field that is not known.
  private leaveOut(): void {
    this.took(":");
    let open = 0;
    do {
      if (this.token.kind === "end") this.expected("a value");
      if (this.took("-")) continue;
      if (this.took("{", "<", "[")) ++open;
      else if (this.took("}", ">", "]")) --open;
      else this.next();
    } while (open > 0);
    while (this.token.kind === "string") this.next();
    this.took(",", ";");
  }

  private readonly met = new WeakMap<Message, Set<Field>>();
  private seen(message: Message): Set<Field> {
    const fields = this.met.get(message) ?? new Set();
    this.met.set(message, fields);
    return fields;
  }

  private put(field: Field, message: Message, value: Value): void {
    if (field.map) {
      const [key, number] = field.type!.fields.map((part) => one(value as Message, part));
      putInto(message, field, (key ?? "") as string, (number ?? 0) as number);
    } else if (field.repeated) {
      addTo(message, field, value);
    } else {
      setOne(message, field, value);
    }
  }

  private value(field: Field, depth: number): Value {
    if (field.kind === "message") return this.message(field, depth);
    const { at } = this.token;
    if (field.kind === "string" || field.kind === "bytes") return this.string(field);
    const negative = this.took("-");
    const token = this.next();
    const value = this.number(field, token, negative);
    if (value === undefined) {
      if (token.kind === "end") this.fail("Expected a value, got: ", at);
      this.fail(noValueOf(field, (negative ? "-" : "") + token.text), at);
    }
    return value;
  }

  private message(field: Field, depth: number): Message {
    const close = this.took("{") ? "}" : this.took("<") ? ">" : this.expected('"{"');
    if (depth >= MAX_DEPTH - 1) this.fail(`nested deeper than ${MAX_DEPTH}`);
    const message = newMessage(field.type!);
    while (!this.took(close)) this.member(field.type!, message, depth + 1);
    return message;
  }

  // Strings that follow one another are one text.
  private string(field: Field): Value {
    const { text, at, kind } = this.token;
    if (kind !== "string") {
      if (kind === "end" || text === '"' || text === "'") this.expected("string");
      this.fail(noValueOf(field, text));
    }
    const sink = new Sink();
    let count = 0;
    for (; this.token.kind === "string"; ++count) {
      const inside = this.token.text.slice(1, -1);
      for (let i = 0; i < inside.length;) {
        i = takeEscaped(inside, i, sink);
        if (i < 0) this.fail("Invalid escape sequence in string literal");
      }
      this.next();
    }
    const bytes = sink.take();
    if (field.kind === "bytes") return bytes;
    if (!this.lenient && findInvalidUtf8(bytes, 0, bytes.length) >= 0) {
      this.fail(`invalid UTF-8 in ${field.fullName}`, at);
    }
    if (field.maskable && count === 1 && text.slice(1, -1) === MASK) {
      this.fail(maskedReason(field.fullName), at);
    }
    return textOf(bytes);
  }

  private number(field: Field, { kind, text }: Token, negative: boolean): Value | undefined {
    const sign = negative ? -1 : 1;
    if (field.kind === "float") {
      if (kind === "word") {
        if (/^inf(inity)?$/i.test(text)) return bitsOf(sign * Infinity);
        return /^nan$/i.test(text) ? 0x7FC00000 : undefined;
      }
      const plain = kind === "integer" && /^0[0-9xX]/.test(text) ? NaN
        : Number(text.replace(/f$/i, ""));
      return Number.isNaN(plain) ? undefined : bitsOf(sign * plain);
    }
    if (kind === "word" && !negative) {
      return field.kind === "bool" ? WORDS[text] : field.enumeration?.numbers.get(text);
    }
    if (kind !== "integer") return undefined;
    const octal = /^0[0-7]+$/.test(text);
    const value = sign * (octal ? parseInt(text, 8) : /^0[0-9]/.test(text) ? NaN : Number(text));
    const [least, most] = field.kind === "bool" ? [0, 1]
      : field.kind === "uint32" ? [0, 0xFFFFFFFF] : [-0x80000000, 0x7FFFFFFF];
    if (!(value >= least && value <= most) || (negative && least === 0)) return undefined;
    return field.kind === "bool" ? value === 1 : value + 0;
  }
}

// Throws an InputFault.
export function fromText(name: string, text: string): Message {
  const type = findType(name);
  if (type.secret && /^ *# \*\*\*/m.test(text)) {
    throw new InputFault(maskedReason(type.fullName), text.search(/^ *# \*\*\*/m));
  }
  return new TextReader(text).read(type);
}

// How much of a text that is no message of the type could be one.
export function understoodText(type: Type, text: string): number {
  const message = newMessage(type);
  try {
    new TextReader(text, true).read(type, message);
  } catch {
    // What was read until then counts.
  }
  return encode(message).length;
}
