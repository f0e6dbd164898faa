/** What the page shows of reports and of image frames. */
import assert from "node:assert/strict";
import { rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import type { Page } from "playwright-core";
import { choose, folder, launched, opened, shownLines } from "./browser.js";
import { capture } from "./captures.js";
import { imageCounter, imageReport } from "./reports.js";
import { nativeRecords, root } from "./support.js";
import { becomes, waitUntil } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const tour = join(root, "samples/forms/tour.hid");

interface Record {
  value: { [key: string]: unknown };
  decoder?: string;
  length: number;
}

function records(path: string): Record[] {
  return nativeRecords(path);
}

async function written(name: string, numbers: number[]): Promise<string> {
  const path = join(folder, name);
  writeFileSync(path, capture(numbers.map(imageReport)));
  return path;
}

async function read(page: Page, path: string): Promise<void> {
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
}

/** What has the light, of some elements. */
async function lit(page: Page, selector: string): Promise<string[]> {
  return page.locator(`${selector}.lit`).evaluateAll((all) =>
    (all as HTMLElement[]).map(({ dataset }) => dataset["byte"] ?? dataset["value"] ?? dataset["line"]!),
  );
}

async function atFrame(page: Page, frame: number): Promise<void> {
  await page.waitForSelector(`#frames[data-frame="${frame}"]`);
}

test("a report's fields are those of the program, and its bytes those of the capture", async () => {
  const page = await opened(browser);
  const path = await written("fields.pcap", [41]);
  await read(page, path);
  await shownLines(page, 0);
  const [record] = records(path);
  const rows = await page.locator("#fields tbody tr").evaluateAll((all) =>
    all.map((row) => [...row.children].map((cell) => cell.textContent!.trim())),
  );
  assert.deepEqual(
    rows.map(([key, , value]) => [key, value!.split(" ").map(Number)]),
    Object.entries(record!.value).map(([key, value]) => [key, [value].flat()]),
  );
  const frameNumber = rows.find(([key]) => key === "FRAME_NUMBER")!;
  assert.deepEqual(frameNumber.slice(1), ["unsigned int", "41"]);
  const bytes = await page.locator("#dump .byte").allTextContents();
  assert.deepEqual(bytes.map((byte) => parseInt(byte, 16)), [...imageReport(41)]);
  await page.close();
});

test("bytes, values and lines that belong together light up together", async () => {
  const page = await opened(browser);
  await read(page, await written("light.pcap", [41]));
  const lines = (await shownLines(page, 0)).split("\n");
  await waitUntil(page, () => document.getElementById("where")!.textContent !== "");
  const value = page.locator("#fields tr", { hasText: "FRAME_NUMBER" }).locator(".value");
  const bytes = [0, 1, 2, 3].map((at) => String(imageCounter + at));
  const line = String(lines.findIndex((one) => one === "[Frame # = 41]"));
  for (const target of [
    value,
    page.locator(`#dump [data-byte="${imageCounter + 1}"]`),
    page.locator(`#report [data-line="${line}"]`),
  ]) {
    await page.mouse.move(0, 0);
    await waitUntil(page, () => document.querySelector(".lit") === null);
    await target.hover();
    assert.deepEqual(await lit(page, ".byte"), bytes);
    assert.deepEqual(await lit(page, ".value"), [await value.getAttribute("data-value")]);
    assert.deepEqual(await lit(page, ".line"), [line]);
  }
  const where = await page.textContent("#where");
  assert.equal(where, `Bytes ${bytes[0]}..${bytes[3]}: FRAME_NUMBER, unsigned int`);
  await page.close();
});

test("the arrow keys go from byte to byte", async () => {
  const page = await opened(browser);
  await read(page, await written("keys.pcap", [41]));
  await shownLines(page, 0);
  await waitUntil(page, () => document.getElementById("where")!.textContent !== "");
  await page.focus("#dump");
  assert.deepEqual(await lit(page, ".byte"), ["0"]);
  for (let i = 0; i < imageCounter; ++i) await page.keyboard.press("ArrowRight");
  assert.match((await page.textContent("#where"))!, /FRAME_NUMBER/);
  await page.keyboard.press("End");
  assert.ok((await lit(page, ".byte")).includes("791"));
  await page.close();
});

test("a report that is wrong says what", async () => {
  const page = await opened(browser);
  const path = join(folder, "short.hex");
  writeFileSync(path, "76 01 02\n");
  await read(page, path);
  await shownLines(page, 0);
  await page.waitForSelector("#problem:not([hidden])");
  assert.match((await page.textContent("#problem"))!, /3 bytes/);
  assert.ok(await page.locator("#tab-frames").isHidden());
  await page.close();
});

/** The colour of a channel in a picture's current frame. */
async function colour(page: Page, title: string, channel: number): Promise<number[]> {
  return page
    .locator("figure", { has: page.locator(`strong:text-is("${title}")`) })
    .locator("canvas.now")
    .evaluate((canvas, at) => {
      const pen = (canvas as HTMLCanvasElement).getContext("2d")!;
      return [...pen.getImageData(at, 0, 1, 1).data];
    }, channel);
}

test("a picture's darkest and lightest colours are the capture's least and most", async () => {
  const page = await opened(browser);
  const numbers = Array.from({ length: 60 }, (_, n) => n);
  const path = await written("colours.pcap", numbers);
  await read(page, path);
  await page.click("#tab-frames");
  await atFrame(page, 0);
  const frames = records(path).map(({ value }) => value["D_SCAN_I"] as number[]);
  const all = frames.flat();
  for (const [extreme, expected] of [
    [Math.min(...all), [10, 16, 70, 255]],
    [Math.max(...all), [253, 236, 110, 255]],
  ] as const) {
    const frame = frames.findIndex((values) => values.includes(extreme));
    await page.fill("#scrub", String(frame));
    await atFrame(page, frame);
    const channel = frames[frame]!.indexOf(extreme);
    assert.deepEqual(await colour(page, "D_SCAN_I", channel), expected);
  }
  await page.selectOption("#minus", "first");
  await page.fill("#scrub", "0");
  await atFrame(page, 0);
  await page.selectOption("#scale", "window");
  // The first frame less itself is the same everywhere.
  await waitUntil(page, () => {
    const [low, high] = document.querySelectorAll("#pictures .range span");
    return low!.textContent === "0" && high!.textContent === "0";
  });
  await page.close();
});

test("magnitude and phase are those of the two parts", async () => {
  const page = await opened(browser);
  const path = await written("phase.pcap", [3]);
  await read(page, path);
  await page.click("#tab-frames");
  await atFrame(page, 0);
  const [{ value }] = records(path) as [Record];
  const [i, q] = ["P_SCAN_I", "P_SCAN_Q"].map((key) => (value[key] as number[])[0]!);
  for (const [quantity, expected, unit] of [
    ["magnitude", Math.sqrt(i! * i! + q! * q!), ""],
    ["phase", (Math.atan2(q!, i!) * 180) / Math.PI, "°"],
  ] as const) {
    await page.selectOption("#quantity", quantity);
    const title = `P_SCAN ${quantity}`;
    const figure = page.locator("figure", { has: page.locator(`strong:text-is("${title}")`) });
    await figure.locator("canvas.now").hover({ position: { x: 1, y: 5 } });
    const text = `${title}, channel 0: ${Number(expected.toPrecision(6))}${unit}`;
    await waitUntil(page, 
      (text) => document.getElementById("pointed")!.textContent === text,
      text,
    );
  }
  await page.close();
});

test("the player goes by keys, and plays to the end", async () => {
  const page = await opened(browser);
  const path = await written("player.pcap", Array.from({ length: 300 }, (_, n) => n));
  await read(page, path);
  await page.focus("#tab-one");
  await page.keyboard.press("ArrowRight"); // to the other tab
  await atFrame(page, 0);
  await page.focus("#frames");
  for (const [key, frame] of [
    ["ArrowRight", 1],
    ["Shift+ArrowRight", 11],
    ["ArrowLeft", 10],
    ["PageDown", 110],
    ["End", 299],
    ["ArrowRight", 299],
    ["Home", 0],
    ["ArrowLeft", 0],
  ] as const) {
    await page.keyboard.press(key);
    await atFrame(page, frame);
  }
  await shownLines(page, 0);
  await page.keyboard.press("+");
  assert.equal(await page.inputValue("#speed"), "2");
  const texts = await page.evaluateHandle(() => {
    const play = document.getElementById("play")!;
    const texts: string[] = [];
    new MutationObserver(() => texts.push(play.textContent!)).observe(play, { childList: true });
    return texts;
  });
  await page.keyboard.press("Space");
  await atFrame(page, 299);
  await becomes(() => texts.jsonValue(), ["Stop", "Play"]);
  // Where the player stops, the list and the report are, too.
  assert.match(await shownLines(page, 299), /^\[Frame # = 299\]/);
  await page.close();
});

test("frames that are lost are told and marked", async () => {
  const page = await opened(browser);
  await read(page, await written("lost.pcap", [0, 1, 2, 3, 10, 11, 12, 13]));
  await page.click("#tab-frames");
  await atFrame(page, 0);
  assert.match((await page.textContent("#lost"))!, /^1 jump .* from 3 to 10\./);
  const marks = await page.locator("#jumps").evaluate((canvas) => {
    const { width, height } = canvas as HTMLCanvasElement;
    const { data } = (canvas as HTMLCanvasElement)
      .getContext("2d")!
      .getImageData(0, 0, width, height);
    return Array.from({ length: width }, (_, x) => x).filter((x) => data[4 * x + 3] !== 0);
  });
  assert.deepEqual(marks, [500, 501]); // the fifth of eight
  await page.close();
});

test("a channel is drawn over time, and chosen by a click at a picture", async () => {
  const page = await opened(browser);
  await read(page, await written("course.pcap", Array.from({ length: 20 }, (_, n) => n)));
  await page.click("#tab-frames");
  await page.waitForSelector("#course canvas");
  const canvas = page.locator("#pictures canvas.now").nth(2);
  const { width } = (await canvas.boundingBox())!;
  await canvas.click({ position: { x: ((7 + 0.5) / 48) * width, y: 5 } });
  assert.equal(await page.inputValue("#channel"), "7");
  await waitUntil(page, () => /P_SCAN_I\[7\]/.test(document.getElementById("course")!.textContent!));
  await page.selectOption("#over", "TMON_DEG_C");
  await waitUntil(page, () => /TMON_DEG_C/.test(document.getElementById("course")!.textContent!));
  await page.waitForSelector("#noise canvas");
  await page.close();
});

test("nothing is wider than the window, at 1280 and at 390 pixels", async () => {
  for (const width of [1280, 390]) {
    const page = await opened(browser, { viewport: { width, height: 800 } });
    await read(page, tour);
    await shownLines(page, 0);
    for (const tab of ["#tab-one", "#tab-frames", "#tab-adc", "#tab-baseline", "#tab-scan"]) {
      await page.click(tab);
      const tooWide = await page.evaluate(() =>
        [document.documentElement, ...document.querySelectorAll("section")]
          .filter((one) => one.scrollWidth > one.clientWidth)
          .map((one) => `${one.tagName} ${one.ariaLabel} ${one.scrollWidth} > ${one.clientWidth}`),
      );
      assert.deepEqual(tooWide, [], `${width} ${tab}`);
    }
    await page.close();
  }
});
