/** The decoder: vesk.wasm, which is the plug-in and the host's inputs and outputs, as TypeScript sees
 *  it. It works at once and holds up whoever calls it, so it belongs in a worker (see worker.ts and
 *  client.ts); in node it needs none.
 *
 *      const decoder = await Decoder.create(await WebAssembly.compile(bytes));
 *      const file = decoder.open("bench.pcap", new BlobSource(blob), {
 *        follow: { parseVeskImage: ["FRAME_NUMBER", "TEMPERATURE"] },
 *      });
 *      while (!file.read().ended) showProgress(file.position / file.source.size);
 *      const images = file.select((kind) => kind.decoder === "parseVeskImage" && !kind.problem);
 *      file.decode(images[1000]).lines;
 *      const table = file.columns({ parseVeskImage: ["D_SCAN_I"] }, images.subarray(0, 100));
 *      table.get("parseVeskImage").column("D_SCAN_I").at(7); // Int32Array of 48
 *
 *  What can't be done throws DecoderError. A module that broke off throws DecoderBroken, then and
 *  from then on: make a new one and open the files again. */
import { bytesOf, numbersAt, Reader, Writer, type Kind, type Numbers } from "./reply.js";
import { courseOf, summaryOf, type Course, type Summary } from "./series.js";
import { ChunkStore, type Source, type Store } from "./sources.js";

export type { Kind, Numbers } from "./reply.js";

/** A call that can't be done, and why. */
export class DecoderError extends Error {}

/** The module broke off, out of memory for example: it can't be used any more. */
export class DecoderBroken extends Error {}

export type ReportType = "input" | "output" | "feature";
const types: readonly ReportType[] = ["input", "output", "feature"];

/** A report that the plug-in decodes. */
export interface KnownReport {
  id: number;
  type: ReportType;
  decoder: string;
  name: string; // as the plug-in displays it; empty if it has none
  smallest: number; // bytes that its layout needs, the ID included
  exact: boolean; // and no others are accepted
  counter: string; // the key of the number that each report of a stream carries; empty if none
}

export interface Form {
  name: string; // as for -i or -o
  description: string;
}

/** What the module can do. */
export interface About {
  version: string; // of the plug-in
  reports: KnownReport[];
  inputForms: Form[];
  outputForms: Form[];
}

export interface Sender {
  bus: number;
  device: number;
  endpoint: number;
}

/** In which unit an entry's place counts: lines, packets and a device's reports from 1, bytes from
 *  0; "file" for what has none. */
export type PlaceUnit = "file" | "line" | "packet" | "offset" | "report";
const units: readonly PlaceUnit[] = ["file", "line", "packet", "offset", "report"];

/** What many entries have in common. A file has a few kinds; filters go by them. */
export interface EntryKind {
  number: number;
  id: number | null;
  type: ReportType | null;
  report: KnownReport | null; // null if no decoder knows it
  decoder: string; // of it, or empty
  problem: string; // a code such as "short_report"; empty if nothing is wrong
  unit: PlaceUnit;
  sender: Sender | null;
  hasBytes: boolean; // it is a report; false for a problem that stands where none is
  hasTime: boolean;
  toDevice: boolean; // the host sent it
  count: number; // of its entries, when the kinds were asked for
}

/** Something that came in a file: a report, or a problem. */
export interface Entry {
  number: number; // from 0
  kind: EntryKind;
  time: number | null; // microseconds
  place: number;
  length: number; // bytes
  message: number; // of its problem, for message(); 0 if there is none, or it was not kept
}

export type Value = null | string | number | bigint | boolean | Numbers;

/** A value of a report's object, in the report's order. */
export interface Field {
  key: string; // empty for a report that is a bare text
  kind: Kind | "text" | "nil"; // of the number, or of the numbers
  value: Value; // an array of bools has 0 and 1
}

/** All of an entry. */
export interface Decoded {
  bytes: Uint8Array; // empty where no report is
  problem: { code: string; message: string } | null;
  fields: Field[]; // empty for a report that has lines only, and where its object can't be made
  lines: string[]; // they may be there though the object can't be made
}

