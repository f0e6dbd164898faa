/** Waits in the page. Playwright's own waitForFunction() asks again by eval, which the page's policy
 *  forbids. */
import assert from "node:assert/strict";
import { isDeepStrictEqual } from "node:util";
import type { Page } from "playwright-core";

/** Milliseconds for what takes far less on any machine: only a fault comes to their end. */
export const patience = 240_000;

/** Asks until what is asked for is as it is expected to be. */
export async function becomes<Answer>(
  ask: () => Promise<Answer>,
  expected: NoInfer<Answer>,
): Promise<void> {
  for (const end = performance.now() + patience; ; ) {
    const answer = await ask();
    if (isDeepStrictEqual(answer, expected)) return;
    if (performance.now() > end) assert.deepEqual(answer, expected);
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
}

/** Waits until `isSo` is true in the page; it is called with what is given. */
export async function waitUntil<Given = undefined>(
  page: Page,
  isSo: (given: Given) => boolean,
  given: Given = undefined as Given,
): Promise<void> {
  const end = performance.now() + patience;
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
