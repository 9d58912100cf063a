// The inspector in a browser: each thing that it does, at least once.
import assert from "node:assert/strict";
import { test } from "node:test";
import { bytesOf, example, go, hashOf, paste, tab, typeOf, waitForType, withPage }
  from "./browser.mjs";

const price = { hex: "08 02 12 04 6d 69 6c 6b 1a 04 31 2e 31 35" };
const server = bytesOf("valid", "Server", "every_field_set");
const texts = (locator) => locator.allInnerTexts();

test("the first visit shows an example", () => withPage("", async (page) => {
  await waitForType(page, "ModsConfigured");
  assert.match(await page.locator(".verdict").innerText(), /^accepted$/);
  assert.ok(await page.locator(".fields .field").count() > 10);
}));

for (const [form, text] of Object.entries({
  hex: price.hex,
  base64: "CAISBG1pbGsaBDEuMTU=",
  dump: "00000000  08 02 12 04 6d 69 6c 6b  1a 04 31 2e 31 35        |....milk..1.15|\n",
  JSON: '{"lineNum": 2, "productId": "milk", "setPrice": "1.15"}',
  text: 'line_num: 2 product_id: "milk" set_price: "1.15"',
})) {
  test(`${form} can be pasted`, () => withPage("", async (page) => {
    await waitForType(page, "ModsConfigured");
    await paste(page, text);
    await waitForType(page, "Price");
    const values = (await texts(page.locator(".field .says")))
      .map((line) => line.replace("\n", " "));
    assert.deepEqual(values, ["line_num 2", 'product_id "milk"', 'set_price "1.15"']);
  }));
}

test("what is no message is refused with the place", () => withPage("", async (page) => {
  await paste(page, '{"lineNum": 2, "productId": ');
  await page.waitForSelector(".input-complaint:not(:empty)");
  assert.match(await page.locator(".input-complaint").innerText(), /Line 1, column \d+: /);
}));

test("a file can be opened and dropped", () => withPage("", async (page) => {
  const given = { name: "price.bin", mimeType: "",
    buffer: Buffer.from(price.hex.replaceAll(" ", ""), "hex") };
  await page.getByLabel("File", { exact: true }).setInputFiles(given);
  await waitForType(page, "Price");
  await page.evaluate((bytes) => {
    const dataTransfer = new DataTransfer();
    dataTransfer.items.add(new File([Uint8Array.from(bytes)], "server.bin"));
    for (const type of ["dragover", "drop"]) {
      document.body.dispatchEvent(new DragEvent(type,
        { dataTransfer, bubbles: true, cancelable: true }));
    }
  }, [...server]);
  await waitForType(page, "Server");
}));

test("the types that bytes can have are ranked, and one can be chosen", () =>
  withPage(hashOf("Price", server), async (page) => {
    await page.getByRole("button", { name: "What could it be?" }).click();
    await page.locator(".candidates button").first().click();
    assert.equal(await typeOf(page), "Server");
  }));

test("a likelier type, or a stream, is named and leads there", () =>
  withPage(hashOf("Price", server), async (page) => {
    const hint = page.locator(".hint");
    assert.equal((await hint.innerText()).replace(/\s+/g, " "),
      "These bytes look more like Server than like Price.");
    await hint.getByRole("button").click();
    assert.equal(await typeOf(page), "Server");
    assert.equal(await hint.count(), 0);
    const record = Buffer.from(`0e${price.hex.replaceAll(" ", "")}`, "hex");
    await go(page, hashOf("Price", Buffer.concat([record, record, record])));
    await page.getByRole("button", { name: "list its records" }).click();
    await page.locator(".stream-record").nth(2).waitFor();
  }));

test("pointing at a byte lights its field, and at a field its bytes", () =>
  withPage(hashOf("Server", server), async (page) => {
    await page.locator('.cells [data-offset="11"]').hover();
    assert.match(await page.locator(".field.here").innerText(), /uuid/);
    assert.match(await page.locator("#pointed").innerText(), /Byte 11, length of uuid/);
    await page.locator(".field").nth(1).hover();
    const lit = await page.locator(".byte.lit").evaluateAll((all) =>
      all.map((byte) => byte.dataset.offset));
    assert.deepEqual(lit, ["6", "7"]);
    assert.match(await page.locator(".detail").innerText(), /Server\.status/);
  }));

test("tag, length and value are told apart", () => withPage(hashOf("Price", Buffer.from(
  price.hex.replaceAll(" ", ""), "hex")), async (page) => {
  const part = (offset, name) => page.locator(`.cells .${name}[data-offset="${offset}"]`).count();
  assert.equal(await part(2, "tag") + await part(3, "length") + await part(4, "value"), 3);
  assert.match(await page.locator('.cells [data-offset="2"]').innerText(), /^2\s*12$/);
}));

