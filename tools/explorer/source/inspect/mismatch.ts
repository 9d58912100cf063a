// What speaks against the chosen type: another one that explains the bytes better, or
// lengths in front of messages.
import type { Hint } from "./api";
import { Evidence, likeliestOf, weighAll } from "./rank";
import { findType } from "./schema";
import { streamOf } from "./stream";

const MOST = 64 << 10; // bytes: more of them take too long
const NAMES = 3;       // a longer list of types would not help

export function hintFor(name: string, bytes: Uint8Array): Hint | undefined {
  const type = findType(name);
  if (bytes.length > MOST) return undefined;
  const evidence = new Evidence(type, bytes);
  if (evidence.clean) return undefined;
  const { frame } = streamOf(bytes, undefined, [type]);
  if (frame !== "none") return { frame };
  const ranked = weighAll(bytes);
  const types = ranked[0].clean ? likeliestOf(ranked) : [];
  // Bytes that are not UTF-8 are no evidence for a type with a field of bytes.
  const any = ranked[0].type.fields.some(({ kind }) => kind === "bytes");
  if (types.length === 0 || types.length > NAMES || (evidence.badUtf8 && any)) return undefined;
  return { types };
}
