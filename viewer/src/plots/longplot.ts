/** A plot of a run of numbers that may be long: it draws the least and the most of each pixel, so that
 *  zooming and panning cost the same however much is in sight. Gaps are marked, and stay empty.
 *
 *  Wheel, + and - zoom; dragging and the arrow keys pan; a double click or 0 shows all. */
import uPlot from "uplot";
import { made } from "../basics/dom.js";
import { hatch } from "./hatch.js";
import { drawMark, fitPlots, ink, newPlot } from "./plots.js";
import type { Run } from "./wave.js";

export interface LongPlotOptions {
  label: string; // for those who can't see it
  stroke: string;

  /** What stands at a gap. */
  gapText?: (from: number, to: number) => string;

  /** Somebody points at a number, or at none. */
  pointed?: (index: number | null) => void;
  clicked?: (index: number) => void;

  /** Another stretch is in sight. */
  moved?: (from: number, to: number) => void;
}

/** As few numbers fill the plot at most. */
const closest = 8;

export class LongPlot {
  from = 0; // the stretch in sight, in indexes, with their parts
  to = 1;
  followsHeight = false; // the height is that of what is in sight, not of all
  mark: number | null = null; // an index
  scale = 1; // where a number stands on the axis, as a factor of its index
  private run: Run | null = null;
  private plot: uPlot | null = null;
  private asked = 0;
  private drag: { x: number; from: number; moved: boolean } | null = null;
  readonly root = made("div", "long");

