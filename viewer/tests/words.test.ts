/** Numbers as views say them, and what is copied. */
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";
import { csvLine } from "../src/basics/csv.js";
import { inPageWords } from "../src/basics/pagewords.js";
import { MemorySource } from "../src/decoder/sources.js";
import { contentText, durationText, jsonText, rateText, shareText, signedText } from "../src/basics/words.js";
import { capture } from "./captures.js";
import { imageReport } from "./reports.js";
import { newDecoder, root } from "./support.js";

test("durations have hours, minutes, seconds and milliseconds", () => {
  assert.equal(durationText(0n), "0:00:00.000");
  assert.equal(durationText(59_999n), "0:00:59.999");
  assert.equal(durationText(3_600_000n), "1:00:00.000");
  assert.equal(durationText(4_294_967_295n), "1193:02:47.295");
  assert.equal(durationText(-61_001n), "−0:01:01.001");
  assert.equal(durationText(2n ** 63n - 1n), "2562047788015:12:55.807");
});

test("shares are rounded, and neither nothing nor all is made of what isn't", () => {
  assert.equal(shareText(1n, 3n), "33.3 %");
  assert.equal(shareText(2n, 3n), "66.7 %");
  assert.equal(shareText(0n, 3n), "0.0 %");
  assert.equal(shareText(3n, 3n), "100.0 %");
  assert.equal(shareText(1n, 100_000n), "< 0.1 %");
  assert.equal(shareText(99_999n, 100_000n), "> 99.9 %");
  assert.equal(shareText(0n, 0n), "–");
});

test("differences have a sign, and rates four digits", () => {
  assert.deepEqual([5n, -5n, 0n].map(signedText), ["+5", "−5", "±0"]);
  assert.deepEqual([0.5, 2, 1 / 3, 123.456, 123_456.7].map(rateText), [
    "0.5",
    "2",
    "0.3333",
    "123.5",
    "123457",
  ]);
});

test("what is copied keeps all digits, and texts that are made to break it", () => {
  const line = csvLine(["a", 'b"c', "d,e", "f\ng", 2n ** 64n]);
  assert.equal(line, 'a,"b""c","d,e","f\ng",18446744073709551616\n');
  const text = jsonText({ mask: 2n ** 63n, none: null, list: [-1n], text: '"7"' });
  assert.match(text, /"mask": 9223372036854775808,/);
  assert.deepEqual(JSON.parse(text), { mask: 2 ** 63, none: null, list: [-1], text: '"7"' });
});

test("what is no report is not counted as one", () => {
  assert.equal(contentText(1, 1), "1 report");
  assert.equal(contentText(1024, 1024), "1,024 reports");
  assert.equal(contentText(16, 26), "16 reports and 10 unreadable places");
  assert.equal(contentText(0, 1), "0 reports and 1 unreadable place");
});

test("what the program says names no option of its own on the page", async () => {
  const decoder = await newDecoder();
  const opened = (bytes: Uint8Array) => {
    const file = decoder.open("-", new MemorySource(bytes));
    while (!file.read().ended);
    return file;
  };
  const bytes = (text: string) => new TextEncoder().encode(text);
  const ofDevice = capture([imageReport(0)]);
  ofDevice[24 + 16 + 64] = 0x99; // behind the heads of file, packet and USB
  const [zip, wide] = [bytes("PK\x03\x04zip"), Uint8Array.of(0xff, 0xfe, 65)];
  const problems = [ofDevice, bytes("99 01\n"), zip, wide];
  const told = problems.map((one) => opened(one).decode(0).problem!.message);
  const tour = opened(readFileSync(join(root, "samples/forms/tour.hid")));
  told.push(tour.render("csv", Array.from({ length: tour.size }, (_, at) => at)).leftOut);
  const options = /(^| )--?[a-z]|vesk-decode/i;
  for (const one of told) {
    assert.match(one, options);
    assert.doesNotMatch(inPageWords(one), options);
  }
  const expected = /Help shows the known ones; .* the filter Device chooses one/;
  assert.match(inPageWords(told[0]!), expected);
});
