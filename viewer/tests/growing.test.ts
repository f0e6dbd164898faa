/** A selection that grows with its file. */
import assert from "node:assert/strict";
import { test } from "node:test";
import type { RemoteCapture } from "../src/decoder/client.js";
import type { EntryKind } from "../src/decoder/decoder.js";
import { GrowingSelection } from "../src/views/growing.js";

/** Entries by their kinds' numbers; a kind is there from its first entry on. */
class FakeFile {
  readonly entries: number[] = [];
  looked = 0;

  kinds(): EntryKind[] {
    return [...new Set(this.entries)].map((number) => {
      const count = this.entries.filter((one) => one === number).length;
      return { number, count } as EntryKind;
    });
  }

  async selectKinds(kinds: number[], first: number, end: number): Promise<Uint32Array> {
    this.looked += end - first;
    await new Promise((resolve) => setTimeout(resolve));
    const numbers = Array.from({ length: end - first }, (_, at) => first + at);
    return Uint32Array.from(numbers.filter((one) => kinds.includes(this.entries[one]!)));
  }

  get asRemote(): RemoteCapture {
    return this as unknown as RemoteCapture;
  }
}

test("each entry is looked through once, and none is missing", async () => {
  const file = new FakeFile();
  const selection = new GrowingSelection(({ number }) => number % 2 === 1);
  const isOdd = (kind: number) => kind % 2 === 1;
  const views: [Uint32Array, number[]][] = [];
  for (let step = 0; step < 40; ++step) {
    for (let i = 0; i < step * 7; ++i) file.entries.push((step * i) % (1 + step));
    const kinds = file.kinds();
    file.entries.push(99); // came after the kinds were asked for, and is of a kind of its own
    await selection.takeIn(file.asRemote, kinds);
    file.entries.pop();
    const expected = file.entries.flatMap((kind, entry) => (isOdd(kind) ? [entry] : []));
    assert.deepEqual([...selection.entries], expected);
    views.push([selection.entries, expected]);
  }
  assert.ok(file.looked <= file.entries.length);
  for (const [view, expected] of views) assert.deepEqual([...view], expected);
});

test("two that take in at the same time take nothing in twice", async () => {
  const file = new FakeFile();
  const selection = new GrowingSelection(() => true);
  file.entries.push(1, 2, 3);
  const once = selection.takeIn(file.asRemote, file.kinds());
  file.entries.push(4);
  await Promise.all([once, selection.takeIn(file.asRemote, file.kinds())]);
  await selection.takeIn(file.asRemote, file.kinds());
  assert.deepEqual([...selection.entries], [0, 1, 2, 3]);
});
