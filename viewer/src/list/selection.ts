/** The reports of a file that a filter lets through. With a text in the filter they are searched for
 *  step by step, and the selection grows while that goes on. */
import type { RemoteCapture } from "../decoder/client.js";
import type { EntryKind } from "../decoder/decoder.js";
import { isWanted, noFilter, type Filter } from "./filter.js";
import { Numbers } from "../basics/numbers.js";
import { Rows } from "./rows.js";

const firstStep = 256; // entries
const stepTime = 40; // milliseconds that a step of searching should take

export class Selection {
  private capture: RemoteCapture | null = null;
  private entries = 0;
  private wanted = new Rows(0); // what the filter lets through, but for its text
  private found = new Numbers(); // of those, what has the text
  private searched = 0; // entries
  private isSearching = false;
  private step = firstStep;
  private run = 0; // another filter or file is another run
  private isCancelled = false;
  filter: Filter = noFilter;
  kinds: readonly EntryKind[] = [];
  rows = new Rows(0);

  constructor(private readonly tell: (fault: unknown) => void) {}

  /** Other rows are there, or more of them as it `goesOn`. */
  onChanged: (goesOn: boolean) => void = () => undefined;

  /** Another file, of which nothing is read. */
  open(capture: RemoteCapture | null): void {
    this.capture = capture;
    this.entries = 0;
    this.kinds = [];
    this.restart();
    this.wanted = this.rows = new Rows(0);
    this.onChanged(false);
  }

  async setFilter(filter: Filter): Promise<void> {
    this.filter = filter;
    this.restart();
    await this.select(false);
  }

  /** So many entries are there now. */
  async grow(entries: number): Promise<void> {
    this.entries = entries;
    const { capture } = this;
    if (capture === null) return;
    const kinds = await capture.kinds();
    if (capture !== this.capture) return;
    this.kinds = kinds;
    await this.select(true);
  }

  /** The part of the entries that was searched; 1 if nothing is searched for any more. */
  get searchedPart(): number {
    if (this.filter.text === "" || this.isCancelled || this.entries === 0) return 1;
    return Math.min(1, this.searched / this.entries);
  }

  /** Searches no further; what was found stays. */
  cancel(): void {
    this.isCancelled = true;
    ++this.run;
    this.isSearching = false;
    this.onChanged(true);
  }

  get wasCancelled(): boolean {
    return this.isCancelled;
  }

  private restart(): void {
    ++this.run;
    this.isSearching = false;
    this.isCancelled = false;
    this.found = new Numbers();
    this.searched = 0;
    this.step = firstStep;
  }

  private async select(goesOn: boolean): Promise<void> {
    const { capture, filter, entries } = this;
    if (capture === null) return;
    if (this.kinds.every((kind) => isWanted(filter, kind))) this.wanted = new Rows(entries);
    else {
      const numbers = await capture.select((kind) => isWanted(filter, kind));
      if (capture !== this.capture || filter !== this.filter) return;
      this.wanted = new Rows(numbers.length, numbers);
    }
    if (filter.text === "") {
      this.rows = this.wanted;
      this.onChanged(goesOn);
      return;
    }
    if (!goesOn) {
      this.rows = new Rows(0, this.found.view());
      this.onChanged(false);
    }
    if (!this.isSearching && !this.isCancelled) void this.search(capture).catch(this.tell);
  }

  private async search(capture: RemoteCapture): Promise<void> {
    const { run, filter } = this;
    this.isSearching = true;
    try {
      for (;;) {
        const next = this.wanted.countBefore(this.searched);
        const first = next < this.wanted.count ? this.wanted.at(next) : this.entries;
        const end = Math.min(first + this.step, this.entries);
        if (first < end) {
          const begin = performance.now();
          const hits = await capture.search(filter.text, first, end);
          if (run !== this.run) return;
          this.adapt(performance.now() - begin);
          this.found.add(hits.filter((entry) => this.wanted.rowOf(entry) >= 0));
        }
        this.searched = end;
        const found = this.found.view();
        this.rows = new Rows(found.length, found);
        this.onChanged(true);
        if (end === this.entries) return;
      }
    } finally {
      if (run === this.run) this.isSearching = false;
    }
  }

  private adapt(took: number): void {
    if (took < stepTime / 2) this.step = Math.min(2 * this.step, 1 << 16);
    else if (took > 2 * stepTime) this.step = Math.max(64, this.step >> 1);
  }
}
