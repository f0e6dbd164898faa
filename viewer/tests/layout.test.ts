/** Which bytes say what, beside what changes when they change. */
import assert from "node:assert/strict";
import { test } from "node:test";
import { ChunkStore, MemorySource } from "../src/decoder/sources.js";
import type { Capture, Decoded } from "../src/decoder/decoder.js";
import { capture } from "./captures.js";
import { imageCounter, imageReport } from "./reports.js";
import { newDecoder, samples } from "./support.js";

const decoder = await newDecoder();

function opened(bytes: Uint8Array): Capture {
  const file = decoder.open("-", new MemorySource(bytes));
  while (!file.read().ended);
  return file;
}

/** The values that two reports of a kind have different, as the layout names them. */
function changed(a: Decoded, b: Decoded): string[] {
  return a.fields.flatMap(({ value }, field) => {
    const other = b.fields[field]!.value;
    if (typeof value !== "object" || value === null) return value === other ? [] : [`${field}`];
    const others = other as typeof value;
    return [...value].flatMap((one, i) => (one === others[i] ? [] : [`${field}.${i}`]));
  });
}

test("a frame's number stands where it was put", () => {
  const file = opened(capture([imageReport(7)]));
  const { whyNot, fields } = file.layout(0);
  assert.equal(whyNot, "");
  const { fields: values } = file.decode(0);
  const number = values.findIndex(({ value }) => value === 7);
  const [found, ...others] = fields.filter(({ values }) =>
    values.some(({ field }) => field === number),
  );
  assert.equal(others.length, 0);
  assert.deepEqual([found!.firstBit, found!.bits], [8 * imageCounter, 32]);
  file.close();
});

test("fields follow each other, and cover the report", () => {
  const file = opened(capture([imageReport(7)]));
  let at = 0;
  for (const { firstBit, bits } of file.layout(0).fields) {
    assert.equal(firstBit, at);
    at += bits;
  }
  assert.equal(at, 8 * 792);
  file.close();
});

test("a byte that changes moves what the layout says, and nothing else", () => {
  const plain = imageReport(7);
  for (let byte = 1; byte < plain.length; byte += 3) {
    const other = plain.slice();
    other[byte] = other[byte]! ^ 1;
    const file = opened(capture([plain, other]));
    const moved = changed(file.decode(0), file.decode(1));
    const said = file
      .layout(0)
      .fields.filter(({ firstBit, bits }) => firstBit <= 8 * byte && 8 * byte < firstBit + bits)
      .flatMap(({ values }) => values)
      .map(({ field, element }) => (element === null ? `${field}` : `${field}.${element}`));
    for (const one of moved) assert.ok(said.includes(one), `byte ${byte} moves ${one}`);
    file.close();
  }
});

test("all reports of the samples have a layout within their bytes and lines, or say why not", () => {
  let known = 0;
  for (const { name, bytes } of samples()) {
    const store = new ChunkStore(1 << 24);
    const file = decoder.open(name, new MemorySource(bytes), { store });
    while (!file.read().ended);
    for (let entry = 0; entry < Math.min(file.size, 20); ++entry) {
      const { whyNot, fields } = file.layout(entry);
      const { bytes, fields: values, lines, problem } = file.decode(entry);
      if (problem !== null) assert.notEqual(whyNot, "", `${name} ${entry}`);
      if (whyNot !== "") continue;
      ++known;
      for (const { firstBit, bits, values: said, lines: shown } of fields) {
        assert.ok(firstBit + bits <= 8 * bytes.length, `${name} ${entry}`);
        for (const { first, count } of shown) assert.ok(first + count <= lines.length, name);
        for (const { field, element } of said) {
          const value = values[field]!.value;
          const count = typeof value === "object" && value !== null ? value.length : null;
          assert.equal(element === null, count === null, `${name} ${entry}`);
          if (element !== null) assert.ok(element < count!, name);
        }
      }
    }
    file.close();
  }
  assert.ok(known > 20);
});
