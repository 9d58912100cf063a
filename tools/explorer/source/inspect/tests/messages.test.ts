// Messages, JSON, trees, reports and candidates are those of the golden messages and of
// `tarn`.
import { existsSync, readFileSync } from "node:fs";
import { describe, expect, it } from "vitest";
import type { InputFault } from "../api";
import { toBase64 } from "../bytes";
import { fromJson, lineAndColumn } from "../json_read";
import { toJson } from "../json_write";
import { decode, encode } from "../message";
import { holdsNodes, tree } from "../nodes";
import { hintFor } from "../mismatch";
import { rank, verdict } from "../rank";
import { findType, schema } from "../schema";
import { status } from "../status";
import { escaped } from "../words";
import { allCases, casesIn, fileOf, framed, json, lines, tarn } from "./tarn";

const read = [...casesIn("valid"), ...casesIn("accepted")];

describe("a message", () => {
  it("is written back as its canonical bytes", () => {
    for (const one of read) {
      const kept = fileOf(one, "canonical.binpb");
      const canonical = existsSync(kept) ? new Uint8Array(readFileSync(kept)) : one.bytes;
      expect(encode(decode(one.type, one.bytes)), fileOf(one, "binpb")).toEqual(canonical);
    }
  });

  it("is refused with the path and the reason", () => {
    for (const { type, bytes } of casesIn("rejected")) {
      expect(() => decode(type, bytes)).toThrow(/./);
    }
    expect(() => decode("Server", Uint8Array.of(0x0A)))
      .toThrow("name: cut off inside tarn.Server.name");
  });

  it("is the JSON that tarn writes, on one line and on several", () => {
    for (const { name } of schema.messages) {
      const records = read.filter(({ type }) => type === name).map(({ bytes }) => bytes);
      const args = ["decode", "--to=json", "--frame=u32be", "--from=binary", name];
      const { stream } = framed(records);
      const messages = records.map((bytes) => decode(name, bytes));
      expect(messages.map((message) => toJson(message)))
        .toEqual(lines(tarn(args, stream).stdout));
      const pretty = messages.map((message) => `${toJson(message, { pretty: true })}\n`);
      expect(pretty.join("")).toBe(tarn([...args, "--pretty"], stream).stdout);
      const shown = messages.map((message) => toJson(message, { showSecrets: true }));
      expect(shown).toEqual(lines(tarn([...args, "--show-secrets"], stream).stdout));
    }
  });
});

describe("JSON", () => {
  it("of the golden messages is read as their bytes", () => {
    for (const one of casesIn("valid")) {
      const text = readFileSync(fileOf(one, "json"), "utf8");
      expect(encode(fromJson(one.type, text)), fileOf(one, "json")).toEqual(one.bytes);
    }
  });

  const texts: [string, string][] = [
    ["Server", '{"name":5}'], ["Server", '{"name":"\\x"}'], ["Server", '{"children":[null]}'],
    ["Server", '{"name":"\\ud800"}'], ["Server", '{"error":"yes", "status":"OK"}'],
    ["Server", '{"status":1.0}'], ["Server", '{"error":1}'], ["Server", '{"networkId":1.5}'],
    ["Server", '{"name":"a",}'], ["Server", '{"n\\u0061me":"a"}'], ["Server", "{'name':1}"],
    ["Server", '{"name":"\t"}'], ["Server", '{"status":"comm_eror"}'], ["Server", '{"nme":1}'],
    ["Server", "[]"], ["Server", '{"networkId":01}'], ["Server", '{"networkId":"+01"}'],
    ["Server", '{"networkId":1e1}'], ["Server", '{"name":nul}'], ["Server", '{"children":{}}'],
    ["Server", '{"name":[]}'], ["Server", '{"name":"a","name":"b"}'], ["Server", '{"name"}'],
    ["Server", '{"name":"a"} x'], ["Server", '{"name":"a'], ["Server", '\n\n {"é":1}'],
    ["Server", '{"networkId":2147483648}'], ["Server", '{"networkId":"-2147483648"}'],
    ["ChildTypes", '{"server":{},"client":{}}'], ["ChildTypes", '{"server":null,"client":{}}'],
    ["ChildTypes", '{"server":1}'], ["AppStates", '{"state":"idle"}'], ["AppStates", '{"state":1}'],
    ["AppStates", '{"state":["Ready",77,"2"]}'], ["AppStates", '{"state":["77"]}'],
    ["AppStates", '{"state":[[1]]}'], ["NetworkStatusReport", '{"statusPacket":{"a":null}}'],
    ["NetworkStatusReport", '{"statusPacket":[]}'], ["Wifi", '{"pass":"***"}'],
    ["Wifi", '{"pass":"\\u002a**"}'], ["Wifi", '{"past":1}'], ["Wifi", '{"pass":1}'],
    ["ClientStatusMsg", '{"rx_signal_str_db":-0}'],
    ["ClientStatusMsg", '{"rx_signal_str_db":"NaN"}'],
    ["ClientStatusMsg", '{"rx_signal_str_db":1e39}'],
    ["FileMessage", '{"data":"_w"}'], ["FileMessage", '{"data":"_w=="}'],
    ["FileMessage", '{"data":"_x"}'],
    ["BaseMsg", '{"a":'.repeat(200)], ["Server", `{"@unknown":${"[".repeat(500)}}`],
  ];
  it.each(texts)("of %s is taken or refused as tarn does: %s", (type, text) => {
    const { stdout, stderr } = tarn(["encode", "--from=json", "--to=base64", type], text);
    const complaint = stderr.replace("tarn: standard input: ", "").trim();
    let bytes: Uint8Array = new Uint8Array();
    let refused = "";
    try {
      bytes = encode(fromJson(type, text));
    } catch (fault) {
      const { reason, offset } = fault as InputFault;
      refused = escaped(`${lineAndColumn(text, offset)}: ${reason}`, "\\");
    }
    expect(refused).toBe(complaint);
    if (refused === "") expect(toBase64(bytes)).toBe(stdout.trim());
  });

  it("that tarn writes with unknown fields is taken without them", () => {
    const text = '{"name":"a","@unknown":[{"path":"15","wireType":"varint","value":"1"}]}';
    expect([...encode(fromJson("Server", text))]).toEqual([0x0A, 0x01, 0x61]);
  });
});

