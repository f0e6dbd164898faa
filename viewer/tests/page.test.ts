/** The page in a browser, from disk. */
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readdirSync, readFileSync, rmSync, statSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import { gunzipSync } from "node:zlib";
import { choose, folder, launched, opened, packages, pagePath, shownLines } from "./browser.js";
import { capture, imageReport, writeLargeCapture } from "./captures.js";
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

test("20000 frames show their first report before all are read", async (context) => {
  const path = join(folder, "frames.pcap");
  writeFileSync(path, capture(Array.from({ length: 20_000 }, (_, n) => imageReport(n))));
  const page = await opened(browser);
  const begin = performance.now();
  await choose(page, path);
  await shownLines(page, 0);
  const took = performance.now() - begin;
  context.diagnostic(`first report after ${took.toFixed(0)} ms`);
  await page.waitForSelector("#state[data-read]");
  context.diagnostic(`all after ${(performance.now() - begin).toFixed(0)} ms`);
  assert.equal(await page.getAttribute("#state", "data-read"), "20000");
  await page.close();
});

test("reading is cancelled, and what was read stays", async () => {
  const path = join(folder, "cancelled.pcap");
  const frames = writeLargeCapture(path, 100e6);
  const page = await opened(browser);
  await choose(page, path);
  // As soon as something is shown, and before all of it can be.
  await page.evaluate(async () => {
    while (document.getElementById("report")!.dataset["entry"] !== "0")
      await new Promise((resolve) => setTimeout(resolve, 1));
    document.getElementById("cancel")!.click();
  });
  await page.waitForSelector("#state[data-read]");
  const read = Number(await page.getAttribute("#state", "data-read"));
  assert.ok(read > 0 && read < frames, `${read} of ${frames}`);
  assert.match((await page.textContent("#state"))!, /cancelled/);
  await page.focus("#list");
  await page.keyboard.press("ArrowDown");
  assert.match(await shownLines(page, 1), /^\[Frame # = 1\]/);
  await page.close();
  rmSync(path);
});
