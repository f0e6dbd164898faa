/** Pages that `vesk-decode -o html` makes: they open what is inside, and nothing in it can harm. */
import assert from "node:assert/strict";
import { createHash } from "node:crypto";
import { mkdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import { gunzipSync } from "node:zlib";
import type { Page } from "playwright-core";
import { choose, folder, launched, opened, pagePath, shownLines } from "./browser.js";
import { capture } from "./captures.js";
import { imageReport } from "./reports.js";
import { native, root } from "./support.js";
import { waitUntil } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const tour = join(root, "samples/forms/tour.hid");

/** A page with these captures inside. */
function made(...options: string[]): { path: string; text: string } {
  const path = join(folder, "made.html");
  const page = native(null, "-o", "html", "--viewer", pagePath, ...options);
  writeFileSync(path, page);
  return { path, text: page.toString() };
}

/** The same, opened and read. */
async function openedWith(...options: string[]): Promise<Page> {
  const page = await opened(browser, {}, { path: made(...options).path });
  await page.waitForSelector("#state[data-read]");
  return page;
}

interface NativeRecord {
  time?: number;
  report_id: number;
  report_type: string;
  length: number;
  lines: string[];
}

function records(...options: string[]): NativeRecord[] {
  const text = native(null, "-o", "ndjson", "--lines", ...options).toString();
  return text.trim().split("\n").map((line) => JSON.parse(line) as NativeRecord);
}

/** As the list's hint tells it; a recording has 0 where there is none. */
function timeOf({ time = 0 }: NativeRecord): string {
  if (time < 1e9) return `${time.toFixed(6)} s`;
  const [seconds, part] = time.toFixed(6).split(".");
  const day = new Date(Number(seconds) * 1000).toISOString().replace("T", " ").slice(0, 19);
  return `${day}.${part} UTC`;
}

/** Goes through the list by the keyboard: what it shows of each report is what the program says. */
async function expectReports(page: Page, expected: NativeRecord[]): Promise<void> {
  const read = await page.getAttribute("#state", "data-read");
  assert.equal(read, String(expected.length));
  await page.focus("#list");
  for (const [number, record] of expected.entries()) {
    assert.deepEqual((await shownLines(page, number)).split("\n"), record.lines);
    const row = page.locator("#list [role=option]").nth(number);
    const cell = async (name: string) => (await row.locator(`.${name}`).textContent())!.trim();
    assert.equal(await cell("seconds"), ((record.time ?? 0) - (expected[0]!.time ?? 0)).toFixed(6));
    assert.equal(await row.locator(".seconds").getAttribute("title"), timeOf(record));
    assert.equal(Number(await cell("id")), record.report_id);
    assert.equal(await cell("type"), record.report_type);
    assert.equal(await cell("length"), `${record.length} B`);
    await page.keyboard.press("ArrowDown");
  }
}

function noteOf(page: Page): Promise<string> {
  return page.locator(".carried").innerText();
}

test("what is inside opens by itself, with the program's lines and times", async () => {
  const page = await openedWith(tour);
  await expectReports(page, records(tour));
  const note = await noteOf(page);
  assert.match(note, /^Inside this page: tour\.hid, 16 reports\n/);
  assert.match(note, /serial numbers and version texts/);
  assert.ok(!note.includes(root) && !note.includes("samples"));
  assert.match(await page.title(), /^tour\.hid /);
  await page.close();
});

test("a USB capture's times and types stay, and its device is told", async () => {
  const path = join(root, "samples/forms/tour-usbmon.pcap");
  const page = await openedWith(path);
  await expectReports(page, records(path));
  assert.match(await noteOf(page), /device 1:5, endpoints 0, 1; 16 reports/);
  await page.close();
});

test("a choice of reports, and what has no time", async () => {
  const path = join(root, "samples/tour.hex");
  const options = ["--report", "0xD0,0xE1"];
  const page = await openedWith(...options, path);
  await expectReports(page, records(...options, path));
  const note = await noteOf(page);
  assert.match(note, /Chosen from the captures by --report 0xD0,0xE1\./);
  assert.match(note, /without times: they stand at 0/);
  await page.close();
});

test("other captures can be opened in it, and the page itself carries none", async () => {
  const page = await openedWith(tour);
  await choose(page, join(root, "samples/forms/tour-usbpcap.pcap"));
  await waitUntil(page, () =>
    document.getElementById("state")!.textContent!.startsWith("tour-usbpcap.pcap"),
  );
  await page.close();
  const plain = await opened(browser);
  assert.equal(await plain.locator(".carried").count(), 0);
  assert.match((await plain.textContent("#state"))!, /^Drop captures/);
  await plain.close();
});

test("several captures, each of which can be chosen", async () => {
  const frames = join(folder, "frames.pcap");
  writeFileSync(frames, capture(Array.from({ length: 30 }, (_, n) => imageReport(n))));
  const empty = join(folder, "empty.hex");
  writeFileSync(empty, "");
  const unknown = join(folder, "unknown.hex");
  writeFileSync(unknown, "input 99 01\n");
  const page = await openedWith(unknown, empty, tour, frames);
  // Not the first one, which has nothing that is known.
  assert.match((await page.textContent("#state"))!, /^tour\.hid/);
  const note = await noteOf(page);
  assert.match(note, /^Inside this page: 4 captures, 47 reports\n/);
  assert.match(note, /unknown\.hex: 1 report; none of them known; without times/);
  assert.match(note, /empty\.hex: no reports/);
  await page.click("#files .show:text('frames.pcap')");
  await page.waitForSelector("#state[data-read='30']");
  await expectReports(page, records(frames));
  await page.close();
});

test("errors that came up are told", async () => {
  const path = join(folder, "bad.hex");
  writeFileSync(path, "de 01\n" + "zz\n".repeat(8));
  const page = await openedWith(path, join(folder, "none.hex"));
  const note = await noteOf(page);
  assert.match(note, /9 errors came up/);
  assert.match(note, /bad\.hex:2: bad hex: "z" is no hexadecimal digit/);
  assert.match(note, /none\.hex: cannot open: No such file or directory/);
  assert.match(note, /and 3 more like these/);
  await page.close();
});

test("no reports at all", async () => {
  const { path } = made("--report", "0x01", tour);
  const page = await opened(browser, {}, { path });
  await page.waitForSelector(".carried");
  assert.match(await noteOf(page), /^Inside this page: tour\.hid, 0 reports\n/);
  assert.match(await noteOf(page), /tour\.hid: no reports/);
  await page.close();
});

test("the policy is the page's, and still allows its own script alone", () => {
  const { text } = made(tour);
  const plain = readFileSync(pagePath, "utf8");
  const policyOf = (page: string) => /Content-Security-Policy" content="([^"]*)"/.exec(page)![1]!;
  const policy = policyOf(text);
  assert.equal(policy, policyOf(plain));
  assert.ok(policy.startsWith("default-src 'none'; "));
  assert.match(policy, /connect-src 'none'/);
  const scripts = [...text.matchAll(/<script([^>]*)>([^<]*(?:<(?!\/script)[^<]*)*)<\/script>/g)];
  const running = scripts.filter(([, attributes]) => !attributes!.includes('type="text/plain"'));
  assert.equal(running.length, 1);
  const hash = createHash("sha256").update(running[0]![2]!).digest("base64");
  assert.ok(policy.includes(`script-src 'sha256-${hash}' 'wasm-unsafe-eval'; `));
  assert.equal(scripts.filter(([, attributes]) => / id="capture-\d+"/.test(attributes!)).length, 1);
});

test("what is inside is what the program records", () => {
  const { text } = made(tour);
  const [, packed] = /id="capture-1">([^<]*)</.exec(text)!;
  const recording = gunzipSync(Buffer.from(packed!, "base64"));
  assert.deepEqual(recording, native(null, "-o", "recording", tour));
});

const hostile = [
  "</script><script>document.title='harmed'</script>",
  "<!--",
  "<!--<script>",
  "--><img src=x onerror=document.title='harmed'>",
  '"><svg onload=document.title="harmed">',
  "a'b`${c}&lt;{{script}}",
];

test("what limits say of the files is told in the program's words", async () => {
  const limits = join(folder, "limits.json");
  const schema = { properties: { WEAK_OS: { const: 0 } } };
  const title = "<script>document.title = 'harmed'</script>";
  writeFileSync(limits, JSON.stringify({ title, reports: { "0xE3": { schema } } }));
  const good = join(folder, "good.hex");
  writeFileSync(good, `e3${" 00".repeat(56)}\n`);
  const page = await openedWith("--limits", limits, tour, good);
  assert.match((await page.textContent(".carried summary"))!, /; limits: FAIL, 1 of 2$/);
  const told = await page.locator(".carried p").allTextContents();
  assert.ok(told.includes(`${title}, tour.hid: FAIL, 1 of 2 tests`), told.join("\n"));
  assert.ok(told.includes(`${title}, good.hex: PASS, 2 tests`), told.join("\n"));
  assert.deepEqual(await page.locator(".carried .problems li").allTextContents(), [
    "tour.hid:20: 0xE3 WEAK_OS is 1073872896 (channels 17, 30), not 0",
  ]);
  assert.doesNotMatch(await page.title(), /^harmed/);
  await page.close();

  const alone = await openedWith("--limits", limits, good);
  assert.match((await alone.textContent(".carried summary"))!, /; PASS, 2 tests$/);
  await alone.close();
});

test("names of files are no markup", async () => {
  const paths = hostile.map((text) => {
    const path = join(folder, text.replaceAll("/", "\u2215"));
    writeFileSync(path, "de 01\n<script>\n");
    return path;
  });
  const page = await openedWith(...paths);
  const names = await page.locator(".carried .captures li").allTextContents();
  const titles = paths.map((path) => path.slice(folder.length + 1));
  assert.deepEqual(
    names,
    titles.map((title) => `${title}: 1 report; without times: they stand at 0`),
  );
  assert.equal(await page.locator("header script, header img, header svg").count(), 0);
  for (const problem of await page.locator(".carried .problems li").allTextContents())
    assert.match(problem, /: "<script>" |in "<script>"/);
  assert.doesNotMatch(await page.title(), /^harmed/);
  await page.close();
});

test("texts of reports and devices are no markup", async () => {
  const lines = hostile.map((text) => {
    const bytes = Buffer.concat([Buffer.from([0xd0]), Buffer.from(text), Buffer.from([0])]);
    const digits = [...bytes].map((byte) => byte.toString(16).padStart(2, "0")).join(" ");
    return `N: ${text}\nF: 1.000000 ${bytes.length} ${digits}\n`;
  });
  const path = join(folder, "texts.hid");
  writeFileSync(path, lines.join(""));
  const page = await openedWith(path);
  await expectReports(page, records(path));
  assert.equal(await page.locator("#one script, #one img, #one svg").count(), 0);
  assert.doesNotMatch(await page.title(), /^harmed/);
  await page.close();
});

test("the note fits narrow screens, whatever the names are", async () => {
  mkdirSync(join(folder, "long"));
  const path = join(folder, "long", `${"x".repeat(240)}.hex`);
  writeFileSync(path, "de 01\nzz\n");
  const narrow = { viewport: { width: 390, height: 844 } };
  const page = await opened(browser, narrow, { path: made(path, tour).path });
  await page.waitForSelector("#state[data-read]");
  const { right, height } = await page.evaluate(() => {
    const { right, height } = document.querySelector(".carried")!.getBoundingClientRect();
    return { right, height };
  });
  assert.ok(right <= 390 && height <= 0.35 * 844, `${right}, ${height}`);
  await page.focus(".carried summary");
  await page.keyboard.press("Enter");
  assert.equal(await page.getAttribute(".carried", "open"), null);
  await page.close();
});
