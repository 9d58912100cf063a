// The whole page in a browser: reference, map, every golden message, broken and large
// inputs, keyboard, accessibility, silence, and how it looks.
// Environment: as for browser.mjs; UPDATE=1 keeps new pictures.
import assert from "node:assert/strict";
import { readFileSync, statSync, writeFileSync } from "node:fs";
import { test } from "node:test";
import { cases, difference, example, file, framesOf, go, hashOf, manyServers, paste, settled,
  tab, typeOf, waitForType, withPage } from "./browser.mjs";

const axe = readFileSync(new URL(import.meta.resolve("axe-core/axe.min.js")), "utf8");
const refusals = {
  cutOff: /^(truncated|length_past_end|group_not_closed)$/,
  pastEnd: /^(truncated|length_past_record)$/,
  longVarint: /^varint_too_long$/, longTag: /^key_too_long$/, longLength: /^length_too_long$/,
  badUtf8: /^tarn\./, tooDeep: /^too_deep$/, endGroup: /^(end_group|group_mismatch)$/,
  openGroup: /^group_not_closed$/, zeroNumber: /^(zero_key|zero_field_number)$/,
  noSuchWireType: /^bad_wire_type$/,
};

test("the page is one file below 400 KB that names no other", () => {
  assert.ok(statSync(file).size < 400_000);
  const text = readFileSync(file, "utf8");
  assert.match(text, /default-src 'none'/);
  assert.doesNotMatch(text, /<(script|link|img|iframe)[^>]* (src|href)="(?!data:)/);
});

test("nothing can be asked of a network", () => withPage("", async (page) => {
  const tried = await page.evaluate(async () => {
    const violation = new Promise((done) => {
      addEventListener("securitypolicyviolation", (event) => done(event.effectiveDirective));
    });
    const failed = await fetch("https://192.0.2.1/").catch((error) => error.name);
    return [failed, await violation];
  });
  assert.deepEqual(tried, ["TypeError", "connect-src"]);
}).catch((error) => {
  // The browser says on the console that it has refused.
  if (!/Content Security Policy/.test(error.message)) throw error;
}));

test("the reference has every type and field, each with an address", () =>
  withPage("#reference", async (page) => {
    const { sections, rows, missing } = await page.evaluate(() => ({
      sections: document.querySelectorAll("section.entry").length,
      rows: document.querySelectorAll(".fields-table tbody tr").length,
      missing: [...document.querySelectorAll("main a[href^='#']")]
        .map((link) => link.getAttribute("href").slice(1))
        .filter((name) => /^[A-Z]/.test(name) && !document.getElementById(name)),
    }));
    assert.equal(sections, 57);
    assert.ok(rows > 200);
    assert.deepEqual(missing, []);
    assert.equal(await page.locator(".example").count(), 53);
    await go(page, "Server.status");
    await page.waitForFunction(() => document.activeElement.id === "Server.status");
    const row = page.locator("[id='Server.status']");
    assert.match(await row.innerText(), /status\s+Condition of the radio\./);
    await row.locator("summary").click();
    const accessors = await row.locator("dl").innerText();
    for (const words of ["tarn::StatusCodes status() const", "message.status"]) {
      assert.ok(accessors.includes(words));
    }
    assert.match(await page.locator("#Server .facts").innerText(), /Used in\s+ChildTypes\.server/);
  }));

test("the search finds names and comments as one types", () => withPage("", async (page) => {
  await page.keyboard.press("/");
  await page.keyboard.type("blanked");
  const found = page.locator("#found li");
  assert.match(await found.first().innerText(), /Display\.displayBlanked/);
  await page.keyboard.press("Control+a");
  await page.keyboard.type("head of a radio network");
  await page.keyboard.press("Enter");
  await page.waitForFunction(() => location.hash === "#Server");
  await page.getByLabel("Search names and comments").fill("zzz");
  assert.match(await page.locator(".nothing-found").innerText(), /No name and no comment/);
}));

test("the map shows every type, and leads to it", () => withPage("#map", async (page) => {
  assert.equal(await page.locator(".map a").count(), 57);
  assert.ok(await page.locator(".map .edge").count() > 30);
  const server = page.getByRole("link", { name: /^Server, message, embeds/ });
  await server.focus();
  assert.ok(await page.locator(".map a.dim").count() > 10);
  await page.keyboard.press("Enter");
  await page.waitForFunction(() => location.hash === "#Server");
}));

test("paper gets the text alone", () => withPage("#Price", async (page) => {
  await page.emulateMedia({ media: "print" });
  assert.equal(await page.locator("header.top").isVisible(), false);
  assert.equal(await page.locator(".contents").isVisible(), false);
  assert.equal(await page.locator("#Price").isVisible(), true);
}));

for (const folder of ["valid", "accepted", "rejected"]) {
  test(`every ${folder} golden message is shown as what it is`, () => withPage("", async (page) => {
    await waitForType(page, "ModsConfigured");
    for (const { type, name, bytes, reason } of cases(folder)) {
      await go(page, hashOf(type, bytes));
      assert.equal(await typeOf(page), type);
      assert.ok((await page.locator(".size").innerText())
        .startsWith(`${bytes.length.toLocaleString("en")} byte`), `${type}/${name}`);
      const verdict = await page.locator(".verdict").innerText();
      assert.equal(verdict.includes("refused"), folder === "rejected", `${type}/${name}`);
      if (reason) {
        const problem = page.locator(".problems li").first();
        const kind = await problem.getAttribute("data-problem");
        assert.match(reason, refusals[kind], `${type}/${name}`);
        if (kind === "badUtf8") assert.ok((await problem.innerText()).includes(reason));
      }
    }
  }));
}

// The same numbers in each run.
function* numbers(seed) {
  for (let state = seed; ;) {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    yield state;
  }
}

test("broken inputs of every kind break nothing", () => withPage("", async (page) => {
  const next = numbers(7), pick = (below) => next.next().value % below;
  const all = cases("valid").filter(({ bytes }) => bytes.length > 4);
  await waitForType(page, "ModsConfigured");
  for (let round = 0; round < 150; round++) {
    const { type, bytes } = all[pick(all.length)];
    const broken = Buffer.from(bytes.subarray(0, 1 + pick(bytes.length)));
    broken[pick(broken.length)] ^= 1 << pick(8);
    await go(page, hashOf(type, broken));
    assert.equal(await typeOf(page), type);
    if (round % 10 === 0) {
      for (const name of await page.getByRole("tab").allInnerTexts()) await tab(page, name);
    }
  }
  for (const text of ["\u0000\u0001", "0x", "=".repeat(500), "[".repeat(20000), "é ß 漢",
    '{"lineNum": 2, "a']) {
    await paste(page, text);
  }
  assert.notEqual(await page.locator(".input-complaint").innerText(), "");
}));

test("the page goes on drawing while it inspects more than 1 MB", () =>
  withPage("", async (page) => {
    const drawsDuring = async (act) => {
      const { count } = await framesOf(page, act);
      assert.ok(count > 8, `${count} frames`);
    };
    const few = async (rows) => {
      const count = await page.locator(rows).count();
      assert.ok(count > 5 && count < 100, `${count} ${rows}`);
    };
    await drawsDuring(() => paste(page, manyServers(1.2e6).toString("hex")));
    assert.equal(await page.locator(".verdict").innerText(), "accepted");
    assert.match(await page.locator(".size").innerText(), /^1,2\d\d,\d\d\d bytes/);
    await few(".byte-row");
    await page.locator(".fields").press("End");
    await settled(page);
    assert.ok(await page.locator(".fields").evaluate((list) => list.scrollTop > 100_000));
    await few(".field");
    await drawsDuring(() => tab(page, "Network"));
    await few(".node-row");
    assert.match(await page.locator(".pane-note").innerText(), /servers/);
    await drawsDuring(() => page.locator(".bytes").press("Delete"));
    assert.match(await page.locator(".size").innerText(), /edited/);
  }));

test("everything can be done from the keyboard", () => withPage("", async (page) => {
  await waitForType(page, "ModsConfigured");
  const reached = new Set();
  for (let step = 0; step < 40; step++) {
    await page.keyboard.press("Tab");
    reached.add(await page.evaluate(() => {
      const { activeElement: on } = document;
      return on.getAttribute("aria-label") ?? on.textContent.trim().slice(0, 30);
    }));
  }
  for (const name of ["Skip to the content", "Inspector", "Reference", "Map", "Bytes to inspect",
    "Search names and comments", "Open a file", "Examples", "Copy a link", "Fields"]) {
    assert.ok(reached.has(name), `${name} is not among ${[...reached].join(", ")}`);
  }
  const bytes = page.locator(".bytes");
  await bytes.focus();
  await page.keyboard.press("ArrowDown");
  await page.keyboard.press("ArrowRight");
  assert.match(await page.locator("#pointed").innerText(), /^Byte 17,/);
  await page.locator(".fields").focus();
  await page.keyboard.press("Home");
  await page.keyboard.press("ArrowDown");
  assert.match(await page.locator("#pointed").innerText(), /modsConfigured\[0\]\.server/);
  await page.locator("#tab-Fields").focus();
  await page.keyboard.press("ArrowRight");
  assert.equal(await page.locator("#tab-Network").getAttribute("aria-selected"), "true");
  await page.locator(".network").focus();
  await page.keyboard.press("ArrowLeft");
  assert.equal(await page.locator(".node-row").count(), 1);
}));

const views = {
  "an example": async (page) => waitForType(page, "ModsConfigured"),
  "a network": async (page) => {
    await waitForType(page, "ModsConfigured");
    await tab(page, "Network");
  },
  "broken bytes": async (page) => {
    await example(page, "Broken bytes: bad text, then cut off");
    await waitForType(page, "Server");
    await page.getByRole("button", { name: "What could it be?" }).click();
  },
  "a form": async (page) => {
    await waitForType(page, "ModsConfigured");
    await tab(page, "Form");
  },
  "JSON": async (page) => {
    await waitForType(page, "ModsConfigured");
    await tab(page, "JSON");
  },
  "a status report": async (page) => {
    await example(page, "A status report: what is not well comes first");
    await waitForType(page, "NetworkStatusReport");
    await tab(page, "Status");
  },
  "the reference": async (page) => go(page, "Server.status"),
  "the map": async (page) => go(page, "map"),
};

for (const colorScheme of ["light", "dark"]) {
  test(`axe finds nothing in the ${colorScheme} page`, async () => {
    for (const [name, show] of Object.entries(views)) {
      await withPage("", async (page) => {
        await show(page);
        await page.evaluate(axe);
        const { violations } = await page.evaluate(() => globalThis.axe.run());
        assert.deepEqual(violations.map(({ id, nodes }) =>
          [id, nodes.slice(0, 3).map(({ target }) => target.join(" "))]), [], name);
      }, { colorScheme, bypassCSP: true });
    }
  });
}

const pictures = {
  light: ["", { colorScheme: "light" }, views["a network"]],
  dark: ["", { colorScheme: "dark" }, async (page) => {
    await go(page, "Price");
    await page.waitForFunction(() => document.activeElement.id === "Price");
  }],
  narrow: ["", { colorScheme: "light", viewport: { width: 360, height: 1500 } },
    views["broken bytes"]],
};

for (const [name, [hash, options, show]] of Object.entries(pictures)) {
  test(`the ${name} page looks as it did`, () => withPage(hash, async (page) => {
    await show(page);
    await page.evaluate(() => document.fonts.ready);
    await page.mouse.move(0, 0);
    await settled(page);
    const wide = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
    assert.ok(wide <= 0, `${wide} pixels too wide`);
    const kept = new URL(`pictures/${name}.png`, import.meta.url);
    const now = await page.screenshot();
    if (process.env.UPDATE) writeFileSync(kept, now);
    const part = await difference(readFileSync(kept), now);
    assert.ok(part < 0.01, `${(part * 100).toFixed(2)} % of the points differ`);
    // What is compared can fail: other colours are seen.
    await page.evaluate((theme) => {
      document.documentElement.dataset.theme = theme;
    }, options.colorScheme === "dark" ? "light" : "dark");
    assert.ok(await difference(readFileSync(kept), await page.screenshot()) > 0.01);
  }, options));
}
