// What people paste is read as `tarn what` reads it: the inputs are those of its own tests.
import { readdirSync, existsSync, readFileSync } from "node:fs";
import { join } from "node:path";
import { describe, expect, it } from "vitest";
import { toBase64, toHex } from "../bytes";
import { lineAndColumn } from "../json_read";
import { encode } from "../message";
import { read } from "../reading";
import { streamOf } from "../stream";
import { fromText } from "../text_read";
import { escaped } from "../words";
import { casesIn, corpus, fileOf, framed, lines, tarn } from "./tarn";

const folder = join(corpus, "..", "tests", "cli");
const inputs = readdirSync(folder)
  .filter((name) => existsSync(join(folder, name, "stdin")))
  .map((name): [string, Uint8Array] =>
    [name, new Uint8Array(readFileSync(join(folder, name, "stdin")))])
  .filter(([, { length }]) => length > 0 && length < 100_000);

// What tarn finds in these and the page does not yet: digits that are cut off with a mark, dumps
// with words in front of each line or in another order, JSON around messages, other formats.
const notYet = new Set([
  "decode_cut_hex", "decode_text_with_a_cut_mark", "dump_after_times",
  "dump_out_of_order", "from_od_characters",
  "what_cut_base64", "what_cut_dump", "what_cut_hex", "what_cut_in_a_log",
  "what_dump_after_names", "what_dump_in_a_log", "what_dump_of_bits", "what_dump_of_characters",
  "what_dump_of_decimals", "what_dump_out_of_order", "what_gap_inside_text",
  "what_json_around_a_message", "what_json_around_two_messages", "what_json_in_a_string",
  "what_json_list", "what_lost_line_inside_text", "what_tcpdump_of_bytes",
  "what_tcpdump_with_headers", "what_text_cut_off", "what_two_dumps", "what_two_packets",
]);

describe("an input", () => {
  it.each(inputs)("of %s is read as tarn reads it", (name, input) => {
    if (notYet.has(name)) expect(() => isReadAsTarnReadsIt(input)).toThrow();
    else isReadAsTarnReadsIt(input);
  });

  function isReadAsTarnReadsIt(input: Uint8Array) {
    const { stdout, stderr } = tarn(["what", "--json"], input);
    const { readings, error } = read(input);
    const { form, forms, size, frame } = JSON.parse(lines(stdout)[0]);
    if (form !== undefined) {
      expect(error).toBeUndefined();
      expect(readings.map((one) => one.form)).toEqual([form]);
      if (frame === "none" && size !== undefined) expect(readings[0].bytes.length).toBe(size);
      return;
    }
    if (readings.length > 0) return expect(readings.map((one) => one.form)).toEqual(forms);
    const complaint = lines(stderr)[0].replace("tarn: ", "");
    expect(error, complaint).toBeDefined();
    // tarn finds this in the bytes only, so it has no place in the text.
    if (complaint.includes(" of the encoded message")) {
      return expect(complaint).toContain(error!.reason.split(" (")[0]);
    }
    const place = error!.offset === undefined || error!.form === undefined ? ""
      : `${lineAndColumn(Buffer.from(input).toString(), error!.offset)}: `;
    expect(escaped(place + error!.reason, "\\")).toBe(complaint);
  }

  it("is a message of the corpus in each form", () => {
    for (const { type, bytes } of casesIn("valid").filter(({ name }) =>
      name === "every_field_set")) {
      for (const text of [toHex(bytes), toBase64(bytes), `bytes = {${[...bytes].join(", ")}};`]) {
        const { readings } = read(text, [type]);
        expect(readings.map((one) => toHex(one.bytes))).toContain(toHex(bytes));
      }
    }
  });

  it("is text and JSON of the corpus", () => {
    for (const one of casesIn("valid")) {
      const text = readFileSync(fileOf(one, "txtpb"), "utf8");
      expect(encode(fromText(one.type, text)), fileOf(one, "txtpb")).toEqual(one.bytes);
    }
    const [{ bytes, ...one }] = casesIn("valid").filter(({ type, name }) =>
      type === "Server" && name === "every_field_set");
    for (const ending of ["txtpb", "json"]) {
      const { readings } = read(readFileSync(fileOf({ ...one, bytes }, ending), "utf8"));
      expect(readings[0].types).toContain("Server");
      expect(readings[0].bytes).toEqual(bytes);
    }
  });

  it("can be of any size, and hostile", () => {
    for (const text of ["[", "{\"a\":", "0a ", "(((", ">", "\\x", "00000000: 0a\n*\n", "a{"]) {
      read(text.repeat(20_000), ["Server"]);
    }
  }, 60_000);
});

const texts: [string, string][] = [
  ["Server", "nme: 1"], ["Server", "name: 1"], ["Server", "status: comm_eror"],
  ["Server", "error: 2"], ["Server", 'name: "a" name: "b"'], ["Server", "networkId: -2147483649"],
  ["Server", 'name: "\\303("'], ["ChildTypes", "server {} client {}"],
  ["Wifi", 'pass: "***"'], ["Wifi", "ssid: 5"], ["AppStates", "state: [Ready, 3, Redy]"],
];
it.each(texts)("text of %s is refused as tarn does: %s", (type, text) => {
  const { stderr } = tarn(["encode", "--from=text", type], text);
  expect(() => fromText(type, text)).toThrow(/./);
  try {
    fromText(type, text);
  } catch (fault) {
    const [first] = (fault as Error).message.split(" at byte ");
    expect(stderr).toContain(escaped(first.replace(/^invalid UTF-8 in .*/, "invalid UTF-8 in"),
      "\\"));
  }
});

describe("a stream", () => {
  const records = casesIn("valid").filter(({ type }) => type === "Server")
    .map(({ bytes }) => bytes).filter(({ length }) => length > 0);
  const { stream, offsets } = framed(records);

  it("is found, with its records", () => {
    const found = streamOf(stream);
    expect(found.frame).toBe("u32be");
    expect(found.records.map(({ offset }) => offset)).toEqual(offsets);
    expect(found.records.map(({ bytes }) => bytes)).toEqual(records);
    expect(found.error).toBeUndefined();
  });

  it("says where it is cut off, as tarn does", () => {
    for (const size of [stream.length - 1, offsets[1] - 2]) {
      const cut = stream.subarray(0, size);
      const { error } = streamOf(cut, "u32be");
      const { stderr } = tarn(["check", "--frame=u32be", "--from=binary", "Server"], cut);
      expect(lines(stderr).map((line) => line.replace("tarn: standard input: ", "")))
        .toContain(`${error!.path}: byte ${error!.offset}: ${error!.reason}`);
    }
  });

  it("is no message alone", () => {
    expect(streamOf(records[0]).frame).toBe("none");
  });
});
