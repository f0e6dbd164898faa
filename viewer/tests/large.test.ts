/** A capture that isn't held. */
import assert from "node:assert/strict";
import { rmSync, statSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import { choose, folder, launched, opened, shownLines } from "./browser.js";
import { writeLargeCapture } from "./captures.js";
import { browserMemory } from "./memory.mjs";
import { patience } from "./waiting.js";

after(() => rmSync(folder, { recursive: true }));

/** The memory of the browser's processes, in bytes, without that of its program. */
function ownMemory(): number {
  const { all, files } = browserMemory();
  return 1024 * (all - files);
}

/** Pictures, the index, and garbage of the worker's. Who holds the file has all of it. */
const mostGrown = 100e6;

test("a capture of 256 MB opens, and its middle shows", async (context) => {
  const path = join(folder, "large.pcap");
  const frames = writeLargeCapture(path, 256e6);
  const browser = await launched();
  context.after(() => browser.close());
  const page = await opened(browser);
  const before = ownMemory();
  assert.ok(before > 10e6);
  const begin = performance.now();
  await choose(page, path);
  let most = 0;
  const watch = setInterval(() => (most = Math.max(most, ownMemory())), 200);
  await page.waitForSelector("#state[data-read]");
  clearInterval(watch);
  const seconds = (performance.now() - begin) / 1000;
  assert.equal(await page.getAttribute("#state", "data-read"), String(frames));

  await page.click("#tab-frames");
  for (const middle of [frames / 2, frames - 1, 1]) {
    await page.fill("#scrub", String(middle));
    await page.waitForSelector(`#frames[data-frame="${middle}"]`);
    const [first] = (await shownLines(page, middle)).split("\n");
    assert.equal(first, `[Frame # = ${middle}]`);
  }
  const session = await page.context().newCDPSession(page);
  let grown = 0;
  for (const end = performance.now() + patience; performance.now() < end; ) {
    await session.send("HeapProfiler.collectGarbage");
    grown = ownMemory() - before;
    if (grown < mostGrown) break; // a worker's garbage goes when it comes to it
    await new Promise((resolve) => setTimeout(resolve, 200));
  }
  const mega = (bytes: number) => (bytes / 1e6).toFixed(0);
  context.diagnostic(
    `${mega(statSync(path).size)} MB read in ${seconds.toFixed(1)} s; memory ${mega(before)} MB ` +
      `before, ${mega(most)} at most, ${mega(grown)} more in the end`,
  );
  assert.ok(grown < mostGrown, `${mega(grown)} MB more`);
});
