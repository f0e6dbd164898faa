/** Above the list: what filters it, and how much of the file it shows. */
import type { EntryKind } from "../decoder/decoder.js";
import { opensByArrows } from "../basics/controls.js";
import { made } from "../basics/dom.js";
import {
  choicesOf,
  facets,
  isEmpty,
  labelOf,
  noFilter,
  type Facet,
  type Filter,
} from "./filter.js";
import type { Selection } from "./selection.js";
import { contentText } from "../basics/words.js";

const titles: Record<Facet, string> = {
  id: "ID",
  type: "Type",
  device: "Device",
  problem: "Problems",
};

const typingRest = 300; // milliseconds without a key before a text is searched for

export class FilterBar {
  private readonly text = made("input");
  private readonly choosers: Record<Facet, HTMLSelectElement>;
  private readonly more = made("button", "narrow", "Filter");
  private readonly tools = made("div", "choosers");
  private readonly words = made("ul", "words");
  private readonly count = made("span", "count");
  private readonly progress = made("progress");
  private readonly cancel = made("button", "", "Cancel");
  private timer: ReturnType<typeof setTimeout> | undefined;
  private drawnWords = "";

  constructor(
    bar: HTMLElement,
    private readonly selection: Selection,
    private readonly tell: (fault: unknown) => void,
  ) {
    this.text.type = "search";
    this.text.id = "search";
    this.text.placeholder = "Search the lines ( / )";
    this.text.setAttribute("aria-label", "Search the reports' lines; upper and lower case count");
    this.text.title = "Upper and lower case count. Enter goes to the next hit, Escape clears.";
    this.text.oninput = () => {
      clearTimeout(this.timer);
      this.timer = setTimeout(() => this.takeText(), typingRest);
    };
    this.text.onkeydown = (event) => this.key(event);
    this.choosers = {
      id: this.chooser("id"),
      type: this.chooser("type"),
      device: this.chooser("device"),
      problem: this.chooser("problem"),
    };
    this.tools.id = "choosers";
    this.tools.append(...facets.map((facet) => this.choosers[facet]));
    this.more.type = "button";
    this.more.setAttribute("aria-expanded", "false");
    this.more.setAttribute("aria-controls", this.tools.id);
    this.more.onclick = () => {
      const isOpen = bar.classList.toggle("open");
      this.more.setAttribute("aria-expanded", String(isOpen));
    };
    this.words.setAttribute("aria-label", "Filters");
    this.count.id = "count";
    this.count.setAttribute("role", "status");
    this.progress.max = 1;
    this.progress.setAttribute("aria-label", "Searched");
    this.cancel.type = "button";
    this.cancel.id = "cancel-search";
    this.cancel.setAttribute("aria-label", "Cancel the search");
    this.cancel.onclick = () => this.selection.cancel();
    bar.append(
      made("div", "searching", [this.text, this.more]),
      this.tools,
      this.words,
      made("div", "counting", [this.count, this.progress, this.cancel]),
    );
    this.draw();
  }

  /** Another filter is in use. */
  onFilter: (filter: Filter) => void = () => undefined;

  /** Somebody wants the next hit, or the one before. */
  onStep: (by: 1 | -1) => void = () => undefined;

  focus(): void {
    this.text.focus();
    this.text.select();
  }

  /** Uses a filter from elsewhere. */
  set(filter: Filter): void {
    clearTimeout(this.timer);
    this.text.value = filter.text;
    void this.selection.setFilter(filter).catch(this.tell);
    this.draw();
    this.onFilter(filter);
  }

  /** Shows what stands in the file now, and what is chosen of it. */
  draw(): void {
    const { filter } = this.selection;
    for (const facet of facets) this.drawChooser(facet);
    const words = facets.flatMap((facet) =>
      filter[facet].map((value) => ({ facet, value, word: this.wordOf(facet, value) })),
    );
    const key = JSON.stringify(words);
    if (key !== this.drawnWords) {
      this.drawnWords = key;
      this.words.replaceChildren(
        ...words.map(({ facet, value, word }) => this.removable(facet, value, word)),
      );
      if (words.length > 1) this.words.append(made("li", "", [this.clearAll()]));
      this.words.hidden = words.length === 0;
    }
    this.drawCount();
  }