test("bytes are edited in place, and it can be undone", () =>
  withPage(hashOf("Price", Buffer.from("0802", "hex")), async (page) => {
    const value = () => page.locator(".field .value").first().innerText();
    await page.locator('.cells [data-offset="1"]').click();
    await page.keyboard.type("07");
    assert.equal(await value(), "7");
    await page.keyboard.type("1001");
    assert.equal(await page.locator(".field").count(), 2);
    await page.keyboard.press("Backspace");
    assert.match(await page.locator(".verdict").innerText(), /refused/);
    for (let step = 0; step < 8 && await value() !== "2"; step++) {
      await page.keyboard.press("Control+z");
    }
    assert.equal(await value(), "2");
  }));

const empty = hashOf("Server", Buffer.alloc(0));

test("the form changes the bytes", () => withPage(empty, async (page) => {
  await tab(page, "Form");
  await page.getByLabel("name", { exact: true }).fill("Roof");
  await page.getByLabel("status", { exact: true }).selectOption("2");
  await page.getByRole("button", { name: "Add to children" }).click();
  await page.getByRole("button", { name: "Add children[0].client" }).click();
  await page.getByLabel("channel", { exact: true }).fill("3000000000");
  assert.match(await page.locator(".form-input .warning").innerText(), /whole number/);
  await tab(page, "Fields");
  assert.deepEqual((await texts(page.locator(".field .name"))),
    ["name", "status", "children[0]", "client"]);
}));

test("JSON changes the bytes, completes names and says where it is wrong", () =>
  withPage(empty, async (page) => {
    await tab(page, "JSON");
    const box = page.getByRole("textbox", { name: "JSON" });
    await box.fill("");
    await box.pressSequentially('{"stat');
    await page.keyboard.press("Enter");
    await box.press("End");
    await box.pressSequentially('": "comm_');
    assert.deepEqual(await texts(page.locator("#completions code")), ["comm_error"]);
    await page.keyboard.press("Enter");
    await box.press("End");
    await box.pressSequentially('"}');
    assert.equal(await box.inputValue(), '{"status": "comm_error"}');
    assert.equal(await page.locator(".cells .byte:not(.end)").count(), 2);
    await box.fill('{\n  "statu": 1\n}');
    await page.waitForSelector("#json-complaint.warning");
    assert.match(await page.locator("#json-complaint").innerText(), /^Line 2, column \d+: .*statu/);
  }));

test("unknown fields, wrong wire types and undeclared numbers are marked", () =>
  withPage(hashOf("Server", Buffer.from("0a01612063a0010708011063", "hex")), async (page) => {
    const remarks = (await texts(page.locator(".remark"))).join("\n");
    for (const words of [/wrong wire type/, /unknown field/, /not declared/]) {
      assert.match(remarks, words);
    }
  }));

test("a broken input shows what is decoded, the byte, the path and the reason", () =>
  withPage(hashOf("Server", Buffer.from("0a084e6f72746820c328100222", "hex")), async (page) => {
    const problem = page.locator(".problems button").first();
    assert.equal((await problem.innerText()).replace(/\s+/g, " "),
      "byte 8 name invalid UTF-8 in tarn.Server.name at byte 8");
    await problem.click();
    assert.equal(await page.locator(".byte.here").getAttribute("data-offset"), "8");
    assert.match((await texts(page.locator(".field .value"))).join(), /2 comm_error/);
  }));

test("a stream lists its records", () => withPage("", async (page) => {
  await example(page, "A stream: three prices, a length before each");
  await waitForType(page, "Price");
  assert.equal(await page.locator(".stream-record").count(), 3);
  await page.locator(".stream-record").nth(2).click();
  await tab(page, "Fields");
  assert.match((await texts(page.locator(".field .value"))).join(), /"nut"/);
}));

test("a network is drawn, folded and searched, with a table of what is not ok", () =>
  withPage("", async (page) => {
    await waitForType(page, "ModsConfigured");
    await tab(page, "Network");
    const rows = page.locator(".node-row");
    assert.equal(await rows.count(), 10);
    assert.match(await page.locator(".network-pane .pane-note").innerText(),
      /1 server, 2 clients, 3 displays, 4 modules/);
    assert.deepEqual(await texts(page.locator(".unwell [role=cell]:first-child")),
      ["North line 2", "m-3", "South sign"]);
    await page.getByRole("button", { name: "Fold all", exact: true }).click();
    assert.equal(await rows.count(), 1);
    assert.match(await rows.innerText(), /2 clients, 3 displays, 4 modules/);
    await page.getByLabel("Search nodes").fill("m-3");
    assert.deepEqual(await texts(page.locator(".node-name")),
      ["Roof radio", "North sign", "North line 2", "m-3"]);
    await page.getByLabel("Search nodes").fill("no such node");
    assert.match(await page.locator(".network-pane .empty").innerText(), /No node has/);
  }));

