// A browser with the page in it, and what tests ask of both.
// Environment: PAGE is the page, CORPUS the folder of the golden messages.
import assert from "node:assert/strict";
import { readdirSync, readFileSync } from "node:fs";
import { join, resolve } from "node:path";
import { after, before } from "node:test";
import { pathToFileURL } from "node:url";
import { chromium } from "playwright-core";

export const file = resolve(process.env.PAGE ?? "../explorer.html");
export const address = pathToFileURL(file).href;
const corpus = process.env.CORPUS ?? "../../../corpus";

export const bytesOf = (folder, type, name) =>
  readFileSync(join(corpus, folder, type, `${name}.binpb`));

// Every golden message of a folder, with the reason where it is to be refused.
export function cases(folder) {
  return readdirSync(join(corpus, folder)).sort().flatMap((type) => {
    const names = readdirSync(join(corpus, folder, type));
    return names.filter((name) => name.endsWith(".binpb") && !name.includes(".canonical."))
      .map((name) => name.replace(".binpb", "")).sort()
      .map((name) => ({
        type, name, bytes: bytesOf(folder, type, name),
        reason: folder === "rejected" &&
          readFileSync(join(corpus, folder, type, `${name}.reason`), "utf8").trim(),
      }));
  });
}

export const hashOf = (type, bytes) =>
  `#${type ? `type=${type}&` : ""}bytes=${Buffer.from(bytes).toString("base64url")}`;

// Milliseconds after which a page is taken to hang, on the slowest machine under load.
export const patience = 300_000;

let browser;
before(async () => {
  browser = await chromium.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    timeout: patience,
    args: ["--no-sandbox", "--force-device-scale-factor=1", "--font-render-hinting=none"],
  });
});
after(() => browser.close());

// Waits until the page shows what it was told last. What follows a drawing is done after the
// next frame; what a worker or a walk is at is marked as busy.
export const settled = (page) => page.evaluate(async () => {
  const drawn = () => new Promise((done) => {
    requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(done)));
  });
  do await drawn(); while (document.querySelector("[aria-busy=true]"));
});

// Runs a test with the page at an address; the page says nothing on its console and asks for
// nothing but itself.
export async function withPage(hash, test, options = {}) {
  const context = await browser.newContext({
    viewport: { width: 1280, height: 800 }, reducedMotion: "reduce", ...options,
  });
  context.setDefaultTimeout(patience);
  const page = await context.newPage();
  const said = [], asked = [];
  page.on("console", (message) => said.push(message.text()));
  page.on("pageerror", (error) => said.push(String(error)));
  context.on("request", (request) => asked.push(request.url().replace(/#.*/, "")));
  try {
    await page.goto(address + hash);
    await settled(page);
    await test(page);
    assert.deepEqual(said, []);
    assert.deepEqual(asked.filter((url) => url !== address && !/^(blob|data):/.test(url)), []);
  } finally {
    await context.close();
  }
}

// The page goes to another address as a link in it would.
export async function go(page, hash) {
  await page.evaluate((next) => new Promise((done) => {
    const { href } = location;
    addEventListener("hashchange", done, { once: true });
    location.hash = next;
    if (location.href === href) done();
  }), hash);
  await settled(page);
}

export async function paste(page, text) {
  const box = page.getByLabel("Bytes to inspect");
  await box.fill("");
  await box.evaluate((element, data) => {
    const clipboardData = new DataTransfer();
    clipboardData.setData("text", data);
    element.focus();
    element.dispatchEvent(new ClipboardEvent("paste",
      { clipboardData, bubbles: true, cancelable: true }));
  }, text);
  await settled(page);
}

export async function example(page, title) {
  await page.getByLabel("Examples").selectOption({ label: title });
  await settled(page);
}

export async function tab(page, name) {
  await page.getByRole("tab", { name, exact: true }).click();
  await settled(page);
}

export const typeOf = (page) => page.locator(".type-line select").inputValue();

export async function waitForType(page, type) {
  await page.waitForFunction((name) =>
    document.querySelector(".type-line select").value === name, type);
  await settled(page);
}

// Waits until the page has read so many bytes, of a file or of a link.
export async function waitForSize(page, size) {
  await page.waitForFunction((words) =>
    document.querySelector(".size").textContent.startsWith(words),
  `${size.toLocaleString("en")} byte`);
  await settled(page);
}

// A network of servers, of so many bytes.
export function manyServers(size) {
  const server = bytesOf("valid", "Server", "every_field_set");
  const one = Buffer.concat([Buffer.from("0a89010a8601", "hex"), server]);
  return Buffer.concat(Array(Math.ceil(size / one.length)).fill(one));
}

// How many frames the page draws while something is done to it, and the longest of them in
// milliseconds.
export async function framesOf(page, act) {
  await page.evaluate(() => {
    const frames = globalThis.frames = { count: 0, longest: 0 };
    let before = performance.now();
    const frame = (now) => {
      frames.count++;
      frames.longest = Math.max(frames.longest, now - before);
      before = now;
      if (frames === globalThis.frames) requestAnimationFrame(frame);
    };
    requestAnimationFrame(frame);
  });
  await act();
  await settled(page);
  return page.evaluate(() => globalThis.frames);
}

// The part of a second picture's points that differ from those of the first.
export async function difference(first, second) {
  const page = await browser.newPage();
  try {
    return await page.evaluate(async (pictures) => {
      const [a, b] = await Promise.all(pictures.map(async (data) => {
        const image = new Image();
        image.src = `data:image/png;base64,${data}`;
        await image.decode();
        const canvas = new OffscreenCanvas(image.width, image.height);
        const context = canvas.getContext("2d");
        context.drawImage(image, 0, 0);
        return context.getImageData(0, 0, image.width, image.height);
      }));
      if (a.width !== b.width || a.height !== b.height) return 1;
      let differ = 0;
      for (let at = 0; at < a.data.length; at += 4) {
        const far = [0, 1, 2].some((i) => Math.abs(a.data[at + i] - b.data[at + i]) > 48);
        if (far) differ++;
      }
      return differ / (a.data.length / 4);
    }, [first.toString("base64"), second.toString("base64")]);
  } finally {
    await page.close();
  }
}