describe("a network", () => {
  for (const { name } of schema.messages.filter(({ name }) => holdsNodes(findType(name)))) {
    it(`in ${name} is the tree that tarn draws`, () => {
      const records = read.filter(({ type }) => type === name).map(({ bytes }) => bytes);
      const args = ["tree", "--json", "--frame=u32be", "--from=binary", `--type=${name}`];
      const answers = lines(tarn(args, framed(records).stream).stdout);
      records.forEach((bytes, i) => {
        const { below, children } = JSON.parse(answers[i]);
        expect(withoutWell(tree(decode(name, bytes)))).toEqual({ below, children });
      });
    });
  }

  it("of a sample is the tree that tarn draws", () => {
    const sample = json(["sample", "network", "--to=json"]);
    const bytes = Buffer.from(tarn(["encode", "ModsConfigured", "--to=base64"],
      JSON.stringify(sample)).stdout, "base64");
    const { below, children } = json(["tree", "--json"], bytes);
    expect(withoutWell(tree(decode("ModsConfigured", bytes)))).toEqual({ below, children });
  });

  it("has only types with nodes", () => {
    expect(() => tree(decode("Price", new Uint8Array()))).toThrow("Price holds no nodes");
  });
});

function withoutWell(value: any): any {
  if (Array.isArray(value)) return value.map(withoutWell);
  if (typeof value !== "object" || value === null) return value;
  return Object.fromEntries(Object.entries(value)
    .filter(([key]) => key !== "well").map(([key, held]) => [key, withoutWell(held)]));
}

it("a status report has the rows of tarn, the worst first", () => {
  const records = read.filter(({ type }) => type === "NetworkStatusReport")
    .map(({ bytes }) => bytes);
  const args = ["status", "--json", "--frame=u32be", "--from=binary", "--keep-going"];
  const answers = lines(tarn(args, framed(records).stream).stdout).map((line) => JSON.parse(line));
  const reports = records.map((bytes) => status(decode("NetworkStatusReport", bytes)));
  expect(reports).toEqual(answers.map(({ parts, priceLifecycle }) => ({ parts, priceLifecycle })));
});

it("candidates are those of tarn, in its order and with its reasons", () => {
  const cases = allCases().filter(({ bytes }) => bytes.length > 0);
  const { stream, offsets } = framed(cases.map(({ bytes }) => bytes));
  const args = ["guess", "--all", "--from=binary", "--frame=u32be", "--keep-going"];
  const answers = lines(tarn([...args, "--json"], stream).stdout).map((line) => JSON.parse(line));
  const printed = tarn(args, stream).stdout.split(/^record .*\n/m).slice(1);
  cases.forEach(({ bytes }, i) => {
    const found = rank(bytes);
    expect(found.map(({ rank, type, accepted, errorOffset, fields }) => ({
      rank, type: `tarn.${type}`, accepted, fields,
      ...(errorOffset !== undefined && { errorOffset: errorOffset + offsets[i] }),
    }))).toEqual(answers[i].candidates.map((one: any) => ({
      rank: one.rank, type: one.type, accepted: one.accepted, fields: one.fields,
      ...("errorOffset" in one && { errorOffset: one.errorOffset }),
    })));
    expect(found.map(({ type, reasons }) => `${type} ${reasons}`))
      .toEqual(lines(printed[i]).map((line) => line.trim().split(/ +/).slice(1).join(" ")));
  });
});

it("a clean sample has one verdict, and damage has none", () => {
  const [{ bytes }] = casesIn("valid").filter(({ type, name }) =>
    type === "NetworkStatusReport" && name === "every_field_set");
  expect(verdict(bytes)).toEqual(["NetworkStatusReport"]);
  expect(verdict(Uint8Array.of(0x0F))).toEqual([]);
});

describe("the hint of tarn", () => {
  const check = (type: string, bytes: Uint8Array): string | undefined => {
    const { types, frame } = hintFor(type, bytes) ?? {};
    const words = types
      ? `more like ${types.join(", ").replace(/, (\w+)$/, " or $1")} than like ${type}`
      : frame && `like a stream, of messages with their lengths in front: see --frame ${frame}`;
    const { stderr } = tarn(["annotate", "--from=binary", type], bytes);
    expect(stderr.match(/these bytes look ((more like|like a stream).*)/)?.[1]).toBe(words);
    return words;
  };

  it.each(["Server", "NetworkStatusReport"])("is what other messages get as %s", (type) => {
    const others = schema.messages.map(({ name }) =>
      read.find((one) => one.type === name && one.bytes.length > 0)!);
    expect(others.filter(({ bytes }) => check(type, bytes)).length).toBeGreaterThan(10);
  });

  it("is what a stream gets", () => {
    const prices = read.filter(({ type, bytes }) => type === "Price" && bytes.length > 0);
    expect(check("Price", framed(prices.map(({ bytes }) => bytes)).stream)).toMatch(/u32be/);
  });
});
