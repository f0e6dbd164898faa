/** What is copied and saved. */
import assert from "node:assert/strict";
import { readFileSync, rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import type { Page } from "playwright-core";
import { choose, folder, launched, opened, shownLines } from "./browser.js";
import { native, root } from "./support.js";
import { waitUntil } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const tour = join(root, "samples/forms/tour.hid");

async function readTour(page: Page): Promise<void> {
  await choose(page, tour);
  await page.waitForSelector("#state[data-read]");
  await shownLines(page, 0);
}

/** What the page saves when a button is pressed, and the name that it gives it. */
async function saved(page: Page, button: string): Promise<{ name: string; text: string }> {
  const [download] = await Promise.all([page.waitForEvent("download"), page.click(button)]);
  const path = await download.path();
  return { name: download.suggestedFilename(), text: readFileSync(path, "utf8") };
}

/** The program's text without where it read it. */
function plain(text: string): string {
  return text.replaceAll(/"file":"[^"]*\//g, '"file":"');
}

test("a report is copied as the program writes it", async () => {
  const context = await browser.newContext({ permissions: ["clipboard-read", "clipboard-write"] });
  const page = await opened(context);
  await readTour(page);
  await page.click("#row-4");
  await shownLines(page, 4);
  await page.click("#copy-csv");
  await waitUntil(page, () => /CSV is copied/.test(document.getElementById("state")!.textContent!));
  const csv = native(null, "-o", "csv", "--report", "0x76", tour).toString();
  const copied = await page.evaluate(() => navigator.clipboard.readText());
  assert.equal(copied, csv.replace(tour, "tour.hid"));
  assert.ok(await page.isDisabled("#copy-png"));
  await context.close();
});

test("where the clipboard isn't allowed, what was asked for is saved, and told so", async () => {
  const page = await opened(browser);
  await readTour(page);
  await page.evaluate(() => {
    navigator.clipboard.writeText = () => Promise.reject(new DOMException("no", "NotAllowedError"));
  });
  const { name, text } = await saved(page, "#copy-json");
  assert.equal(name, "tour-0.json");
  const [first] = JSON.parse(native(null, "-o", "json", tour).toString());
  assert.deepEqual(JSON.parse(text)[0].value, first.value);
  assert.match((await page.textContent("#state"))!, /saved as tour-0\.json/);
  await page.close();
});

test("the reports that the list shows are saved, in each form", async () => {
  const page = await opened(browser);
  await readTour(page);
  await page.selectOption("#export-form", "ndjson");
  const all = await saved(page, "#export-save");
  assert.equal(all.name, "tour.ndjson");
  assert.equal(all.text, plain(native(null, "-o", "ndjson", tour).toString()));

  await page.selectOption("#filter-id", "0xE4");
  await waitUntil(page, () => /^1 of/.test(document.getElementById("count")!.textContent!));
  for (const form of ["ndjson", "json", "text", "recording"]) {
    await page.selectOption("#export-form", form);
    const { name, text } = await saved(page, "#export-save");
    const ending = { text: "txt", recording: "hid" }[form] ?? form;
    assert.equal(name, `tour-filtered.${ending}`);
    if (form === "recording") {
      // It is read again, and says the same.
      const path = join(folder, name);
      writeFileSync(path, text);
      const lines = native(null, path).toString();
      assert.equal(lines, native(null, "--report", "0xE4", tour).toString());
    } else assert.equal(text, plain(native(null, "-o", form, "--report", "0xE4", tour).toString()));
  }
  await page.close();
});

test("what can't be written is told", async () => {
  const page = await opened(browser);
  const path = join(folder, "short.hex");
  writeFileSync(path, "76 01 02\n");
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  await shownLines(page, 0);
  await page.click("#copy-csv");
  await waitUntil(page, () => document.querySelector("#state .told")!.textContent !== "");
  await page.close();
});
