// What the tests hold the explorer against: the program and the golden messages.
// Environment: TARN is the program, CORPUS the folder of the golden messages.
import { spawnSync } from "node:child_process";
import { readdirSync, readFileSync } from "node:fs";
import { join } from "node:path";
import { afterEach, vi } from "vitest";

vi.setConfig({ testTimeout: 600_000 }); // a busy machine takes its time

export const program = process.env.TARN ?? "tarn";
export const corpus = process.env.CORPUS ?? "../../corpus";

export interface Case { folder: string; type: string; name: string; bytes: Uint8Array }

export function casesIn(folder: string): Case[] {
  const cases: Case[] = [];
  for (const type of readdirSync(join(corpus, folder)).sort()) {
    for (const file of readdirSync(join(corpus, folder, type)).sort()) {
      if (!file.endsWith(".binpb") || file.endsWith(".canonical.binpb")) continue;
      const bytes = new Uint8Array(readFileSync(join(corpus, folder, type, file)));
      cases.push({ folder, type, name: file.replace(".binpb", ""), bytes });
    }
  }
  return cases;
}

export function fileOf(one: Case, ending: string): string {
  return join(corpus, one.folder, one.type, `${one.name}.${ending}`);
}

export const allCases = (): Case[] => ["valid", "accepted", "rejected"].flatMap(casesIn);

export interface Answer { status: number | null; stdout: string; stderr: string }

export function tarn(args: string[], input: Uint8Array | string = ""): Answer {
  const { status, stdout, stderr } = spawnSync(program, args,
    { input, encoding: "utf8", maxBuffer: 1 << 30 });
  return { status, stdout, stderr };
}

// Lets a long test say that it goes on: its runner gives up after a minute without a word.
export const goOn = (): Promise<void> => new Promise((done) => {
  setImmediate(done);
});
afterEach(goOn);

export const json = (args: string[], input?: Uint8Array | string): any =>
  JSON.parse(tarn(args, input).stdout);

// A stream with a length of four bytes before each record, and where each record begins.
export function framed(records: Uint8Array[]): { stream: Uint8Array; offsets: number[] } {
  const size = records.reduce((sum, { length }) => sum + 4 + length, 0);
  const stream = new Uint8Array(size);
  const view = new DataView(stream.buffer);
  const offsets: number[] = [];
  let at = 0;
  for (const record of records) {
    view.setUint32(at, record.length);
    offsets.push(at + 4);
    stream.set(record, at + 4);
    at += 4 + record.length;
  }
  return { stream, offsets };
}

export const lines = (text: string): string[] => text.split("\n").filter(Boolean);

// Numbers below a limit, the same for the same seed.
export function randomFrom(seed: number): (limit: number) => number {
  let state = seed >>> 0;
  return (limit) => {
    state = state + 0x6D2B79F5 >>> 0;
    let bits = Math.imul(state ^ state >>> 15, state | 1);
    bits ^= bits + Math.imul(bits ^ bits >>> 7, bits | 61);
    return ((bits ^ bits >>> 14) >>> 0) % limit;
  };
}
