/** The worker, and files that change, vanish, come in together or are closed too early. Node has
 *  nothing that reads a Blob at once, so the test's files are ones of its own. */
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readFileSync } from "node:fs";
import { after, test } from "node:test";
import { Table, type Decoded, type Entry, type Layout } from "../src/decoder/decoder.js";
import type { Message, Method, PlainTables, ReadingEnd } from "../src/decoder/protocol.js";
import type { Summary } from "../src/decoder/series.js";
import { capture } from "./captures.js";
import { imageReport } from "./reports.js";
import { fromEnvironment, samples } from "./support.js";

/** A file as the worker uses one. */
class FakeFile {
  isGone = false;
  vanishes = false; // when the first half of it was streamed
  reads = 0;
  secondHalf = Promise.resolve(); // that it may be streamed

  constructor(private readonly bytes: Uint8Array) {}

  get size(): number {
    return this.bytes.length;
  }

  slice(begin: number, end: number): FakePiece {
    return new FakePiece(this, this.bytes.subarray(begin, end));
  }

  stream(): ReadableStream<Uint8Array> {
    const half = this.bytes.length >> 1;
    const pieces = [this.bytes.subarray(0, half), this.bytes.subarray(half)];
    return new ReadableStream({
      pull: async (out) => {
        if (pieces.length === 1) await this.secondHalf;
        if (pieces.length === 1 && this.vanishes) throw gone();
        const piece = pieces.shift();
        if (piece === undefined) out.close();
        else out.enqueue(Uint8Array.from(piece));
      },
    });
  }
}

class FakePiece {
  constructor(
    private readonly file: FakeFile,
    private readonly bytes: Uint8Array,
  ) {}

  read(): ArrayBuffer {
    ++this.file.reads;
    if (this.file.isGone) throw gone();
    return Uint8Array.from(this.bytes).buffer;
  }

  async arrayBuffer(): Promise<ArrayBuffer> {
    return this.read();
  }
}

function gone(): DOMException {
  return new DOMException("The requested file could not be read", "NotReadableError");
}

class FakeReader {
  readAsArrayBuffer(piece: FakePiece): ArrayBuffer {
    return piece.read();
  }
}

const answers = new Map<number, (message: Message) => void>();
const told: Extract<Message, { progress: unknown }>[] = [];
const waiting = new Map<number, () => void>();

function receive(message: Message, { transfer }: { transfer: ArrayBuffer[] }): void {
  const copy = structuredClone(message, { transfer });
  if ("progress" in copy) {
    told.push(copy);
    waiting.get(copy.file)?.();
  } else {
    answers.get(copy.call)!(copy);
    answers.delete(copy.call);
  }
}

/** Their ports keep node alive, which ends no worker. */
const channels: MessageChannel[] = [];
const Channel = MessageChannel;
class KnownChannel extends Channel {
  constructor() {
    super();
    channels.push(this);
  }
}
after(() => {
  for (const { port1, port2 } of channels) {
    port1.close();
    port2.close();
  }
});

interface WorkerScope {
  onmessage(event: { data: unknown }): void;
}
Object.assign(globalThis, {
  FileReaderSync: FakeReader,
  MessageChannel: KnownChannel,
  postMessage: receive,
  onmessage: null,
});
await import("../src/decoder/worker.js");
const worker = globalThis as unknown as WorkerScope;

let calls = 0;

/** What the worker answers; it rejects with what it says is wrong. */
function call<Answer = unknown>(method: Method, ...given: unknown[]): Promise<Answer> {
  const number = ++calls;
  return new Promise((resolve, reject) => {
    answers.set(number, (message) => {
      if ("fault" in message) reject(new Error(message.fault));
      else if ("result" in message) resolve(message.result as Answer);
    });
    worker.onmessage({ data: { call: number, method, arguments: given } });
  });
}

const image = "parseVeskImage";
const nothing = { follow: {}, reduce: [] };

