// What is exported becomes the same message again.
import { execFileSync } from "node:child_process";
import { mkdtempSync, readdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { expect, it } from "vitest";
import { toHex } from "../bytes";
import { toCArray, toCorpusCase, toCpp } from "../exports";
import { decode } from "../message";
import { read } from "../reading";
import { allCases, casesIn } from "./tarn";

const valid = casesIn("valid");

it("an array in C is read as the bytes", () => {
  for (const { type, bytes } of valid.filter(({ bytes }) => bytes.length > 0)) {
    const { readings } = read(toCArray(type, bytes).split("\n").slice(1).join("\n"), [type]);
    expect(readings.map(({ form }) => form)).toEqual(["source"]);
    expect(readings[0].bytes).toEqual(bytes);
  }
});

// CXX is the compiler, LIBRARY the build folder with the headers and the library.
it.runIf(process.env.LIBRARY)("a function in C++ makes the bytes", () => {
  const build = process.env.LIBRARY!;
  const folder = mkdtempSync(join(tmpdir(), "explorer-"));
  const cases = allCases().filter(({ folder: kind, name, bytes }) => kind !== "rejected" &&
    bytes.length < 5000 && !/nan|payload/i.test(name));
  const sources = cases.map(({ type, bytes }, i) =>
    `namespace case${i} {\n${toCpp(decode(type, bytes)).replace(/^#include.*\n/gm, "")}}\n`);
  const calls = cases.map(({ type }, i) => `  Print(case${i}::Make${type}());\n`);
  writeFileSync(join(folder, "all.cc"), `#include <cstdio>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/unknown_field_set.h>
#include <limits>
#include <tarn/Tarn.pb.h>
#include <tarn/Network.pb.h>
${sources.join("")}
static void Print(const google::protobuf::Message& message) {
  std::string bytes;
  {
    google::protobuf::io::StringOutputStream stream(&bytes);
    google::protobuf::io::CodedOutputStream coded(&stream);
    coded.SetSerializationDeterministic(true);
    message.SerializeToCodedStream(&coded);
  }
  for (unsigned char byte : bytes) std::printf("%02x ", byte);
  std::printf("\\n");
}
int main() {
${calls.join("")}}
`);
  try {
    const program = join(folder, "all");
    execFileSync(process.env.CXX ?? "c++", ["-std=c++17", "-O0", `-I${build}/generated`,
      join(folder, "all.cc"), "-o", program, `-L${build}`, "-lschema", "-lprotobuf",
      `-Wl,-rpath,${build}`]);
    const lines = execFileSync(program, { encoding: "utf8", maxBuffer: 1 << 28 }).split("\n");
    cases.forEach(({ type, name, bytes }, i) => {
      const made = Uint8Array.from(Buffer.from(lines[i].replaceAll(" ", ""), "hex"));
      expect(toCpp(decode(type, made)), `${type}/${name}`).toBe(toCpp(decode(type, bytes)));
    });
  } finally {
    rmSync(folder, { recursive: true });
  }
});

// MAKE_CORPUS is the program that makes golden messages of cases, CASES the kept cases.
it.runIf(process.env.MAKE_CORPUS)("a case of the golden messages makes the bytes", () => {
  const folder = mkdtempSync(join(tmpdir(), "explorer-"));
  const kept = process.env.CASES!;
  const { type, bytes } = valid.find((one) => one.name === "every_field_set")!;
  try {
    for (const file of readdirSync(kept).filter((name) => name.endsWith(".txt"))) {
      writeFileSync(join(folder, file), readFileSync(join(kept, file)));
    }
    const file = join(folder, `${type}.txt`);
    const added = toCorpusCase(type, "made_by_the_explorer", bytes.subarray(0, -1));
    writeFileSync(file, `${readFileSync(file, "utf8")}\n${added}`);
    execFileSync(process.env.MAKE_CORPUS!, [folder, join(folder, "made")]);
    expect(added).toMatch(/^rejected/);
    const made = join(folder, "made", "rejected", type, "made_by_the_explorer.binpb");
    expect(toHex(new Uint8Array(readFileSync(made)))).toBe(toHex(bytes.subarray(0, -1)));
  } finally {
    rmSync(folder, { recursive: true });
  }
});

it("a case says what the golden messages say", () => {
  for (const { folder, type, name, bytes } of allCases()) {
    const [head, ...rest] = toCorpusCase(type, name, bytes).split("\n");
    const kinds = folder === "rejected" ? ["rejected"] : ["valid", "accepted"];
    expect(kinds).toContain(head.split(" ")[0]);
    if (bytes.length > 0) expect(rest[0]).toBe(`  \`${toHex(bytes).toUpperCase()}\``);
  }
});
