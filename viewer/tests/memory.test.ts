/** Memory that runs out: what only looks is refused, and what would lack something breaks off. */
import assert from "node:assert/strict";
import { test } from "node:test";
import { DecoderBroken, DecoderError, type Capture, type Decoder } from "../src/decoder/decoder.js";
import { MemorySource } from "../src/decoder/sources.js";
import { capture } from "./captures.js";
import { imageReport } from "./reports.js";
import { newDecoder } from "./support.js";

const pageSize = 65536;
const frames = Array.from({ length: 3000 }, (_, frame) => imageReport(frame));
const everything = { parseVeskImage: "all" } as const;

function memoryOf(decoder: Decoder): WebAssembly.Memory {
  return (Reflect.get(decoder, "exports") as { memory: WebAssembly.Memory }).memory;
}

/** Leaves nothing that the module could ask for; what it has at the moment stays. */
function exhaust(decoder: Decoder): void {
  const memory = memoryOf(decoder);
  memory.grow((2 ** 31 - memory.buffer.byteLength) / pageSize);
}

function opened(decoder: Decoder): Capture {
  const file = decoder.open("frames.pcap", new MemorySource(capture(frames)));
  while (!file.read().ended);
  return file;
}

test("no address is a negative number to JavaScript", async () => {
  const memory = memoryOf(await newDecoder());
  const more = 2 ** 31 - memory.buffer.byteLength;
  assert.throws(() => memory.grow(more / pageSize + 1), RangeError);
  memory.grow(more / pageSize);
});

test("what takes too much memory is refused, and everything else goes on", async () => {
  const decoder = await newDecoder();
  const file = opened(decoder);
  const images = Uint32Array.from(frames, (_, entry) => entry);
  const before = file.decode(2000);
  file.columns(everything, images.subarray(0, 1000)); // leaves room for what is small
  const few = file.columns(everything, [7, 8]).get("parseVeskImage")!;
  exhaust(decoder);
  const refused = (call: () => unknown) =>
    assert.throws(call, (fault) => {
      return fault instanceof DecoderError && fault.message === "out of memory";
    });
  refused(() => file.columns(everything, images));
  refused(() => file.render("ndjson", images));
  refused(() => file.search("x".repeat(4 << 20), 0, 1));
  assert.deepEqual(file.decode(2000), before);
  assert.deepEqual(file.columns(everything, [7, 8]).get("parseVeskImage"), few);
  assert.equal(file.entries(0, 4000).length, frames.length);
  file.close();
});

test("where memory ends while reports are taken in, it breaks off and says so", async () => {
  const decoder = await newDecoder();
  const file = opened(decoder);
  const source = new MemorySource(capture(frames));
  const other = decoder.open("more.pcap", source, { follow: everything });
  exhaust(decoder);
  const isTold = (fault: unknown) =>
    fault instanceof DecoderBroken && fault.message === "the decoder broke off: out of memory";
  assert.throws(() => other.read(1 << 30, 1 << 20), isTold);
  assert.throws(() => file.decode(0), isTold);
});

test("steps of any size end", async () => {
  const decoder = await newDecoder();
  const file = decoder.open("frames.pcap", new MemorySource(capture(frames)));
  assert.equal(file.read(2000, 0xffffffff).ended, false);
  assert.ok(file.size > 0);
  assert.equal(file.read(1e15, 0xffffffff).ended, true);
  assert.equal(file.size, frames.length);
});
