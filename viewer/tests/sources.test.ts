/** Where bytes come from and where they are kept, with a browser's parts of the test's own. */
import assert from "node:assert/strict";
import { test } from "node:test";
import { blobStore } from "../src/decoder/sources.js";

/** Bytes that can be read at once, as a worker reads them. */
class FakeBlob {
  readonly bytes: Uint8Array;

  constructor(parts: Uint8Array[]) {
    this.bytes = Uint8Array.from(parts[0]!);
  }

  get size(): number {
    return this.bytes.length;
  }

  slice(begin: number, end: number): FakeBlob {
    return new FakeBlob([this.bytes.subarray(begin, end)]);
  }
}

const read: ArrayBuffer[] = [];

class FakeReader {
  readAsArrayBuffer({ bytes }: FakeBlob): ArrayBuffer {
    const { buffer } = Uint8Array.from(bytes);
    read.push(buffer);
    return buffer;
  }
}

test("of what is kept, no more than a piece is in memory", (context) => {
  const { Blob: ownBlob } = globalThis;
  Object.assign(globalThis, { Blob: FakeBlob, FileReaderSync: FakeReader });
  context.after(() => Object.assign(globalThis, { Blob: ownBlob }));
  const store = blobStore(1 << 30);
  const one = new Uint8Array(1 << 20);
  for (let number = 0; number < 41; ++number) store.append(one.fill(number));
  for (const step of [1, 7, -3]) {
    for (let number = 0; number < 41; ++number) {
      const wanted = (((number * step) % 41) + 41) % 41;
      assert.deepEqual([...store.read(wanted << 20, 3)], [wanted, wanted, wanted]);
    }
    // What is given away has no bytes any more.
    const held = read.reduce((sum, { byteLength }) => sum + byteLength, 0);
    assert.ok(held <= 4 << 20, `${held} bytes`);
  }
});