/** Some bits of a report, and what they say. */
export interface LayoutField {
  firstBit: number; // from the lowest bit of byte 0
  bits: number;
  role: LayoutRole;
  values: { field: number; element: number | null }[]; // by the numbers of Decoded.fields
  lines: { first: number; count: number }[]; // by the numbers of Decoded.lines
}

export type LayoutRole = "id" | "shown" | "nowhere" | "newline" | "end";
const roles: readonly LayoutRole[] = ["id", "shown", "nowhere", "newline", "end"];

/** Which bytes of an entry say what, as the plug-in was seen to read them. */
export interface Layout {
  whyNot: string; // it isn't known since ...; empty if it is
  fields: LayoutField[]; // in the order of their bits, elements of arrays each by themselves
}

/** What differs between a report and the one before it of its kind and sender. */
export interface Difference {
  entry: number;
  restart: string; // what the program concludes of the firmware, for people; empty if nothing
  changes: Change[];
}

export interface Change {
  key: string; // empty if the text alone changed
  line: number; // then its number, from 1; else 0
  course: "" | "grew" | "wrapped" | "fell"; // "" if it isn't known to count
  difference: bigint | null; // of whole numbers, over the largest one if it wrapped
  rate: number | null; // a second, of a counter that grew or wrapped
  isBits: boolean;
}

const courses: readonly Change["course"][] = ["", "grew", "wrapped", "fell"];

export interface Column {
  name: string;
  kind: Kind;
  count: number; // numbers in a row
  isArray: boolean;
  isText: boolean; // its numbers are those of Table.texts
  offset: number; // in a row, in bytes
}

/** A column's values, by row. */
export interface ColumnValues extends Column {
  /** The numbers of a row: a view of the table. */
  at(row: number): Numbers;

  /** The first number of a row as a number; a BigInt is rounded to 53 bits. */
  numberAt(row: number): number;
}

/** The columns of every table, which stand in front of a report's own: the time in microseconds,
 *  noTime where the file tells none, and the ID. */
export const noTime = -(2n ** 63n);

/** Reports of one decoder, a row each, in memory of its own: it can be sent to another thread
 *  (Table.message, Table.from). */
export class Table {
  constructor(
    readonly decoder: string,
    readonly rows: number,
    readonly rowSize: number,
    readonly columns: readonly Column[],
    readonly buffer: ArrayBuffer, // rows * rowSize bytes
    readonly entries: Uint32Array, // the entry that each row is of
    readonly texts: readonly string[], // empty in what was followed
  ) {}

  /** Throws DecoderError if there is none of this name. */
  column(name: string): ColumnValues {
    const column = this.columns.find((one) => one.name === name);
    if (column === undefined) throw new DecoderError(`${this.decoder} has no column ${name}`);
    const at = (row: number) =>
      numbersAt(this.buffer, row * this.rowSize + column.offset, column.kind, column.count);
    return { ...column, at, numberAt: (row) => Number(at(row)[0]) };
  }

  has(name: string): boolean {
    return this.columns.some((one) => one.name === name);
  }

  /** A table that postMessage() copied: classes don't survive that. */
  static from(plain: Table): Table {
    return new Table(
      plain.decoder,
      plain.rows,
      plain.rowSize,
      plain.columns,
      plain.buffer,
      plain.entries,
      plain.texts,
    );
  }
}

/** Keys of each decoder's reports; "all" for all of them. */
export type Wanted = Record<string, readonly string[] | "all">;

/** Where a file stands after a step of reading. */
export interface Progress {
  ended: boolean;
  position: number; // bytes read
  entries: number;
  reports: number; // of the entries; the others are problems where none is
  indexBytes: number; // that the entries take in memory
  form: string; // of the file; empty until it is known
  followed: Map<string, Table>; // rows that are new since the step before
}

export interface OpenOptions {
  form?: string; // as for -i; by the file's first bytes if it isn't given
  follow?: Wanted; // columns that come with reading
  reduce?: readonly string[]; // other decoders, for summary() and course()
  store?: Store; // for the bytes of reports that are made of text; 256 MiB of memory if not given
}

