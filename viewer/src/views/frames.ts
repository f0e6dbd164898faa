/** Image frames: their scans as heat maps, a player, and what channels do over the capture. */
import uPlot from "uplot";
import type { RemoteCapture } from "../decoder/client.js";
import { csvOf } from "../basics/csv.js";
import type { About, Table } from "../decoder/decoder.js";
import { element, made, numberText } from "../basics/dom.js";
import { fillLine, HeatMap } from "../plots/heat.js";
import { pngOf, type Part } from "../plots/picture.js";
import {
  picturesOf,
  rangeOf,
  scansOf,
  valuesOf,
  type Picture,
  type Quantity,
  type Range,
  type Scan,
} from "./pictures.js";
import { colours, drawMark, faultColour, fitPlots, ink, newPlot, shortText } from "../plots/plots.js";
import type { Summary } from "../decoder/series.js";
import { Subtraction, type Reference } from "./subtraction.js";
import { panelOf } from "./tabs.js";
import { indexOf } from "../basics/numbers.js";
import type { Copies, View, ViewHost } from "./view.js";

const imageDecoder = "parseVeskImage";

const chunkFrames = 256;
const tailFrames = 16; // of the last chunk, which may grow, in pieces
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
  now: HeatMap;
  past: HeatMap;
  colours: HTMLCanvasElement; // from the least to the most
  low: HTMLElement;
  high: HTMLElement;
}

export class FramesView implements View {
  readonly name = "frames";
  readonly title = "Image frames";
  readonly decoders = [imageDecoder];
  readonly reduced = [imageDecoder];
  readonly copies: Copies = {
    csv: async () => csvOf(rowsOf(this.drawings, this.framesInSight())),
    json: async () => JSON.stringify(this.asObject()),
    png: () => this.png(),
  };
  private readonly panel = panelOf(this.name);
  private file: RemoteCapture | null = null;
  private counter = "";
  private entries: Uint32Array = new Uint32Array();
  private summary: Summary | null = null;
  private scans: Scan[] = [];
  private drawings: Drawing[] = [];
  private chunks = new Map<string, Promise<Table | undefined>>();
  private readonly subtraction: Subtraction;
  private readonly subtracted = made("p");
  private reference: Reference = { key: "", values: new Float64Array(), told: "" };
  private current = 0;
  private drawn = -1;
  private channel = 0;
  private timer = 0;
  private pending: Promise<void> | null = null;
  private course: uPlot | null = null;
  private noise: uPlot | null = null;
  private isShown = false;

