/** Which files are open, and what is read of them, with a decoder that answers when the test says
 *  so. */
import assert from "node:assert/strict";
import { test } from "node:test";
import type { Client } from "../src/decoder/client.js";
import type { ReadingEnd } from "../src/decoder/protocol.js";
import { Files, type OpenFile } from "../src/files/files.js";

class FakeCapture {
  isClosed = false;
  end!: (how: ReadingEnd) => void;
  readonly done = new Promise<ReadingEnd>((resolve) => (this.end = resolve));

  constructor(readonly form: string) {}

  async close(): Promise<void> {
    this.isClosed = true;
  }

  async cancel(): Promise<void> {
    this.end({ cancelled: true, entries: 0 });
  }
}

class FakeClient {
  readonly about = {};
  readonly captures: FakeCapture[] = [];
  onBroken: (reason: string) => void = () => undefined;

  open(_file: File, { form }: { form: string }): FakeCapture {
    const capture = new FakeCapture(form);
    this.captures.push(capture);
    return capture;
  }

  get asClient(): Client {
    return this as unknown as Client;
  }
}

const chosen = { name: "a.pcap", size: 7 } as File;

function settled(): Promise<void> {
  return new Promise((resolve) => setTimeout(resolve));
}

function filesOf(client: () => Promise<Client>): Files {
  return new Files(client, () => []);
}

test("when the decoder can't begin, each file says so", async () => {
  const files = filesOf(() => Promise.reject(new Error("no decoder here")));
  await assert.rejects(files.open([chosen, chosen]), /no decoder here/);
  await settled();
  for (const file of files.all)
    assert.deepEqual([file.reading, file.fault], ["over", "no decoder here"]);
  await assert.rejects(files.openLive("device"), /no decoder here/);
  assert.equal(files.all.length, 2);
});

test("a decoder that breaks off and can't begin again leaves nothing behind", async () => {
  const client = new FakeClient();
  let attempts = 0;
  const files = filesOf(async () => {
    if (++attempts > 1) throw new Error("no memory");
    return client.asClient;
  });
  void files.open([chosen]);
  await settled();
  const unseen: unknown[] = [];
  const note = (fault: unknown) => unseen.push(fault);
  process.on("unhandledRejection", note);
  files.addFault("captures", "captures is a folder");
  client.onBroken("it broke off");
  await settled();
  process.off("unhandledRejection", note);
  assert.deepEqual(unseen, []);
  const faults = files.all.map(({ fault }) => fault);
  assert.deepEqual(faults, ["it broke off.", "captures is a folder"]);
});

test("what is closed or cancelled before the decoder is there isn't read", async () => {
  const client = new FakeClient();
  let begin!: (client: Client) => void;
  const files = filesOf(() => new Promise((resolve) => (begin = resolve)));
  void files.open([chosen, chosen, chosen]);
  await settled();
  const [first, second, third] = files.all as [OpenFile, OpenFile, OpenFile];
  void files.close(first);
  files.cancel(second);
  begin(client.asClient);
  await settled();
  assert.equal(client.captures.length, 1);
  assert.deepEqual([second.reading, third.reading], ["cancelled", "going on"]);
});

test("of two forms, the one that was chosen last is read", async () => {
  const client = new FakeClient();
  const files = filesOf(async () => client.asClient);
  void files.open([chosen]);
  await settled();
  const [file] = files.all as [OpenFile];
  void files.readAs(file, "hex");
  void files.readAs(file, "binary");
  await settled();
  const open = client.captures.filter(({ isClosed }) => !isClosed);
  assert.deepEqual(
    open.map(({ form }) => form),
    ["binary"],
  );
});

test("of what is cancelled before anything is read there is nothing to look at", async () => {
  const client = new FakeClient();
  const files = filesOf(async () => client.asClient);
  const shown: (OpenFile | null)[] = [];
  files.onShown = (file) => shown.push(file && { ...file });
  void files.open([chosen]);
  await settled();
  const [file] = files.all as [OpenFile];
  files.cancel(file);
  await settled();
  assert.deepEqual([file.reading, file.capture], ["cancelled", null]);
  assert.equal(client.captures[0]!.isClosed, true);
  assert.equal(shown.at(-1)!.capture, null);
});
