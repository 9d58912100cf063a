// The page in Firefox: its views, input, a message that takes the worker, and silence.
// Environment: as for browser.mjs; FIREFOX is the program.
import assert from "node:assert/strict";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { pathToFileURL } from "node:url";
import playwright from "playwright-core";
import { bytesOf, file, go, hashOf, patience, settled, tab, waitForSize, waitForType }
  from "./browser.mjs";

// A copy whose policy lets the driver ask: it does so by eval(), which Firefox 140 holds to
// the policy of the page.
const folder = mkdtempSync(join(tmpdir(), "explorer-"));
const copy = join(folder, "explorer.html");
const policy = "script-src 'unsafe-eval' ";
writeFileSync(copy, readFileSync(file, "utf8").replace("script-src ", policy));
const address = pathToFileURL(copy).href;

let browser;
before(async () => {
  assert.ok(readFileSync(copy, "utf8").includes(`; ${policy}'sha256-`));
  browser = await playwright._bidiFirefox.launch({
    executablePath: process.env.FIREFOX ?? "/usr/bin/firefox-esr",
    timeout: patience,
  });
});
after(async () => {
  await browser.close();
  rmSync(folder, { recursive: true });
});

test("Firefox shows the page, and has nothing to say", async () => {
  const page = await browser.newPage();
  page.setDefaultTimeout(patience);
  const said = [], asked = [];
  page.on("console", (message) => said.push(message.text()));
  page.on("pageerror", (error) => said.push(String(error)));
  page.on("request", (request) => asked.push(request.url().replace(/#.*/, "")));
  await page.goto(address);
  await waitForType(page, "ModsConfigured");
  assert.match(await page.locator(".verdict").innerText(), /^accepted$/);

  await page.locator('.cells [data-offset="11"]').hover();
  await settled(page);
  assert.match(await page.locator("#pointed").innerText(), /^Byte 11, value of/);
  await page.locator(".bytes").press("Delete");
  await settled(page);
  assert.match(await page.locator(".verdict").innerText(), /refused/);
  await page.getByRole("button", { name: "Undo" }).click();
  await settled(page);
  for (const name of await page.getByRole("tab").allInnerTexts()) {
    await tab(page, name);
    assert.ok(await page.locator("#pane > *").count() > 0, name);
  }

  const server = bytesOf("valid", "Server", "every_field_set");
  await page.evaluate((bytes) => {
    const dataTransfer = new DataTransfer();
    dataTransfer.items.add(new File([Uint8Array.from(bytes)], "many.bin"));
    document.body.dispatchEvent(new DragEvent("drop",
      { dataTransfer, bubbles: true, cancelable: true }));
  }, [...Buffer.alloc(100_000, server)]);
  await waitForSize(page, 100_000);

  await go(page, hashOf("Price", Buffer.from("0802", "hex")));
  await waitForType(page, "Price");
  await go(page, "Server.status");
  await page.waitForFunction(() => document.activeElement.id === "Server.status");
  await go(page, "map");
  await page.locator(".map a").first().waitFor();
  const wide = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
  assert.ok(wide <= 0, `${wide} pixels too wide`);
  assert.deepEqual(said, []);
  assert.deepEqual(asked.filter((url) => url !== address && !/^(blob|data):/.test(url)), []);
});
