/** A capture that isn't held. */
import assert from "node:assert/strict";
import { readdirSync, readFileSync, rmSync, statSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import { choose, folder, launched, opened, shownLines } from "./browser.js";
import { writeLargeCapture } from "./captures.js";

after(() => rmSync(folder, { recursive: true }));

/** The memory of the browser's processes, in bytes, what they share divided among them: without
 *  that of its program, which it may share with other browsers. */
function browserMemory(): number {
  const parents = new Map<number, number>();
  for (const name of readdirSync("/proc").filter((name) => /^\d+$/.test(name)))
    try {
      const status = readFileSync(`/proc/${name}/stat`, "utf8");
      const fields = status.slice(status.lastIndexOf(")") + 2).split(" ");
      parents.set(Number(name), Number(fields[1]));
    } catch {
      // It has ended.
    }
  const isOurs = (id: number | undefined): boolean =>
    id !== undefined && id !== 0 && (id === process.pid || isOurs(parents.get(id)));
  let sum = 0;
  for (const id of parents.keys())
    if (id !== process.pid && isOurs(id))
      try {
        const rollup = readFileSync(`/proc/${id}/smaps_rollup`, "utf8");
        for (const [, size] of rollup.matchAll(/^Pss_(?:Anon|Shmem):\s+(\d+)/gm))
          sum += 1024 * Number(size);
      } catch {
        // The same.
      }
  return sum;
}

test("a capture of 256 MB opens, and its middle shows", async (context) => {
  const path = join(folder, "large.pcap");
  const frames = writeLargeCapture(path, 256e6);
  const browser = await launched();
  context.after(() => browser.close());
  const page = await opened(browser);
  const before = browserMemory();
  assert.ok(before > 10e6);
  const begin = performance.now();
  await choose(page, path);
  let most = 0;
  const watch = setInterval(() => (most = Math.max(most, browserMemory())), 200);
  await page.waitForSelector("#state[data-read]", { timeout: 300_000 });
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
  await session.send("HeapProfiler.collectGarbage");
  const grown = browserMemory() - before;
  const mega = (bytes: number) => (bytes / 1e6).toFixed(0);
  context.diagnostic(
    `${mega(statSync(path).size)} MB read in ${seconds.toFixed(1)} s; memory ${mega(before)} MB ` +
      `before, ${mega(most)} at most, ${mega(grown)} more in the end`,
  );
  // Pictures, the index, and garbage of the worker's. Who holds the file has all of it.
  assert.ok(grown < 100e6, `${mega(grown)} MB more`);
});
