// Every span and every error is the one that `tarn annotate` shows, for the golden
// messages and for broken ones. BROKEN is how many of these; SEED makes others.
import { readFileSync } from "node:fs";
import { describe, expect, it } from "vitest";
import { schema } from "../schema";
import { startWalk, walk } from "../spans";
import { allCases, casesIn, fileOf, framed, goOn, lines, randomFrom, tarn, type Case }
  from "./tarn";

const BROKEN = Number(process.env.BROKEN ?? 6000);
const SEED = Number(process.env.SEED ?? 1);

function grouped(cases: Case[]): Map<string, Uint8Array[]> {
  const groups = new Map<string, Uint8Array[]>();
  for (const { type, bytes } of cases) {
    groups.set(type, [...groups.get(type) ?? [], bytes]);
  }
  return groups;
}

// Compares all records of a type, as one stream.
function compare(type: string, records: Uint8Array[], showSecrets: boolean): void {
  const { stream, offsets } = framed(records);
  const args = ["annotate", "--json", "--from=binary", "--frame=u32be", "--keep-going", type];
  const { stdout, stderr } = tarn(showSecrets ? [...args, "--show-secrets"] : args, stream);
  const answers = lines(stdout);
  expect(answers.length).toBe(records.length);
  const errors: string[] = [];
  records.forEach((bytes, i) => {
    const options = { showSecrets, offset: offsets[i] };
    const found = walk(type, bytes, options);
    expect(found.spans, `${type} ${[...bytes]}`).toEqual(JSON.parse(answers[i]).spans);
    for (const { offset, path, reason } of found.errors) {
      errors.push(`record ${i + 1}: byte ${offset}: ${path && `${path}: `}${reason}`);
    }
  });
  const expected = lines(stderr).filter((line) => !line.includes(": these bytes look "))
    .map((line) => line.replace("tarn: standard input: ", ""));
  expect(errors).toEqual(expected);
}

// Breaks a message by chance: its bits, its lengths, its end, its parts.
function broken(all: Case[], random: (limit: number) => number): Case {
  const one = all[random(all.length)];
  let bytes = [...one.bytes.subarray(0, 4096)];
  const odd = [0x00, 0x01, 0x7F, 0x80, 0xFF, 0x0B, 0x0C, 0x07, 0x04];
  for (let left = 1 + random(3); left > 0; --left) {
    const at = random(bytes.length + 1);
    const other = [...all[random(all.length)].bytes.subarray(0, 64)];
    switch (random(8)) {
      case 0: bytes[at] = (bytes[at] ?? 0) ^ 1 << random(8); break;
      case 1: bytes = bytes.slice(0, at); break;
      case 2: bytes.splice(at, 1 + random(4)); break;
      case 3: bytes.splice(at, 0, ...Array.from({ length: 1 + random(4) }, () => random(256)));
        break;
      case 4: bytes.splice(at, 0, ...other); break;
      case 5: bytes.splice(at, 1, odd[random(odd.length)]); break;
      case 6: bytes.splice(at, 0, ...Array(1 + random(11)).fill(0x80 + random(128))); break;
      case 7: bytes = [0x0A, random(256), ...bytes, ...other]; break;
    }
  }
  const types = schema.messages;
  const type = random(4) === 0 ? types[random(types.length)].name : one.type;
  return { ...one, type, bytes: Uint8Array.from(bytes.map((byte) => byte ?? 0)) };
}

describe("the walk", () => {
  for (const [type, records] of grouped(allCases())) {
    it(`says of ${type} what tarn says`, () => {
      compare(type, records, false);
      if (type === "Wifi" || type === "TestUpdateMsg") compare(type, records, true);
    });
  }

  it(`says of ${BROKEN} broken messages what tarn says`, async () => {
    const all = allCases();
    const random = randomFrom(SEED);
    for (let done = 0; done < BROKEN; done += 20000) {
      const count = Math.min(20000, BROKEN - done);
      const cases = Array.from({ length: count }, () => broken(all, random));
      for (const [type, records] of grouped(cases)) {
        compare(type, records, type === "Price");
        await goOn();
      }
    }
  }, 3_600_000);

  it("refuses a million levels and needs no stack for them", () => {
    const bytes = new Uint8Array(2_000_000).fill(0x0B);
    expect(walk("Price", bytes).errors[0].problem).toBe("tooDeep");
  });

  it("names the reason that the golden messages have", () => {
    for (const one of casesIn("rejected")) {
      const [{ word }] = walk(one.type, one.bytes).errors;
      expect(`${word}\n`, fileOf(one, "reason")).toBe(readFileSync(fileOf(one, "reason"), "utf8"));
    }
  });

  it("can be done in parts", () => {
    const { type, bytes } = allCases().find(({ name }) => name === "every_field_set")!;
    const parts = startWalk(type, bytes);
    let steps = 0;
    while (!parts.step(1)) ++steps;
    expect(steps).toBeGreaterThan(1);
    expect(parts.spans).toEqual(walk(type, bytes).spans);
    expect(parts.read).toBe(bytes.length);
  });

  it("takes time that is linear in a list of a million numbers", () => {
    const bytes = new Uint8Array(1_000_005);
    bytes.set([0x0A, 0xC0, 0x84, 0x3D]);
    const list = startWalk("AppStates", bytes.subarray(0, 1_000_004));
    let steps = 0;
    while (!list.step(10_000)) ++steps;
    expect(steps).toBe(100);
    expect(list.spans.length).toBe(1_000_001);
  });
});
