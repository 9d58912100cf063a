// Prints how soon the page is painted, and how long its frames are while it inspects a
// network of 1.2 MB: the best of some rounds, for other programs are at work, too.
// Environment: as for browser.mjs.
import { test } from "node:test";
import { framesOf, manyServers, paste, tab, waitForType, withPage } from "./browser.mjs";

const rounds = 5;

const steps = {
  "paste 1.2 MB in hex": (page, hex) => paste(page, hex),
  "go to the last field": (page) => page.locator(".fields").press("End"),
  "draw the network": (page) => tab(page, "Network"),
  "delete a byte": (page) => page.locator(".bytes").press("Delete"),
};

test("the page is measured", async () => {
  const paints = [];
  const longest = Object.fromEntries(Object.keys(steps).map((name) => [name, []]));
  const hex = manyServers(1.2e6).toString("hex");
  for (let round = 0; round < rounds; round++) {
    await withPage("", async (page) => {
      await waitForType(page, "ModsConfigured");
      paints.push(await page.evaluate(() =>
        performance.getEntriesByName("first-contentful-paint")[0].startTime));
      for (const [name, act] of Object.entries(steps)) {
        longest[name].push((await framesOf(page, () => act(page, hex))).longest);
      }
    });
  }
  console.log(`first paint: ${Math.round(Math.min(...paints))} ms`);
  for (const [name, times] of Object.entries(longest)) {
    console.log(`${name}: longest frame ${Math.round(Math.min(...times))} ms`);
  }
});