/** Reports in a form of the program's. */
export interface Rendered {
  bytes: Uint8Array<ArrayBuffer>;
  leftOut: string; // what was passed over and why, for people; empty if nothing was
}

interface Exports {
  memory: WebAssembly.Memory;
  _initialize(): void;
  vesk_room(size: number): number;
  vesk_reply(): number;
  vesk_replySize(): number;
  [call: `vesk_${string}`]: (...numbers: number[]) => number;
}

const keptInMemory = 256 << 20;
const noElement = 0xffffffff;

/** How a call ended, as native/calls/Calls.h has it; others are refused. */
const done = 0;
const brokenOff = 2;

export class Decoder {
  private exports!: Exports;
  private broken: DecoderBroken | null = null;
  private sources = new Map<number, { source: Source; store: Store }>();
  private lastSource = 0;
  private codes: string[] = [];
  about!: About;

  private constructor() {}

  static async create(module: WebAssembly.Module): Promise<Decoder> {
    const decoder = new Decoder();
    const instance = await WebAssembly.instantiate(module, decoder.imports(module));
    decoder.exports = instance.exports as unknown as Exports;
    decoder.guarded(() => decoder.exports._initialize());
    decoder.readAbout();
    return decoder;
  }

  /** Opens a file; reads nothing yet. Throws DecoderError. */
  open(name: string, source: Source, options: OpenOptions = {}): Capture {
    const number = this.addSource(source, options.store);
    const given = new Writer().text(name).text(options.form ?? "");
    putTold(given, options);
    const handle = this.call("open", given, number).u32();
    return new Capture(this, handle, number, name, source);
  }

  /** Opens a file that has no reports but those that append() gives it. */
  openLive(name: string, options: OpenOptions = {}): Capture {
    const source = new ChunkStore(0);
    const number = this.addSource(source, options.store);
    const given = new Writer().text(name);
    putTold(given, options);
    return new Capture(this, this.call("openLive", given, number).u32(), number, name, source);
  }

  /** A whole file in a form of the program's, in steps: piece by piece, as they are made. */
  *convert(
    name: string,
    source: Source,
    outputForm: string,
    options: { form?: string; lines?: boolean; items?: number } = {},
  ): Generator<Rendered> {
    const number = this.addSource(source);
    const given = new Writer().text(name).text(options.form ?? "").text(outputForm);
    given.u32(options.lines ? 1 : 0);
    const handle = this.call("convert", given, number).u32();
    try {
      for (let ended = false; !ended; ) {
        const reply = this.call("convertOn", null, handle, options.items ?? 1024);
        ended = reply.u8() !== 0;
        yield { bytes: this.copied(reply.u32(), reply.u32()), leftOut: reply.text() };
      }
    } finally {
      this.close(handle, number);
    }
  }

  /** Bytes that the module has at the moment. */
  get memory(): number {
    return this.exports.memory.buffer.byteLength;
  }

  // What Capture needs.

  /** Does a call of the module's, and gives its reply. */
  call(name: string, given: Writer | null, ...numbers: number[]): Reader {
    if (this.broken !== null) throw this.broken;
    return this.guarded(() => {
      if (given !== null) {
        const at = this.exports.vesk_room(given.size);
        if (at === 0) throw new DecoderError("out of memory");
        given.copyTo(new Uint8Array(this.exports.memory.buffer, at, given.size));
      }
      const ending = this.exports[`vesk_${name}`]!(...numbers);
      const size = this.exports.vesk_replySize();
      const reply = new Reader(this.copied(size, this.exports.vesk_reply()));
      if (ending === brokenOff) throw new Error(reply.text());
      if (ending !== done) throw new DecoderError(reply.text());
      return reply;
    });
  }

  /** A copy of what a reply has the address of. */
  copied(size: number, address: number): Uint8Array<ArrayBuffer> {
    return new Uint8Array(this.exports.memory.buffer.slice(address, address + size));
  }