function open(number: number, file: FakeFile, name: string, told: object = nothing) {
  return call<ReadingEnd>("open", number, file, name, "", told);
}

/** Waits until something of a file was read. Timers would wait until all of it was: node hands on
 *  the worker's messages to itself before them. */
function begun(number: number): Promise<void> {
  return new Promise((resolve) => waiting.set(number, resolve));
}

function framesFrom(first: number, count: number): Uint8Array {
  return capture(Array.from({ length: count }, (_, n) => imageReport(first + n)));
}

const module = readFileSync(fromEnvironment("VESK_MODULE"));
await call("start", Uint8Array.from(module).buffer);

test("two files that are read together don't disturb each other", async () => {
  const counts = [20_000, 15_000];
  const ends = counts.map((count, i) =>
    open(10 + i, new FakeFile(framesFrom(1000 * i, count)), `${i}.pcap`, {
      ...nothing,
      reduce: [image],
    }),
  );
  for (const [i, end] of ends.entries()) {
    assert.deepEqual(await end, { cancelled: false, entries: counts[i] });
    const last = counts[i]! - 1;
    const { bytes } = await call<Decoded>("decode", 10 + i, last);
    assert.deepEqual(bytes, imageReport(1000 * i + last));
    const summary = await call<Summary>("summary", 10 + i, image);
    assert.deepEqual([summary.rows, summary.jumps], [counts[i], []]);
    await call("close", 10 + i);
  }
  const files = told.map(({ file }) => file);
  assert.ok(files.lastIndexOf(10) > files.indexOf(11), "one is read after the other");
});

test("a file that is closed while it is read is read no further, and another one goes on", async () => {
  const closed = new FakeFile(framesFrom(0, 40_000));
  const end = open(20, closed, "closed.pcap");
  await begun(20);
  const other = open(21, new FakeFile(framesFrom(7, 3000)), "other.pcap");
  await call("close", 20);
  const { cancelled, entries } = await end;
  assert.ok(cancelled);
  assert.ok(entries < 40_000);
  const { reads } = closed;
  assert.equal((await other).entries, 3000);
  assert.equal(closed.reads, reads);
  for (const method of ["decode", "layout", "entries", "kinds", "statistics"] as const)
    await assert.rejects(call(method, 20, 0, 1), /the file was closed/);
  await call("close", 20); // again
  await call("cancel", 20);
  assert.deepEqual((await call<Decoded>("decode", 21, 2999)).bytes, imageReport(7 + 2999));
  await call("close", 21);
});

test("of a cancelled file, what was read can be looked at", async () => {
  const end = open(30, new FakeFile(framesFrom(0, 40_000)), "cancelled.pcap", {
    ...nothing,
    reduce: [image],
  });
  await begun(30);
  await call("cancel", 30);
  const { cancelled, entries } = await end;
  assert.ok(cancelled && entries > 0 && entries < 40_000);
  assert.deepEqual((await call<Decoded>("decode", 30, entries - 1)).bytes, imageReport(entries - 1));
  assert.equal((await call<Summary>("summary", 30, image)).rows, entries);
  await call("close", 30);
});

test("a file that is closed while it is unpacked isn't opened", async () => {
  const packed = execFileSync("gzip", ["-c"], { input: framesFrom(0, 2000), maxBuffer: 1 << 24 });
  const file = new FakeFile(packed);
  let goOn: () => void = () => undefined;
  file.secondHalf = new Promise((resolve) => (goOn = resolve));
  const end = open(40, file, "packed.pcap.gz");
  await assert.rejects(call("kinds", 40), /still being unpacked/);
  await call("close", 40);
  goOn();
  assert.deepEqual(await end, { cancelled: true, entries: 0 });
  await assert.rejects(call("kinds", 40), /the file was closed/);
});

