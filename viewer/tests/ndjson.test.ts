/** The decoder in the page against the program: the same bytes in, the same bytes out. */
import assert from "node:assert/strict";
import { test } from "node:test";
import { MemorySource } from "../src/decoder/sources.js";
import { cases, native, newDecoder, samples, type Sample } from "./support.js";

const decoder = await newDecoder();

function converted(bytes: Uint8Array, form: string, lines: boolean): Buffer {
  const parts = decoder.convert("-", new MemorySource(bytes), form, { lines, items: 7 });
  return Buffer.concat([...parts].map((part) => part.bytes));
}

function assertSame(sample: Sample, form: string, lines: boolean): void {
  const expected = native(sample.bytes, "-o", form, ...(lines ? ["--lines"] : []));
  const got = converted(sample.bytes, form, lines);
  assert.ok(expected.equals(got), `${sample.name}: ${form} differs from the program's`);
}

test("each golden case's NDJSON is the program's", () => {
  const all = cases();
  assert.ok(all.length >= 100);
  const lines = all.map((one) => Buffer.from(one.bytes));
  // One process reads them all: a line of the program's answer each.
  assertSame({ name: "all cases", bytes: Buffer.concat(lines) }, "ndjson", true);
  const records = converted(Buffer.concat(lines), "ndjson", true).toString().trim().split("\n");
  assert.equal(records.length, all.length);
});

for (const sample of samples())
  test(`${sample.name} is the program's in each form`, () => {
    for (const form of ["ndjson", "json", "text", "csv", "recording"])
      assertSame(sample, form, form === "ndjson");
  });

test("what is damaged is told as the program tells it", () => {
  for (const sample of samples()) {
    const half = sample.bytes.subarray(0, Math.floor(sample.bytes.length / 2) - 1);
    assertSame({ name: `half of ${sample.name}`, bytes: half }, "ndjson", false);
    const upset = Uint8Array.from(sample.bytes);
    for (let at = 37; at < upset.length; at += 211) upset[at]! ^= 0x55;
    assertSame({ name: `${sample.name}, upset`, bytes: upset }, "ndjson", false);
  }
});