  codeOf(number: number): string {
    return number === 0 ? "" : this.codes[number - 1]!;
  }

  reportOf(row: number): KnownReport | null {
    return row === 0 ? null : this.about.reports[row - 1]!;
  }

  close(handle: number, source: number): void {
    this.end(handle);
    this.sources.delete(source);
  }

  /** Of a file, a conversion or a rendering: it is gone in the module. */
  end(handle: number): void {
    if (this.broken === null) this.call("close", null, handle);
  }

  tables(reply: Reader): Map<string, Table> {
    const parts = Array.from({ length: reply.u32() }, () => {
      const decoder = reply.text();
      const address = reply.u32();
      const rows = reply.u32();
      const rowSize = reply.u32();
      const buffer = this.copied(rows * rowSize, address).buffer;
      const entries = new Uint32Array(this.copied(rows * 4, reply.u32()).buffer);
      const columns = Array.from({ length: reply.u32() }, () => ({
        name: reply.text(),
        kind: reply.kind(),
        count: reply.u32(),
        isArray: reply.u8() !== 0,
        isText: reply.u8() !== 0,
        offset: reply.u32(),
      }));
      return { decoder, rows, rowSize, columns, buffer, entries };
    });
    const texts = Array.from({ length: reply.u32() }, () => reply.text());
    return new Map(
      parts.map((one) => [
        one.decoder,
        new Table(
          one.decoder,
          one.rows,
          one.rowSize,
          one.columns,
          one.buffer,
          one.entries,
          texts,
        ),
      ]),
    );
  }

  private addSource(source: Source, store: Store = new ChunkStore(keptInMemory)): number {
    this.sources.set(++this.lastSource, { source, store });
    return this.lastSource;
  }

  /** A trap leaves the module in no state to go on. */
  private guarded<T>(call: () => T): T {
    try {
      return call();
    } catch (fault) {
      if (fault instanceof DecoderError) throw fault;
      const reason = fault instanceof Error ? fault.message : String(fault);
      this.broken = new DecoderBroken(`the decoder broke off: ${reason}`, { cause: fault });
      throw this.broken;
    }
  }

  private readAbout(): void {
    const reply = this.call("about", null);
    const version = reply.text();
    const reports = Array.from({ length: reply.u32() }, () => ({
      id: reply.u8(),
      type: types[reply.u8()]!,
      decoder: reply.text(),
      name: reply.text(),
      smallest: reply.u32(),
      exact: reply.u8() !== 0,
      counter: reply.text(),
    }));
    const forms = () =>
      Array.from({ length: reply.u32() }, () => ({
        name: reply.text(),
        description: reply.text(),
      }));
    const inputForms = forms();
    this.about = { version, reports, inputForms, outputForms: forms() };
    this.codes = Array.from({ length: reply.u32() }, () => reply.text());
  }

  private imports(module: WebAssembly.Module): WebAssembly.Imports {
    const copy = (from: () => Uint8Array, into: number, room: number): number => {
      try {
        const bytes = from().subarray(0, room);
        new Uint8Array(this.exports.memory.buffer).set(bytes, into);
        return bytes.length;
      } catch {
        return -1;
      }
    };
    const of = (source: number) => this.sources.get(source)!;
    const vesk = {
      read: (source: number, offset: number, into: number, room: number) =>
        copy(() => of(source).source.read(offset, room), into, room >>> 0),
      readKept: (source: number, offset: number, into: number, room: number) =>
        copy(() => of(source).store.read(offset, room), into, room >>> 0),
      keep: (source: number, bytes: number, count: number) => {
        try {
          of(source).store.append(new Uint8Array(this.exports.memory.buffer, bytes, count));
          return 0;
        } catch {
          return -1;
        }
      },
    };
    // What the C library would ask a system for. There is none, and nothing of it is needed.
    const wasi: Record<string, WebAssembly.ImportValue> = {};
    for (const { module: from, name } of WebAssembly.Module.imports(module))
      if (from === "wasi_snapshot_preview1")
        wasi[name] = () => {
          throw new Error(`${name} was called`);
        };
    return { vesk, wasi_snapshot_preview1: wasi };
  }
}

