// Input of somebody who means harm, or of chance: nothing runs, nothing breaks, and
// what is shown can be seen.
import assert from "node:assert/strict";
import { test } from "node:test";
import { example, go, hashOf, paste, tab, waitForSize, waitForType, withPage } from "./browser.mjs";

const markup = '"><img src=x onerror="document.title=1"><script>document.title=1</script>';
const unseen = "abc\u202egnp.exe\u2066\u0007\u001b[31m\u2028\u200b";

// Every view of what is shown now.
async function eachTab(page, look) {
  for (const name of await page.getByRole("tab").allInnerTexts()) {
    await tab(page, name);
    await look(name);
  }
}

const inputs = {
  "a node": (text) => ({ modsConfigured: [{ server: {
    name: text, uuid: text, status: "comm_error", port: text } }] }),
  "a part of a report": (text) => ({ statusPacket: { [text]: "comm_error" } }),
};

for (const [where, inputOf] of Object.entries(inputs)) {
  test(`markup in the name of ${where} is text`, () => withPage("", async (page) => {
    await paste(page, JSON.stringify(inputOf(markup)));
    await waitForType(page, where === "a node" ? "ModsConfigured" : "NetworkStatusReport");
    await eachTab(page, async () => {
      assert.equal(await page.locator("main :is(img, script)").count(), 0);
    });
    assert.match(await page.title(), /tarn explorer/);
  }));

  test(`the name of ${where} shows what cannot be seen`, () => withPage("", async (page) => {
    await paste(page, JSON.stringify(inputOf(unseen)));
    await waitForType(page, where === "a node" ? "ModsConfigured" : "NetworkStatusReport");
    const shown = [];
    await eachTab(page, async () => {
      const text = await page.locator("main").innerText();
      assert.doesNotMatch(text, /[\u0000-\u0008\u001b\u2028\u202a-\u202e\u2066-\u2069\u200b]/);
      shown.push(text);
    });
    assert.ok(shown.join().includes("abc\\xe2\\x80\\xaegnp.exe"));
  }));
}

test("an address that is broken or enormous is refused, and the page goes on", () =>
  withPage(`#${"A".repeat(200_000)}`, async (page) => {
    const said = page.locator("main > .complaint");
    assert.ok((await said.innerText()).length < 200);
    for (const hash of ["#%", "#%E2%80%AEabc", `#type=${"A".repeat(100_000)}`, "#bytes=A", "#=",
      "#type=__proto__", "#constructor", "#type=Server&bytes=%3Cscript%3E",
      `#<img src=x onerror="document.title=1">`]) {
      await go(page, hash);
      const words = await said.innerText();
      assert.ok(words.length > 15 && words.length < 200, hash);
      assert.doesNotMatch(words, /\u202e/);
      assert.equal(await page.locator("main img").count(), 0);
    }
    await go(page, hashOf("Price", Buffer.from("0802", "hex")));
    await waitForType(page, "Price");
    assert.equal(await said.count(), 0);
  }));

const open = (page, bytes) => page.getByLabel("File", { exact: true })
  .setInputFiles({ name: "capture.bin", mimeType: "", buffer: Buffer.from(bytes) });

for (const [what, bytes] of Object.entries({
  "noise": Uint8Array.from({ length: 2_000_000 }, (_, at) => Math.imul(at, 2654435761) >>> 23),
  "groups in groups": Buffer.alloc(1_000_000, 0x0b),
  "records in records": Buffer.alloc(1_000_000, "3affffff07", "hex"),
  "a text without an end": Buffer.concat([Buffer.from("0afeffff07", "hex"),
    Buffer.alloc(1_000_000, "a")]),
})) {
  test(`${what}: every view says something`, () => withPage("", async (page) => {
    await open(page, bytes);
    await waitForSize(page, bytes.length);
    assert.match(await page.locator(".verdict").innerText(), /refused/);
    await eachTab(page, async (name) =>
      assert.ok((await page.locator("#pane").innerText()).length > 20, name));
    assert.ok(await page.locator("main *").count() < 4000);
  }));
}

for (const [what, text] of Object.entries({
  "objects in objects": '{"modsConfigured":[{"server":{"children":['.repeat(20_000),
  "lists in lists": "[".repeat(500_000),
  "messages in messages": "server{".repeat(200_000),
})) {
  test(`${what} are refused, or read as what they may be`, () => withPage("", async (page) => {
    await example(page, "Broken bytes: bad text, then cut off");
    await waitForType(page, "Server");
    await paste(page, text);
    const complaint = await page.locator(".input-complaint").innerText();
    const size = await page.locator(".size").innerText();
    assert.ok(complaint !== "" || size.startsWith(`${text.length.toLocaleString("en")} `), size);
  }));
}
