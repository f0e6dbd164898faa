/** What is kept of all reports of a decoder, beside the same reckoned at once. */
import assert from "node:assert/strict";
import { test } from "node:test";
import { DecoderError, type Capture } from "../src/decoder/decoder.js";
import { MemorySource } from "../src/decoder/sources.js";
import { capture } from "./captures.js";
import { imageReport } from "./reports.js";
import { newDecoder, samples } from "./support.js";

const decoder = await newDecoder();
const image = "parseVeskImage";
const parts = 1024; // of a course, at most
const samplesAt = 16; // where the first of D_SCAN_I stands, and where the temperature
const temperatureAt = 788;

interface Frame {
  number: number;
  samples: [number, number]; // the first two of D_SCAN_I
  temperature: number;
}

function reportOf({ number, samples, temperature }: Frame): Uint8Array {
  const bytes = imageReport(number);
  const view = new DataView(bytes.buffer);
  samples.forEach((sample, i) => view.setInt32(samplesAt + 4 * i, sample, true));
  view.setFloat32(temperatureAt, temperature, true);
  return bytes;
}

/** A file of such frames, read to its end in steps. */
function read(frames: Frame[], step = 8192): Capture {
  const bytes = capture(frames.map(reportOf));
  const file = decoder.open("-", new MemorySource(bytes), { reduce: [image] });
  while (!file.read(1e9, step).ended);
  return file;
}

/** Values that jump about. */
function valueAt(row: number, element: number): number {
  return ((row * 7919 + element * 104729) % 2003) - 1000;
}

function frames(count: number): Frame[] {
  return Array.from({ length: count }, (_, number) => ({
    number,
    samples: [valueAt(number, 0), valueAt(number, 1)],
    temperature: 25,
  }));
}

function begins(time: number): number {
  return 1_700_000_000_000_000 + time;
}

/** The channel of an element in a file's summary. */
function channelOf(file: Capture, name: string, element = 0): number {
  return file.summary(image)!.columns.find((one) => one.name === name)!.first + element;
}

test("each row is a part of its own while there is room", () => {
  const file = read(frames(8), 3);
  const { rowsInPart, rows, least, most, times } = file.course(image, "D_SCAN_I", 1);
  const expected = Array.from({ length: 8 }, (_, row) => valueAt(row, 1));
  assert.equal(rowsInPart, 1);
  assert.equal(rows, 8);
  assert.deepEqual([...least], expected);
  assert.deepEqual([...most], expected);
  assert.deepEqual([...times], expected.map((_, row) => begins(1000 * row)));
  file.close();
});

test("parts become larger, and have the least and the most of their rows", () => {
  for (const [rows, expected] of [
    [parts, 1],
    [parts + 1, 2],
    [2 * parts, 2],
    [2 * parts + 1, 4],
    [5000, 8],
  ] as const)
    for (const step of [100, 256, 8192]) {
      const file = read(frames(rows), step);
      const { rowsInPart, least, most, times } = file.course(image, "D_SCAN_I", 0);
      const values = Array.from({ length: rows }, (_, row) => valueAt(row, 0));
      assert.equal(rowsInPart, expected);
      assert.equal(least.length, Math.ceil(rows / rowsInPart));
      least.forEach((value, part) => {
        const own = values.slice(part * rowsInPart, (part + 1) * rowsInPart);
        assert.equal(value, Math.min(...own), `${rows} ${step} ${part}`);
        assert.equal(most[part], Math.max(...own), `${rows} ${step} ${part}`);
        assert.equal(times[part], begins(1000 * part * rowsInPart));
      });
      file.close();
    }
});

test("mean and noise are those of all rows", () => {
  const file = read(frames(3000), 100);
  const { rows, start, mean, noise, least, most, ...rest } = file.summary(image)!;
  assert.equal(rows, 3000);
  assert.equal(rest.firstTime, begins(0));
  assert.equal(rest.lastTime, begins(2_999_000));
  assert.equal(rest.jumps.length, 0);
  for (const element of [0, 1]) {
    const channel = channelOf(file, "D_SCAN_I", element);
    const values = Array.from({ length: 3000 }, (_, row) => valueAt(row, element));
    const average = values.reduce((sum, one) => sum + one, 0) / 3000;
    const squares = values.reduce((sum, one) => sum + (one - average) ** 2, 0);
    assert.ok(Math.abs(mean[channel]! - average) < 1e-9);
    assert.ok(Math.abs(noise[channel]! - Math.sqrt(squares / 3000)) < 1e-9);
    assert.equal(start[channel], valueAt(0, element));
    assert.equal(least[channel], Math.min(...values));
    assert.equal(most[channel], Math.max(...values));
  }
  file.close();
});

test("small noise on a large number isn't lost, even behind another one", () => {
  const all = frames(10_000).map((frame, row) => ({
    ...frame,
    samples: [2_000_000_000 + (row % 2), row === 0 ? 0 : 2_000_000_000] as [number, number],
  }));
  const file = read(all);
  const { noise } = file.summary(image)!;
  assert.ok(Math.abs(noise[channelOf(file, "D_SCAN_I", 0)]! - 0.5) < 1e-6);
  // One of ten thousand: the root of its share times the share of the others.
  const expected = 2e9 * Math.sqrt(1e-4 * (1 - 1e-4));
  assert.ok(Math.abs(noise[channelOf(file, "D_SCAN_I", 1)]! / expected - 1) < 1e-9);
  file.close();
});

