/** Heat maps of a pixel a number. A player draws them sixty times a second, so nothing is made anew
 *  for each frame. */
import type { Table } from "../decoder/decoder.js";
import { aroundColours, risingColours, type Palette } from "./palette.js";
import { placeIn, type Picture, type Range } from "../views/pictures.js";
import { bytesOf, numbersAt, type Numbers } from "../decoder/reply.js";
import type { Channels } from "../decoder/series.js";

const shades = 1024;

/** A palette's colours as pixels. */
function pixelsOf(palette: Palette): Uint32Array {
  const pixels = new Uint8ClampedArray(4 * shades);
  for (let at = 0; at < shades; ++at)
    pixels.set([...palette(at / (shades - 1)), 255], 4 * at);
  return new Uint32Array(pixels.buffer);
}

const rising = pixelsOf(risingColours);
const around = pixelsOf(aroundColours);

/** A picture of some lines of numbers; what is NaN stays empty. */
export class HeatMap {
  readonly numbers: Float64Array; // line by line
  private readonly image: ImageData;
  private readonly pixels: Uint32Array;

  constructor(
    readonly canvas: HTMLCanvasElement,
    readonly width: number,
    readonly lines: number,
  ) {
    canvas.width = width;
    canvas.height = lines;
    this.numbers = new Float64Array(width * lines).fill(NaN);
    this.image = new ImageData(width, lines);
    this.pixels = new Uint32Array(this.image.data.buffer);
  }

  paint(range: Range, part: Picture["part"]): void {
    const { numbers, pixels } = this;
    const colours = part === "phase" ? around : rising;
    for (let at = 0; at < numbers.length; ++at) {
      const value = numbers[at]!;
      if (Number.isNaN(value)) {
        pixels[at] = 0;
        continue;
      }
      const place = Math.min(Math.max(placeIn(range, value), 0), 1);
      pixels[at] = colours[Math.round(place * (shades - 1))]!;
    }
    // A picture of a few pixels, which no graphics processor has to hold.
    this.canvas.getContext("2d", { willReadFrequently: true })!.putImageData(this.image, 0, 0);
  }
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

/** Puts a picture's numbers in a row of a table into a line: what valuesOf() gives. */
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
