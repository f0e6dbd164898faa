/** Files that change while the page has them open. */
import assert from "node:assert/strict";
import { appendFileSync, rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import { choose, folder, launched, opened, shownLines } from "./browser.js";
import { capture } from "./captures.js";
import { imageReport } from "./reports.js";
import { waitUntil } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const changes: [string, (path: string) => void][] = [
  ["grows", (path) => appendFileSync(path, "more")],
  ["vanishes", (path) => rmSync(path)],
];
for (const [what, change] of changes)
  test(`a file that ${what} is named, and another one opens`, async () => {
    const page = await opened(browser);
    const path = join(folder, `${what}.pcap`);
    writeFileSync(path, capture(Array.from({ length: 5000 }, (_, n) => imageReport(n))));
    await choose(page, path);
    await page.waitForSelector("#state[data-read]");
    await shownLines(page, 0);
    change(path);
    await page.click("#tab-frames");
    await page.fill("#scrub", "2500"); // far from what was read last
    const said = `${what}.pcap: the file can't be read at byte`;
    await waitUntil(page, 
      (said) => document.getElementById("state")!.textContent!.includes(said),
      said,
    );
    assert.match((await page.textContent("#state"))!, /choose it again/);

    // Where the report that is chosen can't be read, no other one stands.
    await page.click("#tab-one");
    await page.focus("#list");
    await page.keyboard.press("End");
    await page.waitForSelector('#list [data-number="4999"][aria-selected="true"]');
    await page.waitForSelector("#report:not([data-entry])", { state: "attached" });
    assert.ok(await page.isHidden("#heading"));

    const other = join(folder, "other.pcap");
    writeFileSync(other, capture([imageReport(7)]));
    await choose(page, other);
    await waitUntil(page, () =>
      document.getElementById("report")!.textContent!.startsWith("[Frame # = 7]"),
    );
    await page.close();
  });