test("what is no number is passed over in least and most, and stays in the mean", () => {
  const all = frames(3).map((frame, row) => ({ ...frame, temperature: [NaN, 30, 20][row]! }));
  const file = read(all);
  const channel = channelOf(file, "TMON_DEG_C");
  const { least, most, mean } = file.summary(image)!;
  assert.deepEqual([least[channel], most[channel], mean[channel]], [20, 30, NaN]);
  assert.deepEqual([...file.course(image, "TMON_DEG_C", 0).least], [NaN, 30, 20]);
  file.close();
});

test("numbers that don't follow each other are jumps; the last number is followed by 0", () => {
  const numbers = [4294967294, 4294967295, 0, 1, 5, 6, 3, 4];
  const file = read(numbers.map((number) => ({ number, samples: [0, 0], temperature: 0 })));
  const { jumps, moreJumps } = file.summary(image)!;
  assert.deepEqual(jumps, [
    { row: 4, from: 1, to: 5 },
    { row: 6, from: 6, to: 3 },
  ]);
  assert.equal(moreJumps, 0);
  file.close();
});

test("of too many jumps the first are told, and how many more there are", () => {
  const all = frames(10_101).map((frame, row) => ({ ...frame, number: 2 * row }));
  const file = read(all);
  const { jumps, moreJumps } = file.summary(image)!;
  assert.deepEqual([jumps.length, moreJumps], [10_000, 100]);
  assert.deepEqual(jumps.at(-1), { row: 10_000, from: 19_998, to: 20_000 });
  file.close();
});

test("each device's reports have numbers of their own", () => {
  const bytes = capture(frames(10).map(({ number }) => imageReport(number >> 1)));
  // Every other one comes from another device.
  const size = 16 + 64 + 792;
  for (let at = 24 + 16 + 11; at < bytes.length; at += 2 * size) bytes[at] = 9;
  const file = decoder.open("-", new MemorySource(bytes), { reduce: [image] });
  while (!file.read().ended);
  assert.equal(file.summary(image)!.rows, 10);
  assert.deepEqual(file.summary(image)!.jumps, []);
  assert.equal(file.kinds().length, 2);
  file.close();
});

test("all decoders can be reduced, and have what their columns have", () => {
  const names = [...new Set(decoder.about.reports.map((report) => report.decoder))];
  const seen = new Set<string>();
  for (const { name, bytes } of samples()) {
    const file = decoder.open("-", new MemorySource(bytes), { reduce: names });
    while (!file.read(1000, 3).ended);
    const isRow = (one: string) => (kind: { decoder: string; problem: string; toDevice: boolean }) =>
      kind.decoder === one && kind.problem === "" && !kind.toDevice;
    for (const one of names) {
      const summary = file.summary(one)!;
      const entries = file.select(isRow(one));
      assert.equal(summary.rows, entries.length, `${name} ${one}`);
      if (entries.length === 0) continue;
      seen.add(one);
      const table = file.columns({ [one]: "all" }, entries).get(one)!;
      const numbers = table.columns.filter(({ isText, name }) => !isText && name !== "time");
      assert.deepEqual(
        summary.columns.map((column) => [column.name, column.count, column.isArray]),
        numbers.map((column) => [column.name, column.count, column.isArray]),
      );
      for (const column of summary.columns)
        for (let i = 0; i < column.count; ++i) {
          const values = Array.from(entries, (_, row) => Number(table.column(column.name).at(row)[i]));
          const at = column.first + i;
          const mean = values.reduce((sum, value) => sum + value, 0) / values.length;
          const scale = Math.max(1, Math.abs(mean));
          assert.equal(summary.start[at], values[0], column.name);
          assert.equal(summary.least[at], Math.min(...values), column.name);
          assert.equal(summary.most[at], Math.max(...values), column.name);
          assert.ok(Math.abs(summary.mean[at]! - mean) <= 1e-12 * scale, column.name);
          assert.deepEqual([...file.course(one, column.name, i).most], values);
        }
    }
    file.close();
  }
  assert.deepEqual([...seen].sort(), [...names].sort());
});

test("reports that come one by one are reduced at once, and with others that are followed", () => {
  const live = decoder.openLive("a device", {
    follow: { parseAdcDumpState: "all" },
    reduce: [image],
  });
  live.append(imageReport(5), "input", null);
  assert.equal(live.summary(image)!.rows, 1);
  live.append(imageReport(6), "input", 2_000_000);
  live.append(Uint8Array.of(0xde, 1), "feature", null);
  const { followed } = live.read();
  assert.deepEqual([...followed.keys()], ["parseAdcDumpState"]);
  const { rows, firstTime, lastTime } = live.summary(image)!;
  assert.deepEqual([rows, firstTime, lastTime], [2, null, 2_000_000]);
  assert.equal(live.summary("parseAdcDumpState"), null);
  live.close();
});

test("what isn't there is refused", () => {
  const file = read(frames(3));
  assert.throws(() => file.course(image, "NONE", 0), /there is no NONE\[0\]/);
  assert.throws(() => file.course(image, "D_SCAN_I", 48), DecoderError);
  assert.throws(() => file.course("parseBaseline", "A", 0), /not reduced/);
  const empty = decoder.open("-", new MemorySource(new Uint8Array()), { reduce: [image] });
  assert.equal(empty.summary(image)!.rows, 0);
  assert.throws(() => empty.course(image, "D_SCAN_I", 0), DecoderError);
  file.close();
  empty.close();
});
