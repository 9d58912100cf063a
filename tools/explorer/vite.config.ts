// Builds the page as one file: script, style and fonts stand in it, and its policy
// lets only these run. Nothing can be fetched or sent.
import { createHash } from "node:crypto";
import { readdirSync, readFileSync } from "node:fs";
import { join } from "node:path";
import type { Plugin } from "vite";
import { defineConfig } from "vitest/config";

const corpus = process.env.CORPUS ?? "../../corpus";

// The golden message that explains each type best: the one with every field, or of a
// type that has no such case, one with a field, or the longest.
function examples(): Record<string, { case: string; bytes: string }> {
  const valid = join(corpus, "valid");
  return Object.fromEntries(readdirSync(valid).sort().map((type) => {
    const cases = readdirSync(join(valid, type)).filter((name) => name.endsWith(".binpb")).sort()
      .map((name) => ({ name, bytes: readFileSync(join(valid, type, name)) }))
      .filter(({ name, bytes }) => name === "every_field_set.binpb" || bytes.length <= 120);
    const plain = ({ name }: { name: string }) => Number(!name.startsWith("only_"));
    cases.sort((a, b) => plain(a) - plain(b) || b.bytes.length - a.bytes.length);
    const best = cases.find(({ name }) => name === "every_field_set.binpb") ?? cases[0];
    return [type, { case: best.name.replace(".binpb", ""), bytes: best.bytes.toString("base64") }];
  }));
}

function corpusExamples(): Plugin {
  return {
    name: "corpus-examples",
    resolveId: (id) => (id === "virtual:examples" ? `\0${id}` : undefined),
    load: (id) => (id === "\0virtual:examples"
      ? `export default ${JSON.stringify(examples())}` : undefined),
  };
}

const hash = (text: string) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;

function oneFile(): Plugin {
  return {
    name: "one-file",
    enforce: "post",
    generateBundle(_, bundle) {
      let script = "", style = "";
      for (const [name, part] of Object.entries(bundle)) {
        if (part.type === "chunk") script += part.code;
        else if (name.endsWith(".css")) style += part.source;
        else continue;
        delete bundle[name];
      }
      // An end tag inside a string would end the element.
      script = script.trim().replaceAll("</script", "<\\/script");
      const policy = `default-src 'none'; script-src ${hash(script)}; ` +
        `style-src ${hash(style)}; font-src data:; img-src data:; worker-src blob:; ` +
        "base-uri 'none'; form-action 'none'";
      const page = Object.values(bundle).find((part) => part.fileName.endsWith(".html"));
      if (page?.type !== "asset") throw new Error("no page in the bundle");
      page.source = String(page.source)
        .replace(/\s*<script [^>]*><\/script>/g, "")
        .replace(/\s*<link rel="stylesheet"[^>]*>/g, "")
        .replace("POLICY", () => policy)
        .replace("</head>", () => `<style>${style}</style>\n</head>`)
        .replace("</body>", () => `<script type="module">${script}</script>\n</body>`);
    },
  };
}

export default defineConfig({
  root: "source/page",
  plugins: [corpusExamples(), oneFile()],
  esbuild: { jsx: "automatic", jsxImportSource: "preact" },
  build: {
    outDir: "../../dist",
    emptyOutDir: true,
    target: "es2022",
    cssTarget: "esnext",
    assetsInlineLimit: Infinity,
    modulePreload: false,
    cssCodeSplit: false,
  },
  test: { root: ".", include: ["source/**/*.test.ts", "source/**/*_test.ts"] },
});
