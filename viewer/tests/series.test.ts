/** What is kept of all reports of a decoder, beside the same reckoned at once. */
import assert from "node:assert/strict";
import { test } from "node:test";
import { Table, type Column } from "../src/decoder.js";
import { Series } from "../src/series.js";

const columns: Column[] = [
  { name: "time", kind: "long long", count: 1, isArray: false, isText: false, offset: 0 },
  { name: "N", kind: "unsigned int", count: 1, isArray: false, isText: false, offset: 8 },
  { name: "A", kind: "int", count: 2, isArray: true, isText: false, offset: 12 },
  { name: "T", kind: "unsigned int", count: 1, isArray: false, isText: true, offset: 20 },
];
const rowSize = 24;

function tableOf(rows: { time: bigint; number: number; a: [number, number] }[]): Table {
  const view = new DataView(new ArrayBuffer(rows.length * rowSize));
  rows.forEach(({ time, number, a }, row) => {
    view.setBigInt64(row * rowSize, time, true);
    view.setUint32(row * rowSize + 8, number, true);
    view.setInt32(row * rowSize + 12, a[0], true);
    view.setInt32(row * rowSize + 16, a[1], true);
  });
  return new Table("d", rows.length, rowSize, columns, view.buffer, new Uint32Array(rows.length), []);
}

/** Values that jump about. */
function valueAt(row: number, element: number): number {
  return ((row * 7919 + element * 104729) % 2003) - 1000;
}

function filled(rows: number, step: number, parts: number): Series {
  const series = new Series("N", parts);
  for (let first = 0; first < rows; first += step)
    series.add(
      tableOf(
        Array.from({ length: Math.min(step, rows - first) }, (_, i) => ({
          time: BigInt(1000 * (first + i)),
          number: first + i,
          a: [valueAt(first + i, 0), valueAt(first + i, 1)],
        })),
      ),
    );
  return series;
}

test("each row is a part of its own while there is room", () => {
  const series = filled(8, 3, 8);
  const { rowsInPart, least, most, times } = series.course("A", 1);
  const expected = Array.from({ length: 8 }, (_, row) => valueAt(row, 1));
  assert.equal(rowsInPart, 1);
  assert.deepEqual([...least], expected);
  assert.deepEqual([...most], expected);
  assert.deepEqual([...times], [0, 1000, 2000, 3000, 4000, 5000, 6000, 7000]);
});

test("parts become larger, and have the least and the most of their rows", () => {
  for (const rows of [9, 15, 16, 17, 100, 1000])
    for (const step of [1, 7, 64]) {
      const { rowsInPart, least, most, times } = filled(rows, step, 8).course("A", 0);
      const values = Array.from({ length: rows }, (_, row) => valueAt(row, 0));
      assert.ok(Math.ceil(rows / rowsInPart) <= 8);
      assert.equal(least.length, Math.ceil(rows / rowsInPart));
      least.forEach((value, part) => {
        const own = values.slice(part * rowsInPart, (part + 1) * rowsInPart);
        assert.equal(value, Math.min(...own), `${rows} ${step} ${part}`);
        assert.equal(most[part], Math.max(...own), `${rows} ${step} ${part}`);
        assert.equal(times[part], 1000 * part * rowsInPart);
      });
    }
});

test("mean and noise are those of all rows", () => {
  const { rows, columns, start, mean, noise, least, most } = filled(1000, 64, 8).summary();
  assert.equal(rows, 1000);
  assert.deepEqual(
    columns.map(({ name, first, count }) => [name, first, count]),
    [
      ["N", 0, 1],
      ["A", 1, 2],
    ],
  );
  for (const element of [0, 1]) {
    const values = Array.from({ length: 1000 }, (_, row) => valueAt(row, element));
    const average = values.reduce((sum, one) => sum + one, 0) / 1000;
    const squares = values.reduce((sum, one) => sum + (one - average) ** 2, 0);
    assert.ok(Math.abs(mean[1 + element]! - average) < 1e-9);
    assert.ok(Math.abs(noise[1 + element]! - Math.sqrt(squares / 1000)) < 1e-9);
    assert.equal(start[1 + element], valueAt(0, element));
    assert.equal(least[1 + element], Math.min(...values));
    assert.equal(most[1 + element], Math.max(...values));
  }
});

test("small noise on a large number isn't lost", () => {
  const series = new Series("N");
  for (let row = 0; row < 1000; ++row)
    series.add(tableOf([{ time: 0n, number: row, a: [2_000_000_000 + (row % 2), 0] }]));
  assert.ok(Math.abs(series.summary().noise[1]! - 0.5) < 1e-6);
});

test("numbers that don't follow each other are jumps; the last number is followed by 0", () => {
  const series = new Series("N");
  const numbers = [4294967294, 4294967295, 0, 1, 5, 6, 3, 4];
  series.add(tableOf(numbers.map((number) => ({ time: 0n, number, a: [0, 0] }))));
  assert.deepEqual(series.summary().jumps, [
    { row: 4, from: 1, to: 5 },
    { row: 6, from: 6, to: 3 },
  ]);
});

test("what isn't there is refused", () => {
  const series = filled(3, 3, 8);
  assert.throws(() => series.course("B", 0), RangeError);
  assert.throws(() => series.course("A", 2), RangeError);
  assert.throws(() => new Series("N").course("A", 0), RangeError);
});
