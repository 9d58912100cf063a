// What the page says of a span: which of its bytes is what, its name, its value.
import { inspect, schema } from "../core";
import type { SchemaField, Span } from "../../inspect/api";

export type Part = "tag" | "length" | "value" | "lost";

export function partAt(span: Span, offset: number): Part {
  if (span.kind === "skipped") return "lost";
  if (span.kind === "groupEnd") return "tag";
  const at = offset - span.offset;
  const tag = span.tagSize ?? 0, length = span.lengthSize ?? 0;
  if (at < tag) return "tag";
  return at < tag + length ? "length" : "value";
}

// The place of the span that has the byte, or -1. Spans stand in the order of bytes.
export function spanAt(spans: readonly Span[], offset: number): number {
  let low = 0, high = spans.length - 1;
  while (low <= high) {
    const middle = (low + high) >> 1;
    const { offset: begin, size } = spans[middle];
    if (offset < begin) high = middle - 1;
    else if (offset >= begin + size) low = middle + 1;
    else return middle;
  }
  return -1;
}

// The bytes of a span and of all that it holds: from its first byte to this one.
export function endOf(spans: readonly Span[], at: number): number {
  const { offset, size, depth } = spans[at];
  let end = offset + size;
  for (let next = at + 1; next < spans.length && spans[next].depth > depth; next++) {
    end = spans[next].offset + spans[next].size;
  }
  return end;
}

export const hueOf = (span: Span): string =>
  span.kind === "skipped" ? "lost" : `h${((span.number ?? 1) - 1) % 8}`;

export const nameOf = (span: Span): string => {
  if (span.kind === "skipped") return "not decoded";
  if (span.kind === "groupEnd") return "end of the group";
  const path = span.path ?? (span.number === undefined ? "?" : String(span.number));
  return path.slice(path.lastIndexOf(".") + 1);
};

const most = 2000; // characters of a text that are shown

function textOf(whole: string, base64?: boolean): string {
  const text = whole.slice(0, most);
  const shown = base64 ? `base64 ${text}` : inspect.inQuotes(text);
  return text === whole ? shown : `${shown}… (${whole.length.toLocaleString("en")} characters)`;
}

export function valueOf(span: Span): string {
  const { value, name, kind } = span;
  if (span.masked) return "covered";
  if (typeof value === "string") return textOf(value, span.base64);
  if (value !== undefined) return name ? `${value} ${name}` : String(value);
  if (kind === "record" || kind === "list") return "";
  return "";
}

const problems = {
  cutOff: "cut off", pastEnd: "runs past the end", longVarint: "varint too long",
  longTag: "tag too long", longLength: "length too long", badUtf8: "not UTF-8",
  tooDeep: "too deep", endGroup: "end without a group", openGroup: "group without an end",
  zeroNumber: "field number 0", noSuchWireType: "no such wire type",
};

export const remarksOf = (span: Span): string[] => [
  ...(span.problem ? [problems[span.problem]] : []),
  ...(span.notes ?? []).map((note) => inspect.wordsOf(note)),
];

// The field of the schema that the path of a span leads to.
export function fieldOf(type: string, path: string | undefined): SchemaField | undefined {
  let message = schema.message(type);
  let field: SchemaField | undefined;
  for (const part of (path ?? "").replace(/\[(?:"(?:[^"\\]|\\.)*"|[^\]]*)\]/g, "").split(".")) {
    field = message?.fields.find(({ name }) => name === part);
    message = field && schema.message(field.type);
  }
  return field;
}
