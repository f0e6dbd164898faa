/** What the pictures of frames are made of. It draws nothing, and knows no layout: what has numbers in
 *  arrays is a scan, and NAME_I and NAME_Q are the two parts of one. */
import type { Table } from "../decoder/decoder.js";
import type { Range } from "../plots/heat.js";
import { aroundColours, risingColours, type Palette } from "../plots/palette.js";
import { bytesOf, numbersAt, type Numbers } from "../decoder/reply.js";
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

/** Its colours: those of angles begin again where they end. */
export function paletteOf({ part }: Picture): Palette {
  return part === "phase" ? aroundColours : risingColours;
}

/** Where a column's numbers stand in a table. */
interface Cells {
  all: Numbers;
  offset: number;
  stride: number;
}

const found = new WeakMap<Table, Map<string, Cells>>();

function cellsOf(table: Table, name: string): Cells {
  let columns = found.get(table);
  if (columns === undefined) found.set(table, (columns = new Map()));
  let cells = columns.get(name);
  if (cells === undefined) {
    const { kind, offset } = table.column(name);
    const size = bytesOf(kind);
    const count = Math.floor(table.buffer.byteLength / size);
    const all = numbersAt(table.buffer, 0, kind, count);
    cells = { all, offset: offset / size, stride: table.rowSize / size };
    columns.set(name, cells);
  }
  return cells;
}

/** Puts a picture's numbers in a row of a table into a line: of each channel one, less the reference.
 *  Degrees if it is the phase. A player asks for it sixty times a second, so nothing is made anew. */
export function fillLine(
  { scan, part }: Picture,
  table: Table,
  row: number,
  reference: Float64Array,
  line: Float64Array,
): void {
  const first = part === "quadrature" ? scan.quadrature! : scan.inPhase;
  copy(first, table, row, reference, line);
  if (part !== "magnitude" && part !== "phase") return;
  const { all, offset, stride } = cellsOf(table, scan.quadrature!.name);
  for (let i = 0; i < line.length; ++i) {
    const one = line[i]!;
    const two = Number(all[row * stride + offset + i]) - reference[scan.quadrature!.first + i]!;
    line[i] =
      part === "magnitude" ? Math.sqrt(one * one + two * two) : (Math.atan2(two, one) * 180) / Math.PI;
  }
}

function copy(
  { name, first }: Channels,
  table: Table,
  row: number,
  reference: Float64Array,
  line: Float64Array,
): void {
  const { all, offset, stride } = cellsOf(table, name);
  for (let i = 0; i < line.length; ++i)
    line[i] = Number(all[row * stride + offset + i]) - reference[first + i]!;
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
