/** The list of reports, and what filters it. */
import assert from "node:assert/strict";
import { rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import type { Page } from "playwright-core";
import { choose, folder, launched, opened, shownLines } from "./browser.js";
import { capture } from "./captures.js";
import { imageReport } from "./reports.js";
import { nativeRecords, root } from "./support.js";
import { becomes, waitForText, waitUntil } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const tour = join(root, "samples/forms/tour.hid");

interface Record {
  source: { line?: number; packet?: number; bus?: number; device?: number };
  time?: number;
  report_id?: number;
  report_type?: string;
  decoder?: string;
  display_name?: string;
  length?: number;
  lines?: string[];
  error?: { code: string; message: string };
}

function records(path: string, ...options: string[]): Record[] {
  return nativeRecords(path, "--lines", ...options);
}

async function listed(path: string, width = 1900): Promise<Page> {
  const page = await opened(browser, { viewport: { width, height: 800 } });
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  await shownLines(page, 0);
  return page;
}

/** The texts of a column, in the rows that are there. */
async function column(page: Page, name: string): Promise<string[]> {
  const all = await page.locator(`#list .${name}`).allTextContents();
  return all.map((text) => text.trim());
}

async function count(page: Page, text: string): Promise<void> {
  await becomes(() => page.textContent("#count"), text);
}

/** Waits until these rows are there, and no others. */
async function numbersAre(page: Page, wanted: readonly number[]): Promise<void> {
  await becomes(async () => (await column(page, "number")).map(Number), [...wanted]);
}

test("the list has what the program tells of each report", async () => {
  const page = await listed(tour);
  const all = records(tour);
  const hex = (id: number) => `0x${id.toString(16).toUpperCase().padStart(2, "0")}`;
  await numbersAre(page, [...all.keys()]);
  assert.deepEqual(await column(page, "id"), all.map((one) => hex(one.report_id!)));
  assert.deepEqual(await column(page, "type"), all.map((one) => one.report_type));
  assert.deepEqual(await column(page, "name"), all.map((one) => one.display_name ?? one.decoder));
  assert.deepEqual(await column(page, "length"), all.map((one) => `${one.length} B`));
  assert.deepEqual(await column(page, "where"), all.map((one) => `line ${one.source.line}`));
  const first = all[0]!.time!;
  assert.deepEqual(
    await column(page, "seconds"),
    all.map((one) => (one.time! - first).toFixed(6)),
  );
  const titles = await page.locator("#list .seconds").evaluateAll((spans) =>
    (spans as HTMLElement[]).map((span) => span.title),
  );
  assert.equal(titles[1], "2023-11-14 22:13:20.016667 UTC");
  assert.ok(await page.locator("#list .device").first().isHidden());
  await page.close();
});

test("where several devices send, each row says which, and one can be chosen", async () => {
  const path = join(folder, "devices.pcap");
  const senders = [5, 6, 5, 5, 6, 6, 5, 5, 5];
  writeFileSync(path, capture(senders.map((device, n) => ({ bytes: imageReport(n), device }))));
  const page = await listed(path);
  const all = records(path);
  const deviceOf = ({ source }: Record) => `${source.bus}:${source.device}`;
  const devices = [...new Set(all.map(deviceOf))];
  assert.ok(devices.length > 1);
  await becomes(() => column(page, "device"), all.map(deviceOf));
  const [, second] = devices;
  await page.selectOption("#filter-device", second!);
  const own = records(path, "--device", second!);
  await count(page, `${own.length} of ${all.length} reports`);
  await numbersAre(page, all.flatMap((one, n) => (deviceOf(one) === second ? [n] : [])));
  await page.close();
});

test("filters go together, and each is taken away again", async () => {
  const page = await listed(tour);
  const all = records(tour);
  const texts = await page.locator("#filter-id option").allTextContents();
  assert.equal(texts.length, 1 + new Set(all.map((one) => one.report_id)).size);
  assert.ok(texts.includes("0x76 parseVeskImage – 1"), texts.join());
  const numbersOf = (isWanted: (one: Record) => boolean) =>
    all.flatMap((one, n) => (isWanted(one) ? [n] : []));

  await page.selectOption("#filter-id", "0x76");
  await page.selectOption("#filter-id", "0xE4");
  const two = numbersOf((one) => [0x76, 0xe4].includes(one.report_id!));
  await count(page, `${two.length} of ${all.length} reports`);
  await numbersAre(page, two);

  await page.selectOption("#filter-type", "feature");
  const features = two.filter((n) => all[n]!.report_type === "feature");
  assert.ok(features.length > 0 && features.length < two.length);
  await count(page, `${features.length} of ${all.length} reports`);
  await numbersAre(page, features);

  // A choice of IDs counts what the other filters let through.
  const inFeatures = await page.locator("#filter-id option", { hasText: "0x76" }).textContent();
  assert.equal(inFeatures, "0x76 parseVeskImage – 0");

  await page.click('.words button:text("0xE4")');
  await count(page, `0 of ${all.length} reports`);
  await page.click('.words button:text("Clear all")');
  await count(page, `${all.length} reports`);
  assert.equal(await page.evaluate(() => document.activeElement!.id), "search");
  await page.close();
});

test("reports with a problem are marked, and can be had alone", async () => {
  const path = join(folder, "wrong.hex");
  writeFileSync(path, "DE 01\n76 01 02\nDE 00\nF3 01\nno digits\n");
  const page = await listed(path);
  const all = records(path);
  const wrong = all.flatMap(({ error }, n) => (error === undefined ? [] : [n]));
  assert.ok(wrong.length >= 2 && wrong.length < all.length);
  await numbersAre(page, [...all.keys()]);
  const names = await column(page, "name");
  all.forEach(({ error }, n) => {
    if (error === undefined) assert.doesNotMatch(names[n]!, /⚠/);
    else assert.ok(names[n]!.startsWith(`⚠ ${error.code}`), names[n]);
  });
  // What is no report has no length.
  assert.deepEqual(await column(page, "length"), ["2 B", "3 B", "2 B", "2 B", ""]);
  await page.selectOption("#filter-problem", "any");
  await count(page, `${wrong.length} of ${all.length} entries`);
  await numbersAre(page, wrong);
  await page.click(".words button");
  await page.selectOption("#filter-problem", "short_report");
  await numbersAre(page, [1]);
  await page.close();
});

test("a text is searched for in the lines, and the keys go from hit to hit", async () => {
  const page = await listed(tour);
  const all = records(tour);
  const text = "Frame";
  const hits = all.flatMap(({ lines }, n) => (lines!.some((one) => one.includes(text)) ? [n] : []));
  assert.ok(hits.length > 0 && hits.length < all.length);
  await page.keyboard.press("/");
  await page.keyboard.type(text);
  await count(page, `${hits.length} of ${all.length} reports`);
  await numbersAre(page, hits);

  await page.keyboard.press("Enter");
  await shownLines(page, hits[0]!);
  const marked = await page.evaluate(() =>
    [...CSS.highlights.get("hit")!].map((range) => (range as Range).toString()),
  );
  assert.ok(marked.length > 0 && marked.every((one) => one === text), marked.join());

  await page.keyboard.press("Escape");
  await count(page, `${all.length} reports`);
  await page.fill("#search", "o");
  const others = all.flatMap(({ lines }, n) => (lines!.some((one) => one.includes("o")) ? [n] : []));
  await count(page, `${others.length} of ${all.length} reports`);
  await page.focus("#list");
  await page.keyboard.press("Home");
  await shownLines(page, others[0]!);
  await page.keyboard.press("n");
  await shownLines(page, others[1]!);
  await page.keyboard.press("n");
  await shownLines(page, others[2]!);
  await page.keyboard.press("N");
  await shownLines(page, others[1]!);
  await page.close();
});

test("beside a text, the choices say that they count without it", async () => {
  const page = await listed(tour);
  const before = await page.locator("#filter-id option").allTextContents();
  assert.equal(await page.locator("#filter-id optgroup").count(), 0);
  await page.fill("#search", "Frame");
  await waitUntil(page, () => document.querySelector("#filter-id optgroup") !== null);
  assert.equal(await page.getAttribute("#filter-id optgroup", "label"), "Counted without the text");
  assert.deepEqual(await page.locator("#filter-id option").allTextContents(), before);
  await page.selectOption("#filter-id", "0x76");
  const all = records(tour);
  const hits = all.filter(({ lines, report_id: id }) =>
    id === 0x76 && lines!.some((one) => one.includes("Frame")),
  );
  await count(page, `${hits.length} of ${all.length} reports`);
  await page.close();
});

test("the arrow keys open a choice, and choose nothing by themselves", async () => {
  const page = await listed(tour);
  await page.focus("#filter-id");
  await page.keyboard.press("ArrowDown");
  await page.waitForTimeout(100);
  assert.equal(await page.locator(".words button").count(), 0);
  const values = await page.locator("#filter-id option").evaluateAll((all) =>
    all.map((one) => (one as HTMLOptionElement).value),
  );
  await page.keyboard.press("ArrowDown");
  await page.keyboard.press("ArrowDown");
  await page.keyboard.press("Enter");
  await page.waitForSelector(".words button");
  const word = (await page.textContent(".words button"))!;
  assert.ok(word.startsWith(values[2]!), word);
  await page.close();
});

test("a search goes on in steps, and is cancelled", async () => {
  const path = join(folder, "frames.pcap");
  const frames = 20_000;
  writeFileSync(path, capture(Array.from({ length: frames }, (_, n) => imageReport(n))));
  const page = await listed(path);
  const all = 11_111; // 1, 10..19, and so on
  // As soon as something is found, and before all of it can be.
  await page.evaluate(async () => {
    const count = document.getElementById("count")!;
    const isFound = new Promise<void>((resolve) => {
      new MutationObserver((_, observer) => {
        if (!/^[1-9].*, \d+ % searched$/.test(count.textContent!)) return;
        observer.disconnect();
        document.getElementById("cancel-search")!.click();
        resolve();
      }).observe(count, { childList: true, characterData: true, subtree: true });
    });
    const search = document.getElementById("search") as HTMLInputElement;
    search.value = "# = 1";
    search.dispatchEvent(new Event("input", { bubbles: true }));
    await isFound;
  });
  const cancelled = /^([\d,]+) of 20,000 reports; the search was cancelled$/;
  await waitForText(page, "#count", cancelled);
  const [, found] = cancelled.exec((await page.textContent("#count"))!)!;
  assert.ok(Number(found!.replace(",", "")) < all, found);

  await page.fill("#search", "# = 77");
  // 77, 770..779, 7700..7799: those of five digits begin with a 1.
  await count(page, "111 of 20,000 reports");
  await page.close();
});

test("what a filter lets through grows while the file is read", async () => {
  const path = join(folder, "growing.pcap");
  const frames = 20_000;
  writeFileSync(path, capture(Array.from({ length: frames }, (_, n) => imageReport(n))));
  const page = await opened(browser);
  await choose(page, path);
  await page.waitForSelector("#report[data-entry]", { state: "attached" });
  await page.fill("#search", "# = 1999");
  await page.waitForSelector("#state[data-read]");
  await count(page, "11 of 20,000 reports"); // 1999 and 19990..19999
  await page.close();
});

test("keys go through a list that no browser could hold", async () => {
  const path = join(folder, "long.hex");
  const all = 600_000; // rows of 24 pixels; elements end at some ten million
  writeFileSync(path, "DE 01\n".repeat(all));
  const page = await listed(path, 1280);
  await page.focus("#list");
  const active = async (entry: number) => {
    await shownLines(page, entry);
    await becomes(
      () =>
        page.evaluate(() => {
          const list = document.getElementById("list")!;
          const id = list.getAttribute("aria-activedescendant");
          const one = id === null ? null : document.getElementById(id);
          const [seen, at] = [list.parentElement!, one].map((two) => two?.getBoundingClientRect());
          if (!one || !seen || !at) return null;
          return {
            number: one.dataset["number"],
            isSeen: at.top >= seen.top && at.bottom <= seen.bottom + 1,
            position: one.getAttribute("aria-posinset"),
            size: one.getAttribute("aria-setsize"),
            selected: one.getAttribute("aria-selected"),
          };
        }),
      {
        number: String(entry),
        isSeen: true,
        position: String(entry + 1),
        size: String(all),
        selected: "true",
      },
    );
  };
  await active(0);
  await page.keyboard.press("End");
  await active(all - 1);
  for (let n = 2; n < 40; ++n) await page.keyboard.press("ArrowUp");
  await active(all - 39);
  await page.keyboard.press("Home");
  await active(0);
  await page.keyboard.press("PageDown");
  await waitUntil(page, () => document.getElementById("report")!.dataset["entry"] !== "0");
  const row = (await page.getAttribute("#list", "aria-activedescendant"))!;
  const [, number] = /^row-(\d+)$/.exec(row)!;
  assert.ok(Number(number) > 5 && Number(number) < 40);
  await active(Number(number));
  await page.keyboard.press("PageUp");
  await active(0);

  // The wheel goes by pixels, and the row under it is what it seems.
  await page.hover("#list");
  for (let n = 0; n < 10; ++n) await page.mouse.wheel(0, 240);
  const first = () => page.evaluate(() => {
    const list = document.getElementById("list")!;
    const { top } = list.parentElement!.getBoundingClientRect();
    const rows = [...list.children] as HTMLElement[];
    const seen = rows.find((row) => row.getBoundingClientRect().top >= top + 23);
    return Number(seen?.dataset["number"]);
  });
  await becomes(async () => Math.abs((await first()) - 100) <= 1, true);
  await page.close();
});