/** What comes with reading. */
function putTold(given: Writer, { follow = {}, reduce = [] }: OpenOptions): void {
  putWanted(given, follow);
  given.u32(reduce.length);
  for (const decoder of reduce) given.text(decoder);
}

function putWanted(given: Writer, wanted: Wanted): void {
  const decoders = Object.entries(wanted);
  given.u32(decoders.length);
  for (const [decoder, keys] of decoders) {
    given.text(decoder).u32(keys === "all" ? 0xffffffff : keys.length);
    if (keys !== "all") for (const key of keys) given.text(key);
  }
}

/** A report that came from a device; `bytes` begin with its ID. */
export interface LiveReport {
  bytes: Uint8Array;
  type: ReportType | null;
  microseconds: number | null;
}

/** Where reports of a device are missing. */
export interface LiveGap {
  told: string; // for people
  lost: number; // of them; 0 where that isn't known
  microseconds: number | null;
}

/** What comes of a device, in order. */
export type LiveItem = LiveReport | LiveGap;

/** A file that is looked at: read once in steps, and from then on here and there. Entries can be
 *  looked at as soon as they are read. */
export class Capture {
  private knownKinds: EntryKind[] = [];
  size = 0; // entries so far
  position = 0; // bytes read so far
  ended = false;
  form = "";

  constructor(
    private readonly decoder: Decoder,
    private readonly handle: number,
    private readonly sourceNumber: number,
    readonly name: string,
    readonly source: Source,
  ) {}

  /** Reads on by a step: up to about so many bytes, and so many entries. */
  read(bytes = 4 << 20, entries = 16384): Progress {
    const reply = this.decoder.call("read", null, this.handle, bytes, entries);
    this.ended = reply.u8() !== 0;
    this.position = reply.number();
    this.size = reply.u32();
    const reports = reply.u32();
    reply.u32(); // messages
    const indexBytes = reply.number();
    this.form = reply.text();
    const followed = this.decoder.tables(reply);
    const { ended, position, size, form } = this;
    return { ended, position, entries: size, reports, indexBytes, form, followed };
  }

  /** Adds a report to a file of openLive(); `bytes` begin with its ID. read() gives what is followed
   *  of it. */
  append(bytes: Uint8Array, type: ReportType | null, microseconds: number | null): void {
    const given = new Writer().u32(bytes.length).bytes(bytes);
    const number = type === null ? -1 : types.indexOf(type);
    this.decoder.call("append", given, this.handle, number, microseconds ?? NaN);
    ++this.size;
  }

  /** Adds a problem to it, where reports are missing. */
  appendGap({ told, lost, microseconds }: LiveGap): void {
    const given = new Writer().text(told);
    this.decoder.call("appendGap", given, this.handle, lost, microseconds ?? NaN);
    ++this.size;
  }

  /** Adds what comes until something can't be kept: how much was, and why no more. */
  appendAll(items: readonly LiveItem[]): { appended: number; fault: string } {
    let appended = 0;
    try {
      for (const item of items) {
        if ("told" in item) this.appendGap(item);
        else this.append(item.bytes, item.type, item.microseconds);
        ++appended;
      }
    } catch (fault) {
      if (!(fault instanceof DecoderError)) throw fault;
      return { appended, fault: fault.message };
    }
    return { appended, fault: "" };
  }

  /** The kinds of all entries so far, with their counts. A kind keeps its number. */
  kinds(): EntryKind[] {
    const reply = this.decoder.call("kinds", null, this.handle, 0);
    this.knownKinds = Array.from({ length: reply.u32() }, (_, number) => {
      const id = reply.u16();
      const type = reply.u8();
      const report = this.decoder.reportOf(reply.u8());
      const problem = this.decoder.codeOf(reply.u8());
      const unit = units[reply.u8()]!;
      const flags = reply.u8();
      const count = reply.u32();
      const hasSender = reply.u8() !== 0;
      const sender = { bus: reply.u16(), device: reply.u16(), endpoint: reply.u8() };
      return {
        number,
        id: id === 0xffff ? null : id,
        type: types[type] ?? null,
        report,
        decoder: report?.decoder ?? "",
        problem,
        unit,
        sender: hasSender ? sender : null,
        hasBytes: (flags & 1) !== 0,
        hasTime: (flags & 4) !== 0,
        toDevice: (flags & 8) !== 0,
        count,
      };
    });
    return this.knownKinds;
  }

