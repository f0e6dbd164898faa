/** The decoder as the page sees it, through its worker.
 *
 *      const client = await Client.create(workerUrl, moduleBytes);
 *      const file = client.open(chosen, {
 *        follow: { parseVeskImage: ["FRAME_NUMBER"] },
 *        onProgress: ({ position, entries, followed }) => show(position / file.size, followed),
 *      });
 *      await file.done; // or look at what is read meanwhile, or file.cancel()
 *      const images = await file.select((kind) => kind.decoder === "parseVeskImage");
 *      const { lines, fields } = await file.decode(images[1000]);
 *
 *  What can't be done rejects with an Error whose message is for people. */
import {
  DecoderBroken,
  Table,
  type About,
  type Decoded,
  type Difference,
  type Entry,
  type EntryKind,
  type Layout,
  type Progress,
  type Wanted,
} from "./decoder.js";
import type {
  Appended,
  Calls,
  LiveItem,
  Message,
  Method,
  PlainTables,
  ReadingEnd,
  RenderedBlob,
} from "./protocol.js";
import type { Course, Summary } from "./series.js";

export interface FileProgress extends Progress {
  size: number; // bytes of the file, unpacked
  note: string; // what is to be told of it; empty if nothing is
}

export interface ReadOptions {
  form?: string;
  follow?: Wanted; // tables with each step
  reduce?: string[]; // other decoders, for summary() and course()
  onProgress?: (progress: FileProgress) => void;
}

/** A file was closed while something of it was asked for: nobody waits for the answer. */
export class FileClosed extends Error {}

interface Waiting {
  resolve(result: unknown): void;
  reject(fault: Error): void;
}

export class Client {
  private calls = 0;
  private files = 0;
  private readonly waiting = new Map<number, Waiting>();
  private readonly listeners = new Map<number, (progress: FileProgress) => void>();
  private readonly forgotten = new Set<unknown>();
  private broken: Error | null = null;
  about!: About;

  /** Called once when the decoder broke off: nothing that is open can be read on. */
  onBroken: (reason: string) => void = () => undefined;

  private constructor(private readonly worker: Worker) {
    worker.onmessage = ({ data }: MessageEvent<Message>) => this.receive(data);
    worker.onerror = (event) => this.breakOff(new DecoderBroken(event.message || "it ended"));
  }

  /** `module` is vesk.wasm, and is gone from here. */
  static async create(workerUrl: string, module: ArrayBuffer): Promise<Client> {
    const client = new Client(new Worker(workerUrl));
    client.about = (await client.send("start", [module], [module])) as About;
    return client;
  }

  open(file: File, options: ReadOptions = {}): RemoteCapture {
    const number = ++this.files;
    if (options.onProgress) this.listeners.set(number, options.onProgress);
    const { form = "", follow = {}, reduce = [] } = options;
    const done = this.call("open", number, file, file.name, form, { follow, reduce });
    return new RemoteCapture(this, number, file.name, done);
  }

  /** A file of reports that come one by one, by append(). */
  openLive(name: string, options: Omit<ReadOptions, "form"> = {}): RemoteCapture {
    const number = ++this.files;
    if (options.onProgress) this.listeners.set(number, options.onProgress);
    const { follow = {}, reduce = [] } = options;
    const opened = this.call("openLive", number, name, { follow, reduce });
    const done = opened.then(() => ({ cancelled: false, entries: 0 }));
    return new RemoteCapture(this, number, name, done);
  }

  call<M extends Method>(
    method: M,
    ...given: Parameters<Calls[M]>
  ): Promise<Awaited<ReturnType<Calls[M]>>> {
    const answer = this.send(method, given).catch((fault: unknown) => {
      throw this.forgotten.has(given[0]) ? new FileClosed("the file was closed") : fault;
    });
    return answer as Promise<Awaited<ReturnType<Calls[M]>>>;
  }

  /** Nothing more is told of a file. */
  forget(file: number): void {
    this.listeners.delete(file);
    this.forgotten.add(file);
  }

  end(): void {
    this.breakOff(new DecoderBroken("the decoder was ended"));
  }

