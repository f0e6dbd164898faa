/** A browser, and the page in it. */
import assert from "node:assert/strict";
import { mkdtempSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { pathToFileURL } from "node:url";
import type { Browser, BrowserContext, BrowserContextOptions, Page } from "playwright-core";
import { slowDown } from "./slow.js";
import { fromEnvironment } from "./support.js";
import { patience } from "./waiting.js";

export const pagePath = fromEnvironment("VESK_PAGE");
export const packages = fromEnvironment("VESK_PACKAGES");
const { chromium } = createRequire(join(packages, "x.js"))("playwright-core");

/** For captures; the test removes it. */
export const folder = mkdtempSync(join(tmpdir(), "vesk-viewer-"));

export function launched(): Promise<Browser> {
  const executablePath = process.env["VESK_CHROMIUM"] ?? "/usr/bin/chromium";
  return chromium.launch({ executablePath, args: ["--no-sandbox"], timeout: patience });
}

interface Opening {
  path?: string; // of the page, or of another one
  hash?: string;
  prepare?: (page: Page) => Promise<void>; // comes before its script
}

/** The page, opened from disk; whatever it says on the console is a fault, and so is a request. */
export async function opened(
  from: Browser | BrowserContext,
  options: BrowserContextOptions = {},
  { path = pagePath, hash = "", prepare = async () => undefined }: Opening = {},
): Promise<Page> {
  const page = "contexts" in from ? await from.newPage(options) : await from.newPage();
  page.setDefaultTimeout(patience);
  page.on("console", (message) => assert.fail(`the console says: ${message.text()}`));
  page.on("pageerror", (fault) => assert.fail(fault.message));
  page.on("request", (request) => {
    assert.match(request.url(), /^(file|blob):/);
  });
  await slowDown(page);
  await prepare(page);
  await page.goto(pathToFileURL(path).href + hash);
  return page;
}

export async function choose(page: Page, ...paths: string[]): Promise<void> {
  await page.setInputFiles("#choose", paths);
}

export async function shownLines(page: Page, entry: number): Promise<string> {
  // It may be empty, or stand behind another tab.
  await page.waitForSelector(`#report[data-entry="${entry}"]`, { state: "attached" });
  return (await page.textContent("#report"))!;
}
