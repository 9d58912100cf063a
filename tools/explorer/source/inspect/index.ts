// What the page calls, all in one object.
import type { Inspect } from "./api";
import { bitsOf, floatOf, toBase64, toHex } from "./bytes";
import { byPlace, compare } from "./compare";
import { toCArray, toCorpusCase, toCpp } from "./exports";
import { fromJson } from "./json_read";
import { toJson } from "./json_write";
import { decode, encode } from "./message";
import { hintFor } from "./mismatch";
import { holdsNodes, tree } from "./nodes";
import { rank, verdict } from "./rank";
import { read } from "./reading";
import { findType, schema } from "./schema";
import { startWalk, walk, wordsOf } from "./spans";
import { status, statusLook } from "./status";
import { streamOf } from "./stream";
import { fromText } from "./text_read";
import { escaped, inQuotes } from "./words";

export * from "./api";
export { lineAndColumn } from "./json_read";

export const inspect: Inspect = {
  schema, startWalk, walk, wordsOf, rank, verdict, decode, encode, floatOf, bitsOf, toJson,
  fromJson, fromText, read, streamOf, hintFor, compare, byPlace, tree, status, statusLook, toHex,
  toBase64, toCArray, toCpp, toCorpusCase, inQuotes,
  escaped: (text) => escaped(text),
  holdsNodes: (type) => holdsNodes(findType(type)),
};
