/** What stands on the page while nothing is open: which files it reads. */
import type { About } from "../decoder/decoder.js";
import { made } from "../basics/dom.js";

export function fillStart(panel: HTMLElement, { inputForms }: About): void {
  const forms = inputForms.flatMap(({ name, description }) => [
    made("dt", "", [made("code", "", name)]),
    made("dd", "", description),
  ]);
  panel.replaceChildren(
    made("h2", "", "Nothing is open"),
    made("p", "", "Drop captures anywhere on this page, or open files: several at once, if you like."),
    made("p", "", "The page reads them by itself, and sends nothing anywhere. It knows these forms:"),
    made("dl", "", forms),
    made("p", "", "Each of them may be packed by gzip, xz or zstd."),
  );
}