test("a file that is gone before it is read is named", async () => {
  const file = new FakeFile(framesFrom(0, 10));
  file.isGone = true;
  await assert.rejects(open(50, file, "bench.pcap"), {
    message:
      "bench.pcap can't be read: it is gone, or was changed since it was chosen; choose it again",
  });
  await assert.rejects(call("entries", 50, 0, 1), /the file was closed/);
});

test("a file that vanishes while it is read ends with a problem that says so", async () => {
  const file = new FakeFile(framesFrom(0, 40_000));
  const end = open(60, file, "vanishing.pcap");
  await begun(60);
  file.isGone = true;
  const { cancelled, entries } = await end;
  assert.ok(!cancelled && entries > 1 && entries < 40_000);
  const [last] = await call<Entry[]>("entries", 60, entries - 1, 1);
  assert.equal(last!.kind.problem, "unreadable_input");
  const { problem } = await call<Decoded>("decode", 60, entries - 1);
  assert.match(problem!.message, /can't be read at byte \d+: it is gone, or was changed/);
  await call("close", 60);
});

test("a file that vanishes later is named by what is asked of it, and may come back", async () => {
  const file = new FakeFile(framesFrom(0, 2000));
  await open(70, file, "later.pcap");
  file.isGone = true;
  const asked: [Method, ...unknown[]][] = [
    ["decode", 70, 1999],
    ["layout", 70, 1000],
    ["columns", 70, { [image]: "all" }, Uint32Array.of(500)],
    ["render", 70, "text", Uint32Array.of(1500), false],
    ["search", 70, "Frame", 0, 2000],
  ];
  for (const one of asked)
    await assert.rejects(call(...one), /^Error: later\.pcap: the file can't be read at byte \d+/);
  // What needs no bytes goes on.
  assert.equal((await call<Entry[]>("entries", 70, 0, 10)).length, 10);
  assert.equal((await call<Uint32Array>("selectKinds", 70, [0])).length, 2000);
  file.isGone = false;
  assert.deepEqual((await call<Decoded>("decode", 70, 1999)).bytes, imageReport(1999));
  assert.equal((await call<Layout>("layout", 70, 1000)).whyNot, "");
  await call("close", 70);
});

test("a packed file that vanishes while it is unpacked says so", async () => {
  const packed = execFileSync("gzip", ["-c"], { input: framesFrom(0, 2000), maxBuffer: 1 << 24 });
  const file = new FakeFile(packed);
  file.vanishes = true;
  const { entries } = await open(80, file, "packed.pcap.gz");
  assert.ok(entries < 2000);
  const { note } = told.filter((one) => one.file === 80).at(-1)!;
  assert.match(note, /^This gzip file can't be unpacked behind \d+ bytes: The requested file/);
  await call("close", 80);
});

test("columns and selections are moved, not copied, and can be asked for again", async () => {
  await open(90, new FakeFile(framesFrom(0, 300)), "tables.pcap");
  for (let round = 0; round < 2; ++round) {
    const chosen = await call<Uint32Array>("selectKinds", 90, [0]);
    assert.equal(chosen.length, 300);
    const tables = await call<PlainTables>("columns", 90, { [image]: ["FRAME_NUMBER"] }, chosen);
    const table = Table.from(tables.get(image)!);
    assert.equal(table.column("FRAME_NUMBER").numberAt(299), 299);
    assert.equal(table.entries[299], 299);
  }
  await call("close", 90);
});

test("every sample, damaged, is read to its end by the worker", async () => {
  let number = 1000;
  for (const { name, bytes } of samples()) {
    const damaged = Uint8Array.from(bytes);
    for (let at = 7; at < damaged.length; at += 97) damaged[at]! ^= 0x55;
    const { cancelled, entries } = await open(++number, new FakeFile(damaged), name);
    assert.equal(cancelled, false, name);
    const found = await call<Entry[]>("entries", number, 0, entries);
    assert.equal(found.length, entries);
    await call("close", number);
  }
});
