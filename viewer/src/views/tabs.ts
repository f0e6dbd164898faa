/** The tabs: that of the report, and those of the views. */
import type { RemoteCapture } from "../decoder/client.js";
import type { About } from "../decoder/decoder.js";
import { deviceOf } from "../basics/devices.js";
import { made } from "../basics/dom.js";
import { GrowingSelection } from "./growing.js";
import { isReportOf, type View } from "./view.js";

interface Tab {
  button: HTMLButtonElement;
  panel: HTMLElement;
  view: View | null; // null for the report's
  selection: GrowingSelection; // of the view's entries
}

export class Tabs {
  private readonly tabs: Tab[] = [];
  private file: RemoteCapture | null = null;
  private shown!: Tab;
  private readonly panels: HTMLElement;

  /** `report` is the panel of the report, which is always there. */
  constructor(
    private readonly bar: HTMLElement,
    report: HTMLElement,
    reportTitle: string,
    views: readonly View[],
  ) {
    this.panels = report.parentElement!;
    this.add(report, reportTitle, null);
    for (const view of views) this.add(panelOf(view.name), view.title, view);
    bar.onkeydown = (event) => this.key(event);
    this.show(report.id);
  }

  /** The name of what is shown: that of a view, or the report's panel's. */
  get current(): string {
    return this.shown.panel.id;
  }

  /** The view that is shown; null if it is the report. */
  get view(): View | null {
    return this.shown.view;
  }

  /** Of all views. */
  get reduced(): string[] {
    return this.tabs.flatMap(({ view }) => view?.reduced ?? []);
  }

  open(file: RemoteCapture | null, about: About): void {
    this.file = file;
    for (const tab of this.tabs) {
      tab.selection = selectionOf(tab.view);
      tab.view?.open(file, about);
      tab.button.hidden = tab.view !== null;
    }
    this.show(this.tabs[0]!.panel.id);
  }

  /** Has the views take in what was read since. */
  async refresh(): Promise<void> {
    const { file } = this;
    if (file === null) return;
    const kinds = await file.kinds();
    for (const { button, view, selection } of this.tabs) {
      if (view === null) continue;
      const own = kinds.filter((kind) => isReportOf(view.decoders, kind));
      if (own.length === 0) continue;
      await selection.takeIn(file, kinds);
      if (file !== this.file) return;
      const { entries } = selection;
      await view.refresh(entries, new Set(own.map(deviceOf)).size);
      if (file !== this.file) return;
      button.hidden = entries.length === 0;
    }
  }

  /** Goes to the last report that the view which is shown has, and gives its entry. May be done as
   *  often as a screen is drawn. */
  async goToLast(): Promise<number | null> {
    const { file } = this;
    const { view, selection } = this.shown;
    if (file === null || view === null) return null;
    if (view.extend !== undefined) {
      await selection.takeIn(file, await file.kinds());
      if (file !== this.file) return null;
      view.extend(selection.entries);
    }
    const last = selection.entries.at(-1) ?? null;
    if (last !== null) view.goToEntry(last);
    return last;
  }

  /** Shows a panel by its name, if its tab is there. */
  show(name: string): boolean {
    const wanted = this.tabs.find(({ panel }) => panel.id === name);
    if (wanted === undefined || wanted.button.hidden) return false;
    this.shown = wanted;
    for (const tab of this.tabs) {
      const isShown = tab === wanted;
      tab.button.setAttribute("aria-selected", String(isShown));
      tab.button.tabIndex = isShown ? 0 : -1;
      tab.panel.hidden = !isShown;
    }
    for (const tab of this.tabs) tab.view?.setShown(tab === wanted);
    this.onShown(name);
    return true;
  }

  /** Goes on by keyboard in what is shown. */
  enter(): void {
    const { panel, view } = this.shown;
    (view === null ? panel.querySelector<HTMLElement>("[tabindex]")! : panel).focus();
  }

  goToEntry(entry: number): void {
    for (const { view } of this.tabs) view?.goToEntry(entry);
  }

  onShown: (name: string) => void = () => undefined;

  private add(panel: HTMLElement, title: string, view: View | null): void {
    const button = made("button", "", title);
    button.type = "button";
    button.id = `tab-${panel.id}`;
    button.setAttribute("role", "tab");
    button.setAttribute("aria-controls", panel.id);
    button.hidden = view !== null;
    button.onclick = () => this.show(panel.id);
    panel.setAttribute("role", "tabpanel");
    panel.setAttribute("aria-labelledby", button.id);
    if (!panel.isConnected) this.panels.append(panel);
    this.bar.append(button);
    this.tabs.push({ button, panel, view, selection: selectionOf(view) });
  }

  private key(event: KeyboardEvent): void {
    const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (step === undefined) return;
    event.preventDefault();
    const there = this.tabs.filter(({ button }) => !button.hidden);
    const next = there[(there.indexOf(this.shown) + step + there.length) % there.length]!;
    this.show(next.panel.id);
    next.button.focus();
  }
}

const panels = new Map<string, HTMLElement>();

/** A view's panel: that of the page's markup, or a new one. The view itself asks for it first. */
export function panelOf(name: string): HTMLElement {
  let panel = panels.get(name) ?? document.getElementById(name);
  if (panel === null) {
    panel = made("div");
    panel.id = name;
    panel.hidden = true;
    panel.tabIndex = 0;
  }
  panels.set(name, panel);
  return panel;
}

function selectionOf(view: View | null): GrowingSelection {
  return new GrowingSelection((kind) => view !== null && isReportOf(view.decoders, kind));
}