  private send(method: Method, given: unknown[], transfer: Transferable[] = []): Promise<unknown> {
    if (this.broken) return Promise.reject(this.broken);
    const call = ++this.calls;
    this.worker.postMessage({ call, method, arguments: given }, transfer);
    return new Promise((resolve, reject) => this.waiting.set(call, { resolve, reject }));
  }

  private receive(message: Message): void {
    if ("progress" in message) {
      const { progress, size, note } = message;
      const followed = tablesFrom(progress.followed);
      this.listeners.get(message.file)?.({ ...progress, followed, size, note });
      return;
    }
    const waiting = this.waiting.get(message.call);
    this.waiting.delete(message.call);
    if ("result" in message) {
      waiting?.resolve(message.result);
      return;
    }
    const fault = message.isBroken ? new DecoderBroken(message.fault) : new Error(message.fault);
    waiting?.reject(fault);
    if (message.isBroken) this.breakOff(fault);
  }

  private breakOff(fault: Error): void {
    if (this.broken) return;
    this.broken = fault;
    for (const { reject } of this.waiting.values()) reject(fault);
    this.waiting.clear();
    this.worker.terminate();
    this.onBroken(fault.message);
  }
}

/** An open file. Its entries can be looked at as soon as they are read. */
export class RemoteCapture {
  constructor(
    private readonly client: Client,
    private readonly file: number,
    readonly name: string,
    readonly done: Promise<ReadingEnd>,
  ) {}

  /** Reads no further; what was read stays. */
  cancel(): Promise<void> {
    return this.client.call("cancel", this.file);
  }

  close(): Promise<void> {
    this.client.forget(this.file);
    return this.client.call("close", this.file);
  }

  kinds(): Promise<EntryKind[]> {
    return this.client.call("kinds", this.file);
  }

  entries(first: number, count: number): Promise<Entry[]> {
    return this.client.call("entries", this.file, first, count);
  }

  message(number: number): Promise<string> {
    return this.client.call("message", this.file, number);
  }

  async select(isWanted: (kind: EntryKind) => boolean): Promise<Uint32Array> {
    const kinds = (await this.kinds()).filter(isWanted).map((kind) => kind.number);
    return this.client.call("selectKinds", this.file, kinds, 0, 0xffffffff);
  }

  /** Of the entries between `first` and `end`, those of some kinds. */
  selectKinds(kinds: readonly number[], first: number, end: number): Promise<Uint32Array> {
    return this.client.call("selectKinds", this.file, kinds, first, end);
  }

  /** Those between `first` and `end` with `text` in their lines; some thousands make a step. */
  search(text: string, first: number, end: number): Promise<Uint32Array> {
    return this.client.call("search", this.file, text, first, end);
  }

  decode(entry: number): Promise<Decoded> {
    return this.client.call("decode", this.file, entry);
  }

  layout(entry: number): Promise<Layout> {
    return this.client.call("layout", this.file, entry);
  }

  /** What was read so far of a decoder that is reduced; null if it isn't. */
  summary(decoder: string): Promise<Summary | null> {
    return this.client.call("summary", this.file, decoder);
  }

  course(decoder: string, column: string, element: number): Promise<Course> {
    return this.client.call("course", this.file, decoder, column, element);
  }

  /** What became of some entries, in order: of those that differ from the one of their kind and
   *  sender before them among these. `turns` leaves out all but what fell or wrapped, and restarts. */
  changes(entries: ArrayLike<number>, turns = false): Promise<Difference[]> {
    return this.client.call("changes", this.file, Uint32Array.from(entries), turns);
  }

  async columns(wanted: Wanted, entries: ArrayLike<number>): Promise<Map<string, Table>> {
    const numbers = Uint32Array.from(entries);
    return tablesFrom(await this.client.call("columns", this.file, wanted, numbers));
  }

  render(form: string, entries: ArrayLike<number>, lines = false): Promise<RenderedBlob> {
    return this.client.call("render", this.file, form, Uint32Array.from(entries), lines);
  }

  statistics(): Promise<unknown> {
    return this.client.call("statistics", this.file);
  }

  /** Adds what came of a device. */
  append(items: LiveItem[]): Promise<Appended> {
    return this.client.call("append", this.file, items);
  }
}

function tablesFrom(plain: PlainTables): Map<string, Table> {
  return new Map([...plain].map(([decoder, table]) => [decoder, Table.from(table)]));
}
