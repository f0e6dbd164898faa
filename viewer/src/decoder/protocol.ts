/** What the page and its worker say to each other. */
import type {
  About,
  Capture,
  Decoded,
  Difference,
  Entry,
  EntryKind,
  Layout,
  LiveItem,
  Progress,
  Wanted,
} from "./decoder.js";
import type { Course, Summary } from "./series.js";

/** What the page asks for; `file` is the number that the page gave a file. */
export interface Calls {
  start(module: ArrayBuffer): About;
  open(file: number, blob: Blob, name: string, form: string, told: Told): ReadingEnd;
  openLive(file: number, name: string, told: Told): void;
  append(file: number, items: LiveItem[]): Appended;
  cancel(file: number): void;
  close(file: number): void;
  kinds(file: number): EntryKind[];
  entries(file: number, first: number, count: number): Entry[];
  message(file: number, number: number): string;
  selectKinds(file: number, kinds: readonly number[], first: number, end: number): Uint32Array;
  search(file: number, text: string, first: number, end: number): Uint32Array;
  decode(file: number, entry: number): Decoded;
  layout(file: number, entry: number): Layout;
  summary(file: number, decoder: string): Summary | null;
  course(file: number, decoder: string, column: string, element: number): Course;
  changes(file: number, entries: Uint32Array, turns: boolean): Difference[];
  columns(file: number, wanted: Wanted, entries: Uint32Array): PlainTables;
  render(file: number, form: string, entries: Uint32Array, lines: boolean): RenderedBlob;
  statistics(file: number): unknown;
}

export type { LiveItem };

/** What the page wants to know of a file's reports while it is read. A decoder stands in one of
 *  them. */
export interface Told {
  follow: Wanted; // tables, with each step
  reduce: string[]; // decoders, for summary() and course()
}

/** What became of what was to be added to a file. */
export interface Appended {
  appended: number; // the first so many
  fault: string; // why no more of it; empty if all was
}

/** How the reading of a file came to its end. */
export interface ReadingEnd {
  cancelled: boolean;
  entries: number;
}

export interface RenderedBlob {
  blob: Blob;
  leftOut: string;
}

export type PlainTables = ReturnType<Capture["columns"]>;

export type Method = keyof Calls;

export interface Request {
  call: number;
  method: Method;
  arguments: unknown[];
}

/** A request's answer, or what happens meanwhile. */
export type Message =
  | { call: number; result: unknown }
  | { call: number; fault: string; isBroken: boolean }
  | { file: number; progress: Progress; size: number; note: string };
