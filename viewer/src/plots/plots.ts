/** Plots as all views draw them: uPlot in the page's colours. */
import uPlot from "uplot";

/** Blue and orange, which people with any colour vision tell apart. */
export const colours = ["#0072b2", "#d98200"] as const;

/** Of what is wrong or lost; a word or a shape says so, too. */
export const faultColour = "#d55e00";

export function ink(): string {
  return getComputedStyle(document.body).color;
}

/** Six digits are what anybody reads. */
export function shortText(value: number | null | undefined): string {
  return value === null || value === undefined ? "–" : String(Number(value.toPrecision(6)));
}

export interface PlotOptions {
  height?: number; // pixels, 200 if not given
  bands?: uPlot.Band[];
  scales?: uPlot.Scales;

  /** Draws over the plot, in its canvas. */
  draw?: (plot: uPlot) => void;
}

/** A plot as wide as the element that it goes into, whose axes have room for six digits. `series` has
 *  that of x in front; x is not a time of day. */
export function newPlot(
  into: HTMLElement,
  series: uPlot.Series[],
  data: uPlot.AlignedData,
  { height = 200, bands = [], scales = {}, draw = () => undefined }: PlotOptions = {},
): uPlot {
  const stroke = ink();
  const grid = { stroke: "#8884", width: 1 };
  return new uPlot(
    {
      width: Math.max(200, into.clientWidth),
      height,
      scales: { x: { time: false }, ...scales },
      axes: [
        { stroke, grid, ticks: grid, space: spaceOf },
        { stroke, grid, ticks: grid, size: roomOf },
      ],
      series: series.map((one, i) =>
        i === 0 ? one : { width: 1.5, value: (_, value) => shortText(value), ...one },
      ),
      bands,
      hooks: { draw: [draw] },
    },
    data,
    into,
  );
}

/** Between labels of the axis of x, in pixels: as much as its largest one needs. */
function spaceOf(_: uPlot, __: number, least: number, most: number): number {
  const whole = Math.round(Math.max(Math.abs(least), Math.abs(most)));
  return Math.max(50, 25 + 8 * String(whole).length);
}

/** Six digits with their signs; more where there are more. */
function roomOf(_: uPlot, labels: string[] | null): number {
  return Math.max(70, ...(labels ?? []).map((label) => 20 + 7 * (label ?? "").length));
}

/** Makes plots as wide as their elements again. */
export function fitPlots(...plots: (uPlot | null)[]): void {
  for (const plot of plots) {
    const width = plot?.root.parentElement?.clientWidth ?? 0;
    if (plot !== null && width > 0 && width !== plot.width)
      plot.setSize({ width, height: plot.height });
  }
}

/** A line from top to bottom at `x`, as a plot's `draw` uses it. */
export function drawMark(plot: uPlot, x: number, stroke: string, dash: number[] = []): void {
  const { ctx, bbox } = plot;
  const at = plot.valToPos(x, "x", true);
  ctx.save();
  ctx.strokeStyle = stroke;
  ctx.setLineDash(dash);
  ctx.beginPath();
  ctx.moveTo(at, bbox.top);
  ctx.lineTo(at, bbox.top + bbox.height);
  ctx.stroke();
  ctx.restore();
}
