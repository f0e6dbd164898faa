/** The page in Firefox, from disk. */
import assert from "node:assert/strict";
import { rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { join } from "node:path";
import { after, test } from "node:test";
import { pathToFileURL } from "node:url";
import type { Browser, ElementHandle, Page } from "puppeteer-core";
import { folder, packages, pagePath } from "./browser.js";
import { capture } from "./captures.js";
import { imageReport } from "./reports.js";
import { nativeRecords, root } from "./support.js";
import { patience } from "./waiting.js";

const puppeteer = createRequire(join(packages, "x.js"))("puppeteer-core") as {
  launch(options: object): Promise<Browser>;
};
const browser = await puppeteer.launch({
  browser: "firefox",
  executablePath: process.env["VESK_FIREFOX"] ?? "/usr/bin/firefox-esr",
  timeout: patience,
  protocolTimeout: patience,
});
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

/** The page, and whatever it says on the console or asks a network for: both are faults. */
async function opened(): Promise<[Page, string[]]> {
  const page = await browser.newPage();
  page.setDefaultTimeout(patience);
  const said: string[] = [];
  page.on("console", (message) => said.push(message.text()));
  page.on("pageerror", (fault) => said.push(String(fault)));
  page.on("request", (request) => {
    if (!/^(file|blob|data):/.test(request.url())) said.push(request.url());
  });
  await page.goto(pathToFileURL(pagePath).href);
  return [page, said];
}

async function choose(page: Page, path: string): Promise<void> {
  const input = (await page.$("#choose")) as ElementHandle<HTMLInputElement>;
  await input.uploadFile(path);
  await page.waitForSelector("#state[data-read]");
}

interface Record {
  lines: string[];
  value: { [key: string]: unknown };
}

function recordsOf(path: string): Record[] {
  return nativeRecords(path, "--lines");
}

async function shownLines(page: Page, entry: number): Promise<string[]> {
  await page.waitForSelector(`#report[data-entry="${entry}"]`);
  return page.$eval("#report", (one) => one.textContent!.split("\n"));
}

test("a file's reports have the program's lines", async () => {
  const [page, said] = await opened();
  const path = join(root, "samples/forms/tour.hid");
  await choose(page, path);
  const records = recordsOf(path);
  assert.equal(records.length, 16);
  await page.click("#list [role=option]");
  for (const [entry, { lines }] of records.entries()) {
    if (entry > 0) await page.keyboard.press("ArrowDown");
    assert.deepEqual(await shownLines(page, entry), lines);
  }
  assert.equal(await page.$eval("#connect", (one) => (one as HTMLElement).hidden), true);
  assert.deepEqual(said, []);
  await page.close();
});

/** The colours of a screenshot at some points. */
async function colours(page: Page, points: [x: number, y: number][]): Promise<number[][]> {
  const shot = await page.screenshot({ encoding: "base64" });
  return page.evaluate(
    async (shot, points) => {
      const image = new Image();
      image.src = `data:image/png;base64,${shot}`;
      await image.decode();
      const canvas = document.createElement("canvas");
      canvas.width = image.width;
      canvas.height = image.height;
      const pen = canvas.getContext("2d")!;
      pen.drawImage(image, 0, 0);
      const scale = image.width / innerWidth;
      return points.map(([x, y]) => [...pen.getImageData(x * scale, y * scale, 1, 1).data]);
    },
    shot,
    points,
  );
}

async function goTo(page: Page, frame: number): Promise<void> {
  await page.$eval(
    "#scrub",
    (one, frame) => {
      (one as HTMLInputElement).value = String(frame);
      one.dispatchEvent(new Event("input"));
    },
    frame,
  );
  await page.waitForSelector(`#frames[data-frame="${frame}"]`);
}

test("frames of a capture are pictures", async () => {
  const [page, said] = await opened();
  const path = join(folder, "frames.pcap");
  const frames = Array.from({ length: 300 }, (_, number) => imageReport(number));
  writeFileSync(path, capture(frames));
  await choose(page, path);
  const records = recordsOf(path);
  assert.deepEqual(await shownLines(page, 0), records[0]!.lines);
  await page.click("#tab-frames");
  await page.waitForSelector('#frames[data-frame="0"]');

  // The capture's least and most have the ends of the scale, and nothing else has.
  const scans = records.map(({ value }) => value["D_SCAN_I"] as number[]);
  for (const [extreme, end] of [
    [Math.min(...scans.flat()), [10, 16, 70, 255]],
    [Math.max(...scans.flat()), [253, 236, 110, 255]],
  ] as const) {
    const frame = scans.findIndex((scan) => scan.includes(extreme));
    await goTo(page, frame);
    const { left, width, middle } = await page.$eval("#pictures .now", (canvas) => {
      const { left, top, width, height } = canvas.getBoundingClientRect();
      return { left, width, middle: top + height / 2 };
    });
    const scan = scans[frame]!;
    const places = scan.map((_, channel) => left + ((channel + 0.5) / scan.length) * width);
    const seen = await colours(page, places.map((x) => [x, middle]));
    assert.deepEqual(
      seen.map((colour) => colour.join() === end.join()),
      scan.map((value) => value === extreme),
    );
  }

  await page.focus("#frames");
  await page.keyboard.press("End");
  await page.waitForSelector('#frames[data-frame="299"]');
  assert.deepEqual(said, []);
  await page.close();
});
