/** Tables that may be wider than the window. */
import { made } from "../basics/dom.js";

/** It scrolls by itself, by keys, too. */
export function sideways(table: HTMLTableElement): HTMLElement {
  const region = made("div", "sideways", [table]);
  region.tabIndex = 0;
  region.setAttribute("role", "region");
  region.setAttribute("aria-label", table.getAttribute("aria-label") ?? "");
  return region;
}
