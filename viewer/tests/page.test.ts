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

test("the page has the notices of all that it holds", () => {
  const [, packed] = /id="notices">([^<]*)</.exec(readFileSync(pagePath, "utf8"))!;
  const notices = gunzipSync(Buffer.from(packed!, "base64")).toString();
  const folder = join(root, "viewer/src");
  const imported = readdirSync(folder)
    .filter((name) => name.endsWith(".ts"))
    .flatMap((name) => [
      ...readFileSync(join(folder, name), "utf8").matchAll(/ from "([^".][^"]*)";/g),
    ])
    .map((match) => match[1]!);
  assert.ok(imported.includes("fzstd"));
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

test("20000 frames show a picture within half a second of the choice", async (context) => {
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
  assert.ok(took < 5000); // what a busy machine takes; the figure is what counts
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

/** The memory of the browser's processes, in bytes, what they share divided among them. */
function browserMemory(): number {
  const parents = new Map<number, number>();
  for (const name of readdirSync("/proc").filter((name) => /^\d+$/.test(name)))
    try {
      const status = readFileSync(`/proc/${name}/stat`, "utf8");
      const fields = status.slice(status.lastIndexOf(")") + 2).split(" ");
      parents.set(Number(name), Number(fields[1]));
    } catch {
      // It has ended.
    }
  const isOurs = (id: number | undefined): boolean =>
    id !== undefined && id !== 0 && (id === process.pid || isOurs(parents.get(id)));
  let sum = 0;
  for (const id of parents.keys())
    if (id !== process.pid && isOurs(id))
      try {
        const rollup = readFileSync(`/proc/${id}/smaps_rollup`, "utf8");
        sum += 1024 * Number(/^Pss:\s+(\d+)/m.exec(rollup)![1]);
      } catch {
        // The same.
      }
  return sum;
}

test("a capture of 256 MB opens, and its middle shows at once", async (context) => {
  const path = join(folder, "large.pcap");
  const size = Number(process.env["VESK_LARGE"] ?? 256) * 1e6;
  const frames = writeLargeCapture(path, size);
  await browser.close(); // what it held is not this page's
  const fresh = await launched();
  context.after(() => fresh.close());
  const page = await opened(fresh);
  const before = browserMemory();
  const begin = performance.now();
  await choose(page, path);
  let most = 0;
  const watch = setInterval(() => (most = Math.max(most, browserMemory())), 200);
  await page.waitForSelector("#state[data-read]", { timeout: 120_000 });
  clearInterval(watch);
  const seconds = (performance.now() - begin) / 1000;
  assert.equal(await page.getAttribute("#state", "data-read"), String(frames));

  const middle = frames / 2;
  const jump = await page.evaluate(async (row: number) => {
    const begin = performance.now();
    const list = document.getElementById("list")!;
    const frame = () => new Promise(requestAnimationFrame);
    // Whoever pulls the scroll bar goes by the share of the whole.
    const section = list.parentElement!;
    section.scrollTop = (section.scrollHeight - section.clientHeight) / 2;
    const find = () => list.querySelector<HTMLElement>(`[data-number="${row}"]`);
    while (find() === null && performance.now() - begin < 10_000) await frame();
    find()!.click();
    while (document.getElementById("report")!.dataset["entry"] !== String(row)) await frame();
    return performance.now() - begin;
  }, middle);
  const lines = await shownLines(page, middle);
  const [first] = lines.split("\n");
  assert.equal(first, `[Frame # = ${middle}]`);
  const after = browserMemory();
  const mega = (bytes: number) => (bytes / 1e6).toFixed(0);
  context.diagnostic(
    `${mega(statSync(path).size)} MB read in ${seconds.toFixed(1)} s; ` +
      `jump ${jump.toFixed(0)} ms; memory ${mega(before)} MB before, ` +
      `${mega(most)} at most, ${mega(after)} after`,
  );
  // What the browser takes for itself differs, and garbage of the pieces; 768 MB took no more than
  // 256. Who holds the file has all of it.
  assert.ok(after - before < 200e6, `${mega(after - before)} MB more`);
  assert.ok(jump < 1000);
  rmSync(path);
});
