/** The open files, one beside the other: which is shown, how far each is read, and what is wrong. */
import { made } from "../basics/dom.js";
import type { Files, OpenFile } from "./files.js";
import { contentText } from "../basics/words.js";

interface Item {
  item: HTMLElement;
  show: HTMLButtonElement;
  progress: HTMLProgressElement;
  cancel: HTMLButtonElement;
  again: HTMLButtonElement;
}

export class FileBar {
  private readonly items = new Map<OpenFile, Item>();

  constructor(
    private readonly bar: HTMLElement,
    private readonly files: Files,
    private readonly tell: (fault: unknown) => void,
  ) {}

  /** Draws all of them, or what has changed of one. */
  draw(file: OpenFile | null): void {
    const { all } = this.files;
    if (file === null || !this.items.has(file)) {
      for (const [known, { item }] of this.items)
        if (!all.includes(known)) {
          item.remove();
          this.items.delete(known);
        }
      for (const one of all) this.drawItem(one);
      this.bar.hidden = all.length === 0;
      return;
    }
    this.drawItem(file);
  }

  private drawItem(file: OpenFile): void {
    const item = this.items.get(file) ?? this.added(file);
    const isShown = file === this.files.current;
    item.show.setAttribute("aria-pressed", String(isShown));
    const text = `${file.fault === "" ? "" : "⚠ "}${file.name} ${stateOf(file)}`;
    if (item.show.textContent !== text) item.show.textContent = text;
    item.show.title = file.fault;
    const isRead = file.reading !== "waiting" && file.reading !== "going on";
    item.progress.hidden = item.cancel.hidden = isRead;
    item.progress.value = partOf(file);
    const isAll = file.capture !== null && file.reading !== "cancelled";
    item.again.hidden = file.blob === null || isAll || !isRead;
  }

  private added(file: OpenFile): Item {
    const show = made("button", "show");
    const progress = made("progress");
    const cancel = made("button", "", "Cancel");
    const again = made("button", "", "Read again");
    const close = made("button", "", "✕");
    for (const one of [show, cancel, again, close]) one.type = "button";
    show.onclick = () => void this.files.show(file).catch(this.tell);
    progress.max = 1;
    progress.setAttribute("aria-label", `Read of ${file.name}`);
    cancel.className = "cancel";
    cancel.setAttribute("aria-label", `Cancel reading ${file.name}`);
    cancel.onclick = () => this.files.cancel(file);
    again.className = "again";
    again.setAttribute("aria-label", `Read ${file.name} again`);
    again.onclick = () => void this.files.readAs(file).catch(this.tell);
    close.className = "close";
    close.title = "Close";
    close.setAttribute("aria-label", `Close ${file.name}`);
    close.onclick = () => {
      // The button goes with its file: the keyboard goes on at the one beside it.
      const beside = item.nextElementSibling ?? item.previousElementSibling;
      beside?.querySelector("button")!.focus();
      void this.files.close(file).catch(this.tell);
    };
    const item = made("li", "", [show, progress, cancel, again, close]);
    const known = { item, show, progress, cancel, again };
    this.items.set(file, known);
    this.bar.append(item);
    return known;
  }
}

/** The part of a file that is read. */
export function partOf({ position, size, reading }: OpenFile): number {
  if (reading === "waiting") return 0;
  return size === 0 ? 1 : Math.min(1, position / size);
}

function stateOf(file: OpenFile): string {
  if (file.reading === "waiting") return "waiting";
  if (file.entries === 0 && file.fault !== "") return "can't be read";
  const other = file.blob === null ? "gap" : "unreadable place";
  const count = contentText(file.reports, file.entries, other);
  if (file.reading === "live") return `${count}, live`;
  if (file.reading === "going on") return `${Math.floor(100 * partOf(file))} %`;
  return file.reading === "cancelled" ? `${count}, cancelled` : count;
}
