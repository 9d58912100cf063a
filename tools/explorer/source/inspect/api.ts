// What the page can ask about the schema and about bytes. Nothing here knows a page, a
// file or a network. The names in results are those of `tarn` with --json, and its words.

// ---- The schema: all that `tarn describe` says. Names are without the package.

export type Kind =
  "int32" | "uint32" | "bool" | "enum" | "float" | "string" | "bytes" | "message" | "map";
export type WireType = "varint" | "fixed64" | "length" | "start" | "end" | "fixed32";

export interface SchemaField {
  message: string;    // that has the field: "Server"
  name: string;       // "status"
  comment: string;    // paragraphs are kept apart by an empty line
  number: number;
  kind: Kind;         // of one value; "map": from text to an enum
  type: string;       // as the schema says it: "uint32", "StatusCodes", "ChildTypes"
  repeated: boolean;  // also of a map
  oneof?: string;     // the choice that it belongs to
  tag: string;        // its bytes before a value, or before a packed list: "0a", "9a 01"
  wireType: WireType;
  jsonName: string;
  cpp: string[];      // accessors: "bool error() const"
  python: string;     // "message.error"
  typescript: string; // "message.error"; of a member of a choice "message.types.value"
  secret: boolean;    // covered until asked for
}

export interface SchemaMessage {
  name: string;
  comment: string;
  file: string;       // "Network.proto"
  cppClass: string;   // "tarn::Server"
  header: string;     // "tarn/Network.pb.h"
  fields: SchemaField[]; // as declared
  oneofs: { name: string; comment: string }[];
  usedIn: string[];   // fields that hold it: "ChildTypes.server"
  embeds: string[];   // messages and enums that its fields hold, each once
}

export interface SchemaValue { name: string; number: number; comment: string; constant: string }

export interface SchemaEnum {
  name: string;
  comment: string;
  file: string;
  cppClass: string;
  values: SchemaValue[];
  usedIn: string[];
}

export interface Schema {
  version: string;    // of the library
  messages: SchemaMessage[]; // as declared, Network.proto first
  enums: SchemaEnum[];
  message(name: string): SchemaMessage | undefined;
  enumeration(name: string): SchemaEnum | undefined;
}

// ---- Bytes: every byte of a message is in one span, in the order of the bytes.

export type Problem =
  "cutOff" | "pastEnd" | "longVarint" | "longTag" | "longLength" | "badUtf8" | "tooDeep" |
  "endGroup" | "openGroup" | "zeroNumber" | "noSuchWireType";

export type NoteKind =
  "overlongTag" | "overlongLength" | "overlongVarint" | "unknownGroup" | "unknownField" |
  "wrongWireType" | "undeclaredValue" | "highBitsIgnored" | "replacesValue" | "replacesMember" |
  "mergesWithEarlier" | "cutOff";

// An oddity. `field` and `enum` are full names: "tarn.Server.name".
export interface Note { kind: NoteKind; field?: string; enum?: string }

export type SpanKind =
  "field" | "record" | "list" | "element" | "unknown" | "groupEnd" | "skipped";

// The object that `tarn annotate --json` prints, key for key.
export interface Span {
  offset: number;
  size: number;
  kind: SpanKind;
  depth: number;
  masked?: true;
  path?: string;          // "children[2].server.name"
  number?: number;        // of the field
  wireType?: WireType;
  tagSize?: number;       // bytes of the tag; the length follows, then the value
  lengthSize?: number;
  length?: number;
  value?: string | number | boolean;
  base64?: true;          // `value` is bytes in base64
  name?: string;          // of the number of an enum
  notes?: Note[];
  problem?: Problem;
  errorOffset?: number;
}

// Why bytes are refused. `reason` and `path` are the words of `tarn annotate`, `word` is
// that of the golden messages: "truncated", or the full name of the field for bad UTF-8.
export interface WireError {
  offset: number;
  path: string;
  problem: Problem;
  reason: string;
  word: string;
}

export interface WalkOptions {
  showSecrets?: boolean;  // else Wifi.pass, and what could be it, is "***"
  offset?: number;        // of the message in its file; 0 if not given
}

// A walk that is under way. It takes time and memory that are linear in the bytes.
export interface Walk {
  readonly spans: Span[];       // found so far
  readonly errors: WireError[];
  readonly masked: boolean;     // a span is covered
  readonly odd: boolean;        // a span has a note
  readonly done: boolean;
  readonly read: number;        // bytes so far
  step(spans: number): boolean; // goes on for about so many spans; true: done
}

// ---- Messages as objects. Values: numbers of integers and enums, booleans, texts, bytes,
// messages; of a float its 32 bits, see floatOf(); of a map a Map. Fields that are absent, or
// zero and without presence, are not in `fields`.

export type Value = number | boolean | string | Uint8Array | Message;
export interface Message {
  type: string;
  fields: Map<number, Value | Value[] | Map<string, number>>; // by number
  unknown: Uint8Array[];                // whole items, in the order of the bytes
  leaks?: true;           // its pass phrase may stand in another field, so all are covered
}

// Without `showSecrets`, Wifi.pass is "***", which fromJson() does not take back.
export interface JsonOptions { pretty?: boolean; showSecrets?: boolean }

// ---- Forms: what people paste.

export type Form = "binary" | "hex" | "words" | "octal" | "source" | "base64" | "text" | "json";

