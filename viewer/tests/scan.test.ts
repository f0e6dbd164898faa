/** The raw data of the open/short test, as bars. */
import assert from "node:assert/strict";
import { rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import type { Page } from "playwright-core";
import { blue, fault, orange, pixelsAt, placeOf } from "./bars.js";
import { choose, folder, launched, opened, shownLines } from "./browser.js";
import { recording } from "./captures.js";
import { scanReport } from "./reports.js";
import { native, root } from "./support.js";
import { waitForText } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const inPhase = Array.from({ length: 48 }, (_, i) => 1000 + 100 * i);
const quadrature = Array.from({ length: 48 }, (_, i) => 9000 - 150 * i);

async function show(page: Page, name: string, reports: Uint8Array[]): Promise<string> {
  const path = join(folder, name);
  writeFileSync(path, recording(reports));
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  await page.click("#tab-scan");
  await page.waitForSelector("#scan[data-entry]");
  return path;
}

/** What is told of a channel where its bar stands. */
async function pointedAt(page: Page, chart: number, channel: number): Promise<string> {
  const canvas = page.locator("#scan canvas").nth(chart);
  const { width } = (await canvas.boundingBox())!;
  await canvas.hover({ position: { x: placeOf(channel, width), y: 60 } });
  return (await page.textContent("#scan .pointed"))!;
}

test("bars are as high as the native program's numbers", async () => {
  const page = await opened(browser);
  const path = await show(page, "bars.hid", [scanReport(0xe4, 0n, inPhase, quadrature, 0)]);
  const { value } = JSON.parse(native(null, "-o", "ndjson", path).toString());
  for (const [chart, key, colour] of [
    [0, "SCAN_DATA_I", blue],
    [1, "SCAN_DATA_Q", orange],
  ] as const) {
    const numbers = value[key] as number[];
    const most = Math.max(...numbers);
    for (const channel of [0, 7, 23, 47]) {
      const number = numbers[channel]!;
      const canvas = `#scan figure:nth-child(${chart + 1}) canvas`;
      const { below, above, mark } = await pixelsAt(page, canvas, channel, number, [0, most]);
      assert.deepEqual(below, colour, `${key} ${channel}`);
      assert.notDeepEqual(above, colour, `${key} ${channel}`);
      assert.equal(mark[3], 0);
    }
    assert.equal(
      await pointedAt(page, chart, 7),
      `Channel 7: SCAN_DATA_I ${value.SCAN_DATA_I[7]}, SCAN_DATA_Q ${value.SCAN_DATA_Q[7]}`,
    );
  }
  assert.match((await page.textContent("#scan"))!, /Brownout: no\. No channel is saturated\./);
  await page.close();
});

test("bit n of the saturation marks channel n, others are told; so is a brownout", async () => {
  const page = await opened(browser);
  const bits = (1n << 3n) | (1n << 47n) | (1n << 50n);
  await show(page, "marks.hid", [scanReport(0xe5, bits, inPhase, quadrature, 1)]);
  const told = (await page.textContent("#scan .told"))!;
  assert.match(told, /Brownout: yes\./);
  assert.match(told, /Saturated: channels 3 and 47\./);
  assert.match(told, /bits set that are no channel's: 50\./);
  for (const chart of [1, 2]) {
    const numbers = chart === 1 ? inPhase : quadrature;
    const canvas = `#scan figure:nth-child(${chart}) canvas`;
    for (let channel = 0; channel < 48; ++channel) {
      const range: [number, number] = [0, Math.max(...numbers)];
      const { mark } = await pixelsAt(page, canvas, channel, numbers[channel]!, range);
      if (channel === 3 || channel === 47) assert.deepEqual(mark, fault);
      else assert.equal(mark[3], 0, `channel ${channel}`);
    }
    assert.match((await page.getAttribute(canvas, "aria-label"))!, /marked: 3, 47$/);
  }
  assert.match(await pointedAt(page, 0, 47), /, saturated$/);
  await page.close();
});

test("numbers are unsigned as decoded, and signed when that is chosen", async () => {
  const page = await opened(browser);
  const numbers = inPhase.map((value, i) => (i === 5 ? -700 : value));
  const path = await show(page, "sign.hid", [scanReport(0xe4, 0n, numbers, quadrature, 0)]);
  const { value } = JSON.parse(native(null, "-o", "ndjson", path).toString());
  assert.equal(value.SCAN_DATA_I[5], 2 ** 32 - 700);
  assert.match(await pointedAt(page, 0, 5), new RegExp(`SCAN_DATA_I ${2 ** 32 - 700},`));
  assert.match((await page.textContent("#scan .told"))!, /1 number is 2,147,483,648 or more/);
  await page.locator("#scan").getByLabel("Numbers").selectOption("signed");
  const canvas = "#scan figure:nth-child(1) canvas";
  const { below, above } = await pixelsAt(page, canvas, 5, -700, [-700, 5700]);
  assert.deepEqual(below, blue);
  assert.notDeepEqual(above, blue);
  assert.match(await pointedAt(page, 0, 5), /SCAN_DATA_I -700,/);
  assert.doesNotMatch((await page.textContent("#scan .told"))!, /or more/);
  await page.close();
});

test("keys go through the reports, of both scans or of one", async () => {
  const page = await opened(browser);
  const ids = [0xe4, 0xe5, 0xe4, 0xe5];
  await show(
    page,
    "keys.hid",
    ids.map((id, at) => scanReport(id, BigInt(at), inPhase, quadrature, 0)),
  );
  await page.focus("#scan");
  for (const [key, entry, scan] of [
    ["ArrowRight", 1, "P-SCAN"],
    ["End", 3, "P-SCAN"],
    ["ArrowLeft", 2, "D-SCAN"],
    ["Home", 0, "D-SCAN"],
  ] as const) {
    await page.keyboard.press(key);
    await page.waitForSelector(`#scan[data-entry="${entry}"]`);
    const head = (await page.textContent("#scan .about"))!;
    assert.match(head, new RegExp(`${scan} Data · report ${entry}, 2023-11-14 22:13:20\\.00${entry}000 UTC`));
    await shownLines(page, entry); // the list follows
  }
  const label = "0xE5 Open/Short Test P-SCAN Data";
  await page.locator("#scan").getByLabel("Scan", { exact: true }).selectOption({ label });
  await page.waitForSelector('#scan[data-entry="1"]');
  await page.focus("#scan");
  await page.keyboard.press("ArrowRight");
  await page.waitForSelector('#scan[data-entry="3"]');
  // One of the other scan is gone to from the list.
  await page.focus("#list");
  await page.keyboard.press("ArrowUp");
  await page.waitForSelector('#scan[data-entry="2"]');
  await page.close();
});

test("the sample's scans show", async () => {
  const page = await opened(browser);
  await choose(page, join(root, "samples/forms/tour.hid"));
  await page.waitForSelector("#state[data-read]");
  await page.click("#tab-scan");
  await page.waitForSelector("#scan[data-entry]");
  assert.match((await page.textContent("#scan"))!, /D-SCAN.*Saturated: channel 17\./);
  await page.locator("#scan").getByRole("button", { name: "The next report" }).click();
  await waitForText(page, "#scan", /P-SCAN.*Brownout: yes/);
  await page.close();
});
