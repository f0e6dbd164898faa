/** Image frames: their scans as heat maps, a player, and what channels do over the capture. */
import uPlot from "uplot";
import type { RemoteCapture } from "./client.js";
import type { Table } from "./decoder.js";
import { element, made, numberText } from "./dom.js";
import { aroundColours, risingColours } from "./palette.js";
import {
  picturesOf,
  placeIn,
  rangeOf,
  referenceOf,
  scansOf,
  valuesOf,
  type Minus,
  type Picture,
  type Quantity,
  type Range,
  type Scan,
} from "./pictures.js";
import type { Summary } from "./series.js";

export const imageDecoder = "parseVeskImage";

const chunkFrames = 256;
const keptChunks = 6;
const pastFrames = 48;
const plainRate = 60; // frames a second, where the capture tells no times

const select = element<HTMLSelectElement>;
const input = element<HTMLInputElement>;

interface Row {
  table: Table;
  row: number;
}

interface Drawing {
  picture: Picture;
  now: HTMLCanvasElement;
  past: HTMLCanvasElement;
  low: HTMLElement;
  high: HTMLElement;
}

export class FramesView {
  private file: RemoteCapture | null = null;
  private counter = "";
  private entries: Uint32Array = new Uint32Array();
  private summary: Summary | null = null;
  private scans: Scan[] = [];
  private drawings: Drawing[] = [];
  private chunks = new Map<string, Promise<Map<number, Row>>>();
  private current = 0;
  private drawn = -1;
  private channel = 0;
  private timer = 0;
  private pending: Promise<void> | null = null;
  private course: uPlot | null = null;
  private noise: uPlot | null = null;
  private isShown = false;