  private drawCount(): void {
    const { kinds, rows, filter, searchedPart, endedEarly } = this.selection;
    const number = (count: number) => count.toLocaleString("en");
    const sum = (counted: readonly EntryKind[]) => counted.reduce((all, { count }) => all + count, 0);
    const all = sum(kinds);
    const reports = sum(kinds.filter(({ hasBytes }) => hasBytes));
    const others = kinds.filter(({ hasBytes }) => !hasBytes);
    const areGaps = others.every(({ problem }) => problem === "lost_reports");
    let text = contentText(reports, all, areGaps ? "gap" : "unreadable place");
    if (!isEmpty(filter))
      text = `${number(rows.count)} of ${reports === all ? text : `${number(all)} entries`}`;
    const isSearching = searchedPart < 1;
    if (isSearching) text += `, ${Math.floor(100 * searchedPart)} % searched`;
    else if (endedEarly !== "") text += `; ${endedEarly}`;
    if (this.count.textContent !== text) this.count.textContent = text;
    this.progress.hidden = this.cancel.hidden = !isSearching;
    this.progress.value = searchedPart;
  }

  private chooser(facet: Facet): HTMLSelectElement {
    const one = made("select");
    one.id = `filter-${facet}`;
    one.setAttribute("aria-label", `Only this: ${titles[facet]}`);
    opensByArrows(one);
    one.onblur = () => this.drawChooser(facet);
    one.onchange = () => {
      const { filter } = this.selection;
      const { value } = one;
      one.selectedIndex = 0;
      if (value === "" || filter[facet].includes(value)) return;
      this.set({ ...filter, [facet]: [...filter[facet], value] });
    };
    return one;
  }

  /** It is there where there is something to choose, and stays as it is while it is open. */
  private drawChooser(facet: Facet): void {
    const { kinds, filter } = this.selection;
    const one = this.choosers[facet];
    const choices = choicesOf(kinds, facet, filter);
    one.hidden = choices.length <= 1 && filter[facet].length === 0;
    if (one.hidden) return;
    const texts = choices.map(({ label, count }) => `${label} – ${count.toLocaleString("en")}`);
    const isSearched = filter.text !== "";
    const key = JSON.stringify([isSearched, texts]);
    if (one.dataset["drawn"] === key || document.activeElement === one) return;
    one.dataset["drawn"] = key;
    const options = choices.map(({ value }, at) => {
      const option = made("option", "", texts[at]!);
      option.value = value;
      return option;
    });
    const head = made("option", "", `${titles[facet]} …`);
    head.value = "";
    // Which reports have the text is known of those only that the other filters let through.
    const group = made("optgroup", "", options);
    group.label = "Counted without the text";
    one.replaceChildren(head, ...(isSearched ? [group] : options));
  }

  private wordOf(facet: Facet, value: string): string {
    if (facet !== "id") return labelOf(facet, value);
    const choices = choicesOf(this.selection.kinds, facet, noFilter);
    return choices.find((one) => one.value === value)?.label ?? labelOf(facet, value);
  }

  private removable(facet: Facet, value: string, word: string): HTMLElement {
    const button = made("button", "", `${word} ✕`);
    button.type = "button";
    button.setAttribute("aria-label", `Without the filter ${word}`);
    button.onclick = () => {
      const { filter } = this.selection;
      this.set({ ...filter, [facet]: filter[facet].filter((one) => one !== value) });
      // The button is gone: the keyboard goes on beside it.
      (this.words.querySelector("button") ?? this.text).focus();
    };
    return made("li", "", [button]);
  }

  private clearAll(): HTMLElement {
    const button = made("button", "", "Clear all");
    button.type = "button";
    button.onclick = () => {
      this.set(noFilter);
      this.text.focus();
    };
    return button;
  }

  private takeText(): void {
    clearTimeout(this.timer);
    const { filter } = this.selection;
    if (filter.text !== this.text.value) this.set({ ...filter, text: this.text.value });
  }

  private key(event: KeyboardEvent): void {
    if (event.key === "Escape") {
      event.preventDefault();
      this.text.value = "";
      this.takeText();
    } else if (event.key === "Enter") {
      event.preventDefault();
      const isNew = this.selection.filter.text !== this.text.value;
      this.takeText();
      if (!isNew) this.onStep(event.shiftKey ? -1 : 1);
    }
  }
}
