/** Heat maps of a pixel a number. A player draws them sixty times a second, so nothing is made anew
 *  for each frame. */
import type { Palette } from "./palette.js";

export interface Range {
  low: number;
  high: number;
}

const shades = 1024;
const pixels = new Map<Palette, Uint32Array>();

/** A palette's colours as pixels. */
function pixelsOf(palette: Palette): Uint32Array {
  let found = pixels.get(palette);
  if (found === undefined) {
    const bytes = new Uint8ClampedArray(4 * shades);
    for (let at = 0; at < shades; ++at) bytes.set([...palette(at / (shades - 1)), 255], 4 * at);
    found = new Uint32Array(bytes.buffer);
    pixels.set(palette, found);
  }
  return found;
}

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

  /** The numbers of a line. */
  line(at: number): Float64Array {
    return this.numbers.subarray(at * this.width, (at + 1) * this.width);
  }

  paint(range: Range, palette: Palette): void {
    const { numbers, pixels } = this;
    const colours = pixelsOf(palette);
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

/** Where a number stands in a range, from 0 to 1; in the middle of a range that is none. */
function placeIn({ low, high }: Range, value: number): number {
  return high > low ? (value - low) / (high - low) : 0.5;
}