  /** `tell` is told what went wrong, and `moved` the entry of the frame where somebody has gone. */
  constructor(
    private readonly panel: HTMLElement,
    private readonly tell: (fault: unknown) => void,
    private readonly moved: (entry: number) => void,
  ) {
    for (const id of ["quantity", "minus"]) select(id).onchange = () => this.restyle();
    for (const id of ["scale", "low", "high"]) select(id).onchange = () => this.rescale();
    for (const id of ["over", "statistic"]) select(id).onchange = () => this.plot();
    input("channel").onchange = () => this.chooseChannel(Number(input("channel").value));
    input("scrub").oninput = () => this.goTo(Number(input("scrub").value));
    element("play").onclick = () => this.playOrStop();
    for (const [id, step] of [
      ["back", -1],
      ["on", 1],
    ] as const)
      element(id).onclick = () => this.step(step);
    panel.onkeydown = (event) => this.key(event);
    new ResizeObserver(() => this.resize()).observe(panel);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.plot());
  }

  /** Shows another file's frames, or none. `counter` is the key of their number. */
  open(file: RemoteCapture | null, counter = ""): void {
    this.stop();
    this.file = file;
    this.counter = counter;
    this.entries = new Uint32Array();
    this.summary = null;
    this.scans = [];
    this.chunks.clear();
    this.current = 0;
    this.drawn = -1;
    this.channel = 0;
  }

  /** Takes in what was read since; gives how many frames there are. */
  async refresh(): Promise<number> {
    const file = this.file;
    if (file === null) return 0;
    const isFrame = (kind: { decoder: string; problem: string; toDevice: boolean }) =>
      kind.decoder === imageDecoder && kind.problem === "" && !kind.toDevice;
    const [kinds, entries, summary] = await Promise.all([
      file.kinds(),
      file.select(isFrame),
      file.summary(imageDecoder),
    ]);
    if (file !== this.file) return 0;
    const senders = kinds.filter(isFrame);
    this.entries = entries;
    this.summary = summary;
    if (summary !== null && this.scans.length === 0 && summary.rows > 0) this.begin(summary);
    input("scrub").max = String(Math.max(0, entries.length - 1));
    this.showLost(new Set(senders.map(({ sender }) => JSON.stringify(sender))).size);
    if (this.isShown) {
      this.redraw();
      this.plot();
    }
    return entries.length;
  }

  /** Draws from now on, or draws nothing. */
  setShown(isShown: boolean): void {
    this.isShown = isShown;
    if (!isShown) return this.stop();
    this.redraw();
    this.plot();
  }

  /** Goes to an entry, if it is a frame. */
  goToEntry(entry: number): void {
    let [low, high] = [0, this.entries.length];
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.entries[middle]! < entry) low = middle + 1;
      else high = middle;
    }
    if (this.entries[low] === entry && low !== this.current) this.show(low);
  }

  // ------------------------------------------------------------------------------------ the player

  private key(event: KeyboardEvent): void {
    const target = event.target as HTMLElement;
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    if (target.matches("select, input[type=number]")) return;
    if (target.matches("button") && event.key === " ") return; // it is pressed by that
    const far = event.shiftKey ? 10 : 1;
    const actions: Record<string, () => void> = {
      " ": () => this.playOrStop(),
      ArrowLeft: () => this.step(-far),
      ArrowRight: () => this.step(far),
      PageUp: () => this.step(-100),
      PageDown: () => this.step(100),
      Home: () => this.goTo(0),
      End: () => this.goTo(this.entries.length - 1),
      ArrowUp: () => this.chooseChannel(this.channel + 1),
      ArrowDown: () => this.chooseChannel(this.channel - 1),
      "+": () => this.changeSpeed(1),
      "-": () => this.changeSpeed(-1),
    };
    const action = actions[event.key];
    if (action === undefined) return;
    event.preventDefault();
    action();
  }

  private changeSpeed(step: number): void {
    const speed = select("speed");
    speed.selectedIndex = Math.min(Math.max(speed.selectedIndex + step, 0), speed.length - 1);
  }

  private step(by: number): void {
    this.stop();
    this.goTo(this.current + by);
  }

  /** Somebody goes to a frame. */
  private goTo(frame: number): void {
    this.show(frame);
    const entry = this.entries[this.current];
    if (entry !== undefined && this.timer === 0) this.moved(entry);
  }

  private show(frame: number): void {
    this.current = Math.min(Math.max(frame, 0), Math.max(0, this.entries.length - 1));
    if (this.isShown) this.redraw();
  }

  private playOrStop(): void {
    if (this.timer !== 0) {
      this.stop();
      this.goTo(this.current);
      return;
    }
    if (this.entries.length === 0) return;
    if (this.current === this.entries.length - 1) this.show(0);
    element("play").textContent = "Stop";
    let last = performance.now();
    let due = 0; // frames, with their part
    const tick = (now: number) => {
      due += ((now - last) / 1000) * this.rate() * Number(select("speed").value);
      last = now;
      const whole = Math.floor(due);
      due -= whole;
      this.timer = requestAnimationFrame(tick);
      if (whole > 0) this.show(this.current + whole);
      if (this.current === this.entries.length - 1) this.playOrStop();
    };
    this.timer = requestAnimationFrame(tick);
  }

  private stop(): void {
    cancelAnimationFrame(this.timer);
    this.timer = 0;
    element("play").textContent = "Play";
  }

  /** Frames a second, as they came on the whole. */
  private rate(): number {
    const { rows = 0, firstTime = null, lastTime = null } = this.summary ?? {};
    if (firstTime === null || lastTime === null || lastTime <= firstTime) return plainRate;
    return ((rows - 1) * 1e6) / (lastTime - firstTime);
  }

  // ---------------------------------------------------------------------------------- the pictures

  private begin(summary: Summary): void {
    this.scans = scansOf(summary.columns);
    const scalars = summary.columns.filter((one) => one.count === 1 && !one.isArray);
    const option = (value: string, text: string) => {
      const one = made("option", "", text);
      one.value = value;
      return one;
    };
    select("over").replaceChildren(
      ...this.scans.map(({ name }, i) => option(`scan ${i}`, `${name}, of the channel`)),
      ...scalars.map(({ name }) => option(name, name)),
    );
    input("channel").max = String((this.scans[0]?.inPhase.count ?? 1) - 1);
    this.restyle();
  }

  private restyle(): void {
    const pictures = picturesOf(this.scans, select("quantity").value as Quantity);
    this.drawings = pictures.map((picture) => {
      const now = made("canvas", "now");
      const past = made("canvas", "past");
      const [low, high] = [made("span"), made("span")];
      now.width = past.width = picture.scan.inPhase.count;
      now.height = 1;
      past.height = pastFrames;
      for (const one of [now, past]) one.setAttribute("role", "img");
      past.setAttribute("aria-label", `${picture.title}, the frames before`);
      return { picture, now, past, low, high };
    });
    element("pictures").replaceChildren(...this.drawings.map((one) => this.figure(one)));
    this.redraw();
    this.plot();
  }

  private figure({ picture, now, past, low, high }: Drawing): HTMLElement {
    const colours = made("canvas", "colours");
    colours.width = 256;
    colours.height = 1;
    paint(colours, 0, Float64Array.from({ length: 256 }, (_, i) => i), { low: 0, high: 255 }, picture);
    colours.setAttribute("aria-hidden", "true");
    const count = picture.scan.inPhase.count;
    const ticks = made("div", "ticks");
    for (let at = 0; at < count; at += 8) ticks.append(made("span", "", String(at)));
    const caption = made("figcaption", "", [
      made("strong", "", picture.title),
      made("span", "range", [low, colours, high]),
    ]);
    const figure = made("figure", "", [caption, now, past, ticks]);
    for (const canvas of [now, past]) {
      const channelAt = (event: PointerEvent | MouseEvent) => {
        const { left, width } = canvas.getBoundingClientRect();
        return Math.min(Math.max(Math.floor(((event.clientX - left) / width) * count), 0), count - 1);
      };
      canvas.onpointermove = (event) => void this.pointAt(picture, channelAt(event)).catch(this.tell);
      canvas.onclick = (event) => {
        const scan = this.scans.indexOf(picture.scan);
        select("over").value = `scan ${scan}`;
        this.chooseChannel(channelAt(event));
      };
    }
    return figure;
  }

  private async pointAt(picture: Picture, channel: number): Promise<void> {
    const at = this.current;
    const row = await this.rowOf(at);
    if (row === undefined || at !== this.current || this.summary === null) return;
    const values = valuesOf(picture, row.table, row.row, this.reference());
    const unit = picture.part === "phase" ? "°" : "";
    const text = `${picture.title}, channel ${channel}: ${shortText(values[channel]!)}${unit}`;
    element("pointed").textContent = text;
  }

  private reference(): Float64Array {
    return referenceOf(this.summary!, select("minus").value as Minus);
  }

  private rescale(): void {
    const isFixed = select("scale").value === "fixed";
    for (const id of ["low", "high"]) input(id).parentElement!.hidden = !isFixed;
    this.redraw();
  }

  /** Draws the current frame as soon as it is there; of those asked for meanwhile, the last one. */
  private redraw(): void {
    this.drawn = -1;
    const tried = this.current;
    this.pending ??= this.drawCurrent()
      .catch((fault: unknown) => {
        this.drawn = tried; // it isn't tried again and again
        this.tell(fault);
      })
      .finally(() => {
        this.pending = null;
        if (this.isShown && this.drawn !== this.current && this.entries.length > 0) this.redraw();
      });
  }

  private async drawCurrent(): Promise<void> {
    const { file, current, entries } = this;
    if (file === null || this.summary === null || entries.length === 0) {
      this.drawn = current;
      return;
    }
    const numbers = Array.from({ length: pastFrames }, (_, i) => current - i).filter((n) => n >= 0);
    const rows = await Promise.all(numbers.map((number) => this.rowOf(number)));
    if (file !== this.file) return;
    const reference = this.reference();
    for (const drawing of this.drawings) {
      const { picture, now, past, low, high } = drawing;
      const values = rows.map((one) => one && valuesOf(picture, one.table, one.row, reference));
      const range = this.scaleOf(picture, values);
      clear(past);
      values.forEach((one, age) => one && paint(past, age, one, range, picture));
      clear(now);
      if (values[0]) paint(now, 0, values[0], range, picture);
      const [least, most] = [shortText(range.low), shortText(range.high)];
      low.textContent = least;
      high.textContent = most;
      now.setAttribute("aria-label", `${picture.title}, colours from ${least} to ${most}`);
    }
    this.showFrame(rows[0]);
    this.drawn = current;
    this.course?.redraw(false);
  }

  private scaleOf(picture: Picture, values: (Float64Array | undefined)[]): Range {
    const how = select("scale").value;
    if (picture.part === "phase" || how === "capture")
      return rangeOf(picture, this.summary!, this.reference());
    if (how === "fixed") return { low: Number(input("low").value), high: Number(input("high").value) };
    const range = { low: Infinity, high: -Infinity };
    for (const one of values)
      for (const value of one ?? []) {
        range.low = Math.min(range.low, value);
        range.high = Math.max(range.high, value);
      }
    return range;
  }

  private showFrame(row: Row | undefined): void {
    const scrub = input("scrub");
    scrub.value = String(this.current);
    const parts = [`Frame ${this.current + 1} of ${this.entries.length}`];
    if (row !== undefined)
      for (const { name, kind, isArray, isText } of row.table.columns) {
        if (name === "time" || isText || isArray) continue;
        if (kind !== "float" && kind !== "double" && name !== this.counter) continue;
        const value = row.table.column(name).at(row.row)[0]!;
        parts.push(`${name} ${numberText(value, kind)}`);
      }
    element("frame").textContent = parts.join(" · ");
    scrub.setAttribute("aria-valuetext", parts[0]!);
    this.panel.dataset["frame"] = String(this.current);
  }

  private showLost(senders: number): void {
    const { jumps = [], moreJumps = 0, rows = 0 } = this.summary ?? {};
    const canvas = element<HTMLCanvasElement>("jumps");
    canvas.width = 1000;
    canvas.height = 8;
    const pen = penOf(canvas);
    pen.fillStyle = "#d55e00";
    for (const { row } of jumps) pen.fillRect(Math.min((row / rows) * 1000, 998), 0, 2, 8);
    const count = jumps.length + moreJumps;
    const [first] = jumps;
    let text = "The numbers of the frames follow each other.";
    if (first !== undefined)
      text = `${count} ${count === 1 ? "jump" : "jumps"} in the numbers of the frames, marked below; the first from ${first.from} to ${first.to}.`;
    if (senders > 1) text += ` They come from ${senders} devices, one among the other.`;
    element("lost").textContent = text;
  }

  /** A frame's row; undefined if it can't be had as columns. */
  private async rowOf(frame: number): Promise<Row | undefined> {
    const first = Math.floor(frame / chunkFrames) * chunkFrames;
    const entries = this.entries.subarray(first, first + chunkFrames);
    const key = `${first} ${entries.length}`;
    let chunk = this.chunks.get(key);
    if (chunk === undefined) {
      chunk = this.read(entries);
      chunk.catch(() => this.chunks.delete(key));
    } else this.chunks.delete(key); // what was used last stands last
    this.chunks.set(key, chunk);
    for (const old of this.chunks.keys()) {
      if (this.chunks.size <= keptChunks) break;
      this.chunks.delete(old);
    }
    const entry = this.entries[frame]!;
    return (await chunk).get(entry);
  }

  private async read(entries: Uint32Array): Promise<Map<number, Row>> {
    const tables = await this.file!.columns({ [imageDecoder]: "all" }, entries);
    const table = tables.get(imageDecoder);
    const rows = new Map<number, Row>();
    table?.entries.forEach((entry, row) => rows.set(entry, { table, row }));
    return rows;
  }

  // ------------------------------------------------------------------------------------- the plots

  private chooseChannel(channel: number): void {
    const most = (this.scans[0]?.inPhase.count ?? 1) - 1;
    this.channel = Math.min(Math.max(Math.round(channel) || 0, 0), most);
    input("channel").value = String(this.channel);
    this.plot();
  }

  private plot(): void {
    if (!this.isShown) return;
    // Behind the picture, which people wait for.
    void Promise.resolve(this.pending)
      .then(() => Promise.all([this.plotCourse(), this.plotChannels()]))
      .catch(this.tell);
  }

  private scanOf(what: string): Scan | null {
    const [, number] = /^scan (\d+)$/.exec(what) ?? [];
    return number === undefined ? null : this.scans[Number(number)]!;
  }

  private async plotCourse(): Promise<void> {
    const { file, summary } = this;
    const what = select("over").value;
    if (file === null || summary === null || what === "") return;
    const scan = this.scanOf(what);
    const index = scan === null ? 0 : this.channel;
    const parts = scan === null ? [what] : [scan.inPhase.name];
    if (scan?.quadrature) parts.push(scan.quadrature.name);
    const courses = await Promise.all(parts.map((one) => file.course(imageDecoder, one, index)));
    if (file !== this.file || what !== select("over").value) return;
    const [first] = courses;
    const start = first!.times[0]!;
    const hasTimes = !first!.times.some(Number.isNaN);
    const x = Array.from(first!.times, (time, part) =>
      hasTimes ? (time - start) / 1e6 : part * first!.rowsInPart,
    );
    const reference = scan === null ? new Float64Array(summary.start.length) : this.reference();
    const data: uPlot.AlignedData = [x];
    const series: uPlot.Series[] = [{ label: hasTimes ? "s" : "frame" }];
    const bands: uPlot.Band[] = [];
    const isReduced = first!.rowsInPart > 1;
    courses.forEach(({ least, most }, i) => {
      const { first: channel } = summary.columns.find(({ name }) => name === parts[i])!;
      const minus = reference[channel + index]!;
      const stroke = colours[i % colours.length]!;
      const label = scan === null ? parts[i]! : `${parts[i]}[${index}]`;
      data.push(most.map((value) => value - minus));
      series.push({ label: isReduced ? `${label}, most` : label, stroke });
      if (!isReduced) return;
      data.push(least.map((value) => value - minus));
      series.push({ label: `${label}, least`, stroke });
      bands.push({ series: [series.length - 2, series.length - 1], fill: `${stroke}55` });
    });
    this.course?.destroy();
    const xOf = (row: number) => x[Math.min(Math.floor(row / first!.rowsInPart), x.length - 1)]!;
    this.course = this.newPlot(element("course"), series, data, bands, (plot) => {
      const line = (row: number, stroke: string, dash: number[]) => {
        const at = plot.valToPos(xOf(row), "x", true);
        plot.ctx.strokeStyle = stroke;
        plot.ctx.setLineDash(dash);
        plot.ctx.beginPath();
        plot.ctx.moveTo(at, plot.bbox.top);
        plot.ctx.lineTo(at, plot.bbox.top + plot.bbox.height);
        plot.ctx.stroke();
      };
      plot.ctx.save();
      for (const { row } of summary.jumps.slice(0, 500)) line(row, "#d55e00", [4, 4]);
      line(this.current, ink(), []);
      plot.ctx.restore();
    });
    this.course.over.onclick = () => {
      const part = this.course!.cursor.idx;
      if (part !== null && part !== undefined) this.goTo(part * first!.rowsInPart);
    };
  }

  private async plotChannels(): Promise<void> {
    const { summary } = this;
    const scan = this.scanOf(select("over").value) ?? this.scans[0];
    if (summary === null || scan === undefined) return;
    const isNoise = select("statistic").value === "noise";
    const reference = isNoise ? new Float64Array(summary.start.length) : this.reference();
    const data: uPlot.AlignedData = [Array.from({ length: scan.inPhase.count }, (_, i) => i)];
    const series: uPlot.Series[] = [{ label: "channel" }];
    for (const part of [scan.inPhase, scan.quadrature]) {
      if (part === null) continue;
      const all = isNoise ? summary.noise : summary.mean;
      const from = Array.from({ length: part.count }, (_, i) => part.first + i);
      data.push(from.map((at) => all[at]! - reference[at]!));
      const stroke = colours[series.length - 1]!;
      series.push({ label: part.name, stroke, points: { show: true, size: 5 } });
    }
    this.noise?.destroy();
    this.noise = this.newPlot(element("noise"), series, data, [], () => undefined);
    this.noise.over.onclick = () => {
      const channel = this.noise!.cursor.idx;
      if (channel !== null && channel !== undefined) this.chooseChannel(channel);
    };
  }

  private newPlot(
    into: HTMLElement,
    series: uPlot.Series[],
    data: uPlot.AlignedData,
    bands: uPlot.Band[],
    draw: (plot: uPlot) => void,
  ): uPlot {
    const stroke = ink();
    const grid = { stroke: "#8884", width: 1 };
    return new uPlot(
      {
        width: Math.max(200, into.clientWidth),
        height: 200,
        scales: { x: { time: false } },
        axes: [
          { stroke, grid, ticks: grid },
          { stroke, grid, ticks: grid, size: 70 },
        ],
        series: series.map((one, i) =>
          i === 0 ? one : { ...one, width: 1.5, value: (_, value) => shortText(value) },
        ),
        bands,
        hooks: { draw: [draw] },
      },
      data,
      into,
    );
  }

  private resize(): void {
    for (const [plot, id] of [
      [this.course, "course"],
      [this.noise, "noise"],
    ] as const) {
      const width = element(id).clientWidth;
      if (plot !== null && width > 0 && width !== plot.width) plot.setSize({ width, height: 200 });
    }
  }
}

/** Blue and orange, which people with any colour vision tell apart. */
const colours = ["#0072b2", "#d98200"];

function ink(): string {
  return getComputedStyle(document.body).color;
}

function shortText(value: number | null): string {
  return value === null ? "–" : String(Number(value.toPrecision(6)));
}

/** Pictures of a few pixels, which no graphics processor has to hold. */
function penOf(canvas: HTMLCanvasElement): CanvasRenderingContext2D {
  return canvas.getContext("2d", { willReadFrequently: true })!;
}

function clear(canvas: HTMLCanvasElement): void {
  penOf(canvas).clearRect(0, 0, canvas.width, canvas.height);
}

/** Puts numbers into a line of a picture. */
function paint(
  canvas: HTMLCanvasElement,
  line: number,
  values: Float64Array,
  range: Range,
  { part }: Picture,
): void {
  const palette = part === "phase" ? aroundColours : risingColours;
  const pixels = new ImageData(values.length, 1);
  values.forEach((value, i) => {
    if (!Number.isNaN(value)) pixels.data.set([...palette(placeIn(range, value)), 255], 4 * i);
  });
  penOf(canvas).putImageData(pixels, 0, line);
}
