/** Files and texts in the page that were made to do harm: markup stays text, and damage is told. */
import assert from "node:assert/strict";
import { mkdirSync, rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import { gzipSync } from "node:zlib";
import type { Page } from "playwright-core";
import { choose, folder, launched, opened, shownLines } from "./browser.js";
import { capture } from "./captures.js";
import { imageReport } from "./reports.js";
import { native, numbers } from "./support.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const markup =
  `<img src=x onerror="window.harm=1"><script>window.harm=1</script>` +
  "</pre></script>&lt;&amp;";

/** Written as a line of hexadecimal digits. */
function line(id: number, text: string | Uint8Array): string {
  const bytes = typeof text === "string" ? new TextEncoder().encode(text) : text;
  return `feature ${Buffer.from([id, ...bytes, 0]).toString("hex")}\n`;
}

async function read(page: Page, path: string): Promise<void> {
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
}

/** The next file that is read is to be waited for. */
function forgetRead(page: Page): Promise<void> {
  return page.evaluate(() => void delete document.getElementById("state")!.dataset["read"]);
}

/** Nothing came into the page but text. */
async function unharmed(page: Page, before: number): Promise<void> {
  assert.equal(await page.evaluate(() => (window as { harm?: number }).harm), undefined);
  assert.equal(await page.locator("img, iframe, object, embed").count(), 0);
  assert.equal(await page.locator("script").count(), before);
}

test("markup in version texts is text", async () => {
  const page = await opened(browser);
  const scripts = await page.locator("script").count();
  const texts = [
    markup,
    "javascript:alert(1)",
    "\u202egnp.exe\u2066\u0007\u001b[31m",
    "{{script}} ${harm} __proto__ constructor",
    "x".repeat(400),
    "\ufeffno mark of an order, but a text",
  ];
  const lines = texts.flatMap((text) => [line(0xd0, text), line(0xd2, `${text}\n${text}\n`)]);
  lines.push(line(0xd0, Uint8Array.of(0xff, 0xfe, 0xc0, 0x80, 0xed, 0xa0, 0x80)));
  const path = join(folder, "texts.hex");
  writeFileSync(path, lines.join(""));
  const records = native(null, "-o", "ndjson", "--lines", path)
    .toString()
    .trimEnd()
    .split("\n")
    .map((one) => JSON.parse(one) as { lines?: string[]; error?: { message: string } });
  assert.equal(records.length, lines.length);
  assert.ok(records.some((record) => record.lines?.some((one) => one.includes(markup))));
  await read(page, path);
  await shownLines(page, 0);
  await page.click("#list [role=option]");
  for (const [entry, record] of records.entries()) {
    if (entry > 0) await page.keyboard.press("ArrowDown");
    const shown = await shownLines(page, entry);
    if (record.lines) assert.deepEqual(shown.split("\n"), record.lines);
    if (record.error) assert.equal(await page.textContent("#problem"), record.error.message);
  }
  await unharmed(page, scripts);
  await page.close();
});

test("markup in a file's name is text", async () => {
  const page = await opened(browser);
  const scripts = await page.locator("script").count();
  for (const name of [
    `<img src=x onerror="window.harm=1">.hid`,
    `"><svg onload='window.harm=1'>.pcap`,
    "\u202egpj.dih",
    " \n.hid",
    "__proto__",
    `${"n".repeat(240)}.hid`,
  ]) {
    const path = join(folder, name);
    writeFileSync(path, line(0xd0, "1.2"));
    await forgetRead(page);
    await read(page, path);
    assert.match(await shownLines(page, 0), /1\.2/);
    assert.ok((await page.textContent("body"))!.includes(name.trim()), name);
    await unharmed(page, scripts);
  }
  await page.close();
});

test("a hash of a link can do no harm", async () => {
  const page = await opened(browser);
  const scripts = await page.locator("script").count();
  for (const hash of [markup, "__proto__=1&entry=-1", "entry=1e99&tab=%E0%A4%A", "=".repeat(5000)])
    await page.evaluate((hash) => (location.hash = hash), hash);
  const path = join(folder, "link.hex");
  writeFileSync(path, line(0xd0, "1.2"));
  await read(page, path);
  assert.match(await shownLines(page, 0), /1\.2/);
  await unharmed(page, scripts);
  await page.close();
});

test("damaged files are read as the program reads them, and the page goes on", async () => {
  const page = await opened(browser);
  const random = numbers(7);
  const next = (below: number) => Math.floor((random.next().value / 2 ** 32) * below);
  const whole = capture(Array.from({ length: 40 }, (_, number) => imageReport(number)));
  const packed = gzipSync(whole);
  const noise = Uint8Array.from({ length: 5000 }, () => next(256));
  const files: [string, Uint8Array][] = [
    ["empty.pcap", new Uint8Array()],
    ["noise.bin", noise],
    ["cut.pcap", whole.subarray(0, whole.length - 100)],
    ["head.pcap", whole.subarray(0, 24)],
    ["cut.gz", packed.subarray(0, packed.length >> 1)],
    ["noise.gz", Uint8Array.of(0x1f, 0x8b, 8, 0, ...noise)],
    ["noise.xz", Uint8Array.of(0xfd, 0x37, 0x7a, 0x58, 0x5a, 0, ...noise)],
    ["noise.zst", Uint8Array.of(0x28, 0xb5, 0x2f, 0xfd, ...noise)],
    ["long.txt", new Uint8Array(3 << 20).fill(0x61)],
    ["nul.txt", new Uint8Array(1 << 20)],
  ];
  for (let i = 0; i < 10; ++i) {
    const damaged = whole.slice();
    for (let k = 0; k < 30; ++k) damaged[next(damaged.length)] = next(256);
    files.push([`damaged-${i}.pcap`, damaged]);
  }
  const good = join(folder, "good.pcap");
  writeFileSync(good, whole);
  mkdirSync(join(folder, "hostile"));
  for (const [name, bytes] of files) {
    const path = join(folder, "hostile", name);
    writeFileSync(path, bytes);
    await forgetRead(page);
    await read(page, path);
    if (/gz|xz|zst$/.test(name)) {
      assert.match((await page.textContent("body"))!, /can't be unpacked/, name);
    } else {
      const records = native(null, "-o", "ndjson", path).toString().trimEnd().split("\n");
      const count = records.filter((one) => one !== "").length;
      assert.equal(await page.getAttribute("#state", "data-read"), String(count), name);
    }
    await forgetRead(page);
    await choose(page, good);
    await page.waitForSelector('#state[data-read="40"]');
    await shownLines(page, 0);
  }
  await page.close();
});