  constructor(
    into: HTMLElement,
    private readonly options: LongPlotOptions,
  ) {
    const { root } = this;
    into.append(root);
    root.tabIndex = 0;
    root.setAttribute("role", "application");
    root.setAttribute("aria-label", `${options.label}; + and - zoom, arrow keys pan, 0 shows all`);
    root.onkeydown = (event) => this.key(event);
    root.addEventListener("wheel", (event) => this.wheel(event), { passive: false });
    root.onpointerdown = (event) => this.press(event);
    root.onpointermove = (event) => this.move(event);
    root.onpointerup = (event) => this.release(event);
    root.onpointercancel = () => (this.drag = null);
    root.onpointerleave = () => this.options.pointed?.(null);
    root.ondblclick = () => this.showAll();
    new ResizeObserver(() => {
      fitPlots(this.plot);
      this.redraw();
    }).observe(root);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => {
      this.end();
      this.redraw();
    });
  }

  /** Shows another run: all of it, or what was in sight of the one before. */
  show(run: Run | null, keepsStretch = false): void {
    this.run = run;
    if (run === null) return this.end();
    if (keepsStretch) this.goTo(this.from, this.to);
    else this.goTo(0, run.length);
  }

  showAll(): void {
    if (this.run !== null) this.goTo(0, this.run.length);
  }

  /** Zooms about a place, an index; the middle if none is given. */
  zoom(factor: number, about = (this.from + this.to) / 2): void {
    this.goTo(about - (about - this.from) * factor, about + (this.to - about) * factor);
  }

  /** By a share of what is in sight. */
  pan(share: number): void {
    const by = share * (this.to - this.from);
    this.goTo(this.from + by, this.to + by);
  }

  goTo(from: number, to: number): void {
    const length = this.run?.length ?? 1;
    const width = Math.min(Math.max(to - from, Math.min(closest, length)), length);
    const middle = (from + to) / 2;
    const start = Math.min(Math.max(middle - width / 2, 0), length - width);
    const isOther = this.from !== start || this.to !== start + width;
    this.from = start;
    this.to = start + width;
    if (isOther) this.options.moved?.(this.from, this.to);
    this.redraw();
  }

  /** Draws once before the screen is shown next. */
  redraw(): void {
    if (this.asked === 0)
      this.asked = requestAnimationFrame(() => {
        this.asked = 0;
        this.draw();
      });
  }

  /** Draws at once. */
  draw(): void {
    const { run } = this;
    if (run === null || this.root.clientWidth === 0) return;
    this.plot ??= this.begin();
    const { plot } = this;
    const { scale } = this;
    const [x, y] = this.points(run, Math.max(1, plot.over.clientWidth));
    this.root.dataset["from"] = String(this.from);
    this.root.dataset["to"] = String(this.to);
    plot.batch(() => {
      plot.setData([x, y], false);
      plot.setScale("x", { min: this.from * scale, max: this.to * scale });
      const { low, high } = this.height(run);
      plot.setScale("y", { min: low, max: high });
    });
  }

  get canvas(): HTMLCanvasElement | null {
    return this.plot?.ctx.canvas ?? null;
  }

  private begin(): uPlot {
    const series: uPlot.Series[] = [
      {},
      { stroke: this.options.stroke, points: { show: (_, __, from, to) => to - from < 100 } },
    ];
    const plot = newPlot(this.root, series, [[0], [null]], {
      height: 220,
      scales: { x: { time: false, auto: false }, y: { auto: false } },
      draw: (drawn) => this.drawOver(drawn),
    });
    // Dragging pans; uPlot would choose a stretch by it.
    Object.assign(plot.cursor.drag!, { x: false, y: false });
    return plot;
  }

  private end(): void {
    this.plot?.destroy();
    this.plot = null;
  }

  /** What to draw: the numbers themselves where they are few, or each pixel's least and most. Pixels
   *  begin at multiples of their width, or the picture would flicker while it moves. */
  private points(run: Run, pixels: number): [x: number[], y: (number | null)[]] {
    const { scale } = this;
    const [x, y]: [number[], (number | null)[]] = [[], []];
    const first = Math.max(0, Math.floor(this.from));
    const end = Math.min(run.length, Math.ceil(this.to) + 1);
    if (end - first <= 2 * pixels) {
      for (let at = first; at < end; ++at) {
        x.push(at * scale);
        y.push(run.at(at));
      }
      return [x, y];
    }
    const step = Math.max(1, Math.floor((this.to - this.from) / pixels));
    for (let at = Math.floor(first / step) * step; at < end; at += step) {
      const to = Math.min(at + step, run.length);
      const found = run.extremes(at, to);
      x.push(at * scale, (at + step / 2) * scale);
      y.push(found?.least ?? null, found?.most ?? null);
    }
    return [x, y];
  }

  private height(run: Run): { low: number; high: number } {
    const [from, to] = this.followsHeight
      ? [Math.max(0, Math.floor(this.from)), Math.min(run.length, Math.ceil(this.to) + 1)]
      : [0, run.length];
    const { least, most } = run.extremes(from, to) ?? { least: 0, most: 1 };
    const room = most > least ? 0.05 * (most - least) : 1;
    return { low: least - room, high: most + room };
  }

  private drawOver(plot: uPlot): void {
    const { run, options } = this;
    if (run === null) return;
    const { ctx, bbox } = plot;
    const { scale } = this;
    const ratio = devicePixelRatio;
    ctx.save();
    ctx.beginPath();
    ctx.rect(bbox.left, bbox.top, bbox.width, bbox.height);
    ctx.clip();
    ctx.font = `${12 * ratio}px system-ui, sans-serif`;
    ctx.textAlign = "center";
    let drawnTo = -Infinity;
    for (const { from, to } of run.gaps) {
      if (to <= this.from || from >= this.to) continue;
      const left = plot.valToPos(from * scale, "x", true);
      const right = Math.max(plot.valToPos(to * scale, "x", true), left + 2 * ratio);
      if (right <= drawnTo) continue; // its pixels are marked
      drawnTo = right;
      hatch(ctx, left, bbox.top, right - left, bbox.height, ratio);
      const text = options.gapText?.(from, to) ?? "";
      const [begin, end] = [Math.max(left, bbox.left), Math.min(right, bbox.left + bbox.width)];
      if (ctx.measureText(text).width > end - begin - 4 * ratio) continue;
      ctx.fillStyle = ink();
      ctx.fillText(text, (begin + end) / 2, bbox.top + 16 * ratio);
    }
    ctx.restore();
    if (this.mark !== null && this.mark >= this.from && this.mark <= this.to)
      drawMark(plot, this.mark * scale, ink(), [3, 3]);
  }

  /** The index under the pointer; null beside the plot. */
  private indexAt(event: MouseEvent): number | null {
    if (this.plot === null || this.run === null) return null;
    const { left, width } = this.plot.over.getBoundingClientRect();
    const share = (event.clientX - left) / width;
    if (share < 0 || share > 1) return null;
    return this.from + share * (this.to - this.from);
  }

  private wheel(event: WheelEvent): void {
    const about = this.indexAt(event);
    if (about === null) return;
    event.preventDefault();
    if (Math.abs(event.deltaX) > Math.abs(event.deltaY)) this.pan(event.deltaX / 1000);
    else this.zoom(2 ** (event.deltaY / 200), about);
  }

  private press(event: PointerEvent): void {
    if (event.button !== 0 || this.indexAt(event) === null) return;
    this.drag = { x: event.clientX, from: this.from, moved: false };
  }

  private move(event: PointerEvent): void {
    const { drag, plot } = this;
    if (drag === null || plot === null) {
      const at = this.indexAt(event);
      const last = (this.run?.length ?? 1) - 1;
      this.options.pointed?.(at === null ? null : Math.min(Math.round(at), last));
      return;
    }
    const by = event.clientX - drag.x;
    if (!drag.moved && Math.abs(by) < 4) return;
    if (!drag.moved) this.root.setPointerCapture(event.pointerId);
    drag.moved = true;
    const width = this.to - this.from;
    const from = drag.from - (by / plot.over.clientWidth) * width;
    this.goTo(from, from + width);
  }

  private release(event: PointerEvent): void {
    const { drag } = this;
    this.drag = null;
    const at = this.indexAt(event);
    if (drag === null || drag.moved || at === null || this.run === null) return;
    this.options.clicked?.(Math.min(Math.round(at), this.run.length - 1));
  }

  private key(event: KeyboardEvent): void {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const share = event.shiftKey ? 1 : 0.1;
    const actions: Record<string, () => void> = {
      ArrowLeft: () => this.pan(-share),
      ArrowRight: () => this.pan(share),
      PageUp: () => this.pan(-1),
      PageDown: () => this.pan(1),
      Home: () => this.goTo(0, this.to - this.from),
      End: () => this.goTo(this.run!.length - (this.to - this.from), this.run!.length),
      "+": () => this.zoom(0.5),
      "=": () => this.zoom(0.5),
      "-": () => this.zoom(2),
      "0": () => this.showAll(),
    };
    const action = actions[event.key];
    if (action === undefined || this.run === null) return;
    event.preventDefault();
    event.stopPropagation();
    action();
  }
}
