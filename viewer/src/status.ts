/** The line that tells how reading goes, and what happened last. */
import { made } from "./dom.js";

export class Status {
  private readonly reading = made("span");
  private readonly last = made("span", "told");

  constructor(private readonly line: HTMLElement) {
    this.reading.textContent = line.textContent;
    line.replaceChildren(this.reading, " ", this.last);
  }

  /** How the file that is shown stands; what was told before it is over. */
  show(text: string): void {
    if (this.reading.textContent !== text) this.reading.textContent = text;
  }

  /** What happened, or went wrong. */
  tell(fault: unknown): void {
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
