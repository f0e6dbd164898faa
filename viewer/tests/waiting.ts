/** Waits in the page. Playwright's own waitForFunction() asks again by eval, which the page's policy
 *  forbids. */
import assert from "node:assert/strict";
import type { Page } from "playwright-core";

/** Waits until `isSo` is true in the page; it is called with what is given. */
export async function waitUntil<Given = undefined>(
  page: Page,
  isSo: (given: Given) => boolean,
  given: Given = undefined as Given,
): Promise<void> {
  const end = performance.now() + 20_000;
  while (!(await page.evaluate(isSo as (given: unknown) => boolean, given as unknown))) {
    assert.ok(performance.now() < end, `it didn't become so: ${isSo}, ${JSON.stringify(given)}`);
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
}

/** Waits until an element's text matches. */
export async function waitForText(page: Page, selector: string, pattern: RegExp): Promise<void> {
  const isSo = ([selector, source]: string[]) =>
    new RegExp(source!).test(document.querySelector(selector!)!.textContent!);
  await waitUntil(page, isSo, [selector, pattern.source]);
}
