/** A picture of frames as it is drawn: the current frame, those before it below, and what its colours
 *  mean. */
import { made } from "../basics/dom.js";
import { plottable } from "../plots/course.js";
import type { Row } from "./frametables.js";
import { HeatMap, type Range } from "../plots/heat.js";
import type { Palette } from "../plots/palette.js";
import type { Part } from "../plots/picture.js";
import { fillLine, paletteOf, type Picture } from "./pictures.js";
import { shortText } from "../plots/plots.js";

/** The current frame, and those before it. */
export const pastFrames = 48;

export interface DrawingOptions {
  /** Somebody points at a channel of the frame that came `age` frames before; or at none. */
  pointed(at: { channel: number; age: number } | null): void;
  clicked(channel: number): void;
}

export class Drawing {
  readonly figure: HTMLElement;
  private readonly palette: Palette;
  private readonly now: HeatMap;
  private readonly past: HeatMap;
  private readonly colours = made("canvas", "colours"); // from the least to the most
  private readonly low = made("span");
  private readonly high = made("span");

  constructor(
    readonly picture: Picture,
    options: DrawingOptions,
  ) {
    const { count } = picture.scan.inPhase;
    this.palette = paletteOf(picture);
    this.now = new HeatMap(made("canvas", "now"), count, 1);
    this.past = new HeatMap(made("canvas", "past"), count, pastFrames);
    this.past.canvas.setAttribute("aria-label", `${picture.title}, the frames before`);
    for (const { canvas, lines } of [this.now, this.past]) {
      canvas.setAttribute("role", "img");
      canvas.onpointermove = (event) => options.pointed(placeOf(event, canvas, count, lines));
      canvas.onpointerleave = () => options.pointed(null);
      canvas.onclick = (event) => options.clicked(placeOf(event, canvas, count, lines).channel);
    }
    const scale = new HeatMap(this.colours, 256, 1);
    scale.numbers.forEach((_, i) => (scale.numbers[i] = i));
    scale.paint({ low: 0, high: 255 }, this.palette);
    this.colours.setAttribute("aria-hidden", "true");
    const ticks = made("div", "ticks");
    for (let at = 0; at < count; at += 8) ticks.append(made("span", "", String(at)));
    const caption = made("figcaption", "", [
      made("strong", "", picture.title),
      made("span", "range", [this.low, this.colours, this.high]),
    ]);
    this.figure = made("figure", "", [caption, this.now.canvas, this.past.canvas, ticks]);
  }

  /** Draws frames, the current one first; `scale` gives the range of the colours for the numbers. */
  draw(
    rows: readonly (Row | undefined)[],
    reference: Float64Array,
    scale: (numbers: Float64Array) => Range,
  ): void {
    const { picture, now, past } = this;
    rows.forEach((row, age) => {
      const line = past.line(age);
      if (row === undefined) line.fill(NaN);
      else fillLine(picture, row.table, row.row, reference, line);
    });
    now.numbers.set(past.line(0));
    const range = scale(past.numbers);
    past.paint(range, this.palette);
    now.paint(range, this.palette);
    const isEmpty = !(range.low <= range.high);
    const [least, most] = isEmpty ? ["–", "–"] : [shortText(range.low), shortText(range.high)];
    this.low.textContent = least!;
    this.high.textContent = most!;
    const label = isEmpty ? "not shown" : `colours from ${least} to ${most}`;
    now.canvas.setAttribute("aria-label", `${picture.title}, ${label}`);
  }

  /** What is drawn of a frame: null where there is no number. */
  numbersOf(age: number): (number | null)[] {
    return plottable(this.past.line(age));
  }

  /** The names of its numbers. */
  get names(): string[] {
    const { title, scan } = this.picture;
    return Array.from({ length: scan.inPhase.count }, (_, channel) => `${title}[${channel}]`);
  }

  /** To be copied. */
  get parts(): Part[] {
    const colours = `colours from ${this.low.textContent} to ${this.high.textContent}`;
    return [
      {
        caption: `${this.picture.title}: ${colours}`,
        canvas: this.colours,
        width: 120,
        height: 8,
      },
      { caption: "", canvas: this.now.canvas, width: 480, height: 24 },
      { caption: "", canvas: this.past.canvas, width: 480, height: 96 },
    ];
  }
}

/** What is under the pointer. */
function placeOf(
  { clientX, clientY }: MouseEvent,
  canvas: HTMLCanvasElement,
  count: number,
  lines: number,
): { channel: number; age: number } {
  const { left, top, width, height } = canvas.getBoundingClientRect();
  const part = (at: number, size: number, parts: number) =>
    Math.min(Math.max(Math.floor((at / size) * parts), 0), parts - 1);
  return {
    channel: part(clientX - left, width, count),
    age: part(clientY - top, height, lines),
  };
}