  constructor(private readonly host: ViewHost) {
    select("quantity").onchange = () => this.restyle();
    this.subtraction = new Subtraction(select("minus"), () => this.redraw());
    select("minus").parentElement!.after(...this.subtraction.controls);
    this.subtracted.id = "subtracted";
    element("lost").after(this.subtracted);
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
    this.panel.onkeydown = (event) => this.key(event);
    new ResizeObserver(() => fitPlots(this.course, this.noise)).observe(this.panel);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.plot());
  }

  open(file: RemoteCapture | null, about: About): void {
    this.stop();
    this.file = file;
    this.counter = about.reports.find(({ decoder }) => decoder === imageDecoder)?.counter ?? "";
    this.entries = new Uint32Array();
    this.summary = null;
    this.scans = [];
    this.chunks.clear();
    this.subtraction.open(file);
    this.reference = { key: "", values: new Float64Array(), told: "" };
    this.current = 0;
    this.drawn = -1;
    this.channel = 0;
  }

  async refresh(entries: Uint32Array, senders: number): Promise<void> {
    const { file } = this;
    const summary = (await file?.summary(imageDecoder)) ?? null;
    await this.subtraction.refresh(imageDecoder);
    if (file !== this.file) return;
    this.entries = entries;
    this.summary = summary;
    if (summary !== null && this.scans.length === 0 && summary.rows > 0) this.begin(summary);
    input("scrub").max = String(Math.max(0, entries.length - 1));
    this.showLost(senders);
    if (this.isShown) {
      this.redraw();
      this.plot();
    }
  }

  extend(entries: Uint32Array): void {
    this.entries = entries;
    input("scrub").max = String(Math.max(0, entries.length - 1));
  }

  setShown(isShown: boolean): void {
    this.isShown = isShown;
    if (!isShown) return this.stop();
    this.redraw();
    this.plot();
  }

  goToEntry(entry: number): void {
    const frame = indexOf(this.entries, entry);
    if (frame >= 0 && frame !== this.current) this.show(frame);
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
    if (entry !== undefined && this.timer === 0) this.host.moved(entry);
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
    this.goTo(this.current);
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
    this.subtraction.setScans(this.scans);
    this.reference.values = new Float64Array(summary.start.length);
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
      const { count } = picture.scan.inPhase;
      for (const one of [now, past]) one.setAttribute("role", "img");
      past.setAttribute("aria-label", `${picture.title}, the frames before`);
      return {
        picture,
        now: new HeatMap(now, count, 1),
        past: new HeatMap(past, count, pastFrames),
        colours: made("canvas", "colours"),
        low: made("span"),
        high: made("span"),
      };
    });
    element("pictures").replaceChildren(...this.drawings.map((one) => this.figure(one)));
    this.redraw();
    this.plot();
  }

  private figure({ picture, now, past, colours, low, high }: Drawing): HTMLElement {
    const scale = new HeatMap(colours, 256, 1);
    scale.numbers.forEach((_, i) => (scale.numbers[i] = i));
    scale.paint({ low: 0, high: 255 }, picture.part);
    colours.setAttribute("aria-hidden", "true");
    const count = picture.scan.inPhase.count;
    const ticks = made("div", "ticks");
    for (let at = 0; at < count; at += 8) ticks.append(made("span", "", String(at)));
    const caption = made("figcaption", "", [
      made("strong", "", picture.title),
      made("span", "range", [low, colours, high]),
    ]);
    const figure = made("figure", "", [caption, now.canvas, past.canvas, ticks]);
    for (const canvas of [now.canvas, past.canvas]) {
      const channelAt = (event: PointerEvent | MouseEvent) => {
        const { left, width } = canvas.getBoundingClientRect();
        return Math.min(Math.max(Math.floor(((event.clientX - left) / width) * count), 0), count - 1);
      };
      canvas.onpointermove = (event) => void this.pointAt(picture, channelAt(event)).catch(this.host.tell);
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
    const values = valuesOf(picture, row.table, row.row, this.reference.values);
    const unit = picture.part === "phase" ? "°" : "";
    const text = `${picture.title}, channel ${channel}: ${shortText(values[channel]!)}${unit}`;
    element("pointed").textContent = text;
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
        this.host.tell(fault);
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
    const first = Math.max(0, current - pastFrames + 1);
    const tables = await this.tablesOf(first, current);
    if (file !== this.file) return;
    await this.subtract(entries[current]!);
    if (file !== this.file) return;
    const reference = this.reference.values;
    for (const drawing of this.drawings) {
      const { picture, now, past, low, high } = drawing;
      const { numbers, width } = past;
      for (let age = 0; age < pastFrames; ++age) {
        const line = numbers.subarray(age * width, (age + 1) * width);
        const row = rowIn(tables, entries[current - age]);
        if (row === undefined) line.fill(NaN);
        else fillLine(picture, row.table, row.row, reference, line);
      }
      now.numbers.set(numbers.subarray(0, width));
      const range = this.scaleOf(picture, numbers);
      past.paint(range, picture.part);
      now.paint(range, picture.part);
      const isEmpty = !(range.low <= range.high);
      const [least, most] = isEmpty ? ["–", "–"] : [shortText(range.low), shortText(range.high)];
      low.textContent = least!;
      high.textContent = most!;
      const label = isEmpty ? "not shown" : `colours from ${least} to ${most}`;
      now.canvas.setAttribute("aria-label", `${picture.title}, ${label}`);
    }
    this.showFrame(rowIn(tables, entries[current]));
    this.drawn = current;
    this.course?.redraw(false);
    if (this.timer !== 0) this.readAhead();
  }

  /** Finds what is taken off while an entry's frame is shown. */
  private async subtract(entry: number): Promise<void> {
    const { summary } = this;
    const found = await this.subtraction.of(entry, summary!, async (frame) => {
      const row = await this.rowOf(frame);
      if (row === undefined || summary === null) return null;
      const values = new Float64Array(summary.start.length);
      for (const { name, isArray, first } of summary.columns)
        if (isArray) values.set(Float64Array.from(row.table.column(name).at(row.row), Number), first);
      return values;
    });
    if (summary !== this.summary) return;
    const isOther = found.key !== this.reference.key;
    this.reference = found;
    this.subtracted.textContent = found.told;
    if (isOther) this.plot();
  }

  private scaleOf(picture: Picture, values: Float64Array): Range {
    const how = select("scale").value;
    if (picture.part === "phase" || how === "capture")
      return rangeOf(picture, this.summary!, this.reference.values);
    if (how === "fixed") return { low: Number(input("low").value), high: Number(input("high").value) };
    const range = { low: Infinity, high: -Infinity };
    for (const value of values) {
      if (value < range.low) range.low = value;
      if (value > range.high) range.high = value;
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
    pen.fillStyle = faultColour;
    for (const { row } of jumps) pen.fillRect(Math.min((row / rows) * 1000, 998), 0, 2, 8);
    const count = jumps.length + moreJumps;
    const [first] = jumps;
    let text = "The numbers of the frames follow each other.";
    if (first !== undefined)
      text = `${count} ${count === 1 ? "jump" : "jumps"} in the numbers of the frames, marked below; the first from ${first.from} to ${first.to}.`;
    if (senders > 1) text += ` They come from ${senders} devices, one among the other.`;
    element("lost").textContent = text;
  }

  /** A frame's row; undefined if there is none, or it can't be had as columns. */
  private async rowOf(frame: number): Promise<Row | undefined> {
    const entry = this.entries[frame];
    if (entry === undefined) return undefined;
    return rowIn([await this.tableOf(this.pieceOf(frame))], entry);
  }

  /** All tables that some frames are in. */
  private tablesOf(first: number, last: number): Promise<(Table | undefined)[]> {
    const tables: Promise<Table | undefined>[] = [];
    for (let at = first; at <= last; ) {
      const piece = this.pieceOf(at);
      tables.push(this.tableOf(piece));
      at = piece.first + piece.size;
    }
    return Promise.all(tables);
  }

  /** The frames that one is read together with: few at the end, where more come. */
  private pieceOf(frame: number): { first: number; size: number } {
    const isInTail = frame >= this.entries.length - (this.entries.length % chunkFrames);
    const size = isInTail ? tailFrames : chunkFrames;
    return { first: Math.floor(frame / size) * size, size };
  }

  private tableOf({ first, size }: { first: number; size: number }): Promise<Table | undefined> {
    const entries = this.entries.subarray(first, first + size);
    const key = `${first} ${entries.length}`;
    let table = this.chunks.get(key);
    if (table === undefined) {
      table = this.read(entries);
      table.catch(() => this.chunks.delete(key));
    } else this.chunks.delete(key); // what was used last stands last
    this.chunks.set(key, table);
    for (const old of this.chunks.keys()) {
      if (this.chunks.size <= keptChunks) break;
      this.chunks.delete(old);
    }
    return table;
  }

  /** Asks for what the player comes to next. Whoever needs it hears of what went wrong. */
  private readAhead(): void {
    for (const chunks of [1, 2])
      this.rowOf(this.current + chunks * chunkFrames).catch(() => undefined);
  }

  private async read(entries: Uint32Array): Promise<Table | undefined> {
    const tables = await this.file!.columns({ [imageDecoder]: "all" }, entries);
    return tables.get(imageDecoder);
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
      .catch(this.host.tell);
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
    const reference = scan === null ? new Float64Array(summary.start.length) : this.reference.values;
    const data: uPlot.AlignedData = [x];
    const series: uPlot.Series[] = [{ label: hasTimes ? "s" : "frame" }];
    const bands: uPlot.Band[] = [];
    const isReduced = first!.rowsInPart > 1;
    courses.forEach(({ least, most }, i) => {
      const { first: channel } = summary.columns.find(({ name }) => name === parts[i])!;
      const minus = reference[channel + index]!;
      const stroke = colours[i % colours.length]!;
      const label = scan === null ? parts[i]! : `${parts[i]}[${index}]`;
      data.push(numbersOf(most, minus));
      series.push({ label: isReduced ? `${label}, most` : label, stroke });
      if (!isReduced) return;
      data.push(numbersOf(least, minus));
      series.push({ label: `${label}, least`, stroke });
      bands.push({ series: [series.length - 2, series.length - 1], fill: `${stroke}55` });
    });
    this.course?.destroy();
    const xOf = (row: number) => x[Math.min(Math.floor(row / first!.rowsInPart), x.length - 1)]!;
    this.course = newPlot(element("course"), series, data, {
      bands,
      draw: (plot) => {
        for (const { row } of summary.jumps.slice(0, 500))
          drawMark(plot, xOf(row), faultColour, [4, 4]);
        drawMark(plot, xOf(this.current), ink());
      },
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
    const reference = isNoise ? new Float64Array(summary.start.length) : this.reference.values;
    const data: uPlot.AlignedData = [Array.from({ length: scan.inPhase.count }, (_, i) => i)];
    const series: uPlot.Series[] = [{ label: "channel" }];
    for (const part of [scan.inPhase, scan.quadrature]) {
      if (part === null) continue;
      const all = isNoise ? summary.noise : summary.mean;
      const from = Array.from({ length: part.count }, (_, i) => part.first + i);
      data.push(from.flatMap((at) => numbersOf([all[at]!], reference[at]!)));
      const stroke = colours[series.length - 1]!;
      series.push({ label: part.name, stroke, points: { show: true, size: 5 } });
    }
    this.noise?.destroy();
    this.noise = newPlot(element("noise"), series, data);
    this.noise.over.onclick = () => {
      const channel = this.noise!.cursor.idx;
      if (channel !== null && channel !== undefined) this.chooseChannel(channel);
    };
  }

  // ---------------------------------------------------------------------------------- the copies

  /** Those that the pictures show, the current one first. */
  private framesInSight(): number[] {
    const count = this.entries.length === 0 ? 0 : Math.min(pastFrames, this.current + 1);
    return Array.from({ length: count }, (_, age) => this.current - age);
  }

  private asObject(): object {
    const pictures = this.drawings.map(({ picture, past }) => {
      const lines = this.framesInSight().map((_, age) => lineOf(past, age));
      return [picture.title, lines];
    });
    return {
      file: this.file?.name,
      frames: this.framesInSight().map((frame) => frame + 1),
      reports: this.framesInSight().map((frame) => this.entries[frame]),
      minus: select("minus").value,
      told: this.reference.told || undefined,
      ...Object.fromEntries(pictures),
    };
  }

  private png(): Promise<Blob> {
    const parts = this.drawings.flatMap(({ picture, now, past, colours, low, high }): Part[] => [
      {
        caption: `${picture.title}: colours from ${low.textContent} to ${high.textContent}`,
        canvas: colours,
        width: 120,
        height: 8,
      },
      { caption: "", canvas: now.canvas, width: 480, height: 24 },
      { caption: "", canvas: past.canvas, width: 480, height: 96 },
    ]);
    const [told] = parts;
    if (told !== undefined && this.reference.told !== "")
      told.caption = `${this.reference.told} ${told.caption}`;
    const statistic = select("statistic").selectedOptions[0]?.textContent ?? "";
    for (const [plot, what] of [
      [this.course, "Over time"],
      [this.noise, `Each channel's ${statistic}`],
    ] as const)
      if (plot !== null)
        parts.push({ caption: `${what}: ${captionOf(plot)}`, canvas: plot.ctx.canvas });
    return pngOf(`${this.file?.name ?? ""}: ${element("frame").textContent}`, parts);
  }
}

/** What a plot shows, by its lines' names. */
function captionOf({ series }: uPlot): string {
  return series
    .slice(1)
    .map(({ label }) => label)
    .join(", ");
}

/** Frames as lines of a table. */
function* rowsOf(
  drawings: readonly Drawing[],
  frames: readonly number[],
): Generator<(string | number | null)[]> {
  const titles = drawings.flatMap(({ picture, past }) =>
    Array.from({ length: past.width }, (_, channel) => `${picture.title}[${channel}]`),
  );
  yield ["frame", ...titles];
  for (const [age, frame] of frames.entries())
    yield [frame + 1, ...drawings.flatMap(({ past }) => lineOf(past, age))];
}

function lineOf({ numbers, width }: HeatMap, line: number): (number | null)[] {
  return numbersOf(numbers.subarray(line * width, (line + 1) * width), 0);
}

/** Pictures of a few pixels, which no graphics processor has to hold. */
function penOf(canvas: HTMLCanvasElement): CanvasRenderingContext2D {
  return canvas.getContext("2d", { willReadFrequently: true })!;
}

/** As a plot takes them: what is no number is not there. */
function numbersOf(values: ArrayLike<number>, minus: number): (number | null)[] {
  return Array.from(values, (value) => (Number.isFinite(value - minus) ? value - minus : null));
}

/** The row of an entry, in one of some tables. */
function rowIn(
  tables: readonly (Table | undefined)[],
  entry: number | undefined,
): Row | undefined {
  if (entry === undefined) return undefined;
  for (const table of tables) {
    const row = table === undefined ? -1 : indexOf(table.entries, entry);
    if (row >= 0) return { table: table!, row };
  }
  return undefined;
}
