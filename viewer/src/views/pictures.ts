/** What the pictures of frames are made of. It draws nothing, and knows no layout: what has numbers in
 *  arrays is a scan, and NAME_I and NAME_Q are the two parts of one. */
import type { Table } from "../decoder/decoder.js";
import type { Channels, Summary } from "../decoder/series.js";

export type Quantity = "parts" | "magnitude" | "phase";

/** An array of a frame, or two that are the parts of one. */
export interface Scan {
  name: string; // without the parts' ends
  inPhase: Channels;
  quadrature: Channels | null;
}

export interface Picture {
  title: string;
  scan: Scan;
  part: "inPhase" | "quadrature" | "magnitude" | "phase";
}

export interface Range {
  low: number;
  high: number;
}

export function scansOf(columns: readonly Channels[]): Scan[] {
  const arrays = columns.filter((one) => one.isArray && one.count > 1);
  const isSecond = (one: Channels) =>
    one.name.endsWith("_Q") && arrays.some(({ name }) => name === one.name.replace(/Q$/, "I"));
  return arrays
    .filter((one) => !isSecond(one))
    .map((inPhase) => {
      const pairName = inPhase.name.replace(/_I$/, "_Q");
      const pair = arrays.find(({ name, count }) => name === pairName && count === inPhase.count);
      if (pair === undefined || pair === inPhase)
        return { name: inPhase.name, inPhase, quadrature: null };
      return { name: inPhase.name.slice(0, -2), inPhase, quadrature: pair };
    });
}

export function picturesOf(scans: readonly Scan[], quantity: Quantity): Picture[] {
  if (quantity === "parts")
    return scans.flatMap((scan): Picture[] => {
      const first: Picture = { title: scan.inPhase.name, scan, part: "inPhase" };
      if (scan.quadrature === null) return [first];
      return [first, { title: scan.quadrature.name, scan, part: "quadrature" }];
    });
  return scans
    .filter(({ quadrature }) => quadrature !== null)
    .map((scan) => ({ title: `${scan.name} ${quantity}`, scan, part: quantity }));
}

/** A picture's numbers in a row of a table: of each channel one. Degrees if it is the phase. */
export function valuesOf(
  { scan, part }: Picture,
  table: Table,
  row: number,
  reference: Float64Array,
): Float64Array {
  const read = ({ name, first }: Channels) =>
    Float64Array.from(
      table.column(name).at(row) as ArrayLike<number>,
      (value, i) => Number(value) - reference[first + i]!,
    );
  if (part === "inPhase") return read(scan.inPhase);
  const second = read(scan.quadrature!);
  if (part === "quadrature") return second;
  const first = read(scan.inPhase);
  if (part === "magnitude") return first.map((value, i) => Math.hypot(value, second[i]!));
  return first.map((value, i) => (Math.atan2(second[i]!, value) * 180) / Math.PI);
}

/** The range of a picture's numbers in the whole capture. Of a magnitude, the most is one that
 *  is not exceeded: its parts need not have come to their most at once. */
export function rangeOf({ scan, part }: Picture, summary: Summary, reference: Float64Array): Range {
  if (part === "phase") return { low: -180, high: 180 };
  const of = ({ first, count }: Channels): Range => {
    const range = { low: Infinity, high: -Infinity };
    for (let i = first; i < first + count; ++i) {
      const [least, most] = [summary.least[i]! - reference[i]!, summary.most[i]! - reference[i]!];
      if (least < range.low) range.low = least;
      if (most > range.high) range.high = most;
    }
    return range;
  };
  if (part === "inPhase") return of(scan.inPhase);
  if (part === "quadrature") return of(scan.quadrature!);
  const farthest = ({ first }: Channels, i: number) =>
    Math.max(
      Math.abs(summary.least[first + i]! - reference[first + i]!),
      Math.abs(summary.most[first + i]! - reference[first + i]!),
    );
  let high = 0;
  for (let i = 0; i < scan.inPhase.count; ++i)
    high = Math.max(high, Math.hypot(farthest(scan.inPhase, i), farthest(scan.quadrature!, i)));
  return { low: 0, high };
}

/** Where a number stands in a range, from 0 to 1; in the middle of a range that is none. */
export function placeIn({ low, high }: Range, value: number): number {
  return high > low ? (value - low) / (high - low) : 0.5;
}
