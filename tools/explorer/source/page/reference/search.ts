// Finds names and comments as one types.
import type { Entry } from "./names";

// How well an entry fits, less is better; nothing where it does not.
function fit(entry: Entry, words: string[]): number | undefined {
  const address = entry.address.toLowerCase();
  const name = address.slice(address.lastIndexOf(".") + 1);
  const comment = entry.comment.toLowerCase();
  let sum = 0;
  for (const word of words) {
    if (name === word || address === word) sum += 0;
    else if (name.startsWith(word)) sum += 1;
    else if (address.includes(word)) sum += 2;
    else if (comment.includes(word)) sum += 4;
    else return undefined;
  }
  return sum;
}

const order = { message: 0, enum: 0, field: 1, value: 1 };

export function search(entries: readonly Entry[], query: string, most = 40): Entry[] {
  const words = query.toLowerCase().split(/\s+/).filter(Boolean);
  if (words.length === 0) return [];
  return entries
    .map((entry) => ({ entry, fit: fit(entry, words) }))
    .filter((found): found is { entry: Entry; fit: number } => found.fit !== undefined)
    .sort((a, b) => a.fit - b.fit || order[a.entry.kind] - order[b.entry.kind])
    .slice(0, most)
    .map(({ entry }) => entry);
}

// The text in pieces; every second one is a match.
export function marked(text: string, query: string): string[] {
  const words = query.split(/\s+/).filter(Boolean)
    .map((word) => word.replace(/[.*+?^${}()|[\]\\]/g, "\\$&"));
  return words.length === 0 ? [text] : text.split(new RegExp(`(${words.join("|")})`, "i"));
}