// One way to read an input.
export interface Reading {
  form: Form;
  layout: string;         // what is around the digits: "a dump"; may be empty
  bytes: Uint8Array;
  types: string[];        // that take it, where it is text or JSON; else empty
  note?: string;          // what is odd about it: "text with one message in it: ..."
}

// Where an input cannot be read, and why; `offset` counts in the characters of the input.
export interface InputError { reason: string; offset?: number; form?: Form }

export interface ReadResult {
  readings: Reading[];    // one, or several among which the user must choose, the likeliest first
  error?: InputError;     // why there is none
}

export type Frame = "none" | "varint" | "u32be" | "u32le";
// A message of a stream; `offset` is that of its first byte in the stream. The `path` of an
// error is the record that is broken, its `offset` where this begins.
export interface StreamRecord { offset: number; bytes: Uint8Array }
export interface Stream {
  frame: Frame;
  records: StreamRecord[];
  error?: { offset: number; path: string; reason: string };
}

// ---- Candidates: types that bytes may have, as `tarn guess` has them.

export interface Candidate {
  rank: number;           // candidates that nothing tells apart have the same
  type: string;
  accepted: boolean;
  errorOffset?: number;
  fields: number;
  reasons: string;        // "parses fully, 2 fields, 1 uuid in place"
}

// Types that bytes are more like than the chosen one, or the frame of a stream.
export interface Hint { types?: string[]; frame?: Frame }

// ---- Networks, as `tarn tree --json`, `tarn status --json` and `tarn diff --json` have them.

export type Counts = { [kind: string]: number };

export interface TreeNode {
  path: string;           // "0.3.2": the places among the siblings
  kind: string;           // "server"; "none": a node without a kind
  name: string;
  uuid: string;
  status?: string | number; // a number is not declared
  error: boolean;
  well: boolean;
  address: { [field: string]: string | number };
  below: Counts;
  children: TreeNode[];
}
export interface Tree { below: Counts; children: TreeNode[] }

export interface StatusRow {
  part: string;
  status?: string | number;
  priceUpdate?: string | number;
}
export interface StatusReport { parts: StatusRow[]; priceLifecycle: string | number }

export type Condition = "fault" | "odd" | "waiting" | "good" | "none";
export interface StatusLook { words: string; condition: Condition; well: boolean }

// A node in a difference.
export interface NodeName { kind: string; name?: string; uuid?: string; field?: string }
export interface Difference {
  change: "added" | "removed" | "moved" | "changed" | "reordered" | "resized";
  path?: string;          // of the node; `kind`, `name` and `uuid` are its
  kind?: string;
  name?: string;
  uuid?: string;
  pathBefore?: string;
  above?: NodeName;
  top?: NodeName;
  field?: string;         // of what has changed in the node or the message
  unknownFields?: true;
  before?: string;
  after?: string;
  sizeBefore?: number;
  sizeAfter?: number;
  from?: NodeName;
  to?: NodeName;
  along?: Counts;
}

// ---- All of it. A type that does not exist, and bytes that the walk refuses where a message
// is asked for, throw an Error whose message says why.

export interface Inspect {
  schema: Schema;

  startWalk(type: string, bytes: Uint8Array, options?: WalkOptions): Walk;
  walk(type: string, bytes: Uint8Array, options?: WalkOptions): Walk; // to its end
  wordsOf(note: Note): string;                   // "unknown field"

  // `types`: those that text and JSON may have; all if not given.
  read(input: string | Uint8Array, types?: string[]): ReadResult;
  streamOf(bytes: Uint8Array, frame?: Frame): Stream;
  rank(bytes: Uint8Array): Candidate[];          // all types, the likeliest first
  hintFor(type: string, bytes: Uint8Array): Hint | undefined; // of at most 64 KiB
  verdict(bytes: Uint8Array): string[];          // types that the bytes are; may be empty

  decode(type: string, bytes: Uint8Array): Message;
  encode(message: Message): Uint8Array;          // canonical bytes
  floatOf(bits: number): number;
  bitsOf(float: number): number;
  toJson(message: Message, options?: JsonOptions): string;
  // These throw an InputFault with the place.
  fromJson(type: string, json: string): Message;
  fromText(type: string, text: string): Message;

  holdsNodes(type: string): boolean;
  tree(message: Message): Tree;
  status(message: Message): StatusReport;        // of a NetworkStatusReport
  statusLook(status: string | number): StatusLook;
  compare(before: Message, after: Message, showSecrets?: boolean): Difference[];

  // Whether nodes without a uuid were compared by their place.
  byPlace(type: string, differences: Difference[]): boolean;

  escaped(text: string): string;                 // what cannot be seen, as "\x07"
  inQuotes(text: string): string;
  toHex(bytes: Uint8Array): string;
  toBase64(bytes: Uint8Array): string;
  toCArray(type: string, bytes: Uint8Array): string;
  toCpp(message: Message): string;               // a function that makes the message
  // The lines of a case for tests/corpus/<type>.txt.
  toCorpusCase(type: string, name: string, bytes: Uint8Array): string;
}

// What fromJson() and fromText() throw. `offset` counts in the characters of the input.
export class InputFault extends Error {
  constructor(readonly reason: string, readonly offset: number) {
    super(reason);
  }
}
