/** What is worked out of image frames, beside the same by the native program's numbers. */
import assert from "node:assert/strict";
import { rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import type { Page } from "playwright-core";
import { choose, folder, launched, opened } from "./browser.js";
import { capture, type Sent } from "./captures.js";
import { baselineReport, frameReport } from "./reports.js";
import { native, nativeRecords } from "./support.js";
import { becomes, waitForText } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const keys = ["D_SCAN_I", "D_SCAN_Q", "P_SCAN_I", "P_SCAN_Q"];

/** Numbers without a pattern that could hide a mistake: of any frame, part and channel. */
function sample(frame: number, part: number, channel: number): number {
  return (((frame + 3) * 7919 + part * 104729 + channel * 15485863) % 1999) - 900;
}

function frame(number: number, device = 5): Sent {
  const scans = keys.map((_, part) =>
    Array.from({ length: 48 }, (_, channel) => sample(number, part, channel)),
  );
  return { bytes: frameReport(number, scans, 25 + ((number * 13) % 7) / 4), device };
}

function baseline(first: number, device = 5): Sent {
  const values = Array.from({ length: 48 }, (_, channel) => first + channel * 1.5);
  return { bytes: baselineReport(values), device };
}

interface Values {
  [key: string]: number[] & number;
}

async function show(page: Page, name: string, sent: readonly Sent[]): Promise<Values[]> {
  const path = join(folder, name);
  writeFileSync(path, capture(sent));
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  await page.click("#tab-frames");
  await atFrame(page, 0);
  return nativeRecords<{ value: Values }>(path).map(({ value }) => value);
}

async function atFrame(page: Page, frame: number): Promise<void> {
  await page.waitForSelector(`#frames[data-frame="${frame}"]`);
}

async function goTo(page: Page, frame: number): Promise<void> {
  await page.fill("#scrub", String(frame));
  await atFrame(page, frame);
}

function picture(page: Page, title: string) {
  const figure = page.locator("#pictures figure", {
    has: page.locator(`strong:text-is("${title}")`),
  });
  return figure.locator("canvas.now");
}

/** Waits until a channel of a picture is told as a value. */
async function isTold(page: Page, title: string, channel: number, value: number): Promise<void> {
  const canvas = picture(page, title);
  const { width } = (await canvas.boundingBox())!;
  const text = `${title}, channel ${channel}: ${Number(value.toPrecision(6))}`;
  let tries = 0;
  await becomes(async () => {
    await canvas.hover({ position: { x: ((channel + 0.5) / 48) * width, y: 3 + (++tries % 9) } });
    return page.textContent("#pointed");
  }, text);
}

/** How many pixels of a picture's current frame are there. */
async function drawn(page: Page, title: string): Promise<number> {
  return picture(page, title).evaluate((element) => {
    const canvas = element as HTMLCanvasElement;
    const { data } = canvas
      .getContext("2d", { willReadFrequently: true })!
      .getImageData(0, 0, canvas.width, 1);
    return data.filter((value, at) => at % 4 === 3 && value === 255).length;
  });
}

test("any frame is taken off the others", async () => {
  const page = await opened(browser);
  const values = await show(page, "minus.pcap", [0, 1, 2, 3, 4].map((n) => frame(n)));
  await page.selectOption("#minus", "frame");
  const number = page.getByLabel("Number of the frame to subtract");
  await number.fill("3");
  await number.press("Enter");
  await goTo(page, 4);
  for (const key of keys)
    for (const channel of [0, 31, 47])
      await isTold(page, key, channel, values[4]![key]![channel]! - values[2]![key]![channel]!);
  // One that isn't there is refused.
  await number.fill("9");
  await number.press("Enter");
  await waitForText(page, "#subtracted", /There is no frame 9: nothing is shown\./);
  await becomes(() => drawn(page, "P_SCAN_Q"), 0);
  await page.selectOption("#minus", "nothing");
  await waitForText(page, "#subtracted", /^$/);
  await isTold(page, "P_SCAN_Q", 5, values[4]!["P_SCAN_Q"]![5]!);
  await becomes(() => drawn(page, "P_SCAN_Q"), 48);
  await page.close();
});

test("the latest baseline before a frame is taken off the chosen part, and told", async () => {
  const page = await opened(browser);
  const sent = [frame(0), baseline(100), frame(1), frame(2), baseline(200), frame(3)];
  const values = await show(page, "baseline.pcap", sent);
  await page.selectOption("#minus", "baseline");
  await waitForText(page, "#subtracted", /No baseline of its device came before this frame/);
  await becomes(() => drawn(page, "D_SCAN_I"), 0);
  await becomes(() => drawn(page, "D_SCAN_Q"), 48);
  for (const [shown, entry, report] of [
    [1, 2, 1],
    [2, 3, 1],
    [3, 5, 4],
  ] as const) {
    await goTo(page, shown);
    const told = new RegExp(`baseline of report ${report} is taken off D_SCAN_I only`);
    await waitForText(page, "#subtracted", told);
    const expected = values[entry]!["D_SCAN_I"]![17]! - values[report]!["BASELINE"]![17]!;
    await isTold(page, "D_SCAN_I", 17, expected);
    await isTold(page, "D_SCAN_Q", 17, values[entry]!["D_SCAN_Q"]![17]!);
    await becomes(() => drawn(page, "D_SCAN_I"), 48);
  }
  const frames = page.locator("#frames");
  await frames.getByLabel("of", { exact: true }).selectOption("P_SCAN_Q");
  await frames.getByLabel("Report with the baseline").fill("1");
  await frames.getByLabel("Report with the baseline").press("Enter");
  await waitForText(page, "#subtracted", /baseline of report 1 is taken off P_SCAN_Q only/);
  const expected = values[5]!["P_SCAN_Q"]![40]! - values[1]!["BASELINE"]![40]!;
  await isTold(page, "P_SCAN_Q", 40, expected);
  await isTold(page, "D_SCAN_I", 40, values[5]!["D_SCAN_I"]![40]!);
  await frames.getByLabel("Report with the baseline").fill("3");
  await frames.getByLabel("Report with the baseline").press("Enter");
  await waitForText(page, "#subtracted", /Report 3 is no baseline\. P_SCAN_Q is not shown\./);
  await page.close();
});

test("a baseline of another device is not taken unasked", async () => {
  const page = await opened(browser);
  const sent = [baseline(100, 5), baseline(300, 6), frame(0, 5), frame(1, 6)];
  const values = await show(page, "devices.pcap", sent);
  await page.selectOption("#minus", "baseline");
  for (const [shown, report] of [
    [0, 0],
    [1, 1],
  ] as const) {
    await goTo(page, shown);
    await waitForText(page, "#subtracted", new RegExp(`The baseline of report ${report} is taken off`));
    const expected = values[2 + shown]!["D_SCAN_I"]![9]! - values[report]!["BASELINE"]![9]!;
    await isTold(page, "D_SCAN_I", 9, expected);
  }
  await page.locator("#frames").getByLabel("Report with the baseline").fill("0");
  await page.locator("#frames").getByLabel("Report with the baseline").press("Enter");
  await waitForText(page, "#subtracted", /report 0, which is of another device, is taken off/);
  await page.close();
});

/** Points at a point of a plot until it tells what is expected: it may be drawn anew meanwhile. */
async function plotTells(
  page: Page,
  plot: string,
  x: number,
  points: number,
  expected: string,
): Promise<void> {
  await becomes(async () => {
    const over = await page.locator(`${plot} .u-over`).boundingBox();
    if (over !== null) {
      await page.mouse.move(over.x, over.y + 5);
      const along = Math.min((x / (points - 1)) * over.width, over.width - 1);
      await page.mouse.move(over.x + along, over.y + 20);
    }
    const told = (await page.locator(`${plot} .u-legend`).textContent())!;
    return told.endsWith(expected) ? expected : told;
  }, expected);
}

test("mean, noise and temperature are those of the native program's numbers", async () => {
  const page = await opened(browser);
  const count = 40;
  const values = await show(page, "noise.pcap", Array.from({ length: count }, (_, n) => frame(n)));
  const short = (value: number) => String(Number(value.toPrecision(6)));
  await page.selectOption("#over", "scan 1"); // P_SCAN
  await waitForText(page, "#noise", /P_SCAN_Q/);
  for (const statistic of ["noise", "mean"] as const) {
    await page.selectOption("#statistic", statistic);
    for (const channel of [0, 22, 47]) {
      const expected = ["P_SCAN_I", "P_SCAN_Q"].map((key) => {
        const all = values.map((value) => value[key]![channel]!);
        const mean = all.reduce((sum, value) => sum + value, 0) / count;
        if (statistic === "mean") return mean;
        return Math.sqrt(all.reduce((sum, value) => sum + (value - mean) ** 2, 0) / count);
      });
      const [i, q] = expected;
      const told = `channel${channel}P_SCAN_I${short(i!)}P_SCAN_Q${short(q!)}`;
      await plotTells(page, "#noise", channel, 48, told);
    }
  }
  await page.selectOption("#over", "TMON_DEG_C");
  await waitForText(page, "#course", /TMON_DEG_C/);
  for (const at of [0, 11, 39]) {
    const told = `TMON_DEG_C${short(values[at]!["TMON_DEG_C"]!)}`;
    await plotTells(page, "#course", at, count, told);
  }
  await page.close();
});

test("all frames that are lost are marked, and counted as the native program does", async () => {
  const page = await opened(browser);
  const numbers = [0, 1, 2, 5, 6, 7, 8, 20, 21, 22];
  const path = join(folder, "gaps.pcap");
  writeFileSync(path, capture(numbers.map((number) => frame(number))));
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  await page.click("#tab-frames");
  await atFrame(page, 0);
  assert.match((await page.textContent("#lost"))!, /^2 jumps .* from 2 to 5\./);
  const last = native(null, "-o", "ndjson", "--stats", path).toString().trimEnd().split("\n").at(-1);
  const [lost] = JSON.parse(last!).statistics.lost;
  assert.deepEqual([lost.reports, lost.gap_count], [13, 2]); // 3, 4, and 9 to 19
  const marks = await page.locator("#jumps").evaluate((element) => {
    const canvas = element as HTMLCanvasElement;
    const { data } = canvas
      .getContext("2d", { willReadFrequently: true })!
      .getImageData(0, 0, canvas.width, 1);
    return Array.from({ length: canvas.width }, (_, x) => x).filter((x) => data[4 * x + 3] !== 0);
  });
  assert.deepEqual(marks, [300, 301, 700, 701]); // the fourth and the eighth of ten
  await page.close();
});

test("pointing at a frame before tells that frame's number, as long as it is there", async () => {
  const page = await opened(browser);
  const values = await show(page, "past.pcap", Array.from({ length: 9 }, (_, n) => frame(n)));
  await goTo(page, 7);
  const past = page.locator("#pictures figure", { hasText: "P_SCAN_Q" }).locator("canvas.past");
  const { width, height } = (await past.boundingBox())!;
  const at = (channel: number, age: number) => ({
    x: ((channel + 0.5) / 48) * width,
    y: ((age + 0.5) / 48) * height,
  });
  await past.hover({ position: at(30, 5) });
  const told = (frame: number) =>
    `P_SCAN_Q, channel 30, frame ${frame + 1}: ${values[frame]!["P_SCAN_Q"]![30]}`;
  await waitForText(page, "#pointed", new RegExp(`^${told(2)}$`));
  await page.focus("#frames");
  await page.keyboard.press("ArrowRight");
  await waitForText(page, "#pointed", new RegExp(`^${told(3)}$`));
  await past.hover({ position: at(30, 20) }); // no frame came so far before
  await waitForText(page, "#pointed", /^Point at a picture/);
  await page.close();
});

test("of two choices of what is taken off, the last one is drawn", async () => {
  const page = await opened(browser);
  const values = await show(page, "choices.pcap", Array.from({ length: 600 }, (_, n) => frame(n)));
  await page.getByLabel("Number of the frame to subtract").evaluate((one: HTMLInputElement) => {
    one.value = "500"; // which was not read yet
  });
  await page.evaluate(async () => {
    const minus = document.getElementById("minus") as HTMLSelectElement;
    for (const value of ["frame", "nothing"]) {
      minus.value = value;
      minus.dispatchEvent(new Event("change"));
      for (let i = 0; i < 100; ++i) await Promise.resolve();
    }
  });
  await page.waitForTimeout(1000);
  await isTold(page, "D_SCAN_I", 3, values[0]!["D_SCAN_I"]![3]!);
  await page.close();
});

test("where times go back, frames stand over their numbers", async () => {
  const page = await opened(browser);
  const one = capture([0, 1, 2].map((n) => frame(n)));
  const other = capture([3, 4, 5].map((n) => frame(n))); // from the same time on
  const path = join(folder, "back.pcap");
  writeFileSync(path, Buffer.concat([one, other.subarray(24)]));
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  await page.click("#tab-frames");
  await waitForText(page, "#course", /D_SCAN_Q\[0\]/);
  const lines = native(null, "-o", "ndjson", path).toString().trimEnd().split("\n");
  const values = lines.map((line) => JSON.parse(line).value);
  for (const at of [0, 2, 3, 5]) {
    const [i, q] = ["D_SCAN_I", "D_SCAN_Q"].map((key) => values[at][key][0]);
    await plotTells(page, "#course", at, 6, `frame${at}D_SCAN_I[0]${i}D_SCAN_Q[0]${q}`);
  }
  await page.close();
});

test("nothing of a file that was shown before stays", async () => {
  const page = await opened(browser);
  await show(page, "before.pcap", [frame(0), frame(1)]);
  await page.waitForSelector("#course canvas");
  await page.waitForSelector("#noise canvas");
  const path = join(folder, "behind.pcap");
  writeFileSync(path, capture([frame(5)]));
  await choose(page, path);
  await page.locator("#state[data-read]", { hasText: /behind\.pcap/ }).waitFor();
  assert.equal(await page.textContent("#frame"), "");
  assert.equal(await page.locator("#course canvas, #noise canvas").count(), 0);
  await page.click("#tab-frames");
  await waitForText(page, "#frame", /^Frame 1 of 1 · FRAME_NUMBER 5/);
  await page.close();
});
