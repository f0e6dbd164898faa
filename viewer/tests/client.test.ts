/** The page's side of the worker, with a worker that does what the test wants. */
import assert from "node:assert/strict";
import { test } from "node:test";
import { Client } from "../src/decoder/client.js";
import { DecoderBroken, Table } from "../src/decoder/decoder.js";
import type { Message, Request } from "../src/decoder/protocol.js";

class FakeWorker {
  static last: FakeWorker;
  onmessage: (event: { data: Message }) => void = () => undefined;
  onerror: (event: { message: string }) => void = () => undefined;
  requests: Request[] = [];
  isEnded = false;

  constructor() {
    FakeWorker.last = this;
  }

  postMessage(request: Request): void {
    this.requests.push(request);
    if (request.method === "start") this.say({ call: request.call, result: { reports: [] } });
  }

  say(message: Message): void {
    queueMicrotask(() => this.onmessage({ data: structuredClone(message) }));
  }

  terminate(): void {
    this.isEnded = true;
  }
}
Object.assign(globalThis, { Worker: FakeWorker });

async function connected(): Promise<[Client, FakeWorker]> {
  const client = await Client.create("", new ArrayBuffer(0));
  return [client, FakeWorker.last];
}

const chosen = { name: "a.pcap" } as File;

test("answers go to those who asked, whatever their order", async () => {
  const [client, worker] = await connected();
  const file = client.open(chosen);
  const first = file.message(1);
  const second = file.message(2);
  const [, open, one, two] = worker.requests;
  worker.say({ call: two!.call, result: "two" });
  worker.say({ call: one!.call, fault: "there is no message 1", isBroken: false });
  worker.say({ call: open!.call, result: { cancelled: false, entries: 2 } });
  assert.equal(await second, "two");
  await assert.rejects(first, /there is no message 1/);
  assert.equal((await file.done).entries, 2);
  assert.equal(worker.isEnded, false);
});

test("progress goes to its file, with tables that work", async () => {
  const [client, worker] = await connected();
  const seen: number[] = [];
  client.open(chosen, {
    onProgress: ({ followed, position, size }) => {
      const table = followed.get("parse")!;
      assert.ok(table instanceof Table);
      seen.push(table.column("N").numberAt(1), position, size);
    },
  });
  const column = { name: "N", kind: "unsigned int", count: 1, isArray: false, isText: false } as const;
  const rows = Uint32Array.of(7, 0, 8, 0).buffer;
  const table = new Table("parse", 2, 8, [{ ...column, offset: 0 }], rows, new Uint32Array(2), []);
  const progress = {
    ended: false,
    position: 5,
    entries: 2,
    reports: 2,
    indexBytes: 0,
    form: "usb",
    followed: new Map([["parse", table]]),
  };
  worker.say({ file: 1, progress, size: 10, note: "" });
  worker.say({ file: 2, progress, size: 10, note: "" });
  await new Promise((resolve) => setTimeout(resolve));
  assert.deepEqual(seen, [8, 5, 10]);
});

test("a decoder that broke off ends all that waits, and the worker", async () => {
  const [client, worker] = await connected();
  const reasons: string[] = [];
  client.onBroken = (reason) => reasons.push(reason);
  const file = client.open(chosen);
  const waiting = file.decode(0);
  const [, , decode] = worker.requests;
  worker.say({ call: decode!.call, fault: "the decoder broke off: out of memory", isBroken: true });
  await assert.rejects(waiting, DecoderBroken);
  await assert.rejects(file.done, DecoderBroken);
  await assert.rejects(file.kinds(), DecoderBroken);
  assert.deepEqual(reasons, ["the decoder broke off: out of memory"]);
  assert.ok(worker.isEnded);
});
