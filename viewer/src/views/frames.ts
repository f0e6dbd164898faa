/** Image frames: their scans as heat maps, a player, and what channels do over the capture. */
import type uPlot from "uplot";
import type { RemoteCapture } from "../decoder/client.js";
import { option } from "../basics/controls.js";
import { captionOf, CoursePlot, plottable } from "../plots/course.js";
import { csvOf } from "../basics/csv.js";
import type { About } from "../decoder/decoder.js";
import { Drawing, pastFrames } from "./drawing.js";
import { element, numberText, made } from "../basics/dom.js";
import { chunkFrames, FrameTables, type Row } from "./frametables.js";
import type { Range } from "../plots/heat.js";
import { Latest } from "../basics/latest.js";
import { pngOf } from "../plots/picture.js";
import { picturesOf, rangeOf, scansOf, type Picture, type Quantity, type Scan } from "./pictures.js";
import { Player } from "./player.js";
import { colours, faultColour, fitPlots, newPlot, shortText } from "../plots/plots.js";
import type { Summary } from "../decoder/series.js";
import { Subtraction, type Reference } from "./subtraction.js";
import { panelOf } from "./tabs.js";
import { indexOf } from "../basics/numbers.js";
import type { Copies, View, ViewHost } from "./view.js";
import { countText } from "../basics/words.js";

const imageDecoder = "parseVeskImage";

const plainRate = 60; // frames a second, where the capture tells no times

const select = element<HTMLSelectElement>;
const input = element<HTMLInputElement>;

/** What the pictures show. */
interface Pictured {
  frame: number;
  entries: Uint32Array; // of all frames
  minus: string; // what is taken off
  told: string; // of that
}

export class FramesView implements View {
  readonly name = "frames";
  readonly title = "Image frames";
  readonly decoders = [imageDecoder];
  readonly reduced = [imageDecoder];
  readonly copies: Copies = {
    csv: async () => csvOf(this.rows()),
    json: async () => JSON.stringify(this.asObject()),
    png: async () => this.png(),
  };
  private readonly panel = panelOf(this.name);
  private readonly drawing = new Latest(() => this.drawWanted());
  private readonly player: Player;
  private readonly course: CoursePlot;
  private readonly hint = element("pointed").textContent!;
  private file: RemoteCapture | null = null;
  private counter = "";
  private entries: Uint32Array = new Uint32Array();
  private summary: Summary | null = null;
  private scans: Scan[] = [];
  private drawings: Drawing[] = [];
  private tables: FrameTables | null = null;
  private readonly subtraction: Subtraction;
  private readonly subtracted = made("p");
  private reference: Reference = { key: "", values: new Float64Array(), told: "" };
  private pictured: Pictured | null = null; // null as long as nothing is drawn
  private pointed: { drawing: Drawing; channel: number; age: number } | null = null;
  private current = 0;
  private channel = 0;
  private plotted = 0; // courses that were asked for
  private noise: uPlot | null = null;
  private isShown = false;

