/** A bar for each channel, from zero. Marked ones are hatched and have a triangle: colour alone says
 *  nothing. */
import { made } from "../basics/dom.js";
import { hatch } from "./hatch.js";
import type { Range } from "./heat.js";
import { faultColour, ink } from "./plots.js";

/** Around the bars, in pixels. */
export const margins = { left: 90, right: 8, top: 18, bottom: 22 } as const;

export interface BarOptions {
  label: string; // for those who can't see it
  colour: string;

  /** Somebody points at a channel, or at none. */
  pointed?: (channel: number | null) => void;
  clicked?: (channel: number) => void;
}

export class BarChart {
  readonly canvas = made("canvas", "bars");
  private values: ArrayLike<number> = [];
  private marked: readonly boolean[] = [];
  private range: Range = { low: 0, high: 1 };
  private chosen: number | null = null;

  constructor(
    into: HTMLElement,
    private readonly options: BarOptions,
  ) {
    const { canvas } = this;
    into.append(canvas);
    canvas.setAttribute("role", "img");
    canvas.onpointermove = (event) => options.pointed?.(this.channelAt(event));
    canvas.onpointerleave = () => options.pointed?.(null);
    canvas.onclick = (event) => {
      const channel = this.channelAt(event);
      if (channel !== null) options.clicked?.(channel);
    };
    new ResizeObserver(() => this.draw()).observe(canvas);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.draw());
  }

  /** What isn't a finite number has no bar, but a cross. Without a range, the bars fill the height. */
  show(values: ArrayLike<number>, marked: readonly boolean[] = [], range?: Range): void {
    this.values = values;
    this.marked = marked;
    this.range = range ?? rangeOf(values);
    this.draw();
  }

  choose(channel: number | null): void {
    this.chosen = channel;
    this.draw();
  }

  draw(): void {
    const { canvas, values, range, options } = this;
    const { low, high } = range;
    const ratio = devicePixelRatio;
    const [width, height] = [canvas.clientWidth, canvas.clientHeight];
    if (width === 0) return;
    canvas.width = Math.round(width * ratio);
    canvas.height = Math.round(height * ratio);
    canvas.dataset["low"] = String(low);
    canvas.dataset["high"] = String(high);
    const marks = this.marked.flatMap((is, channel) => (is ? [channel] : []));
    const told = marks.length > 0 ? `; marked: ${marks.join(", ")}` : "";
    canvas.setAttribute("aria-label", `${options.label}, from ${low} to ${high}${told}`);
    const pen = canvas.getContext("2d")!;
    pen.scale(ratio, ratio);
    pen.font = "11px system-ui, sans-serif";
    const [left, right] = [margins.left, width - margins.right];
    const [top, bottom] = [margins.top, height - margins.bottom];
    const y = (value: number) => bottom - ((value - low) / (high - low)) * (bottom - top);
    this.drawAxes(pen, left, right, y);
    const slot = (right - left) / values.length;
    const gap = slot > 5 ? slot * 0.2 : 0;
    const zero = y(0);
    for (let channel = 0; channel < values.length; ++channel) {
      const x = left + channel * slot;
      if (channel === this.chosen) {
        pen.fillStyle = "#8884";
        pen.fillRect(x, top, slot, bottom - top);
      }
      const value = values[channel]!;
      const middle = x + slot / 2;
      if (!Number.isFinite(value)) {
        pen.fillStyle = ink();
        pen.textAlign = "center";
        pen.fillText("×", middle, zero - 2);
        continue;
      }
      const at = y(Math.min(Math.max(value, low), high));
      const [begin, end] = [Math.min(at, zero), Math.max(at, zero)];
      pen.fillStyle = options.colour;
      if (this.marked[channel] !== true) {
        pen.fillRect(x + gap / 2, begin, slot - gap, end - begin);
        continue;
      }
      hatch(pen, x + gap / 2, begin, slot - gap, end - begin, 1, options.colour);
      pen.strokeStyle = options.colour;
      pen.strokeRect(x + gap / 2 + 0.5, begin + 0.5, slot - gap - 1, Math.max(end - begin - 1, 0));
      pen.fillStyle = faultColour;
      pen.beginPath();
      pen.moveTo(middle - 5, top - 12);
      pen.lineTo(middle + 5, top - 12);
      pen.lineTo(middle, top - 3);
      pen.fill();
    }
    pen.fillStyle = ink();
    pen.fillRect(left, zero - 0.5, right - left, 1);
  }

  private drawAxes(
    pen: CanvasRenderingContext2D,
    left: number,
    right: number,
    y: (value: number) => number,
  ): void {
    const { low, high } = this.range;
    const step = niceStep((high - low) / 4);
    pen.fillStyle = ink();
    pen.textAlign = "right";
    pen.textBaseline = "middle";
    for (let n = Math.ceil(low / step); n * step <= high; ++n) {
      const value = n * step;
      pen.fillText(axisText(value), left - 6, y(value));
      pen.save();
      pen.fillStyle = "#8884";
      pen.fillRect(left, y(value) - 0.5, right - left, 1);
      pen.restore();
    }
    pen.textAlign = "center";
    pen.textBaseline = "alphabetic";
    const slot = (right - left) / this.values.length;
    for (let channel = 0; channel < this.values.length; channel += 8)
      pen.fillText(String(channel), left + (channel + 0.5) * slot, y(low) + 16);
  }

  private channelAt(event: MouseEvent): number | null {
    const { left, width } = this.canvas.getBoundingClientRect();
    const share =
      (event.clientX - left - margins.left) / (width - margins.left - margins.right);
    if (share < 0 || share >= 1) return null;
    return Math.floor(share * this.values.length);
  }
}

/** From the least to the most of several rows of numbers, with zero in it. */
export function rangeOf(...rows: ArrayLike<number>[]): Range {
  let [low, high] = [0, 0];
  for (const row of rows)
    for (let i = 0; i < row.length; ++i) {
      const value = row[i]!;
      if (!Number.isFinite(value)) continue;
      if (value < low) low = value;
      if (value > high) high = value;
    }
  return low === high ? { low: 0, high: 1 } : { low, high };
}

/** A multiple of a step, with all of its few digits: as a plain number, or with its power of ten. */
export function axisText(value: number): string {
  const size = Math.abs(value);
  const isPlain = size === 0 || (size >= 1e-4 && size < 1e12);
  const digits = { maximumSignificantDigits: 12 };
  return isPlain ? value.toLocaleString("en", digits) : String(Number(value.toPrecision(12)));
}

/** The next one up of 1, 2, 5, 10, ... */
function niceStep(least: number): number {
  const power = 10 ** Math.floor(Math.log10(least));
  return power * [1, 2, 5, 10].find((one) => one * power >= least * (1 - 1e-12))!;
}
