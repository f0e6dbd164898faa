/** The entries of some kinds, in a file that grows: each entry is looked through once.
 *
 *      const images = new GrowingSelection((kind) => kind.decoder === "parseVeskImage");
 *      await images.takeIn(file, kinds); // again and again
 *      images.entries; // in order */
import type { RemoteCapture } from "../decoder/client.js";
import type { EntryKind } from "../decoder/decoder.js";
import { Numbers } from "../basics/numbers.js";

export class GrowingSelection {
  private readonly numbers = new Numbers();
  private looked = 0; // entries of the file

  constructor(private readonly isWanted: (kind: EntryKind) => boolean) {}

  /** A view of what is kept here. It stays as it is when more is taken in. */
  get entries(): Uint32Array {
    return this.numbers.view();
  }

  /** `kinds` are those of all entries: they say how far there is something to look at. */
  async takeIn(file: RemoteCapture, kinds: readonly EntryKind[]): Promise<void> {
    const end = kinds.reduce((sum, kind) => sum + kind.count, 0);
    const first = this.looked;
    if (end <= first) return;
    const wanted = kinds.filter(this.isWanted).map(({ number }) => number);
    const found = wanted.length === 0 ? null : await file.selectKinds(wanted, first, end);
    if (this.looked !== first) return; // somebody else was faster
    this.looked = end;
    if (found !== null) this.numbers.add(found);
  }
}
