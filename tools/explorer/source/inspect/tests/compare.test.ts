// Differences are those of `tarn diff`: of golden messages, and of networks whose nodes were
// moved, changed, taken out and put in by chance. CHANGED is how many of these; SEED makes
// others.
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { afterAll, expect, it } from "vitest";
import type { Message, Value } from "../api";
import { bitsOf } from "../bytes";
import { byPlace, compare } from "../compare";
import { decode, encode } from "../message";
import { findType, schema } from "../schema";
import { casesIn, goOn, randomFrom, tarn } from "./tarn";

const CHANGED = Number(process.env.CHANGED ?? 60); // networks
const SEED = Number(process.env.SEED ?? 1);
const folder = mkdtempSync(join(tmpdir(), "explorer-"));
afterAll(() => rmSync(folder, { recursive: true }));

function expectSame(type: string, before: Uint8Array, after: Uint8Array, secrets = false): void {
  const files = [before, after].map((bytes, i) => {
    const file = join(folder, String(i));
    writeFileSync(file, bytes);
    return file;
  });
  const { stdout, stderr } = tarn(["diff", "--json", "--from=binary", type, ...files,
                           ...(secrets ? ["--show-secrets"] : [])]);
  const found = compare(decode(type, before), decode(type, after), secrets);
  expect(found, `${type} ${files}`).toEqual(JSON.parse(stdout).differences);
  expect(byPlace(type, found)).toBe(stderr.includes("are compared by their place"));
}

const read = [...casesIn("valid"), ...casesIn("accepted")];
for (const { name } of schema.messages) {
  it(`${name} differs as tarn says`, async () => {
    const cases = read.filter(({ type }) => type === name);
    const full = cases.find((one) => one.name === "every_field_set") ?? cases[0];
    for (const [i, { bytes }] of cases.entries()) {
      expectSame(name, bytes, cases[(i + 1) % cases.length].bytes, i % 2 === 0);
      if (i % 3 === 0) expectSame(name, full.bytes, bytes);
      await goOn();
    }
  });
}

// All messages inside of one, itself first.
function messagesIn(message: Message): Message[] {
  const held = [...message.fields.values()].flatMap((value) =>
    value instanceof Map ? [] : Array.isArray(value) ? value : [value]);
  return [message, ...held.filter((one): one is Message =>
    typeof one === "object" && "unknown" in one).flatMap(messagesIn)];
}

function changeOne(top: Message, random: (limit: number) => number): void {
  const all = messagesIn(top);
  const lists = all.flatMap(({ fields }) => [...fields.values()])
    .filter((value): value is Value[] => Array.isArray(value));
  const list = lists[random(lists.length)];
  const other = lists[random(lists.length)];
  switch (random(6)) {
    case 0: list.splice(random(list.length), 1); break;
    case 1: if (list.length > 1) list.reverse(); break;
    case 2: list.push(list[random(list.length)]); break;
    case 3: {
      const isWrapper = (value: Value) => typeof value === "object" && "type" in value &&
        value.type === "ChildTypes";
      if (list.length > 0 && list !== other && list.every(isWrapper) && other.every(isWrapper) &&
          !messagesIn(list[0] as Message).some(({ fields }) =>
            [...fields.values()].includes(other))) {
        other.push(list.shift()!);
      }
      break;
    }
    default: {
      const message = all[random(all.length)];
      const { fields } = findType(message.type);
      const field = fields[random(fields.length)];
      if (field.repeated || field.kind === "message") break;
      const value = field.kind === "string" ? ["", "tea", "a b", "x".repeat(120)][random(4)]
        : field.kind === "bool" ? random(2) === 0 : field.kind === "float" ? bitsOf(random(9) / 7)
        : field.kind === "bytes" ? Uint8Array.of(random(256), 0xC3) : random(9);
      message.fields.set(field.number, value);
    }
  }
}

it(`${CHANGED} changed networks differ as tarn says`, async () => {
  const random = randomFrom(SEED);
  const sizes = ["--clients=2", "--displays=2", "--modules=2"];
  for (let i = 0; i < CHANGED; ++i) {
    const hex = tarn(["sample", "network", "--to=hex", `--seed=${SEED + i}`, ...sizes]).stdout;
    const bytes = Uint8Array.from(Buffer.from(hex.replace(/\s/g, ""), "hex"));
    const changed = decode("ModsConfigured", bytes);
    for (let left = 1 + random(5); left > 0; --left) changeOne(changed, random);
    expectSame("ModsConfigured", bytes, encode(changed));
    await goOn();
  }
});
