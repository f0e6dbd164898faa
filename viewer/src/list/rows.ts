/** Which entries of a file a list shows, by row. */
import { countBelow, indexOf } from "../basics/numbers.js";

export class Rows {
  /** `numbers` are those of the entries, in order; null if they are all, from 0. */
  constructor(
    readonly count: number,
    private readonly numbers: Uint32Array | null = null,
  ) {}

  /** The entry in a row. */
  at(row: number): number {
    return this.numbers === null ? row : this.numbers[row]!;
  }

  /** The row of an entry; -1 if it has none. */
  rowOf(entry: number): number {
    if (this.numbers !== null) return indexOf(this.numbers, entry);
    return entry >= 0 && entry < this.count ? entry : -1;
  }

  /** How many rows stand before an entry, whether it has one or not. */
  countBefore(entry: number): number {
    return this.numbers === null ? Math.min(entry, this.count) : countBelow(this.numbers, entry);
  }

  /** All entries' numbers. */
  all(): Uint32Array {
    return this.numbers ?? Uint32Array.from({ length: this.count }, (_, row) => row);
  }
}
