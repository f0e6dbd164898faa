/** Baselines as bars, and their drift. */
import assert from "node:assert/strict";
import { rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import type { Page } from "playwright-core";
import { blue, orange, pixelsAt, placeOf } from "./bars.js";
import { choose, folder, launched, opened, shownLines } from "./browser.js";
import { capture, recording } from "./captures.js";
import { axisText } from "../src/plots/bars.js";
import { baselineReport } from "./reports.js";
import { nativeRecords, root } from "./support.js";
import { waitForText } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const values = "#baseline figure:nth-of-type(1) canvas";
const drift = "#baseline figure:nth-of-type(2) canvas";

/** Of the n-th baseline: channel c drifts by c - 20 each. */
function baseline(n: number): number[] {
  return Array.from({ length: 48 }, (_, channel) => 600.5 + channel + n * (channel - 20));
}

async function show(page: Page, name: string, rows: number[][]): Promise<number[][]> {
  const path = join(folder, name);
  writeFileSync(path, recording(rows.map(baselineReport)));
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  await page.click("#tab-baseline");
  await page.waitForSelector("#baseline[data-entry]");
  const records = nativeRecords<{ value: { BASELINE: number[] } }>(path);
  return records.map(({ value }) => value.BASELINE);
}

async function pointedAt(page: Page, canvas: string, channel: number): Promise<string> {
  const { width } = (await page.locator(canvas).boundingBox())!;
  const x = placeOf(channel, width);
  await page.locator(canvas).hover({ position: { x, y: 60 } });
  return (await page.textContent("#baseline .pointed"))!;
}

test("bars are as high as the native program's numbers, and drift is their difference", async () => {
  const page = await opened(browser);
  const rows = await show(page, "drift.hid", [0, 1, 2, 3].map(baseline));
  await page.focus("#baseline");
  await page.keyboard.press("End");
  await page.waitForSelector('#baseline[data-entry="3"][data-against="0"]');
  const most = Math.max(...rows.flat());
  const drifts = rows[3]!.map((value, channel) => value - rows[0]![channel]!);
  const scale: [number, number] = [Math.min(...drifts), Math.max(...drifts)];
  for (const channel of [0, 10, 30, 47]) {
    const value = rows[3]![channel]!;
    const above = await pixelsAt(page, values, channel, value, [0, most]);
    assert.deepEqual(above.below, blue);
    assert.notDeepEqual(above.above, blue);
    const below = await pixelsAt(page, drift, channel, drifts[channel]!, scale);
    assert.deepEqual(below.below, orange, `channel ${channel}`);
    assert.notDeepEqual(below.above, orange, `channel ${channel}`);
    const told = `Channel ${channel}: ${value}, drift ${drifts[channel]}`;
    assert.equal(await pointedAt(page, values, channel), told);
  }
  assert.match(
    (await page.textContent("#baseline"))!,
    /Drift against report 0: farthest channel 47, \+81; mean of all 10\.5\./,
  );
  await page.locator("#baseline").getByLabel("Drift against").selectOption("before");
  await page.waitForSelector('#baseline[data-entry="3"][data-against="2"]');
  assert.equal(await pointedAt(page, values, 47), `Channel 47: ${rows[3]![47]}, drift 27`);
  await page.close();
});

test("keys go through baselines and channels, and a channel is drawn over the capture", async () => {
  const page = await opened(browser);
  await show(page, "course.hid", Array.from({ length: 30 }, (_, n) => baseline(n)));
  await page.focus("#baseline");
  for (const [key, entry] of [
    ["ArrowRight", 1],
    ["Shift+ArrowRight", 11],
    ["ArrowLeft", 10],
    ["Home", 0],
  ] as const) {
    await page.keyboard.press(key);
    await page.waitForSelector(`#baseline[data-entry="${entry}"]`);
    await shownLines(page, entry); // the list follows
  }
  await page.keyboard.press("ArrowUp");
  await page.waitForSelector('#baseline[data-course="1"]');
  await waitForText(page, "#baseline", /BASELINE\[1\]/);
  const { width } = (await page.locator(values).boundingBox())!;
  await page.locator(values).click({ position: { x: placeOf(41, width), y: 60 } });
  await page.waitForSelector('#baseline[data-course="41"]');
  // A click at the end of the course goes to the last one.
  const over = (await page.locator("#baseline .u-over").boundingBox())!;
  await page.mouse.move(over.x + over.width - 2, over.y + 30);
  await page.mouse.down();
  await page.mouse.up();
  await page.waitForSelector('#baseline[data-entry="29"]');
  await page.close();
});

test("what is not a number has no bar, and spoils no other", async () => {
  const page = await opened(browser);
  const odd = baseline(1).map((value, channel) => (channel === 4 ? NaN : value));
  await show(page, "nan.hid", [baseline(0), odd]);
  await page.focus("#baseline");
  await page.keyboard.press("End");
  await page.waitForSelector('#baseline[data-entry="1"]');
  assert.equal(await pointedAt(page, values, 4), "Channel 4: NaN, drift NaN");
  assert.match(
    (await page.textContent("#baseline"))!,
    /farthest channel 47, \+27; mean of all but 1 channel without a number 3\.91489\./,
  );
  const high = Math.max(...baseline(0), ...baseline(1));
  const empty = await pixelsAt(page, values, 4, 300, [0, high]);
  assert.notDeepEqual(empty.below, blue);
  const full = await pixelsAt(page, values, 5, 300, [0, high]);
  assert.deepEqual(full.below, blue);
  await page.close();
});

test("a single baseline stands alone", async () => {
  const page = await opened(browser);
  await choose(page, join(root, "samples/forms/tour.hid"));
  await page.waitForSelector("#state[data-read]");
  await page.click("#tab-baseline");
  await page.waitForSelector("#baseline[data-entry]");
  assert.match((await page.textContent("#baseline"))!, /It is the only one/);
  assert.equal(await page.locator("#baseline figure:visible").count(), 1);
  await page.close();
});

test("what is told of a bar is of the baseline that is shown", async () => {
  const page = await opened(browser);
  const rows = await show(page, "pointed.hid", [0, 1, 2].map(baseline));
  assert.equal(await pointedAt(page, values, 40), `Channel 40: ${rows[0]![40]}, drift 0`);
  await page.focus("#baseline");
  await page.keyboard.press("End");
  await page.waitForSelector('#baseline[data-entry="2"]');
  const told = `Channel 40: ${rows[2]![40]}, drift 40`;
  await waitForText(page, "#baseline .pointed", new RegExp(`^${told}$`));
  await page.close();
});

test("of two steps at once, the last one counts", async () => {
  const page = await opened(browser);
  await show(page, "steps.hid", [0, 1, 2].map(baseline));
  await page.waitForSelector('#baseline[data-course="0"]');
  await page.evaluate(() => {
    const panel = document.getElementById("baseline")!;
    for (const key of ["ArrowRight", "ArrowLeft"])
      panel.dispatchEvent(new KeyboardEvent("keydown", { key, bubbles: true }));
  });
  await page.waitForTimeout(500);
  const number = page.locator("#baseline").getByLabel("Number of the baseline");
  assert.equal(await number.inputValue(), "1");
  assert.match((await page.textContent("#baseline .about"))!, /^Baseline 1 of 3 · report 0/);
  assert.equal(await page.getAttribute("#baseline", "data-entry"), "0");
  await page.close();
});

test("nothing of a file that was shown before is copied with another one", async () => {
  const context = await browser.newContext({ permissions: ["clipboard-read", "clipboard-write"] });
  const page = await opened(context);
  const height = async () => {
    await page.click("#copy-png");
    await waitForText(page, "#state", /PNG is copied/);
    return page.evaluate(async () => {
      const [item] = await navigator.clipboard.read();
      return (await createImageBitmap(await item!.getType("image/png"))).height;
    });
  };
  await show(page, "several.hid", [0, 1].map(baseline));
  await page.waitForSelector('#baseline[data-course="0"]');
  const withCourse = await height();
  await show(page, "single.hid", [baseline(0)]);
  await waitForText(page, "#baseline", /It is the only one/);
  assert.ok((await height()) < withCourse - 200);
  await context.close();
});

test("a baseline of another device is gone to among those of its device", async () => {
  const page = await opened(browser);
  const path = join(folder, "devices.pcap");
  const sent = [0, 1, 2, 3].map((n) => ({ bytes: baselineReport(baseline(n)), device: 5 + (n % 2) }));
  writeFileSync(path, capture(sent));
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  await page.click('#list [role="option"]:nth-child(4)');
  await shownLines(page, 3);
  await page.click("#tab-baseline");
  await page.waitForSelector('#baseline[data-entry="3"][data-against="1"]');
  assert.match((await page.textContent("#baseline .about"))!, /^Baseline 2 of 2 · report 3/);
  const device = page.locator("#baseline").getByLabel("Device");
  const [other, own] = await device.locator("option").allTextContents();
  assert.equal(await device.inputValue(), own);
  // The course has no devices.
  assert.match((await page.textContent("#baseline"))!, /Of all 2 devices, one among the other\./);
  await device.selectOption(other!);
  await page.waitForSelector('#baseline[data-entry="2"][data-against="0"]');
  await shownLines(page, 2); // the list follows
  await page.click('#list [role="option"]:nth-child(4)');
  await page.waitForSelector('#baseline[data-entry="3"][data-against="1"]');
  assert.equal(await device.inputValue(), own);
  await page.close();
});

test("an axis says small and large numbers as they are", () => {
  const texts = [0, 0.0002, -0.0004, 0.05, -250, 1_500_000_000, 2e-7, 3e38].map(axisText);
  const expected = ["0", "0.0002", "-0.0004", "0.05", "-250", "1,500,000,000", "2e-7", "3e+38"];
  assert.deepEqual(texts, expected);
});
