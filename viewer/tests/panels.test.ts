/** What the page shows of the panel's test, the black box, power modes and the watchdog. */
import assert from "node:assert/strict";
import { readFileSync, rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import type { Locator, Page } from "playwright-core";
import { choose, folder, launched, opened, shownLines } from "./browser.js";
import { capture, casesOf, every, recording, type Timed } from "./captures.js";
import { openShortReport, powerReport, watchdogReport, withNumbers } from "./reports.js";
import { native, nativeRecords, root } from "./support.js";
import { becomes } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const tour = join(root, "samples/forms/tour.hid");

interface Record {
  report_id: number;
  value: { [key: string]: number } | null;
  lines: string[];
}

/** What the program says of a file's reports. */
function records(path: string): Record[] {
  return nativeRecords(path, "--lines");
}

function written(name: string, reports: readonly Timed[]): string {
  const path = join(folder, name);
  writeFileSync(path, recording(reports));
  return path;
}

/** A page with a file, at a view. */
async function at(view: string, path: string): Promise<Page> {
  const page = await opened(browser);
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  await page.click(`#tab-${view}`);
  return page;
}

async function drawn(page: Page, view: string, entry: number): Promise<void> {
  await page.waitForSelector(`#${view}[data-entry="${entry}"]`);
}

async function compareWith(page: Page, view: string, what: string): Promise<void> {
  await page.locator(`#${view}`).getByLabel("Compare with", { exact: true }).selectOption(what);
}

async function rowsAre(page: Page, count: number): Promise<void> {
  await becomes(() => page.locator("#blackbox tbody tr").count(), count);
}

/** The texts of a table's rows. */
async function rowsOf(table: Locator): Promise<string[][]> {
  return table.locator("tbody tr").evaluateAll((all) =>
    all.map((row) => [...row.children].map((cell) => cell.textContent!.trim())),
  );
}

async function columnOf(table: Locator, column: number): Promise<string[]> {
  return (await rowsOf(table)).map((row) => row[column]!);
}

// -------------------------------------------------------------------------------------- open/short

const orange = "rgb(213, 94, 0)";

/** The channels of each row that have an X, and those that have the colour of faults. */
async function channelsOf(page: Page): Promise<{ marks: number[][]; coloured: number[][] }> {
  return page.evaluate((orange) => {
    const rows = [...document.querySelectorAll("#openshort .row")];
    const of = (row: Element, is: (cell: HTMLElement) => boolean) =>
      [...row.querySelectorAll<HTMLElement>(".cell")]
        .filter(is)
        .map((cell) => Number(cell.dataset["channel"]))
        .sort((a, b) => a - b);
    return {
      marks: rows.map((row) => of(row, (cell) => cell.textContent === "X")),
      coloured: rows.map((row) =>
        of(row, (cell) => getComputedStyle(cell).backgroundColor === orange),
      ),
    };
  }, orange);
}

/** The channels that have an X in a report's lines: the rightmost mark is channel 0. */
function marksIn(lines: readonly string[]): number[][] {
  const rows = lines.map((line) => line.replace(/^.{11}/s, "").replaceAll(" ", ""));
  return rows
    .filter((row) => /^[.X]{48}$/.test(row))
    .map((row) => [...row].reverse().flatMap((mark, channel) => (mark === "X" ? [channel] : [])));
}

test("channels are orange and have an X where the lines have one", async () => {
  const path = written("cases.hid", casesOf("open-short"));
  const expected = records(path);
  assert.ok(expected.length > 5);
  const page = await at("openshort", path);
  await page.focus("#openshort");
  for (const [entry, { lines }] of expected.entries()) {
    await drawn(page, "openshort", entry);
    const { marks, coloured } = await channelsOf(page);
    const wanted = marksIn(lines);
    assert.equal(wanted.length, 7);
    assert.deepEqual(marks, wanted);
    assert.deepEqual(coloured, wanted);
    const any = [...new Set(wanted.flat())].sort((a, b) => a - b);
    const verdict = await page.textContent("#openshort .verdict");
    if (any.length === 0) assert.match(verdict!, /^No open, no short: none of the 48 channels/);
    else assert.ok(verdict!.endsWith(`${any.join(", ")}.`), verdict!);
    await page.keyboard.press("ArrowRight");
  }
  await page.close();
});

test("bits beyond the channels are told, since no line shows them", async () => {
  const mask = (1n << 63n) | (1n << 48n) | 1n;
  const path = written("beyond.hid", every(1, [openShortReport([0n, mask, 0n, 0n, 0n, 0n, 0n])]));
  const page = await at("openshort", path);
  await drawn(page, "openshort", 0);
  const text = await page.textContent("#openshort .content");
  assert.match(text!, /1 of 48 channels has a mark: 0\./);
  assert.match(text!, /SHORT_TX_NEG has bits beyond the channels.*: 48, 63\./);
  await page.close();
});

test("a channel that is new or gone since the report before is told and marked", async () => {
  const masks = [0b0110n, 0b1010n, 0b1010n];
  const reports = masks.map((weak) => openShortReport([0n, 0n, 0n, 0n, 0n, 0n, weak]));
  const page = await at("openshort", written("changed.hid", every(2, reports)));
  await drawn(page, "openshort", 0);
  assert.match((await page.textContent("#openshort .news"))!, /came before this one/);
  await page.click('#openshort [aria-label="The next report"]');
  await drawn(page, "openshort", 1);
  await shownLines(page, 1); // the list and the report have come along
  const content = page.locator("#openshort .content");
  assert.match((await content.textContent())!, /Weak O\/S new: 3 · Weak O\/S gone: 2\./);
  const said = (label: string) => content.getByRole("cell", { name: label, exact: true });
  assert.equal(await said("channel 3: X, new").textContent(), "X");
  assert.equal(await said("channel 2: gone").textContent(), "○");
  assert.match((await page.textContent("#openshort .news"))!, /1, 0xE3, 0:00:02\.000 before/);
  await page.focus("#openshort");
  await page.keyboard.press("End");
  await drawn(page, "openshort", 2);
  assert.match((await page.textContent("#openshort .news"))!, /Nothing changed/);
  await page.close();
});

// --------------------------------------------------------------------------------------- black box

async function show(page: Page, decoder: string): Promise<void> {
  await page.getByLabel("Show the").selectOption(decoder);
}

const plain = () => casesOf("full-report-plain")[0]!.bytes;

test("the black box shows what is not zero, and all where that is wanted", async () => {
  const path = written("full.hid", casesOf("full-report"));
  const expected = records(path);
  assert.ok(expected.length > 5);
  const page = await at("blackbox", path);
  await compareWith(page, "blackbox", "nothing");
  const table = page.locator("#blackbox table");
  const isAbout = (key: string) => /_(MODULE_ID|NUM_EVENTS)$|^MODULE_COUNT$/.test(key);
  for (const [entry, { value }] of expected.entries()) {
    await page.focus("#blackbox");
    await drawn(page, "blackbox", entry);
    const all = Object.entries(value!).map(([key, number]) => [key, String(number)]);
    const shown = all.filter(([key, number]) => number !== "0" && !isAbout(key!));
    const rows = (await table.count()) === 0 ? [] : await rowsOf(table);
    assert.deepEqual(rows.map((row) => row.slice(-2)), shown);
    await page.getByLabel("zeros, too").check();
    await rowsAre(page, all.length);
    assert.deepEqual((await rowsOf(table)).map((row) => row.slice(-2)), all);
    await page.getByLabel("zeros, too").uncheck();
    await rowsAre(page, shown.length);
    await page.focus("#blackbox");
    await page.keyboard.press("ArrowRight");
  }
  await page.close();
});

test("an event's module is the one whose ID stands before it", async () => {
  const page = await at("blackbox", written("modules.hid", every(1, [plain()])));
  await drawn(page, "blackbox", 0);
  await page.getByLabel("zeros, too").check();
  const rows = page.locator("#blackbox tbody tr");
  await rowsAre(page, 269);
  for (const [key, module] of [
    ["OPEN_SHORT_EVENT_WEAK_OS", "OPEN_SHORT_TEST"],
    ["PMGR_EVENT_WAKE_SRC_UNKNOWN", "PMGR"],
    ["BLOB_VSFN_EVENT_DEFAULT", "BLOB_VSFN"],
    ["MODULE_COUNT", ""],
  ]) {
    const row = rows.filter({ has: page.locator(`td.key:text-is("${key}")`) });
    assert.equal(await row.locator("td.module").textContent(), module);
  }
  await page.close();
});

test("the black box is sorted by its heads, by mouse and by keys", async () => {
  const path = written("sorted.hid", every(1, [plain()]));
  const [{ value }] = records(path) as [Record];
  const page = await at("blackbox", path);
  await drawn(page, "blackbox", 0);
  await page.getByLabel("zeros, too").check();
  await rowsAre(page, 269);
  const table = page.locator("#blackbox table");
  const head = (name: RegExp) => page.getByRole("columnheader", { name });
  const all = Object.entries(value!);
  await head(/Report 1/).getByRole("button").click();
  assert.equal(await head(/Report 1/).getAttribute("aria-sort"), "descending");
  const numbers = all.map(([, number]) => number).sort((a, b) => b - a);
  assert.deepEqual((await columnOf(table, 2)).map(Number), numbers);
  await page.keyboard.press("Enter");
  assert.equal(await head(/Report 1/).getAttribute("aria-sort"), "ascending");
  assert.deepEqual((await columnOf(table, 2)).map(Number), numbers.reverse());
  await page.keyboard.press("Enter");
  assert.equal(await head(/Report 1/).getAttribute("aria-sort"), "none");
  assert.deepEqual(await columnOf(table, 1), all.map(([key]) => key));
  await head(/Key/).getByRole("button").focus();
  await page.keyboard.press("Space");
  assert.equal(await head(/Key/).getAttribute("aria-sort"), "ascending");
  const keys = await columnOf(table, 1);
  assert.deepEqual(new Set(keys), new Set(all.map(([key]) => key)));
  assert.equal(keys[0], "ALGS_EVENT_DISCARDED_PATH");
  await page.close();
});

test("two reports side by side: what changed, by how much, and what became of it", async () => {
  // The first counter of the catalogue at 7, OPEN_SHORT_EVENT_WEAK_OS at 95.
  const start = withNumbers(plain(), { 7: 4294967290, 95: 10, 579: 3_000_000_000 });
  const next = withNumbers(start, { 7: 5, 95: 12, 579: 3_000_000_001 });
  const restarted = withNumbers(next, { 7: 0, 95: 0, 579: 1 });
  const path = written("beside.hid", every(60, [start, next, restarted]));
  const values = records(path).map(({ value }) => value!);
  const page = await at("blackbox", path);
  await page.focus("#blackbox");
  await drawn(page, "blackbox", 0);
  await page.keyboard.press("ArrowRight");
  await drawn(page, "blackbox", 1);
  await page.getByLabel("only what changed").check();
  await rowsAre(page, 3);
  const table = page.locator("#blackbox table");
  const expected = (from: number, to: number, texts: string[]) =>
    Object.keys(values[0]!)
      .filter((key) => values[from]![key] !== values[to]![key])
      .map((key, i) => [key, String(values[from]![key]), String(values[to]![key]), texts[i]!]);
  assert.deepEqual(
    (await rowsOf(table)).map((row) => row.slice(1)),
    expected(0, 1, ["▲ +11, wrapped", "▲ +2, grew", "▲ +1, grew"]),
  );
  assert.match((await page.textContent("#blackbox .news"))!, /0:01:00\.000 before it/);
  await page.focus("#blackbox");
  await page.keyboard.press("ArrowRight");
  await drawn(page, "blackbox", 2);
  assert.deepEqual(
    (await rowsOf(table)).map((row) => row.slice(1)),
    expected(1, 2, ["▼ −5, fell", "▼ −12, fell", "▼ −3000000000, fell"]),
  );
  const warning = await page.textContent("#blackbox .warning");
  assert.match(warning!, /Several counters fell: the firmware started again, or cleared them\./);
  // Across the restart: the differences are there, and what they mean isn't claimed.
  await compareWith(page, "blackbox", "first");
  await page.locator("#blackbox .news", { hasText: /Between the two reports 1 time/ }).waitFor();
  assert.deepEqual(
    (await rowsOf(table)).map((row) => row.slice(1)),
    expected(0, 2, ["▼ −4294967290, less", "▼ −10, less", "▼ −2999999999, less"]),
  );
  // Any other one, by its number, which may be a later one.
  await page.focus("#blackbox");
  await page.keyboard.press("Home");
  await drawn(page, "blackbox", 0);
  await compareWith(page, "blackbox", "number");
  await page.locator("#blackbox").getByLabel("Number of the report to").fill("2");
  await page.keyboard.press("Enter");
  await page.locator("#blackbox .news", { hasText: /It came later/ }).waitFor();
  assert.deepEqual(
    (await rowsOf(table)).map((row) => row.slice(1)),
    expected(1, 0, ["▲ +4294967285, more", "▼ −2, less", "▼ −1, less"]),
  );
  await page.close();
});

test("reports of two IDs stand side by side, and nothing is concluded", async () => {
  const page = await at("blackbox", tour);
  await drawn(page, "blackbox", 9);
  await show(page, "parseBlackBoxFullReport");
  await drawn(page, "blackbox", 10);
  await page.focus("#blackbox");
  await page.keyboard.press("ArrowRight");
  await drawn(page, "blackbox", 11);
  const news = await page.textContent("#blackbox .news");
  assert.match(news!, /Compared with report 1, 0xE1/);
  assert.match(news!, /another kind or sender/);
  const [now, before] = records(tour)
    .filter(({ report_id }) => report_id === 0xe1 || report_id === 0xea)
    .map(({ value }) => value!) as [Record["value"], Record["value"]];
  await page.getByLabel("only what changed").check();
  const changed = Object.keys(now!).filter((key) => now![key] !== before![key]);
  await rowsAre(page, changed.length);
  assert.deepEqual(
    (await rowsOf(page.locator("#blackbox table"))).map((row) => row.slice(1, 4)),
    changed.map((key) => [key, String(now![key]), String(before![key])]),
  );
  await page.close();
});

test("the summary says the severity in the words of its line", async () => {
  const path = written("summary.hid", casesOf("summary"));
  const expected = records(path);
  const page = await at("blackbox", path);
  await compareWith(page, "blackbox", "nothing");
  await page.focus("#blackbox");
  for (const [entry, { lines, value }] of expected.entries()) {
    await drawn(page, "blackbox", entry);
    const line = lines.find((one) => one.startsWith("Severity Level: "))!;
    assert.equal(await page.textContent("#blackbox .verdict"), line);
    const set = Object.entries(value!).filter(([key, one]) => one !== 0 && key !== "MODULE_COUNT");
    const table = page.locator("#blackbox table");
    const rows = (await table.count()) === 0 ? [] : await rowsOf(table);
    assert.deepEqual(rows, set.map(([key, one]) => [key, String(one)]));
    await page.keyboard.press("ArrowRight");
  }
  await page.close();
});

test("the configuration's grid says what its lines say", async () => {
  const path = written("configuration.hid", casesOf("configuration"));
  const expected = records(path);
  const page = await at("blackbox", path);
  await page.focus("#blackbox");
  await drawn(page, "blackbox", 0);
  await page.getByRole("button", { name: "Show all events" }).click();
  for (const [entry, { lines }] of expected.entries()) {
    await page.focus("#blackbox");
    await drawn(page, "blackbox", entry);
    const said = await page.evaluate(() => {
      const table = document.querySelector("#blackbox table")!;
      const heads = [...table.querySelectorAll("thead th")].map((one) => one.textContent!);
      return [...table.querySelectorAll("tr:has(.event)")].map((row) => {
        const [name, ...cells] = [...row.children];
        const words = cells.flatMap((one, i) => (one.textContent === "●" ? [heads[i + 1]!] : []));
        return [name!.firstChild!.textContent!, ...words.sort()];
      });
    });
    const wanted = lines
      .filter((line) => line.includes(":"))
      .map((line) => {
        const [name, words] = line.split(": ") as [string, string];
        const set = words.replace("(no options set)", "").split(" ").filter(Boolean);
        return [name.trim(), ...set.sort()];
      });
    assert.deepEqual(said, wanted);
    const modules = await page.locator("#blackbox button.module").count();
    assert.equal(modules, 23); // with what holds for all
    await page.keyboard.press("ArrowRight");
  }
  await page.close();
});

test("a setting that changed says what it was", async () => {
  const [before] = casesOf("configuration-all-zero");
  const bytes = before!.bytes.slice();
  bytes[12] = 0x84; // PSE_EVENT_AFE_LDO_FAULT
  const page = await at("blackbox", written("setting.hid", every(1, [before!.bytes, bytes])));
  await drawn(page, "blackbox", 0);
  await page.focus("#blackbox");
  await page.keyboard.press("End");
  await drawn(page, "blackbox", 1);
  const content = page.locator("#blackbox .content");
  assert.match((await content.textContent())!, /231 settings, 1 changed\./);
  const module = page.getByRole("button", { name: /PSE/ });
  await module.focus();
  await page.keyboard.press("Enter");
  assert.equal(await module.getAttribute("aria-expanded"), "true");
  const row = content.locator("tr", { hasText: "PSE_EVENT_AFE_LDO_FAULT" });
  assert.match((await row.textContent())!, /was TRACE/);
  const heads = await content.locator("thead th").allTextContents();
  const cells = await row.locator("td").allTextContents();
  const set = heads.slice(1).filter((_, i) => cells[i] === "●");
  assert.deepEqual(set, ["ERROR", "BREAKPOINT"]);
  await page.close();
});

// ------------------------------------------------------------------------------------- power modes

const modeNames = ["INIT", "ACTIVE", "TIMEOUT", "READY", "LIGHT_SLEEP"];

/** Widths of a bar's parts, as shares of it. */
async function widthsOf(page: Page, span: string): Promise<number[]> {
  return page.locator(`#power [data-span="${span}"] .stack`).evaluate((bar) => {
    const { width } = bar.getBoundingClientRect();
    return [...bar.children].map((part) => part.getBoundingClientRect().width / width);
  });
}

test("power modes have their shares of the time, as bar and as table", async () => {
  for (const [n, one] of casesOf("power").entries()) {
    const path = written(`power-${n}.hid`, [one]);
    const [{ value }] = records(path) as [Record];
    const page = await at("power", path);
    await drawn(page, "power", 0);
    const times = modeNames.map((name) => value![`${name} time ms`]!);
    const total = times.reduce((sum, one) => sum + one, 0);
    const rows = await rowsOf(page.locator('#power [data-span="all"] table'));
    assert.deepEqual(rows.map((row) => row[0]), modeNames);
    assert.deepEqual(rows.map((row) => Number(row[3])), times);
    assert.deepEqual(
      rows.map((row) => Number(row[4])),
      modeNames.map((name) => value![`${name} times entered`]),
    );
    if (total === 0) assert.match((await page.textContent("#power .shares"))!, /No time was/);
    else
      (await widthsOf(page, "all")).forEach((width, i) => {
        assert.ok(Math.abs(width - times[i]! / total) < 0.02, `${n} ${i}: ${width}`);
      });
    await page.close();
  }
});

test("times are told in hours, shares in percent, and the mean time of an entry", async () => {
  const report = powerReport([[1000, 3], [9_000_000, 4], [0, 0], [900_500, 2], [1, 1]]);
  const page = await at("power", written("times.hid", every(1, [report])));
  await drawn(page, "power", 0);
  const rows = await rowsOf(page.locator('#power [data-span="all"] table'));
  assert.deepEqual(rows, [
    ["INIT", "< 0.1 %", "0:00:01.000", "1000", "3", "0:00:00.333"],
    ["ACTIVE", "90.9 %", "2:30:00.000", "9000000", "4", "0:37:30.000"],
    ["TIMEOUT", "0.0 %", "0:00:00.000", "0", "0", "–"],
    ["READY", "9.1 %", "0:15:00.500", "900500", "2", "0:07:30.250"],
    ["LIGHT_SLEEP", "< 0.1 %", "0:00:00.001", "1", "1", "0:00:00.001"],
  ]);
  const bar = page.getByRole("img", { name: /ACTIVE 90\.9 %, TIMEOUT 0\.0 %/ });
  assert.equal(await bar.count(), 1);
  await page.close();
});

test("between two reports it is the difference that has shares; a fall has none", async () => {
  const reports = [
    powerReport([[500, 1], [4_294_967_000, 10], [100, 1], [10, 1], [0, 0]]),
    powerReport([[500, 1], [204, 12], [100, 1], [310, 4], [0, 0]]),
    powerReport([[500, 1], [700, 13], [100, 1], [320, 5], [0, 0]]),
    powerReport([[400, 1], [10, 1], [5, 1], [20, 1], [0, 0]]),
  ];
  const page = await at("power", written("between.hid", every(2, reports)));
  const between = page.locator('#power [data-span="between"]');
  await page.focus("#power");
  await drawn(page, "power", 0);
  assert.equal(await between.count(), 0);
  await page.keyboard.press("ArrowRight");
  await drawn(page, "power", 1);
  // ACTIVE went over its largest value: 296 to there, and 204 behind it.
  const growth = async () => (await rowsOf(between.locator("table"))).map((row) => row.slice(3, 5));
  const none = ["0", "0"];
  assert.deepEqual(await growth(), [none, ["500", "2"], none, ["300", "3"], none]);
  const shares = await widthsOf(page, "between");
  assert.ok(Math.abs(shares[1]! - 0.625) < 0.02 && Math.abs(shares[3]! - 0.375) < 0.02);
  assert.match((await page.textContent("#power .warning"))!, /ACTIVE time ms \(wrapped\)/);
  await page.keyboard.press("ArrowRight");
  await drawn(page, "power", 2);
  assert.deepEqual(await growth(), [none, ["496", "1"], none, ["10", "1"], none]);
  assert.equal(await page.locator("#power .warning").count(), 0);
  await compareWith(page, "power", "first");
  await page.waitForSelector("#power .warning");
  assert.deepEqual(await growth(), [none, ["996", "3"], none, ["310", "4"], none]);
  await page.focus("#power");
  await page.keyboard.press("ArrowRight");
  await drawn(page, "power", 3);
  assert.equal(await between.count(), 0);
  assert.match((await page.textContent("#power .warning"))!, /the firmware started again/);
  assert.match((await page.textContent("#power .content"))!, /isn't known, since counters fell/);
  await compareWith(page, "power", "before");
  await page.locator("#power .news", { hasText: /⚠ Several counters fell/ }).waitFor();
  assert.equal(await between.count(), 0);
  await page.close();
});

test("shares since the counters began count what went over the largest value", async () => {
  const most = 2 ** 32;
  const report = (active: number, ready: number, entered = 1) =>
    powerReport([[0, 1], [active % most, entered % most], [0, 0], [ready % most, 1], [0, 0]]);
  const steps = 100_000_000;
  const reports = [
    // Over it twice: 8,800,000,000 ms are some 101 days.
    ...Array.from({ length: 89 }, (_, n) => report(n * steps, 1_000_000, n)),
    report(10, 10, 1), // the firmware started again
    report(most - 10, 5_000),
    report(most + 90, 6_000),
  ];
  const page = await at("power", written("days.hid", every(60, reports)));
  const all = page.locator('#power [data-span="all"]');
  const times = async () => (await columnOf(all.locator("table"), 3)).map(Number);
  const note = page.locator("#power .wrapped");
  await drawn(page, "power", 0);
  await page.locator("#power").getByLabel("Number of the report", { exact: true }).fill("89");
  await page.keyboard.press("Enter");
  await drawn(page, "power", 88);
  assert.deepEqual(await times(), [0, 8_800_000_000, 0, 1_000_000, 0]);
  assert.match((await note.textContent())!, /largest value.*: ACTIVE time ms\..*isn't known/);
  const shares = await widthsOf(page, "all");
  assert.ok(Math.abs(shares[1]! - 8800 / 8801) < 0.02, String(shares));
  assert.equal((await columnOf(all.locator("table"), 1))[1], "> 99.9 %");
  await page.focus("#power");
  await page.keyboard.press("ArrowRight");
  await drawn(page, "power", 89); // all that was is cleared
  assert.deepEqual(await times(), [0, 10, 0, 10, 0]);
  assert.equal(await note.count(), 0);
  await page.keyboard.press("End");
  await drawn(page, "power", 91);
  assert.deepEqual(await times(), [0, most + 90, 0, 6_000, 0]);
  await page.close();
});

test("a counter that goes far over its largest value in small steps has not fallen", async () => {
  const times = Array.from({ length: 40 }, (_, n) => (4_200_000_000 + n * 100_000_000) % 2 ** 32);
  const reports = times.map((time, n) => powerReport([[1, 1], [time, n], [0, 0], [0, 0], [0, 0]]));
  const page = await at("power", written("far.hid", every(1, reports)));
  await drawn(page, "power", 0);
  await compareWith(page, "power", "first");
  await page.focus("#power");
  await page.keyboard.press("End");
  await drawn(page, "power", 39);
  const rows = await rowsOf(page.locator('#power [data-span="between"] table'));
  assert.deepEqual(rows[1]!.slice(3, 5), ["3900000000", "39"]);
  assert.doesNotMatch((await page.textContent("#power .news"))!, /started again/);
  await page.close();
});

// ---------------------------------------------------------------------------------------- watchdog

test("the watchdog's numbers are those of the program, with all their digits", async () => {
  const path = written("watchdog.hid", casesOf("watchdog"));
  const texts = native(null, "-o", "ndjson", path).toString().trimEnd().split("\n");
  const page = await at("watchdog", path);
  await page.focus("#watchdog");
  const keys = ["Count", "Timestamp", "Wallclock", "Register", "Wake", "Idle"];
  for (const [entry, text] of texts.entries()) {
    await drawn(page, "watchdog", entry);
    const wanted = keys.map((key) => new RegExp(`"${key}":([^,}]+)`).exec(text)![1]!);
    const first = page.locator("#watchdog .readings td.value:nth-child(2)");
    const shown = await first.evaluateAll((all) =>
      all.map((cell) => cell.firstChild!.textContent!),
    );
    const told = shown.map((one) => one.replace(/ µs.*/, ""));
    told.forEach((one, i) => {
      if (keys[i] === "Wallclock") assert.equal(Number(one), Number(wanted[i]));
      else assert.equal(one, wanted[i]);
    });
    const row = page.locator('#watchdog .history [aria-current="true"]');
    const cells = await row.locator("td.figure").evaluateAll((all) =>
      all.map((cell) => cell.firstChild!.textContent!),
    );
    assert.deepEqual(cells, told);
    await page.keyboard.press("ArrowRight");
  }
  await page.close();
});

test("the watchdog's history tells what changed, and where the firmware began anew", async () => {
  const report = (n: number) => {
    const since = n < 70 ? n + 100 : n - 69; // it starts again at the 71st
    return watchdogReport(since * 10, BigInt(since) * 1_000_000n, n < 90 ? 0x5a : 0x15a, 3, 2);
  };
  const path = written("history.hid", every(1, Array.from({ length: 120 }, (_, n) => report(n))));
  const page = await at("watchdog", path);
  await page.focus("#watchdog");
  await drawn(page, "watchdog", 0);
  const where = page.locator("#watchdog .content .tools");
  assert.match((await where.textContent())!, /1 to 50 of 120/);
  await page.getByRole("button", { name: "Later ones" }).click();
  await drawn(page, "watchdog", 50);
  assert.match((await where.textContent())!, /51 to 100 of 120/);
  const restarts = page.locator("#watchdog .history .restart");
  assert.deepEqual(await restarts.allTextContents(), [
    "⚠ the firmware started again: a time fell",
  ]);
  const behind = await restarts.locator("xpath=../following-sibling::tr[1]").textContent();
  assert.match(behind!, /^7170\.000000 s/);
  await page.getByRole("button", { name: "Go to report 71" }).click();
  await drawn(page, "watchdog", 70);
  await shownLines(page, 70);
  assert.match((await page.textContent("#watchdog .warning"))!, /The firmware started again: a/);
  assert.equal(await page.evaluate(() => document.activeElement!.id), "watchdog");
  await page.getByRole("button", { name: "Go to report 91" }).click();
  await drawn(page, "watchdog", 90);
  const rows = await rowsOf(page.locator("#watchdog .readings"));
  const changes = Object.fromEntries(rows.map((row) => [row[0], row[2]]));
  assert.equal(changes["Count"], "+10, 10/s");
  assert.equal(changes["Timestamp"], "+1000000, 1000000/s, 0:00:01.000");
  assert.equal(changes["Register"], "1 bit set: 8");
  assert.equal(changes["Wake"], "");
  await page.close();
});

test("the watchdog's history has the numbers by which reports are compared", async () => {
  const path = join(folder, "watchdogs.pcap");
  const sent = Array.from({ length: 6 }, (_, n) => ({
    bytes: watchdogReport(n, BigInt(n) * 1000n, 0, 0, 0),
    device: n < 4 ? 5 : 6,
  }));
  writeFileSync(path, capture(sent));
  const page = await at("watchdog", path);
  await drawn(page, "watchdog", 0);
  await page.focus("#watchdog");
  await page.keyboard.press("End");
  await drawn(page, "watchdog", 5);
  const where = page.locator("#watchdog .content .tools");
  assert.match((await where.textContent())!, /1 to 2 of 2 from its device/);
  const numbers = await columnOf(page.locator("#watchdog .history"), 0);
  assert.deepEqual(numbers, ["5", "6"]);
  await page.close();
});

// ------------------------------------------------------------------------------------- all of them

test("entries of the list are gone to, and other files come without what was", async () => {
  const page = await at("openshort", tour);
  await drawn(page, "openshort", 13);
  await page.locator("#list div", { hasText: "0xA9" }).first().click();
  await page.click("#tab-power");
  await drawn(page, "power", 3);
  await choose(page, written("other.hid", every(1, [powerReport([[1, 1]])])));
  await page.locator("#state[data-read]", { hasText: /other\.hid/ }).waitFor();
  await page.locator("#tab-openshort").waitFor({ state: "hidden" });
  await page.close();
});

test("nothing is wider than the window, at 1280 and at 390 pixels, in any of them", async () => {
  for (const width of [1280, 390]) {
    const page = await opened(browser, { viewport: { width, height: 800 } });
    await choose(page, tour);
    await page.waitForSelector("#state[data-read]");
    for (const [view, entry] of [
      ["openshort", 13],
      ["blackbox", 9],
      ["power", 3],
      ["watchdog", 2],
    ] as const) {
      await page.click(`#tab-${view}`);
      await drawn(page, view, entry);
      const isBox = view === "blackbox";
      for (const decoder of isBox ? ["parseBlackBoxFullReport", "parseBlackBoxConfig"] : [""]) {
        if (decoder !== "") await show(page, decoder);
        await page.waitForTimeout(100);
        const tooWide = await page.evaluate(() =>
          [document.documentElement, ...document.querySelectorAll("section")]
            .filter((one) => one.scrollWidth > one.clientWidth)
            .map((one) => `${one.tagName} ${one.scrollWidth} > ${one.clientWidth}`),
        );
        assert.deepEqual(tooWide, [], `${width} ${view} ${decoder}`);
      }
    }
    await page.close();
  }
});

/** A capture of usbmon, and the same from another device behind it. */
function twice(bytes: Uint8Array, device: number): Uint8Array {
  const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
  const again = Uint8Array.from(bytes.subarray(24));
  for (let at = 24; at < bytes.length; at += 16 + view.getUint32(at + 8, true))
    again[at - 24 + 16 + 11] = device;
  return Uint8Array.from([...bytes, ...again]);
}

test("a report is compared with one of its own device, and with no other's", async () => {
  const path = join(folder, "two.pcap");
  writeFileSync(path, twice(readFileSync(join(root, "samples/forms/tour-usbmon.pcap")), 9));
  const page = await at("power", path);
  const which = page.locator("#power .which");
  await which.filter({ hasText: /Report 1 of 2 · 0xA9 · device \d+:\d+/ }).waitFor();
  const first = await which.textContent();
  await page.focus("#power");
  await page.keyboard.press("End");
  await which.filter({ hasText: /Report 2 of 2 · 0xA9 · device \d+:9/ }).waitFor();
  assert.doesNotMatch(first!, /:9/);
  assert.match((await page.textContent("#power .news"))!, /came before this one/);
  // Side by side they may stand, where somebody wants that; nothing is concluded.
  await compareWith(page, "power", "number");
  await page.locator("#power .news", { hasText: /another kind or sender/ }).waitFor();
  assert.equal(await page.locator('#power [data-span="between"]').count(), 0);
  await page.close();
});
