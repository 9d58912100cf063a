// The names of the schema as addresses, and what a name in a comment refers to.
import { schema } from "../core";
import type { SchemaEnum, SchemaMessage } from "../../inspect/api";

export interface Entry {
  address: string; // "Server.status"
  kind: "message" | "field" | "enum" | "value";
  comment: string;
}

export const entries: Entry[] = [
  ...schema.messages.flatMap((message): Entry[] => [
    { address: message.name, kind: "message", comment: message.comment },
    ...message.fields.map((field): Entry => ({
      address: `${message.name}.${field.name}`, kind: "field", comment: field.comment,
    })),
  ]),
  ...schema.enums.flatMap((type): Entry[] => [
    { address: type.name, kind: "enum", comment: type.comment },
    ...type.values.map((value): Entry => ({
      address: `${type.name}.${value.name}`, kind: "value", comment: value.comment,
    })),
  ]),
];

const addresses = new Set(entries.map((entry) => entry.address));

export const known = (name: string): boolean => addresses.has(name);

// The address that a name in the comment of `owner` refers to.
export function resolve(name: string, owner: string): string | undefined {
  return [`${owner}.${name}`, name].find(known);
}

export const files = [...new Set(schema.messages.map((message) => message.file))];

export function contentOf(file: string): { messages: SchemaMessage[]; enums: SchemaEnum[] } {
  return {
    messages: schema.messages.filter((message) => message.file === file),
    enums: schema.enums.filter((type) => type.file === file),
  };
}
