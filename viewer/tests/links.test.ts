/** Links into a file, by the page's hash. */
import assert from "node:assert/strict";
import { rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import { choose, folder, launched, opened, shownLines } from "./browser.js";
import { hashOf, linkOf } from "../src/list/links.js";
import { noFilter } from "../src/list/filter.js";
import { root } from "./support.js";
import { waitUntil } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const tour = join(root, "samples/forms/tour.hid");

test("a link is read as it is written", () => {
  const filter = { ...noFilter, id: ["0x76", "0xE4"], type: ["feature"], text: "a&b=c #%" };
  const link = { file: "my file&.hid", report: 12, view: "frames", filter };
  assert.deepEqual(linkOf(hashOf(link)), link);
  assert.deepEqual(linkOf("#file=tour.hid&report=12&view=frames&id=0x76"), {
    file: "tour.hid",
    report: 12,
    view: "frames",
    filter: { ...noFilter, id: ["0x76"] },
  });
  assert.equal(hashOf(linkOf("")), "");
});

test("a link leads where it says, once its file is open", async () => {
  const hash = "#file=tour.hid&report=4&view=frames&id=0x76&id=0xE4";
  const page = await opened(browser, {}, { hash });
  assert.match((await page.textContent("#state"))!, /^Open tour\.hid to see report 4/);
  await choose(page, tour);
  await page.waitForSelector("#state[data-read]");
  await shownLines(page, 4);
  await page.waitForSelector("#frames:not([hidden])");
  await waitUntil(page, () => document.getElementById("count")!.textContent === "2 of 16 reports");
  await page.close();
});

test("the way to a late report isn't held up by looking through all before it", async () => {
  const path = join(folder, "late.hex");
  const all = 600_000;
  writeFileSync(path, "DE 01\n".repeat(all));
  const page = await opened(browser, {}, { hash: `#report=${all - 1}` });
  await page.evaluate(() => {
    const real = Worker.prototype.postMessage;
    const asked = { kinds: 0 };
    Object.assign(window, { asked });
    Worker.prototype.postMessage = function (message: { method: string }, ...rest: []) {
      if (message.method === "kinds") ++asked.kinds;
      real.call(this, message, ...rest);
    };
  });
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  await shownLines(page, all - 1);
  type Counts = { asked: { kinds: number } };
  const kinds = await page.evaluate(() => (window as unknown as Counts).asked.kinds);
  assert.ok(kinds < 40, `kinds were asked for ${kinds} times`);
  await page.close();
});

test("what a link leads to is in sight, and told with its time", async () => {
  const viewport = { width: 390, height: 844 };
  const page = await opened(browser, { viewport }, { hash: "#report=15" });
  await choose(page, tour);
  await page.waitForSelector("#state[data-read]");
  await shownLines(page, 15);
  assert.match((await page.textContent("#heading"))!, /^Report 15: 0xE5.*line 22.*at 0\.250005 s/);
  await waitUntil(page, () => {
    const [list, row] = ["list", "row-15"].map((id) => document.getElementById(id));
    if (!list || !row) return false;
    const [seen, at] = [list.parentElement!, row].map((one) => one.getBoundingClientRect());
    return at!.top >= seen!.top && at!.bottom <= seen!.bottom + 1;
  });
  await page.close();
});

test("the address says what is shown, and another one leads elsewhere", async () => {
  const page = await opened(browser);
  await choose(page, tour);
  await page.waitForSelector("#state[data-read]");
  await shownLines(page, 0);
  await page.click("#row-4");
  await page.click("#tab-frames");
  await page.selectOption("#filter-id", "0x76");
  await waitUntil(page, () => location.hash === "#file=tour.hid&report=4&view=frames&id=0x76");
  await page.evaluate(() => (location.hash = "#file=tour.hid&report=7"));
  await shownLines(page, 7);
  await page.waitForSelector("#one:not([hidden])");
  await waitUntil(page, () => document.getElementById("count")!.textContent === "16 reports");
  await page.evaluate(() => (location.hash = "#file=other.hid&report=7"));
  await waitUntil(page, () => /Open other\.hid/.test(document.getElementById("state")!.textContent!));
  await page.close();
});

test("a link to what isn't there says so", async () => {
  const page = await opened(browser, {}, { hash: "#file=tour.hid&report=99" });
  await choose(page, tour);
  await page.waitForSelector("#state[data-read]");
  assert.match((await page.textContent("#state"))!, /report 99, which tour\.hid doesn't have/);
  await shownLines(page, 0);
  await page.close();
});

test("a link that means harm does none", async () => {
  const hashes = [
    "#report=-1",
    "#report=1e9&view=constructor",
    "#report=999999999999&view=__proto__",
    "#view=%3Cimg%20src%3Dx%3E&file=%3Cscript%3Ealert(1)%3C/script%3E",
    "#id=__proto__&type=toString&text=%00%FF",
    `#text=${"x".repeat(100_000)}`,
    "#%E0%A4%A",
    "#view=state&report=3",
    "#id=0x76&".repeat(1000),
  ];
  for (const hash of hashes) {
    const page = await opened(browser, {}, { hash });
    await choose(page, tour);
    await page.waitForSelector("#state[data-read]");
    assert.equal(await page.locator("img, #state script").count(), 0);
    for (const shown of ["#state", "#tabs", "#reports"])
      assert.ok(await page.isVisible(shown), hash);
    await page.close();
  }
});
