/** What becomes of numbers over the capture, as the module has reduced it: a line each, or a band from
 *  the least to the most where a point stands for several rows. */
import type uPlot from "uplot";
import type { Course } from "../decoder/series.js";
import { colours, drawMark, faultColour, fitPlots, ink, newPlot } from "./plots.js";

/** A number over the capture. */
export interface CourseLine {
  label: string;
  course: Course;
  minus: number; // that is taken off
}

export interface CourseOptions {
  rowName: string; // what a row is called, where the capture tells no times

  /** The row that is shown at the moment. */
  current(): number;

  /** Somebody wants to see the row that a point begins with. */
  clicked(row: number): void;
}

/** More jumps in sight tell nothing. */
const mostMarks = 500;

export class CoursePlot {
  private plot: uPlot | null = null;

  constructor(
    private readonly into: HTMLElement,
    private readonly options: CourseOptions,
  ) {}

  /** Shows lines of the same rows; `jumps` are rows that are marked. */
  show(lines: readonly CourseLine[], jumps: readonly number[] = []): void {
    this.clear();
    const [first] = lines;
    if (first === undefined) return;
    const { times, rowsInPart } = first.course;
    const hasTimes = areInOrder(times);
    const x = Array.from(times, (time, part) =>
      hasTimes ? (time - times[0]!) / 1e6 : part * rowsInPart,
    );
    const points = { size: 5 };
    const isReduced = rowsInPart > 1;
    const data: uPlot.AlignedData = [x];
    const series: uPlot.Series[] = [{ label: hasTimes ? "s" : this.options.rowName }];
    const bands: uPlot.Band[] = [];
    lines.forEach(({ label, course: { least, most }, minus }, i) => {
      const stroke = colours[i % colours.length]!;
      data.push(plottable(most, minus));
      series.push({ label: isReduced ? `${label}, most` : label, stroke, points });
      if (!isReduced) return;
      data.push(plottable(least, minus));
      series.push({ label: `${label}, least`, stroke, points });
      bands.push({ series: [series.length - 2, series.length - 1], fill: `${stroke}55` });
    });
    const xOf = (row: number) => x[Math.min(Math.floor(row / rowsInPart), x.length - 1)]!;
    this.plot = newPlot(this.into, series, data, {
      bands,
      draw: (plot) => {
        for (const row of jumps.slice(0, mostMarks)) drawMark(plot, xOf(row), faultColour, [4, 4]);
        const row = this.options.current();
        if (row >= 0) drawMark(plot, xOf(row), ink());
      },
    });
    this.plot.over.onclick = () => {
      const part = this.plot?.cursor.idx;
      if (part !== null && part !== undefined) this.options.clicked(part * rowsInPart);
    };
  }

  clear(): void {
    this.plot?.destroy();
    this.plot = null;
  }

  /** Another row is shown. */
  redraw(): void {
    this.plot?.redraw(false);
  }

  fit(): void {
    fitPlots(this.plot);
  }

  get canvas(): HTMLCanvasElement | null {
    return this.plot?.ctx.canvas ?? null;
  }

  /** The names of its lines. */
  get caption(): string {
    return captionOf(this.plot);
  }
}

/** What a plot shows, by its lines' names. */
export function captionOf(plot: uPlot | null): string {
  const lines = plot?.series.slice(1) ?? [];
  return lines.map(({ label }) => label).join(", ");
}

/** As a plot takes them: what is no number is not there. */
export function plottable(values: ArrayLike<number>, minus = 0): (number | null)[] {
  return Array.from(values, (value) => (Number.isFinite(value - minus) ? value - minus : null));
}

/** Whether all are known, and none is before the one in front of it: a plot can't go back. */
function areInOrder(times: Float64Array): boolean {
  return times.every((time, part) => part === 0 ? !Number.isNaN(time) : time >= times[part - 1]!);
}
