/** The worker: the decoder, and the files that it reads. Reading goes on in steps, between which it
 *  answers, so that what is read already can be looked at, and reading be cancelled. */
import { decompressed } from "./compressed.js";
import { Decoder, DecoderBroken, Table, type Capture } from "./decoder.js";
import type { Calls, Message, Method, Request } from "./protocol.js";
import { BlobSource, blobStore } from "./sources.js";

/** Of reports that are made of text. The browser holds them, on disk if they are many. */
const mostKept = 1 << 30;

/** A step takes some ten milliseconds. */
const stepBytes = 2 << 20;
const stepEntries = 8192;

/** Of what is written in another form, kept as one Blob: the browser holds it, on disk if it is much. */
const renderedAtOnce = 4 << 20;

interface OpenFile {
  capture: Capture | null; // null while a compressed one is unpacked
  cancelled: boolean;
}

let decoder: Decoder;
const files = new Map<number, OpenFile>();

/** Arrays that were made for a message move to the page, where they needn't be copied. */
function post(message: Message): void {
  const made = new Set<ArrayBufferLike>();
  if ("progress" in message) addBuffers(made, message.progress.followed);
  else if ("result" in message) addBuffers(made, message.result);
  postMessage(message, { transfer: [...made] as ArrayBuffer[] });
}

function addBuffers(made: Set<ArrayBufferLike>, result: unknown): void {
  if (result instanceof Uint32Array) made.add(result.buffer);
  if (!(result instanceof Map)) return;
  for (const table of result.values())
    if (table instanceof Table) made.add(table.buffer).add(table.entries.buffer);
}

/** Lets messages in. A timer would be held back to 4 ms each time. Several files may wait. */
const channel = new MessageChannel();
const paused: (() => void)[] = [];
channel.port1.onmessage = () => paused.shift()?.();
function pause(): Promise<void> {
  return new Promise((resolve) => {
    paused.push(resolve);
    channel.port2.postMessage(null);
  });
}

function of(file: number): Capture {
  const open = files.get(file);
  if (open === undefined) throw new Error("the file was closed");
  if (open.capture === null) throw new Error("the file is still being unpacked");
  return open.capture;
}

/** What a browser says of a file that it can't read doesn't name it, nor what to do. */
function readable(fault: unknown, name: string): unknown {
  if (!(fault instanceof DOMException)) return fault;
  return new Error(
    `${name} can't be read: it is gone, or was changed since it was chosen; choose it again`,
    { cause: fault },
  );
}

const calls: { [M in Method]: (...given: Parameters<Calls[M]>) => unknown } = {
  async start(module) {
    decoder = await Decoder.create(await WebAssembly.compile(module));
    return decoder.about;
  },

  async open(file, blob, name, form, told) {
    const open: OpenFile = { capture: null, cancelled: false };
    files.set(file, open);
    const unpacked = await decompressed(blob, () => open.cancelled).catch((fault: unknown) => {
      files.delete(file);
      throw readable(fault, name);
    });
    if (open.cancelled) return { cancelled: true, entries: 0 };
    const source = new BlobSource(unpacked.blob);
    const store = blobStore(mostKept);
    const capture = decoder.open(name, source, { ...told, form, store });
    open.capture = capture;
    // The first steps are short, so that the first report shows at once.
    for (let part = 1 / 16; !open.cancelled; part = Math.min(1, 2 * part)) {
      const progress = capture.read(part * stepBytes, part * stepEntries);
      post({ file, progress, size: source.size, note: unpacked.note });
      if (progress.ended) break;
      await pause();
    }
    return { cancelled: !capture.ended, entries: capture.size };
  },

  openLive(file, name, told) {
    const capture = decoder.openLive(name, { ...told, store: blobStore(mostKept) });
    files.set(file, { capture, cancelled: false });
  },

  append(file, items) {
    const capture = of(file);
    const appended = capture.appendAll(items);
    const progress = capture.read();
    post({ file, progress, size: progress.position, note: "" });
    return appended;
  },

  cancel(file) {
    const open = files.get(file);
    if (open) open.cancelled = true;
  },

  close(file) {
    const open = files.get(file);
    if (!open) return;
    open.cancelled = true;
    open.capture?.close();
    files.delete(file);
  },

  kinds: (file) => of(file).kinds(),
  entries: (file, first, count) => of(file).entries(first, count),
  message: (file, number) => of(file).message(number),
  selectKinds: (file, kinds, first, end) => of(file).selectKinds(kinds, first, end),
  search: (file, text, first, end) => of(file).search(text, first, end),
  decode: (file, entry) => of(file).decode(entry),
  layout: (file, entry) => of(file).layout(entry),
  summary: (file, decoder) => of(file).summary(decoder),
  course: (file, decoder, column, element) => of(file).course(decoder, column, element),
  changes: (file, entries, turns) => of(file).changes(entries, turns),
  columns: (file, wanted, entries) => of(file).columns(wanted, entries),
  statistics: (file) => of(file).statistics(),

  async render(file, form, entries, lines) {
    const blobs: Blob[] = [];
    let parts: Uint8Array<ArrayBuffer>[] = [];
    let size = 0; // of the parts
    let leftOut = "";
    for (const part of of(file).renderInSteps(form, entries, { lines, atOnce: 1024 })) {
      parts.push(part.bytes);
      size += part.bytes.length;
      leftOut = part.leftOut;
      if (size >= renderedAtOnce) {
        blobs.push(new Blob(parts));
        parts = [];
        size = 0;
      }
      await pause();
    }
    return { blob: new Blob([...blobs, ...parts]), leftOut };
  },
};

onmessage = async ({ data }: MessageEvent<Request>) => {
  try {
    const method = calls[data.method] as (...given: unknown[]) => unknown;
    post({ call: data.call, result: await method(...data.arguments) });
  } catch (fault) {
    const text = fault instanceof Error ? fault.message : String(fault);
    post({ call: data.call, fault: text, isBroken: fault instanceof DecoderBroken });
  }
};
