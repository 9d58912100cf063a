// What an address shows. All of it stands after the "#", which no browser sends.
import { inspect } from "./core";

export type View =
  | { page: "inspect"; type?: string; bytes?: Uint8Array }
  | { page: "reference"; name?: string }
  | { page: "map" };

export function toBase64Url(bytes: Uint8Array): string {
  let text = "";
  for (let at = 0; at < bytes.length; at += 0x8000) {
    text += String.fromCharCode(...bytes.subarray(at, at + 0x8000));
  }
  return btoa(text).replaceAll("+", "-").replaceAll("/", "_").replace(/=+$/, "");
}

// The bytes, or nothing where the text is damaged.
export function fromBase64Url(text: string): Uint8Array | undefined {
  try {
    const plain = atob(text.replaceAll("-", "+").replaceAll("_", "/"));
    return Uint8Array.from(plain, (character) => character.charCodeAt(0));
  } catch {
    return undefined;
  }
}

export function addressOf(view: View): string {
  if (view.page === "map") return "#map";
  if (view.page === "reference") return `#${view.name ?? "reference"}`;
  if (!view.bytes) return view.type ? `#type=${view.type}` : "#inspect";
  const type = view.type ? `type=${view.type}&` : "";
  return `#${type}bytes=${toBase64Url(view.bytes)}`;
}

export class BadAddress extends Error {}

const most = 60; // characters of an address that a complaint repeats
const quoted = (text: string) => inspect.escaped(text.slice(0, most)) +
  (text.length > most ? "…" : "");

// `known` says whether a name is one of the schema.
export function viewOf(address: string, known: (name: string) => boolean): View {
  let text = address.replace(/^#/, "");
  try {
    text = decodeURIComponent(text);
  } catch {
    throw new BadAddress(`The address ends in "${quoted(text)}", which nothing here has.`);
  }
  if (text === "" || text === "inspect") return { page: "inspect" };
  if (text === "map") return { page: "map" };
  if (text === "reference") return { page: "reference" };
  const inspect = /^(?:type=([\w.]+))?(?:(?:^|&)bytes=([\w-]*))?$/.exec(text);
  if (inspect && text.includes("=")) {
    const [, type, encoded] = inspect;
    const bytes = encoded === undefined ? undefined : fromBase64Url(encoded);
    if (type !== undefined && !known(type)) {
      throw new BadAddress(
        `The address asks for the type ${quoted(type)}, which the schema does not have.`);
    }
    if (encoded !== undefined && !bytes) {
      throw new BadAddress("The bytes in the address are damaged: part of it may be missing.");
    }
    return { page: "inspect", type, bytes };
  }
  if (known(text)) return { page: "reference", name: text };
  if (text.startsWith("type=") || text.includes("bytes=")) {
    throw new BadAddress("The bytes in the address are damaged: part of it may be missing.");
  }
  throw new BadAddress(`The schema has no ${quoted(text)}.`);
}
