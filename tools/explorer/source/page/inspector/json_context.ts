// Where in a JSON text the caret stands: in which message, and what can come there.
import { schema } from "../core";
import type { SchemaField, SchemaMessage } from "../../inspect/api";

export interface Choice { text: string; says: string }
export interface Context { from: number; to: number; choices: Choice[] } // what a choice replaces

interface Level { message?: SchemaMessage; field?: SchemaField; list: boolean; key: boolean }

function fieldNamed(message: SchemaMessage | undefined, name: string): SchemaField | undefined {
  return message?.fields.find((field) => field.jsonName === name || field.name === name);
}

// What opens with a brace or a bracket below the given level.
function below(level: Level | undefined, type: string, list: boolean): Level {
  if (!level) return { message: list ? undefined : schema.message(type), list, key: !list };
  const field = level.field;
  if (field?.kind === "map" && !level.list) return { field, list, key: !list };
  if (list) return { field, list, key: false };
  return { message: field && schema.message(field.type), list, key: true };
}

function choicesAt(level: Level, typed: string): Choice[] {
  const fits = ({ text }: Choice) => text.toLowerCase().startsWith(typed.toLowerCase());
  if (level.key) {
    return (level.message?.fields ?? []).map((field) => ({
      text: field.jsonName, says: `${field.repeated ? "repeated " : ""}${field.type}`,
    })).filter(fits);
  }
  const values = level.field && schema.enumeration(level.field.type)?.values;
  return (values ?? []).map(({ name, number }) => ({ text: name, says: String(number) }))
    .filter(fits);
}

// Nothing where the caret is not inside a string that names a field or a value.
export function contextAt(type: string, text: string, caret: number): Context | undefined {
  const levels: Level[] = [];
  for (let at = 0; at < caret; at++) {
    const level = levels.at(-1);
    const character = text[at];
    if (character === "{" || character === "[") levels.push(below(level, type, character === "["));
    else if (character === "}" || character === "]") levels.pop();
    else if (character === "," && level) {
      level.key = !level.list;
    } else if (character === ":" && level) level.key = false;
    else if (character === '"') {
      const from = at + 1;
      for (at++; at < text.length && text[at] !== '"' && text[at] !== "\n"; at++) {
        if (text[at] === "\\") at++;
      }
      if (at >= caret) {
        if (!level) return undefined;
        const choices = choicesAt(level, text.slice(from, caret));
        return choices.length > 0 ? { from, to: Math.max(at, caret), choices } : undefined;
      }
      if (level?.key && level.message) {
        level.field = fieldNamed(level.message, text.slice(from, at));
      }
    }
  }
  return undefined;
}
