/** The page in a browser, from disk. */
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readdirSync, readFileSync, rmSync, statSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import { gunzipSync } from "node:zlib";
import type { Page } from "playwright-core";
import { choose, folder, launched, opened, packages, pagePath, shownLines } from "./browser.js";
import { writeLargeCapture } from "./captures.js";
import { native, root } from "./support.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

test("the page is below 1 MB", () => {
  assert.ok(statSync(pagePath).size < 1_000_000);
});

function sources(folder: string): string[] {
  return readdirSync(folder, { withFileTypes: true }).flatMap((entry) => {
    const path = join(folder, entry.name);
    if (entry.isDirectory()) return sources(path);
    return entry.name.endsWith(".ts") ? [path] : [];
  });
}

test("the page has the notices of all that it holds", () => {
  const [, packed] = /id="notices">([^<]*)</.exec(readFileSync(pagePath, "utf8"))!;
  const notices = gunzipSync(Buffer.from(packed!, "base64")).toString();
  const imported = sources(join(root, "viewer/src"))
    .flatMap((path) => [...readFileSync(path, "utf8").matchAll(/ from "([^".][^"]*)";/g)])
    .map((match) => match[1]!);
  assert.ok(imported.includes("fzstd") && imported.includes("fft.js"));
  for (const name of imported) {
    const { version } = JSON.parse(readFileSync(join(packages, name, "package.json"), "utf8"));
    assert.ok(notices.includes(`\n${name} ${version}\n`), name);
  }
  for (const holder of ["Arjun Barrett", "Lasse Collin", "LLVM", "Dan Gohman", "vesk-report"])
    assert.ok(notices.includes(holder), holder);
});

test("a capture's first report has the program's lines", async () => {
  const page = await opened(browser);
  const path = join(root, "samples/forms/tour-usbmon.pcap");
  await choose(page, path);
  const lines = await shownLines(page, 0);
  await page.waitForSelector("#state[data-read]");
  const [first] = native(null, "-o", "ndjson", "--lines", path).toString().split("\n");
  assert.deepEqual(lines.split("\n"), JSON.parse(first!).lines);
  await page.close();
});

test("a compressed capture is read in the worker", async () => {
  const plain = readFileSync(join(root, "samples/forms/tour.hid"));
  for (const program of ["gzip", "xz", "zstd"]) {
    const page = await opened(browser);
    const path = join(folder, `tour.${program}`);
    writeFileSync(path, execFileSync(program, ["-c"], { input: plain }));
    await choose(page, path);
    const lines = await shownLines(page, 0);
    const [first] = native(plain, "-o", "ndjson", "--lines").toString().split("\n");
    assert.deepEqual(lines.split("\n"), JSON.parse(first!).lines, program);
    await page.close();
  }
});

/** The page is told what to do as soon as it shows its first report. */
async function whenShown(page: Page, todo: "note" | "cancel"): Promise<void> {
  await page.evaluate((todo) => {
    const report = document.getElementById("report")!;
    new MutationObserver((_, observer) => {
      if (report.dataset["entry"] !== "0") return;
      observer.disconnect();
      const state = document.getElementById("state")!;
      if (todo === "cancel") document.getElementById("cancel")!.click();
      else document.body.dataset["first"] = state.dataset["read"] === undefined ? "early" : "late";
    }).observe(report, { attributes: true });
  }, todo);
}

// A page that gets no processor for a while has a small capture read at once, but no large one.
const sizes = [16e6, 64e6, 256e6];

test("a capture's first report shows before all are read", async (context) => {
  const path = join(folder, "frames.pcap");
  let first: string | null = null;
  for (const size of sizes) {
    const frames = writeLargeCapture(path, size);
    const page = await opened(browser);
    await whenShown(page, "note");
    const begin = performance.now();
    await choose(page, path);
    await shownLines(page, 0);
    const took = performance.now() - begin;
    context.diagnostic(`first report of ${frames} after ${took.toFixed(0)} ms`);
    await page.waitForSelector("#state[data-read]");
    context.diagnostic(`all after ${(performance.now() - begin).toFixed(0)} ms`);
    assert.equal(await page.getAttribute("#state", "data-read"), String(frames));
    first = await page.getAttribute("body", "data-first");
    await page.close();
    if (first === "early") break;
  }
  assert.equal(first, "early");
  rmSync(path);
});

/** A page in which the reading of a capture was cancelled, and how many of its frames it has read. */
async function cancelled(path: string, size: number): Promise<[Page, number, number]> {
  const frames = writeLargeCapture(path, size);
  const page = await opened(browser);
  await whenShown(page, "cancel");
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  const read = Number(await page.getAttribute("#state", "data-read"));
  return [page, read, frames];
}

test("reading is cancelled, and what was read stays", async () => {
  const path = join(folder, "cancelled.pcap");
  let [page, read, frames] = await cancelled(path, sizes[1]!);
  if (read === frames) {
    await page.close();
    [page, read, frames] = await cancelled(path, sizes[2]!);
  }
  assert.ok(read > 0 && read < frames, `${read} of ${frames}`);
  assert.match((await page.textContent("#state"))!, /cancelled/);
  await page.focus("#list");
  await page.keyboard.press("ArrowDown");
  assert.match(await shownLines(page, 1), /^\[Frame # = 1\]/);
  await page.close();
  rmSync(path);
});
