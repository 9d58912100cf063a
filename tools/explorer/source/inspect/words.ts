// Text that others wrote, so that it can be shown: what cannot be seen is escaped.
import { bytesOf, findInvalidUtf8, textOf } from "./bytes";

const INVISIBLE: [number, number][] = [
  [0x00, 0x1F], [0x7F, 0x9F], [0xAD, 0xAD], [0x600, 0x605], [0x61C, 0x61C], [0x6DD, 0x6DD],
  [0x70F, 0x70F], [0x890, 0x891], [0x8E2, 0x8E2], [0x17B4, 0x17B5], [0x180E, 0x180E],
  [0x200B, 0x200F], [0x2028, 0x202E], [0x2060, 0x2064], [0x2066, 0x206F], [0xFEFF, 0xFEFF],
  [0xFFF9, 0xFFFB], [0x110BD, 0x110BD], [0x110CD, 0x110CD], [0x13430, 0x1343F],
  [0x1BCA0, 0x1BCA3], [0x1D173, 0x1D17A], [0xE0001, 0xE0001], [0xE0020, 0xE007F],
];

export const isInvisible = (code: number): boolean =>
  INVISIBLE.some(([first, last]) => code >= first && code <= last);

const hexEscapes = (bytes: Uint8Array): string =>
  Array.from(bytes, (byte) => `\\x${byte.toString(16).padStart(2, "0")}`).join("");

// With a backslash before the marked characters.
export function escaped(text: string, marked = ""): string {
  if (/^[ !#-[\]-~]*$/.test(text)) return text; // no mark, and all can be seen
  let result = "";
  for (const character of text) {
    if (isInvisible(character.codePointAt(0)!)) result += hexEscapes(bytesOf(character));
    else result += marked.includes(character) ? `\\${character}` : character;
  }
  return result;
}

// The same for bytes: those that are not UTF-8 are escaped.
export function escapedBytes(bytes: Uint8Array, marked = ""): string {
  let result = "";
  for (let at = 0; at < bytes.length;) {
    const bad = findInvalidUtf8(bytes, at, bytes.length);
    const end = bad < 0 ? bytes.length : bad;
    result += escaped(textOf(bytes.subarray(at, end)), marked);
    if (bad >= 0) result += hexEscapes(bytes.subarray(bad, bad + 1));
    at = bad < 0 ? end : bad + 1;
  }
  return result;
}

export const inQuotes = (text: string): string => `"${escaped(text, '\\"')}"`;
export const inQuotesBytes = (bytes: Uint8Array): string =>
  `"${escapedBytes(bytes, '\\"')}"`;

const MOST_NAME = 100; // bytes

// The beginning of a long text.
export function shortened(text: string): string {
  const bytes = bytesOf(text);
  if (bytes.length <= MOST_NAME) return text;
  let size = MOST_NAME;
  while (size > MOST_NAME - 3 && (bytes[size] & 0xC0) === 0x80) --size;
  return `${textOf(bytes.subarray(0, size))}… (${bytes.length} bytes)`;
}

export const count = (number: number, what: string): string =>
  `${number} ${what}${number === 1 ? "" : "s"}`;

// Levenshtein's distance; case does not count.
function distance(a: string, b: string): number {
  const row = Array.from({ length: b.length + 1 }, (_, i) => i);
  const x = a.toLowerCase(), y = b.toLowerCase();
  for (let i = 0; i < x.length; ++i) {
    let diagonal = row[0]++;
    for (let j = 0; j < y.length; ++j) {
      const replaced = diagonal + (x[i] === y[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = Math.min(replaced, diagonal + 1, row[j] + 1);
    }
  }
  return row[b.length];
}

// ", did you mean A, B or C?"; empty if no candidate is near.
export function didYouMean(name: string, candidates: string[]): string {
  if (name.length > 1000) return "";
  const most = Math.max(2, Math.floor(name.length / 3));
  const near = candidates
    .map((candidate): [number, string] => [distance(name, candidate), candidate])
    .filter(([far]) => far <= most).sort(([a], [b]) => a - b).slice(0, 3)
    .map(([, candidate]) => candidate);
  if (near.length === 0) return "";
  const last = near.pop()!;
  return `, did you mean ${near.length > 0 ? `${near.join(", ")} or ` : ""}${last}?`;
}
