/** What is copied of views, beside the native program's numbers. */
import assert from "node:assert/strict";
import { rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import type { Page } from "playwright-core";
import { choose, folder, launched, opened } from "./browser.js";
import { recording } from "./captures.js";
import { adcPacket, baselineReport, frameReport, scanReport } from "./reports.js";
import { native } from "./support.js";
import { waitForText, waitUntil } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const parts = ["D_SCAN_I", "D_SCAN_Q", "P_SCAN_I", "P_SCAN_Q"];
const row = (first: number) =>
  Array.from({ length: 48 }, (_, i) => first + ((i * 7919) % 1000) - 300);
const frame = (number: number) =>
  frameReport(
    number,
    parts.map((_, part) => row(number * 10 + part)),
    25,
  );
const words = (number: number) => Array.from({ length: 512 }, (_, i) => number * 1000 + i);

const signedChannel = 9; // whose number is less than zero
const quadrature = row(2000).map((value, i) => (i === signedChannel ? -100 : value));

const path = join(folder, "copies.hid");
writeFileSync(
  path,
  recording([
    frame(0),
    frame(1),
    baselineReport(row(600)),
    baselineReport(row(610)),
    scanReport(0xe4, 1n << 5n, row(1000), quadrature, 0),
    adcPacket(0, words(0), 3 * 2048),
    adcPacket(2, words(2), 3 * 2048),
  ]),
);
const values = native(null, "-o", "ndjson", path)
  .toString()
  .trimEnd()
  .split("\n")
  .map((line) => JSON.parse(line).value);

async function shown(view: string, ready: string): Promise<Page> {
  const context = await browser.newContext({ permissions: ["clipboard-read", "clipboard-write"] });
  const page = await opened(context);
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  await page.click(`#tab-${view}`);
  await page.waitForSelector(ready);
  return page;
}

async function copied(page: Page, kind: "csv" | "json"): Promise<string> {
  await page.click(`#copy-${kind}`);
  await waitForText(page, "#state", new RegExp(`${kind.toUpperCase()} is copied`));
  return page.evaluate(() => navigator.clipboard.readText());
}

/** The size of the picture that is copied, and how many colours it has. */
async function picture(page: Page): Promise<{ width: number; height: number; colours: number }> {
  await page.click("#copy-png");
  await waitForText(page, "#state", /PNG is copied/);
  return page.evaluate(async () => {
    const [item] = await navigator.clipboard.read();
    const image = await createImageBitmap(await item!.getType("image/png"));
    const canvas = document.createElement("canvas");
    canvas.width = image.width;
    canvas.height = image.height;
    const pen = canvas.getContext("2d", { willReadFrequently: true })!;
    pen.drawImage(image, 0, 0);
    const { data } = pen.getImageData(0, 0, image.width, image.height);
    const colours = new Set(new Uint32Array(data.buffer));
    return { width: image.width, height: image.height, colours: colours.size };
  });
}

const cells = (csv: string) => csv.trimEnd().split("\n").map((line) => line.split(","));

test("frames are copied as their pictures show them", async () => {
  const page = await shown("frames", '#frames[data-frame="0"]');
  await page.fill("#scrub", "1");
  await page.waitForSelector('#frames[data-frame="1"]');
  const rows = cells(await copied(page, "csv"));
  assert.equal(rows.length, 3); // the head, the current one, and the one before
  for (const [line, entry] of [
    [1, 1],
    [2, 0],
  ] as const) {
    const all = parts.flatMap((part) => values[entry][part] as number[]);
    assert.deepEqual(rows[line]!.map(Number), [entry + 1, ...all]);
  }
  assert.deepEqual(
    rows[0],
    ["frame", ...parts.flatMap((part) => values[0][part].map((_: number, i: number) => `${part}[${i}]`))],
  );
  await page.selectOption("#minus", "first");
  await waitUntil(page, () =>
    [...document.querySelectorAll("#pictures .range")].some(({ textContent }) => textContent === "010"),
  );
  const json = JSON.parse(await copied(page, "json"));
  assert.deepEqual(json.P_SCAN_Q, [new Array(48).fill(10), new Array(48).fill(0)]);
  assert.deepEqual([json.minus, json.frames, json.reports], ["first", [2, 1], [1, 0]]);
  const { width, height, colours } = await picture(page);
  assert.ok(width > 480 && height > 4 * 120 && colours > 50, `${width} ${height} ${colours}`);
  await page.context().close();
});

test("an ADC dump is copied with its gaps", async () => {
  const page = await shown("adc", "#adc[data-measured] .long canvas");
  const rows = cells(await copied(page, "csv"));
  const lost = new Array(512).fill("");
  const expected = [...values[5].PAYLOAD_DATA, ...lost, ...values[6].PAYLOAD_DATA].map(
    (value, sample) => [String(sample), String(Math.floor(sample / 512)), String(value)],
  );
  assert.deepEqual(rows, [["sample", "packet", "value"], ...expected]);
  const json = JSON.parse(await copied(page, "json"));
  assert.deepEqual(json.lost, [{ from: 512, to: 1024 }]);
  assert.deepEqual(json.values.slice(510, 514), [510, 511, null, null]);
  assert.ok((await picture(page)).colours > 20);
  await page.context().close();
});

test("scan data and baselines are copied by channel", async () => {
  const page = await shown("scan", "#scan[data-entry]");
  const scan = values[4];
  assert.deepEqual(cells(await copied(page, "csv")).slice(1), [
    ...scan.SCAN_DATA_I.map((value: number, channel: number) =>
      [channel, value, scan.SCAN_DATA_Q[channel], channel === 5 ? 1 : 0].map(String),
    ),
  ]);
  const object = JSON.parse(await copied(page, "json"));
  assert.deepEqual([object.saturated_channels, object.brownout], [[5], false]);
  assert.ok((await picture(page)).colours > 5);
  // As they are shown.
  await page.locator("#scan").getByLabel("Numbers").selectOption("signed");
  const signed = JSON.parse(await copied(page, "json"));
  const [first] = cells(await copied(page, "csv")).slice(1 + signedChannel);
  assert.equal(scan.SCAN_DATA_Q[signedChannel], 2 ** 32 - 100);
  assert.deepEqual([signed.numbers, signed.SCAN_DATA_Q[signedChannel]], ["signed", -100]);
  assert.deepEqual(first!.map(Number), [signedChannel, scan.SCAN_DATA_I[signedChannel], -100, 0]);

  await page.click("#tab-baseline");
  await page.waitForSelector("#baseline[data-entry]");
  await page.focus("#baseline");
  await page.keyboard.press("End");
  await page.waitForSelector('#baseline[data-entry="3"]');
  const rows = cells(await copied(page, "csv")).slice(1);
  assert.deepEqual(
    rows.map((row) => row.map(Number)),
    values[3].BASELINE.map((value: number, i: number) => [i, value, value - values[2].BASELINE[i]]),
  );
  assert.equal(JSON.parse(await copied(page, "json")).drift_against_report, 2);
  assert.ok((await picture(page)).colours > 5);
  await page.context().close();
});