  /** Some entries, fewer at the end. */
  entries(first: number, count: number): Entry[] {
    const reply = this.decoder.call("entries", null, this.handle, first, count);
    return Array.from({ length: reply.u32() }, (_, index) => {
      reply.number(); // its offset
      const time = reply.number();
      const place = reply.number();
      const length = reply.u32();
      const kind = this.kind(reply.u32());
      const message = reply.u32();
      return {
        number: first + index,
        kind,
        time: Number.isNaN(time) ? null : time,
        place,
        length,
        message,
      };
    });
  }

  /** The message of a problem, by its number in Entry. */
  message(number: number): string {
    return this.decoder.call("message", null, this.handle, number).text();
  }

  /** The numbers of all entries whose kind is wanted. */
  select(isWanted: (kind: EntryKind) => boolean, first = 0, end = 0xffffffff): Uint32Array {
    const kinds = this.kinds().filter(isWanted);
    return this.selectKinds(
      kinds.map((kind) => kind.number),
      first,
      end,
    );
  }

  /** The same by the kinds' numbers. */
  selectKinds(kinds: readonly number[], first = 0, end = 0xffffffff): Uint32Array {
    const wanted = new Uint8Array(Math.max(0, ...kinds.map((kind) => kind + 1)));
    for (const kind of kinds) wanted[kind] = 1;
    const given = new Writer().u32(wanted.length).bytes(wanted);
    return this.numbers(this.decoder.call("select", given, this.handle, first, end));
  }

  /** The numbers of those entries whose lines, or whose problem, have `text` in them. It decodes all
   *  of them: some thousands make a step. */
  search(text: string, first: number, end: number): Uint32Array {
    const given = new Writer().text(text);
    return this.numbers(this.decoder.call("search", given, this.handle, first, end));
  }

  /** All of an entry. Throws DecoderError if the file can't be read any more. */
  decode(entry: number): Decoded {
    const reply = this.decoder.call("decode", null, this.handle, entry);
    const bytes = this.decoder.copied(reply.u32(), reply.u32());
    const code = this.decoder.codeOf(reply.u8());
    const message = reply.text();
    const fields = Array.from({ length: reply.u32() }, () => fieldOf(reply));
    const lines = Array.from({ length: reply.u32() }, () => reply.text());
    return { bytes, problem: code === "" ? null : { code, message }, fields, lines };
  }

  /** Which bytes of an entry say what. The first of a kind takes some milliseconds. */
  layout(entry: number): Layout {
    const reply = this.decoder.call("layout", null, this.handle, entry);
    const whyNot = reply.text();
    const fields = Array.from({ length: reply.u32() }, () => ({
      firstBit: reply.u32(),
      bits: reply.u32(),
      role: roles[reply.u8()]!,
      values: Array.from({ length: reply.u32() }, () => {
        const field = reply.u32();
        const element = reply.u32();
        return { field, element: element === noElement ? null : element };
      }),
      lines: Array.from({ length: reply.u32() }, () => ({
        first: reply.u32(),
        count: reply.u32(),
      })),
    }));
    return { whyNot, fields };
  }

  /** What all reports of a decoder so far come to; null if it isn't reduced. */
  summary(decoder: string): Summary | null {
    const reply = this.decoder.call("summary", new Writer().text(decoder), this.handle);
    return reply.u8() !== 0 ? summaryOf(reply) : null;
  }

  /** An element of a column over the capture, of a decoder that is reduced. Throws DecoderError if
   *  there is none, or not yet. */
  course(decoder: string, column: string, element: number): Course {
    const given = new Writer().text(decoder).text(column);
    return courseOf(this.decoder.call("course", given, this.handle, element));
  }

