/** Several files in the page, and those that can't be opened. */
import assert from "node:assert/strict";
import { readFileSync, rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import type { Page } from "playwright-core";
import { choose, folder, launched, opened, shownLines } from "./browser.js";
import { nativeRecords, root } from "./support.js";
import { waitForText, waitUntil } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const tour = join(root, "samples/forms/tour.hid");
const links = join(root, "samples/forms/two-links.pcapng");

function records(path: string, ...options: string[]): { lines?: string[] }[] {
  return nativeRecords(path, "--lines", ...options);
}

function show(page: Page, name: string): Promise<void> {
  return page.click(`#files .show:text("${name}")`);
}

async function firstLines(page: Page): Promise<string[]> {
  await page.waitForSelector("#state[data-read]");
  return (await shownLines(page, 0)).split("\n");
}

test("several files are open, each with its reports", async () => {
  const page = await opened(browser);
  await choose(page, tour, links);
  await page.waitForSelector("#state[data-read]");
  assert.deepEqual(await firstLines(page), records(tour)[0]!.lines);
  assert.equal(await page.getAttribute("#state", "data-read"), String(records(tour).length));
  await show(page, "two-links");
  assert.deepEqual(await firstLines(page), records(links)[0]!.lines);
  assert.equal(await page.getAttribute("#state", "data-read"), String(records(links).length));

  // A further one is shown, beside them.
  const versions = join(root, "samples/versions.hex");
  await choose(page, versions);
  await waitUntil(page, () => /^versions/.test(document.getElementById("state")!.textContent!));
  assert.deepEqual(await firstLines(page), records(versions)[0]!.lines);
  assert.equal(await page.locator("#files li").count(), 3);

  await page.click('#files [aria-label="Close versions.hex"]');
  assert.deepEqual(await firstLines(page), records(links)[0]!.lines);
  await page.click('#files [aria-label="Close two-links.pcapng"]');
  assert.deepEqual(await firstLines(page), records(tour)[0]!.lines);
  await page.click('#files [aria-label="Close tour.hid"]');
  await waitUntil(page, () => /^Drop/.test(document.getElementById("state")!.textContent!));
  assert.equal(await page.locator("#list [role=option]").count(), 0);
  assert.equal(await page.textContent("#report"), "");
  await page.close();
});

test("more files than are read at once are all read", async () => {
  const page = await opened(browser);
  const paths = Array.from({ length: 8 }, (_, n) => {
    const path = join(folder, `many${n}.hex`);
    writeFileSync(path, "DE 01\n".repeat(20_000 + n));
    return path;
  });
  await choose(page, ...paths);
  await waitUntil(page,
    () => document.querySelectorAll("#files progress[hidden]").length === 8,
  );
  const told = await page.locator("#files .show").allTextContents();
  assert.deepEqual(
    told,
    paths.map((_, n) => `many${n}.hex ${(20_000 + n).toLocaleString("en")} reports`),
  );
  await page.close();
});

test("a file is read again as another form", async () => {
  const page = await opened(browser);
  const path = join(folder, "digits.txt");
  writeFileSync(path, "DE 01\nDE 00\n");
  await choose(page, path);
  await page.waitForSelector('#state[data-read="2"]');
  assert.equal(await page.inputValue("#form"), "hex");
  const before = records(path);
  assert.deepEqual(await firstLines(page), before[0]!.lines);
  await page.selectOption("#form", "binary");
  await waitUntil(page, () => /read as binary/.test(document.getElementById("state")!.textContent!));
  await page.waitForSelector("#state[data-read]");
  const binary = records(path, "-i", "binary");
  assert.equal(await page.getAttribute("#state", "data-read"), String(binary.length));
  assert.equal(await page.inputValue("#form"), "binary");
  await page.close();
});

test("what can't be opened says so, by its name", async () => {
  const page = await opened(browser);
  const empty = join(folder, "empty.bin");
  writeFileSync(empty, "");
  await choose(page, empty);
  const state = page.locator("#state");
  await state.filter({ hasText: /empty\.bin.*It is empty/ }).waitFor();

  // It is there when it is chosen, and gone when it is read.
  const gone = join(folder, "gone.hex");
  writeFileSync(gone, "DE 01\n");
  await choose(page, gone);
  await page.waitForSelector('#state[data-read="1"]');
  rmSync(gone);
  await page.selectOption("#form", "hex");
  await page.selectOption("#form", "binary");
  await waitUntil(page, () => /⚠ gone\.hex/.test(document.getElementById("files")!.textContent!));
  assert.doesNotMatch((await page.textContent("#state"))!, /was closed/);
  assert.match((await page.textContent("#state"))!, /^gone\.hex: 0 reports.*(could not be|can't be read)/);
  await page.close();
});

test("a folder that is dropped is told, and the files beside it are opened", async () => {
  const page = await opened(browser);
  await page.evaluate(() => {
    const one = (name: string, isDirectory: boolean) => ({
      kind: "file",
      webkitGetAsEntry: () => ({ name, isDirectory }),
      getAsFile: () => new File(["DE 01\n"], name),
    });
    const event = new DragEvent("drop", { cancelable: true });
    const items = [one("captures", true), one("one.hex", false)];
    Object.defineProperty(event, "dataTransfer", { value: { items } });
    document.dispatchEvent(event);
  });
  await page.waitForSelector('#state[data-read="1"]');
  await show(page, "captures");
  await page.locator("#state", { hasText: "captures is a folder" }).waitFor();
  await page.close();
});

test("a capture whose text tries to be markup is a text", async () => {
  const page = await opened(browser);
  const path = join(folder, "<img src=x onerror=alert(1)>.hex");
  writeFileSync(path, readFileSync(join(root, "samples/tour.hex")));
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  assert.equal(await page.locator("img").count(), 0);
  assert.match((await page.textContent("#files"))!, /<img src=x/);
  await page.close();
});

test("when the decoder broke off, each file can be read again", async () => {
  const page = await opened(browser);
  // The page takes a worker's error for that.
  await page.evaluate(() => {
    const real = Worker.prototype.postMessage;
    type Call = { method: string };
    Worker.prototype.postMessage = function (this: Worker, message: Call, ...rest: []) {
      if (message.method === "layout" && !("broken" in window)) {
        Object.assign(window, { broken: true });
        this.dispatchEvent(new ErrorEvent("error", { message: "out of memory" }));
        return;
      }
      real.call(this, message, ...rest);
    };
  });
  await choose(page, tour);
  await page.waitForSelector("#files .again:not([hidden])");
  await waitUntil(page, () => /out of memory/.test(document.getElementById("state")!.textContent!));
  await page.click("#files .again");
  assert.deepEqual(await firstLines(page), records(tour)[0]!.lines);
  await page.close();
});

test("when the decoder broke off as the list was drawn, the page goes on", async () => {
  const page = await opened(browser);
  await page.evaluate((rows) => {
    const real = Worker.prototype.postMessage;
    type Call = { method: string; arguments: number[] };
    Worker.prototype.postMessage = function (this: Worker, message: Call, ...rest: []) {
      if (message.method === "entries" && message.arguments[2] === rows && !("broken" in window)) {
        Object.assign(window, { broken: true });
        const event = new ErrorEvent("error", { message: "out of memory" });
        setTimeout(() => this.dispatchEvent(event));
        return;
      }
      real.call(this, message, ...rest);
    };
  }, records(tour).length);
  await choose(page, tour);
  const again = page.waitForSelector("#files .again:not([hidden])").then(() => true);
  const late = new Promise((resolve) => setTimeout(resolve, 10_000, false));
  assert.ok(await Promise.race([again, late]), "the page doesn't answer any more");
  await page.click("#files .again");
  assert.deepEqual(await firstLines(page), records(tour)[0]!.lines);
  await page.close();
});

test("when the decoder can't begin, the page says so, and what to do", async () => {
  const page = await opened(browser, {}, {
    prepare: (page) => page.addInitScript("delete window.DecompressionStream"),
  });
  await waitForText(page, "#state", /use a newer one/);
  await choose(page, tour);
  await waitForText(page, "#files", /⚠ tour\.hid can't/);
  assert.match((await page.textContent("#state"))!, /can't begin here: .*DecompressionStream/);
  await page.close();
});

test("what was cancelled can be read again", async () => {
  const page = await opened(browser);
  const path = join(folder, "cancelled.hex");
  writeFileSync(path, "DE 01\n".repeat(2_000_000));
  await choose(page, path);
  await page.waitForSelector("#files .cancel:not([hidden])");
  await page.click("#files .cancel");
  await page.click("#files .again");
  await page.waitForSelector('#state[data-read="2000000"]', { timeout: 60_000 });
  assert.ok(await page.isHidden("#files .again"));
  await page.close();
});

test("what is no report isn't counted as one", async () => {
  const path = join(folder, "some.hex");
  writeFileSync(path, "de 01\nzz\nde 00\n76 01\nxx\n");
  const page = await opened(browser);
  await choose(page, path);
  await page.waitForSelector("#state[data-read='5']");
  const { length } = records(path).filter((record) => "report_id" in record);
  assert.equal(length, 3);
  const expected = "3 reports and 2 unreadable places";
  assert.equal(await page.textContent("#count"), expected);
  assert.ok((await page.textContent("#state"))!.startsWith(`some.hex: ${expected}`));
  assert.ok((await page.textContent("#files"))!.includes(expected));
  await page.close();
});
