/** Views: each stands behind a tab of its own, and shows all of a file's reports of some decoders. The
 *  tab is there where the file has some. */
import type { RemoteCapture } from "../decoder/client.js";
import type { About, EntryKind } from "../decoder/decoder.js";

/** What a view asks of the page around it. */
export interface ViewHost {
  /** Shows what went wrong. */
  tell(fault: unknown): void;

  /** Somebody has gone to an entry in the view: the list and the report follow. */
  moved(entry: number): void;
}

/** What can be copied of a view, as it is shown at the moment. */
export interface Copies {
  csv?(): Promise<string>;
  json?(): Promise<string>;
  png?(): Promise<Blob>;
}

export interface View {
  readonly name: string; // of its panel, `id="NAME"`, and in links
  readonly title: string; // of its tab

  /** Whose reports it shows. */
  readonly decoders: readonly string[];

  /** Those of them of which summary() and course() are asked: only those are reduced while a file is
   *  read. */
  readonly reduced: readonly string[];

  readonly copies: Copies;

  /** Shows another file, which nothing may be read of yet, or none. */
  open(file: RemoteCapture | null, about: About): void;

  /** Takes in what was read since. `entries` are all of its decoders' that nothing is wrong with and
   *  that a device sent, in order; `devices` is how many devices that are. While a file is read, or a
   *  device sends, this is called again and again. Hidden, it should do next to nothing. */
  refresh(entries: Uint32Array, devices: number): Promise<void>;

  /** Takes in more entries and does nothing else, so that a device's last report can be gone to as it
   *  comes. `entries` are as for refresh(), which follows now and then. */
  extend?(entries: Uint32Array): void;

  /** Draws from now on, or draws nothing. */
  setShown(isShown: boolean): void;

  /** Goes to an entry, if it is among its own. */
  goToEntry(entry: number): void;
}

/** Reports of some decoders that nothing is wrong with, and that a device sent: views show only them. */
export function isReportOf(decoders: readonly string[], kind: EntryKind): boolean {
  return decoders.includes(kind.decoder) && kind.problem === "" && !kind.toDevice;
}