  /** What became of some entries, in order: of those that differ from the one of their kind and
   *  sender before them among these. `turns` leaves out all but what fell or wrapped, and restarts. */
  changes(entries: ArrayLike<number>, turns = false): Difference[] {
    const given = new Writer().u32s(entries);
    const reply = this.decoder.call("changes", given, this.handle, turns ? 1 : 0);
    return Array.from({ length: reply.u32() }, () => ({
      entry: reply.u32(),
      restart: reply.text(),
      changes: Array.from({ length: reply.u32() }, () => changeOf(reply)),
    }));
  }

  /** Columns of some entries, by decoder; without those that are no report of a wanted decoder. */
  columns(wanted: Wanted, entries: ArrayLike<number>): Map<string, Table> {
    const given = new Writer();
    putWanted(given, wanted);
    given.u32s(entries);
    return this.decoder.tables(this.decoder.call("columns", given, this.handle));
  }

  /** Counts, and what was lost: the record `statistics` of the program's NDJSON. */
  statistics(): unknown {
    const record = JSON.parse(this.decoder.call("statistics", null, this.handle).text());
    return record.statistics;
  }

  /** Some entries in a form of the program's, "csv" for example. What the host sent is left out. */
  render(outputForm: string, entries: ArrayLike<number>, lines = false): Rendered {
    const options = { lines, atOnce: Math.max(1, entries.length) };
    const [rendered] = this.renderInSteps(outputForm, Uint32Array.from(entries), options);
    return rendered!;
  }

  /** The same step by step: pieces of what is one text. */
  *renderInSteps(
    outputForm: string,
    entries: Uint32Array,
    { lines = false, atOnce = 4096 } = {},
  ): Generator<Rendered> {
    const { decoder, handle } = this;
    const begun = new Writer().text(outputForm).u32(lines ? 1 : 0);
    const rendering = decoder.call("render", begun, handle).u32();
    try {
      for (let at = 0, isLast = false; !isLast; at += atOnce) {
        isLast = at + atOnce >= entries.length;
        const given = new Writer().u32s(entries.subarray(at, at + atOnce));
        const reply = decoder.call("renderOn", given, handle, rendering, isLast ? 1 : 0);
        yield { bytes: decoder.copied(reply.u32(), reply.u32()), leftOut: reply.text() };
      }
    } finally {
      decoder.end(rendering);
    }
  }

  close(): void {
    this.decoder.close(this.handle, this.sourceNumber);
  }

  private kind(number: number): EntryKind {
    if (number >= this.knownKinds.length) this.kinds();
    return this.knownKinds[number]!;
  }

  private numbers(reply: Reader): Uint32Array {
    const count = reply.u32();
    return new Uint32Array(this.decoder.copied(count * 4, reply.u32()).buffer);
  }
}

function changeOf(reply: Reader): Change {
  const key = reply.text();
  const line = reply.u32();
  const course = courses[reply.u8()]!;
  const difference = reply.text();
  const rate = reply.number();
  return {
    key,
    line,
    course,
    difference: difference === "" ? null : BigInt(difference.replace("+", "")),
    rate: Number.isNaN(rate) ? null : rate,
    isBits: reply.u8() !== 0,
  };
}

function fieldOf(reply: Reader): Field {
  const key = reply.text();
  switch (reply.u8()) {
    case 1: {
      const kind = reply.kind();
      const value = reply.numbers(kind, 1)[0]!;
      return { key, kind, value: kind === "bool" ? value !== 0 : value };
    }
    case 2:
      return { key, kind: "text", value: reply.text() };
    case 3: {
      const kind = reply.kind();
      return { key, kind, value: reply.numbers(kind, reply.u32()) };
    }
    default:
      return { key, kind: "nil", value: null };
  }
}

/** The size of a column's row, in bytes. */
export function sizeOf(column: Column): number {
  return column.count * bytesOf(column.kind);
}