test("the table of what is not ok leads to the drawing and back, by mouse and keys", () =>
  withPage("", async (page) => {
    await tab(page, "Network");
    const chosen = page.locator(".node-row[aria-selected=true] .node-name");
    const focused = () => page.evaluate(() => document.activeElement.textContent.trim() ||
      document.activeElement.getAttribute("aria-label"));
    const row = (name) => page.locator(".unwell button").filter({ hasText: name });
    const back = page.getByRole("button", { name: "Show in the table" });
    assert.ok(await back.isDisabled());
    await page.getByRole("button", { name: "Fold all", exact: true }).click();
    await row("m-3").click();
    assert.equal(await chosen.innerText(), "m-3");
    await page.getByLabel("Search nodes").fill("no such node");
    await row("South sign").press("Enter");
    assert.equal(await chosen.innerText(), "South sign");
    await page.keyboard.press("ArrowUp");
    assert.equal(await chosen.innerText(), "m-4");
    assert.ok(await back.isDisabled());
    await page.keyboard.press("ArrowDown");
    assert.equal(await page.locator(".table-row[aria-current=true] button").innerText(),
      "South sign");
    await page.keyboard.press("Shift+Tab");
    assert.equal(await focused(), "Show in the table");
    await page.keyboard.press("Enter");
    assert.equal(await focused(), "South sign");
    await page.locator(".node-row").nth(4).click();
    await back.click();
    assert.equal(await focused(), await chosen.innerText());
  }));

test("a status report is a table, worst first", () => withPage("", async (page) => {
  await example(page, "A status report: what is not well comes first");
  await waitForType(page, "NetworkStatusReport");
  await tab(page, "Status");
  const parts = await texts(page.locator(".parts [role=cell]:first-child"));
  assert.equal(parts[0], "North line 2");
  assert.equal(parts.length, 6);
}));

test("two messages are compared, nodes by their uuid", () => withPage("", async (page) => {
  await waitForType(page, "ModsConfigured");
  await tab(page, "Compare");
  await page.getByRole("button", { name: "Keep what is shown" }).click();
  await page.getByText("They say the same.").waitFor();
  await page.locator(".cells .byte").nth(22).click();
  await page.keyboard.type("02");
  await page.locator(".difference").first().waitFor();
  assert.match(await page.locator(".difference").first().innerText(), /Roof|s-1/);
}));

test("the pass phrase is covered until it is asked for", () => withPage("", async (page) => {
  const secret = "not for everyone";
  await example(page, "A pass phrase: covered until asked for");
  await waitForType(page, "Wifi");
  const hex = Buffer.from(secret).toString("hex").match(/../g).slice(0, 6).join("");
  const shown = async () => (await page.locator("main").innerText()).replace(/\s/g, "");
  const holds = async () => {
    const text = await shown();
    return text.includes(secret.replace(/\s/g, "")) || text.includes(hex);
  };
  for (const name of ["Fields", "JSON", "Form", "Compare", "Export"]) {
    await tab(page, name);
    assert.ok(!await holds(), name);
    assert.equal(await page.locator("#pane textarea, #pane input").count(), 0, name);
  }
  await page.getByRole("button", { name: "Show the pass phrase" }).first().click();
  await tab(page, "Fields");
  assert.ok(await holds());
}));

test("a link carries the bytes", () => withPage(hashOf("Server", server), async (page) => {
  await page.locator('.cells [data-offset="7"]').click();
  await page.keyboard.type("02");
  await page.getByRole("button", { name: "Copy a link" }).click();
  const changed = Buffer.from(server);
  changed[7] = 2;
  assert.equal(new URL(page.url()).hash, hashOf("Server", changed));
}));

test("a damaged link is refused", () => withPage("#type=Server&bytes=a*b", async (page) => {
  assert.match(await page.getByRole("alert").first().innerText(), /damaged/);
}));

test("a message is exported in six forms", () => withPage(hashOf("Price", Buffer.from(
  price.hex.replaceAll(" ", ""), "hex")), async (page) => {
  await tab(page, "Export");
  const box = page.locator(".export textarea");
  for (const [form, words] of Object.entries({
    Hex: /08 ?02 ?12/, Base64: /CAISBG1pbGsaBDEuMTU=/, "C array": /0x08, ?0x02/,
    JSON: /"productId": ?"milk"/, "C++ that builds the message": /set_product_id\("milk"\)/,
    "Corpus case": /valid new_case/,
  })) {
    await page.locator(".export select").selectOption({ label: form });
    await page.waitForFunction((source) =>
      new RegExp(source).test(document.querySelector(".export textarea").value), words.source);
    assert.match(await box.inputValue(), words);
  }
  const [download] = await Promise.all([page.waitForEvent("download"),
    page.getByRole("button", { name: "Save the bytes" }).click()]);
  assert.equal(download.suggestedFilename(), "Price.binpb");
}));
