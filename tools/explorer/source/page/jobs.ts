// What may take long: each job gets and gives plain data, so it can run in a worker.
import { inspect } from "./core";
import type { Frame } from "../inspect/api";
import { InputFault } from "../inspect/api";

const { decode } = inspect;

export interface Opened {
  bytes: Uint8Array;
  type: string;
  how: string;            // "a dump in hex"
  others: { how: string; bytes: Uint8Array; type: string }[];
}

const forms = {
  binary: "raw bytes", hex: "hex", words: "hex in words", octal: "octal",
  source: "an array in source",
  base64: "base64", text: "text format", json: "JSON",
};

// The type that the bytes most likely have.
function likeliest(bytes: Uint8Array): string {
  return inspect.rank(bytes)[0].type;
}

// Reads what was pasted or dropped; `type`, where one is chosen, settles what can be settled.
function open(input: string | Uint8Array, type?: string): Opened {
  const { readings, error } = inspect.read(input, type ? [type] : undefined);
  if (readings.length === 0) {
    throw new InputFault(error?.reason ?? "this is no form of a message", error?.offset ?? -1);
  }
  const all = readings.map((reading) => ({
    how: [reading.layout && `${reading.layout}: `, forms[reading.form],
      reading.note && `, ${reading.note}`].filter(Boolean).join(""),
    bytes: reading.bytes,
    type: type ?? reading.types[0] ?? "",
  }));
  const [first, ...others] = all;
  return { ...first, type: first.type || likeliest(first.bytes), others };
}

export const jobs = {
  open,
  candidates: (bytes: Uint8Array) => inspect.rank(bytes).slice(0, 8),
  hint: (type: string, bytes: Uint8Array) => inspect.hintFor(type, bytes),
  stream: (bytes: Uint8Array, frame?: Frame) => inspect.streamOf(bytes, frame),
  json: (type: string, bytes: Uint8Array, showSecrets: boolean) =>
    inspect.toJson(decode(type, bytes), { pretty: true, showSecrets }),
  fromJson: (type: string, json: string) => inspect.encode(inspect.fromJson(type, json)),
  message: (type: string, bytes: Uint8Array) => decode(type, bytes),
  tree: (type: string, bytes: Uint8Array) => inspect.tree(decode(type, bytes)),
  status: (bytes: Uint8Array) => inspect.status(decode("NetworkStatusReport", bytes)),
  compare: (type: string, before: Uint8Array, after: Uint8Array, showSecrets: boolean) =>
    inspect.compare(decode(type, before), decode(type, after), showSecrets),
  hex: (bytes: Uint8Array) => inspect.toHex(bytes),
  base64: (bytes: Uint8Array) => inspect.toBase64(bytes),
  cArray: (type: string, bytes: Uint8Array) => inspect.toCArray(type, bytes),
  cpp: (type: string, bytes: Uint8Array) => inspect.toCpp(decode(type, bytes)),
  corpusCase: (type: string, name: string, bytes: Uint8Array) =>
    inspect.toCorpusCase(type, name, bytes),
};

export type Jobs = typeof jobs;
export type Job = keyof Jobs;