  constructor(private readonly host: ViewHost) {
    this.player = new Player({
      rate: () => this.rate() * Number(select("speed").value),
      goOn: (frames) => {
        this.show(this.current + frames);
        if (this.current === this.entries.length - 1) this.playOrStop();
      },
      changed: (isPlaying) => {
        element("play").textContent = isPlaying ? "Stop" : "Play";
      },
    });
    this.course = new CoursePlot(element("course"), {
      rowName: "frame",
      current: () => this.current,
      clicked: (frame) => this.goTo(frame),
    });
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
    new ResizeObserver(() => {
      this.course.fit();
      fitPlots(this.noise);
    }).observe(this.panel);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.plot());
  }

  open(file: RemoteCapture | null, about: About): void {
    this.player.stop();
    this.file = file;
    this.counter = about.reports.find(({ decoder }) => decoder === imageDecoder)?.counter ?? "";
    this.entries = new Uint32Array();
    this.summary = null;
    this.scans = [];
    this.drawings = [];
    this.tables = file === null ? null : new FrameTables(file, imageDecoder);
    this.subtraction.open(file);
    this.reference = { key: "", values: new Float64Array(), told: "" };
    this.pictured = null;
    this.current = 0;
    this.channel = 0;
    input("channel").value = input("scrub").value = "0";
    delete this.panel.dataset["frame"];
    ++this.plotted;
    this.course.clear();
    this.noise?.destroy();
    this.noise = null;
    element("pictures").replaceChildren();
    element("over").replaceChildren();
    this.subtracted.textContent = element("frame").textContent = "";
    this.pointAt(null);
  }

  async refresh(entries: Uint32Array, devices: number): Promise<void> {
    const { file } = this;
    const summary = (await file?.summary(imageDecoder)) ?? null;
    await this.subtraction.refresh(imageDecoder);
    if (file !== this.file) return;
    this.extend(entries);
    this.summary = summary;
    if (summary !== null && this.scans.length === 0 && summary.rows > 0) this.begin(summary);
    this.showLost(devices);
    if (this.isShown) {
      this.redraw();
      this.plot();
    }
  }

  extend(entries: Uint32Array): void {
    this.entries = entries;
    if (this.tables !== null) this.tables.entries = entries;
    input("scrub").max = String(Math.max(0, entries.length - 1));
  }

  setShown(isShown: boolean): void {
    this.isShown = isShown;
    if (!isShown) return this.player.stop();
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
    this.player.stop();
    this.goTo(this.current + by);
  }

  /** Somebody goes to a frame. */
  private goTo(frame: number): void {
    this.show(frame);
    const entry = this.entries[this.current];
    if (entry !== undefined && !this.player.isPlaying) this.host.moved(entry);
  }

  private show(frame: number): void {
    this.current = Math.min(Math.max(frame, 0), Math.max(0, this.entries.length - 1));
    input("scrub").value = String(this.current);
    this.redraw();
  }

  private playOrStop(): void {
    if (this.player.isPlaying) {
      this.player.stop();
      this.goTo(this.current);
      return;
    }
    if (this.entries.length === 0) return;
    if (this.current === this.entries.length - 1) this.show(0);
    this.goTo(this.current);
    this.player.start();
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
      const drawing: Drawing = new Drawing(picture, {
        pointed: (at) => this.pointAt(at && { drawing, ...at }),
        clicked: (channel) => {
          select("over").value = `scan ${this.scans.indexOf(picture.scan)}`;
          this.chooseChannel(channel);
        },
      });
      return drawing;
    });
    this.pictured = null;
    this.pointAt(null);
    element("pictures").replaceChildren(...this.drawings.map(({ figure }) => figure));
    this.redraw();
    this.plot();
  }

  /** Tells what is drawn under the pointer. */
  private pointAt(at: { drawing: Drawing; channel: number; age: number } | null): void {
    this.pointed = at;
    const { pictured } = this;
    if (at === null || pictured === null || pictured.frame < at.age) {
      element("pointed").textContent = this.hint;
      return;
    }
    const { drawing, channel, age } = at;
    const { title, part } = drawing.picture;
    const frame = age === 0 ? "" : `, frame ${pictured.frame - age + 1}`;
    const value = drawing.numbersOf(age)[channel];
    const unit = part === "phase" && value !== null ? "°" : "";
    element("pointed").textContent =
      `${title}, channel ${channel}${frame}: ${shortText(value)}${unit}`;
  }

  private rescale(): void {
    const isFixed = select("scale").value === "fixed";
    for (const id of ["low", "high"]) input(id).parentElement!.hidden = !isFixed;
    this.redraw();
  }

  /** Draws the current frame as soon as it is there; of those asked for meanwhile, the last one. */
  private redraw(): void {
    if (this.isShown) this.drawing.ask();
  }

  private async drawWanted(): Promise<void> {
    const { file } = this;
    try {
      await this.drawCurrent();
    } catch (fault) {
      if (file === this.file) this.host.tell(fault);
    }
  }

  private async drawCurrent(): Promise<void> {
    const { tables, current: frame, entries, summary } = this;
    if (tables === null || summary === null || entries.length === 0) return;
    const rows = await tables.rowsBack(frame, pastFrames);
    if (tables !== this.tables) return;
    const minus = select("minus").value;
    await this.subtract(entries[frame]!, tables);
    if (tables !== this.tables) return;
    const { values, told } = this.reference;
    for (const drawing of this.drawings)
      drawing.draw(rows, values, (numbers) => this.scaleOf(drawing.picture, numbers));
    this.pictured = { frame, entries, minus, told };
    this.subtracted.textContent = told;
    this.showFrame(this.pictured, rows[0]);
    this.pointAt(this.pointed);
    this.course.redraw();
    if (this.player.isPlaying) this.readAhead(tables);
  }

  /** Finds what is taken off while an entry's frame is shown. */
  private async subtract(entry: number, tables: FrameTables): Promise<void> {
    const summary = this.summary!;
    const found = await this.subtraction.of(entry, summary, async (frame) => {
      const row = await tables.rowOf(frame);
      if (row === undefined) return null;
      const values = new Float64Array(summary.start.length);
      for (const { name, isArray, first } of summary.columns)
        if (isArray) values.set(Float64Array.from(row.table.column(name).at(row.row), Number), first);
      return values;
    });
    if (tables !== this.tables) return;
    const isOther = found.key !== this.reference.key;
    this.reference = found;
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

  private showFrame({ frame, entries }: Pictured, row: Row | undefined): void {
    const parts = [`Frame ${frame + 1} of ${entries.length}`];
    if (row !== undefined)
      for (const { name, kind, isArray, isText } of row.table.columns) {
        if (name === "time" || isText || isArray) continue;
        if (kind !== "float" && kind !== "double" && name !== this.counter) continue;
        const value = row.table.column(name).at(row.row)[0]!;
        parts.push(`${name} ${numberText(value, kind)}`);
      }
    element("frame").textContent = parts.join(" · ");
    input("scrub").setAttribute("aria-valuetext", parts[0]!);
    this.panel.dataset["frame"] = String(frame);
  }

  private showLost(devices: number): void {
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
      text =
        `${countText(count, "jump")} in the numbers of the frames, marked below;` +
        ` the first from ${first.from} to ${first.to}.`;
    if (devices > 1) text += ` They come from ${devices} devices, one among the other.`;
    element("lost").textContent = text;
  }

  /** Asks for what the player comes to next. Whoever needs it hears of what went wrong. */
  private readAhead(tables: FrameTables): void {
    for (const chunks of [1, 2])
      tables.rowOf(this.current + chunks * chunkFrames).catch(() => undefined);
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
    void this.drawing.round
      .then(() => {
        this.plotChannels();
        return this.plotCourse();
      })
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
    const asked = ++this.plotted;
    const courses = await Promise.all(parts.map((one) => file.course(imageDecoder, one, index)));
    if (asked !== this.plotted) return;
    const lines = parts.map((name, i) => {
      const { first } = summary.columns.find((one) => one.name === name)!;
      const minus = scan === null ? 0 : this.reference.values[first + index]!;
      return { label: scan === null ? name : `${name}[${index}]`, course: courses[i]!, minus };
    });
    this.course.show(lines, summary.jumps.map(({ row }) => row));
  }

  private plotChannels(): void {
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
      data.push(from.flatMap((at) => plottable([all[at]!], reference[at]!)));
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
    const { frame } = this.pictured ?? { frame: -1 };
    return Array.from({ length: Math.min(pastFrames, frame + 1) }, (_, age) => frame - age);
  }

  /** Frames as lines of a table. */
  private *rows(): Generator<(string | number | null)[]> {
    yield ["frame", ...this.drawings.flatMap(({ names }) => names)];
    for (const [age, frame] of this.framesInSight().entries())
      yield [frame + 1, ...this.drawings.flatMap((one) => one.numbersOf(age))];
  }

  private asObject(): object {
    const frames = this.framesInSight();
    const { pictured } = this;
    const pictures = this.drawings.map((one) => {
      return [one.picture.title, frames.map((_, age) => one.numbersOf(age))];
    });
    return {
      file: this.file?.name,
      frames: frames.map((frame) => frame + 1),
      reports: frames.map((frame) => pictured!.entries[frame]),
      minus: pictured?.minus,
      told: pictured?.told || undefined,
      ...Object.fromEntries(pictures),
    };
  }

  private png(): Promise<Blob> {
    const parts = this.drawings.flatMap((one) => one.parts);
    const [first] = parts;
    const { told } = this.pictured ?? { told: "" };
    if (first !== undefined && told !== "") first.caption = `${told} ${first.caption}`;
    const statistic = select("statistic").selectedOptions[0]?.textContent ?? "";
    for (const [what, caption, canvas] of [
      ["Over time", this.course.caption, this.course.canvas],
      [`Each channel's ${statistic}`, captionOf(this.noise), this.noise?.ctx.canvas],
    ] as const)
      if (canvas) parts.push({ caption: `${what}: ${caption}`, canvas });
    return pngOf(`${this.file?.name ?? ""}: ${element("frame").textContent}`, parts);
  }
}

/** Pictures of a few pixels, which no graphics processor has to hold. */
function penOf(canvas: HTMLCanvasElement): CanvasRenderingContext2D {
  return canvas.getContext("2d", { willReadFrequently: true })!;
}
