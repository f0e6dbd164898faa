/** Lists of any length, in an element that behaves as a browser's. */
import assert from "node:assert/strict";
import { test } from "node:test";
import {
  beginning,
  heightOf,
  isOff,
  lastRow,
  offsetOf,
  rested,
  rowAt,
  scrolled,
  shown,
  tallest,
  topOf,
  type Extent,
  type Place,
} from "../src/list/scroll.js";

const rowHeight = 24;
const viewport = 600; // 25 rows
const counts = [0, 1, 24, 25, 26, 1000, 208_333, 208_334, 1_400_000, 5_000_000, 4_294_967_295];

function extentOf(count: number): Extent {
  return { count, rowHeight, viewport };
}

/** An element that scrolls: a place is a whole pixel between its ends, and long ones are cut. */
class Element {
  place: Place = beginning;
  top = 0;

  constructor(readonly extent: Extent) {}

  get end(): number {
    return Math.max(0, Math.min(heightOf(this.extent), 17_000_000) - viewport);
  }

  scrollTo(top: number): void {
    this.top = Math.round(Math.min(Math.max(top, 0), this.end));
    this.place = scrolled(this.extent, this.place, this.top);
    if (isOff(this.extent, this.place)) this.rest();
  }

  rest(): void {
    this.go(rested(this.extent, this.place));
  }

  go(place: Place): void {
    this.place = place;
    this.top = Math.round(Math.min(Math.max(place.top, 0), this.end));
  }
}

test("a list that is short enough has its own height and places", () => {
  const extent = extentOf(1000);
  assert.equal(heightOf(extent), 24_000);
  assert.equal(rowAt(extent, 0), 0);
  assert.equal(rowAt(extent, 2400), 100);
  assert.equal(topOf(extent, 100), 2400);
  assert.equal(rowAt(extent, 23_400), 975);
  assert.equal(scrolled(extent, { row: 100, top: 2400 }, 2412).row, 100.5);
});

test("both ends are exact, whatever the count", () => {
  for (const count of counts) {
    const element = new Element(extentOf(count));
    assert.ok(heightOf(element.extent) <= tallest);
    assert.equal(lastRow(element.extent), Math.max(0, count - 25));
    element.scrollTo(element.end);
    assert.equal(element.place.row, Math.max(0, count - 25), `${count}`);
    element.scrollTo(0);
    assert.equal(element.place.row, 0, `${count}`);
    element.go(shown(element.extent, element.place, count - 1));
    assert.equal(element.top, element.end, `${count}`);
    element.go(shown(element.extent, element.place, 0));
    assert.equal(element.top, 0, `${count}`);
  }
});

test("rows and places go by the share, and back", () => {
  for (const count of counts.slice(2)) {
    const extent = extentOf(count);
    for (const share of [0, 0.25, 0.5, 0.9, 1]) {
      const row = share * lastRow(extent);
      assert.ok(Math.abs(rowAt(extent, topOf(extent, row)) - row) < 1e-5, `${count} ${share}`);
    }
  }
});

test("the scroll bar's middle is the list's", () => {
  const element = new Element(extentOf(5_000_000));
  element.scrollTo(element.end / 2);
  assert.ok(Math.abs(element.place.row - 2_500_000) < 30);
});

test("a wheel goes by pixels, and leaves out no row", () => {
  const element = new Element(extentOf(5_000_000));
  element.scrollTo(2_000_000);
  element.rest();
  for (const by of [120, -120])
    for (let i = 1; i <= 1000; ++i) {
      const before = element.place.row;
      element.scrollTo(element.top + by);
      assert.ok(Math.abs(element.place.row - before - by / rowHeight) < 0.05);
      if (i % 7 === 0) element.rest();
    }
});

test("a wheel comes to both ends, and stays there", () => {
  for (const start of [4_999_000, 800]) {
    const element = new Element(extentOf(5_000_000));
    element.go(rested(element.extent, { row: start, top: 0 }));
    const isDown = start > 1000;
    for (let i = 0; i < 400; ++i) {
      const before = element.place.row;
      element.scrollTo(element.top + (isDown ? 120 : -120));
      assert.ok(Math.abs(element.place.row - before) < 5.1);
    }
    assert.equal(element.place.row, isDown ? 4_999_975 : 0);
    assert.equal(element.top, isDown ? element.end : 0);
  }
});

test("keys go from row to row, and each one is seen whole", () => {
  for (const count of [1000, 300_000]) {
    const element = new Element(extentOf(count));
    const check = (row: number) => {
      element.go(shown(element.extent, element.place, row));
      const { row: first } = element.place;
      assert.ok(first <= row && row + 1 <= first + 25 + 1e-9, `${row} from ${first}`);
      assert.ok(Number.isInteger(first));
      const offset = offsetOf(element.extent, element.place, row) - element.place.top;
      assert.ok(offset >= 0 && offset <= viewport - rowHeight + 1e-6);
    };
    for (let row = 0; row < count; ++row) check(row);
    assert.equal(element.place.row, count - 25);
    for (let row = count - 1; row >= 0; --row) check(row);
    assert.equal(element.place.row, 0);
  }
});

test("rows that are added leave those in sight where they are", () => {
  let place = shown(extentOf(200_000), beginning, 150_000);
  const { row } = place;
  for (const count of [208_333, 208_334, 1_000_000, 5_000_000]) {
    place = rested(extentOf(count), place);
    assert.equal(place.row, row);
    assert.ok(place.top <= tallest - viewport);
  }
});

test("a list that has become shorter ends with its last row", () => {
  const place = rested(extentOf(100), { row: 4_000_000, top: 4_000_000 });
  assert.deepEqual(place, { row: 75, top: 1800 });
  assert.deepEqual(rested(extentOf(3), place), beginning);
});
