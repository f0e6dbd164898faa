/** The line that tells how reading goes, and what happened last. */
import { FileClosed } from "../decoder/client.js";
import { made } from "../basics/dom.js";

const betweenShown = 250; // milliseconds

export class Status {
  private readonly reading = made("span");
  private readonly last = made("span", "told");
  private shownAt = 0;

  constructor(private readonly line: HTMLElement) {
    this.reading.textContent = line.textContent;
    line.replaceChildren(this.reading, " ", this.last);
  }

  /** How the file that is shown stands. While it goes on it is told now and then only: who can't see
   *  it has it read out each time. */
  show(text: string, goesOn = false): void {
    const now = performance.now();
    if (this.reading.textContent === text || (goesOn && now - this.shownAt < betweenShown)) return;
    this.shownAt = now;
    this.reading.textContent = text;
  }

  /** What happened, or went wrong. */
  tell(fault: unknown): void {
    if (fault instanceof FileClosed) return;
    this.last.textContent = fault instanceof Error ? fault.message : String(fault);
  }

  clear(): void {
    this.last.textContent = "";
  }

  get isRead(): boolean {
    return this.line.dataset["read"] !== undefined;
  }

  /** Tells that so many entries are read and shown everywhere; null while that isn't so. */
  setRead(entries: number | null): void {
    if (entries === null) delete this.line.dataset["read"];
    else this.line.dataset["read"] = String(entries);
  }
}
