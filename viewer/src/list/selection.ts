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
  private entries = 0; // whose kinds are known
  private wanted = new Rows(0); // what the filter lets through, but for its text
  private looked = 0; // entries of which `wanted` tells; there may be more by now
  private found = new Numbers(); // of those, what has the text
  private searched = 0; // entries
  private isSearching = false;
  private step = firstStep;
  private run = 0; // another filter or file is another run
  private ended = ""; // how the search came to its end too early, in words; empty if it didn't
  filter: Filter = noFilter;
  kinds: readonly EntryKind[] = [];
  rows = new Rows(0);

  constructor(private readonly tell: (fault: unknown) => void) {}

  /** Other rows are there, or more of them as it `goesOn`. */
  onChanged: (goesOn: boolean) => void = () => undefined;

  /** Another file, of which nothing is read. */
  open(capture: RemoteCapture | null): void {
    this.capture = capture;
    this.entries = this.looked = 0;
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
    const { capture } = this;
    if (capture === null) return;
    const kinds = await capture.kinds();
    if (capture !== this.capture) return;
    this.entries = entries;
    this.kinds = kinds;
    await this.select(true);
  }

  /** The part of the entries that was searched; 1 if nothing is searched for any more. */
  get searchedPart(): number {
    if (this.filter.text === "" || this.ended !== "" || this.entries === 0) return 1;
    return Math.min(1, this.searched / this.entries);
  }

  /** Searches no further; what was found stays. */
  cancel(): void {
    this.endSearch("the search was cancelled");
  }

  /** Why not all is searched, in words; empty if all is, or will be. */
  get endedEarly(): string {
    return this.ended;
  }

  private endSearch(how: string): void {
    this.ended = how;
    ++this.run;
    this.isSearching = false;
    this.onChanged(true);
  }

  private restart(): void {
    ++this.run;
    this.isSearching = false;
    this.ended = "";
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
    this.looked = entries;
    if (filter.text === "") {
      this.rows = this.wanted;
      this.onChanged(goesOn);
      return;
    }
    if (!goesOn) {
      this.rows = new Rows(0, this.found.view());
      this.onChanged(false);
    }
    if (this.isSearching || this.ended !== "") return;
    const { run } = this;
    void this.search(capture).catch((fault: unknown) => {
      if (run === this.run) this.endSearch("the search broke off");
      this.tell(fault);
    });
  }

  private async search(capture: RemoteCapture): Promise<void> {
    const { run, filter } = this;
    this.isSearching = true;
    try {
      for (;;) {
        // What isn't looked at yet is searched through when it is.
        const { wanted, looked } = this;
        const next = wanted.countBefore(this.searched);
        const first = next < wanted.count ? wanted.at(next) : looked;
        const end = Math.min(first + this.step, looked);
        if (first < end) {
          const begin = performance.now();
          const hits = await capture.search(filter.text, first, end);
          if (run !== this.run) return;
          this.adapt(performance.now() - begin);
          this.found.add(hits.filter((entry) => wanted.rowOf(entry) >= 0));
        }
        this.searched = end;
        const found = this.found.view();
        this.rows = new Rows(found.length, found);
        this.onChanged(true);
        if (end === this.looked) return;
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
