/** Who sees little, prints, or has no mouse: roles, labels and contrast by axe, the keyboard alone,
 *  and paper. */
import assert from "node:assert/strict";
import { readFileSync, rmSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import type { Page } from "playwright-core";
import { choose, folder, launched, opened, packages, shownLines } from "./browser.js";
import { native, root } from "./support.js";
import { waitUntil } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

const tour = join(root, "samples/forms/tour.hid");
const axe = readFileSync(join(packages, "axe-core/axe.min.js"), "utf8");

interface Violation {
  id: string;
  nodes: { html: string; failureSummary: string }[];
}

/** What axe finds wrong, in a line each. */
async function violations(page: Page): Promise<string[]> {
  // The page's policy has no say in what the browser is asked to evaluate.
  await page.evaluate(`{ ${axe} }`);
  const { violations } = (await page.evaluate("axe.run()")) as { violations: Violation[] };
  return violations.flatMap(({ id, nodes }) =>
    nodes.map(({ html, failureSummary }) => `${id}: ${html.slice(0, 200)}: ${failureSummary}`),
  );
}

async function tabNames(page: Page): Promise<string[]> {
  return page.locator("[role=tab]:not([hidden])").evaluateAll((all) => all.map(({ id }) => id));
}

for (const colorScheme of ["light", "dark"] as const)
  for (const width of [1280, 390])
    test(`axe finds nothing wrong, ${colorScheme} and ${width} pixels wide`, async () => {
      const page = await opened(browser, { colorScheme, viewport: { width, height: 844 } });
      assert.deepEqual(await violations(page), [], "nothing open");
      await choose(page, tour);
      await page.waitForSelector("#state[data-read]");
      await shownLines(page, 0);
      const names = await tabNames(page);
      assert.ok(names.includes("tab-frames"));
      for (const name of names) {
        await page.click(`#${name}`);
        await page.waitForTimeout(200); // pictures are drawn
        assert.deepEqual(await violations(page), [], name);
      }
      if (width === 390) await page.click("#filters .narrow");
      await page.selectOption("#filter-id", "0x76");
      await page.waitForSelector(".words button");
      for (const dialog of ["help", "about"]) {
        await page.click(`#${dialog}-open`);
        assert.deepEqual(await violations(page), [], dialog);
        await page.keyboard.press("Escape");
      }
      await page.close();
    });

test("nothing is wider than the window, in any tab", async () => {
  for (const width of [1280, 390]) {
    const page = await opened(browser, { viewport: { width, height: 844 } });
    await choose(page, tour);
    await page.waitForSelector("#state[data-read]");
    for (const name of await tabNames(page)) {
      await page.click(`#${name}`);
      const tooWide = await page.evaluate(() =>
        [document.documentElement, ...document.querySelectorAll("main, section, [role=tabpanel]")]
          .filter((one) => one.scrollWidth > one.clientWidth)
          .map((one) => `${one.tagName} ${one.id} ${one.scrollWidth} > ${one.clientWidth}`),
      );
      assert.deepEqual(tooWide, [], `${width} ${name}`);
    }
    await page.close();
  }
});

test("the keyboard alone goes from a file to a report, its bytes, a view, and a copy", async () => {
  const context = await browser.newContext({ permissions: ["clipboard-read", "clipboard-write"] });
  const page = await opened(context);
  const tabTo = async (selector: string) => {
    for (let i = 0; i < 60; ++i) {
      if (await page.evaluate((one) => document.activeElement?.matches(one), selector)) return;
      await page.keyboard.press("Tab");
    }
    assert.fail(`Tab doesn't come to ${selector}`);
  };
  // The browser is told to hand it over, which takes a while.
  const chooser = page.waitForEvent("filechooser");
  await tabTo("#choose");
  await page.keyboard.press("Space");
  await (await chooser).setFiles(tour);
  await page.waitForSelector("#state[data-read]");

  await tabTo("#list");
  for (let i = 0; i < 4; ++i) await page.keyboard.press("ArrowDown");
  const lines = await shownLines(page, 4);
  const records = native(null, "-o", "ndjson", "--lines", tour).toString().split("\n");
  assert.deepEqual(lines.split("\n"), JSON.parse(records[4]!).lines);
  await page.keyboard.press("Enter");
  assert.ok(await page.evaluate(() => document.activeElement!.id === "report"));

  await tabTo("#dump");
  await waitUntil(page, () => document.getElementById("where")!.textContent !== "");
  await page.keyboard.press("End");
  await page.waitForSelector(".byte.lit");

  await page.focus("body"); // from the top again
  await tabTo("#tab-one");
  await page.keyboard.press("ArrowRight");
  await page.waitForSelector("#frames:not([hidden])");
  await page.keyboard.press("ArrowLeft");
  await tabTo("#copy-json");
  await page.keyboard.press("Enter");
  await waitUntil(page, () => /JSON is copied/.test(document.getElementById("state")!.textContent!));
  const copied = JSON.parse(await page.evaluate(() => navigator.clipboard.readText()));
  assert.deepEqual(copied[0].value, JSON.parse(records[4]!).value);
  await context.close();
});

test("Help shows the reports that are known, as the program lists them", async () => {
  const page = await opened(browser);
  await page.waitForSelector("#help .known", { state: "attached" });
  const rows = await page.locator("#help .known tbody tr").evaluateAll((all) =>
    all.map((row) => [...row.children].slice(0, 2).map((cell) => cell.textContent)),
  );
  const listed = native(null, "--list-reports").toString().trimEnd().split("\n");
  const expected = listed.flatMap((line) => {
    const [, type, id] = /^(input|output|feature) +(0x[0-9A-F]{2}) /.exec(line) ?? [];
    return id === undefined ? [] : [[id, type]];
  });
  assert.ok(expected.length > 10);
  assert.deepEqual(rows, expected);
  await page.close();
});

test("? shows the keys, and Escape closes them", async () => {
  const page = await opened(browser);
  await page.keyboard.press("?");
  await page.waitForSelector("#help[open]");
  assert.match((await page.textContent("#help"))!, /Space.*play/);
  await page.keyboard.press("Escape");
  await page.waitForSelector("#help:not([open])", { state: "attached" });
  await page.close();
});

test("the notices are shown", async () => {
  const page = await opened(browser);
  await page.click("#about-open");
  await waitUntil(page, () => /fzstd/.test(document.querySelector("#about pre")!.textContent!));
  const version = native(null, "--version").toString();
  const [, own] = /plug-in ([\d.]+)/.exec((await page.textContent("#about"))!)!;
  assert.ok(version.includes(own!), version);
  await page.close();
});

test("on paper stands the whole tab, and nothing of the list", async () => {
  const page = await opened(browser, { colorScheme: "dark" });
  await choose(page, tour);
  await page.waitForSelector("#state[data-read]");
  await page.click("#row-4");
  await shownLines(page, 4);
  await page.emulateMedia({ media: "print" });
  const seen = await page.evaluate(() => {
    const isSeen = (selector: string) => document.querySelector(selector)!.checkVisibility();
    const isCut = (selector: string) => {
      const one = document.querySelector(selector)!;
      return one.scrollHeight > one.clientHeight + 1;
    };
    const heightOf = (selector: string) =>
      document.querySelector(selector)!.getBoundingClientRect().height;
    return {
      list: isSeen("#list"),
      heading: isSeen("#heading"),
      cut: ["#report", "#values", "#dump", "#one"].filter(isCut),
      page: document.documentElement.scrollHeight,
      parts: heightOf("#report") + heightOf("#values") + heightOf("#dump"),
      background: getComputedStyle(document.body).color,
    };
  });
  assert.equal(seen.list, false);
  assert.equal(seen.heading, true);
  assert.deepEqual(seen.cut, []);
  assert.ok(seen.page >= seen.parts, `${seen.page} for ${seen.parts}`);
  assert.equal(seen.background, "rgb(0, 0, 0)"); // dark on white, whatever the screen has
  const pdf = (await page.pdf()).toString("latin1");
  const pages = pdf.match(/\/Type\s*\/Page\b/g)!.length;
  assert.ok(pages > 1 && pages < 10, `${pages} pages`);
  await page.close();
});
