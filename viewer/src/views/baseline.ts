/** Baselines: a bar for each channel, how far each is from another one, and a channel over the
 *  capture. */
import uPlot from "uplot";
import { BarChart, rangeOf } from "../plots/bars.js";
import { baselineDecoder, baselineKey, deviceOf } from "./baselines.js";
import type { RemoteCapture } from "../decoder/client.js";
import { labelled, numberInput, option } from "../basics/controls.js";
import { csvOf } from "../basics/csv.js";
import type { EntryKind } from "../decoder/decoder.js";
import { made } from "../basics/dom.js";
import { pngOf } from "../plots/picture.js";
import { colours, drawMark, fitPlots, ink, newPlot, shortText } from "../plots/plots.js";
import type { Summary } from "../decoder/series.js";
import { Stepper } from "./stepper.js";
import { panelOf } from "./tabs.js";
import { timeText } from "../basics/times.js";
import { indexOf } from "../basics/numbers.js";
import type { Copies, View, ViewHost } from "./view.js";

type Against = "first" | "before";

interface Shown {
  entry: number;
  values: Float64Array;
  against: number; // the entry that it is compared with
  drift: Float64Array;
}

export class BaselineView implements View {
  readonly name = "baseline";
  readonly title = "Baseline";
  readonly decoders = [baselineDecoder];
  readonly reduced = [baselineDecoder];
  readonly copies: Copies = {
    csv: async () => csvOf(rowsOf(this.shown)),
    json: async () => JSON.stringify(this.asObject()),
    png: () => this.png(),
  };
  private readonly panel = panelOf(this.name);
  private readonly stepper = new Stepper("baseline", (at) => this.goTo(at));
  private readonly against = made("select");
  private readonly device = made("select");
  private readonly deviceLabel = labelled("Device", this.device);
  private readonly channelInput = numberInput("Channel", 0);
  private readonly head = made("p", "about");
  private readonly told = made("p", "faint");
  private readonly pointed = made("p", "pointed");
  private readonly courseAt = made("div");
  private readonly below = made("figure"); // the drift
  private readonly over = made("figure"); // the capture
  private readonly values: BarChart;
  private readonly drift: BarChart;
  private course: uPlot | null = null;
  private file: RemoteCapture | null = null;
  private all: Uint32Array = new Uint32Array();
  private entries: Uint32Array = new Uint32Array(); // of the chosen device
  private senders = 0;
  private summary: Summary | null = null;
  private shown: Shown | null = null;
  private channel = 0;
  private isShown = false;
  private asked = 0;

  constructor(private readonly host: ViewHost) {
    this.against.append(option("first", "the first"), option("before", "the one before"));
    const chart = (title: string, colour: string, into: HTMLElement) => {
      into.append(made("figcaption", "", [made("strong", "", title)]));
      return new BarChart(into, {
        label: `${title}, a bar for each channel`,
        colour,
        pointed: (channel) => this.pointAt(channel),
        clicked: (channel) => this.chooseChannel(channel),
      });
    };
    const above = made("figure");
    const { below, over } = this;
    over.append(
      made("figcaption", "tools", [
        made("strong", "", "Over the capture"),
        labelled("Channel", this.channelInput),
      ]),
      this.courseAt,
    );
    this.values = chart("Baseline", colours[0], above);
    this.drift = chart("Drift", colours[1], below);
    this.deviceLabel.hidden = true;
    this.head.setAttribute("role", "status");
    this.pointed.setAttribute("role", "status");
    this.panel.append(
      made("div", "tools", [
        this.stepper.root,
        labelled("Drift against", this.against),
        this.deviceLabel,
      ]),
      this.head,
      this.told,
      above,
      below,
      this.pointed,
      over,
    );
    this.against.onchange = () => void this.show(true).catch(this.failed());
    this.device.onchange = () => void this.filter().catch(this.failed());
    this.channelInput.onchange = () => this.chooseChannel(Number(this.channelInput.value));
    this.panel.onkeydown = (event) => this.key(event);
    new ResizeObserver(() => fitPlots(this.course)).observe(this.panel);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.plot());
    this.pointAt(null);
  }

  open(file: RemoteCapture | null): void {
    this.file = file;
    for (const key of Object.keys(this.panel.dataset)) delete this.panel.dataset[key];
    this.all = this.entries = new Uint32Array();
    this.summary = null;
    this.shown = null;
    this.device.replaceChildren();
    this.stepper.setCount(0);
    this.channel = 0;
    this.channelInput.value = "0";
  }

  async refresh(entries: Uint32Array, senders: number): Promise<void> {
    this.all = entries;
    this.senders = senders;
    if (this.isShown) await this.update();
  }

  setShown(isShown: boolean): void {
    this.isShown = isShown;
    if (isShown) void this.update().catch(this.failed());
  }

  goToEntry(entry: number): void {
    if (!this.isShown) {
      // It is looked up when it is shown.
      const at = indexOf(this.all, entry);
      if (at >= 0 && this.senders <= 1) {
        this.entries = this.all;
        this.stepper.setCount(this.all.length);
        this.stepper.set(at);
      }
      return;
    }
    const at = indexOf(this.entries, entry);
    if (at < 0) return;
    this.stepper.set(at);
    void this.show().catch(this.failed());
  }

  private key(event: KeyboardEvent): void {
    if (this.stepper.key(event)) return;
    const step = { ArrowUp: 1, ArrowDown: -1 }[event.key];
    if (step === undefined || (event.target as HTMLElement).matches("select, input")) return;
    event.preventDefault();
    this.chooseChannel(this.channel + step);
  }

  /** Somebody goes to a baseline. */
  private goTo(at: number): void {
    void this.show().catch(this.failed());
    this.host.moved(this.entries[at]!);
  }

  /** Tells what went wrong, unless it is of a file that was closed meanwhile. */
  private failed(): (fault: unknown) => void {
    const { file } = this;
    return (fault) => {
      if (file === this.file) this.host.tell(fault);
    };
  }

  /** Takes in what came since. */
  private async update(): Promise<void> {
    const { file } = this;
    if (file === null) return;
    const [summary, kinds] = await Promise.all([file.summary(baselineDecoder), file.kinds()]);
    if (file !== this.file) return;
    this.summary = summary;
    const devices = [...new Set(kinds.filter(isOwn).map(deviceOf))];
    for (const name of devices)
      if (![...this.device.options].some(({ value }) => value === name))
        this.device.append(option(name, name));
    this.deviceLabel.hidden = devices.length < 2;
    await this.filter();
    this.plot();
  }

  private async filter(): Promise<void> {
    const { file } = this;
    if (file === null) return;
    const current = this.entries[this.stepper.at];
    const name = this.device.value;
    const entries =
      this.device.length < 2
        ? this.all
        : await file.select((kind) => isOwn(kind) && deviceOf(kind) === name);
    if (file !== this.file || name !== this.device.value) return;
    this.entries = entries;
    this.stepper.setCount(entries.length);
    const at = current === undefined ? -1 : indexOf(entries, current);
    if (at >= 0) this.stepper.set(at);
    await this.show(true);
  }

  private async show(again = false): Promise<void> {
    const { file, entries, stepper } = this;
    const { at } = stepper;
    const entry = entries[at];
    if (file === null || entry === undefined || (!again && entry === this.shown?.entry)) return;
    const asked = ++this.asked;
    const isFirst = (this.against.value as Against) === "first" || at === 0;
    const against = entries[isFirst ? 0 : at - 1]!;
    const wanted = [...new Set([against, entry])];
    const [tables, [listed]] = await Promise.all([
      file.columns({ [baselineDecoder]: [baselineKey] }, wanted),
      file.entries(entry, 1),
    ]);
    const table = tables.get(baselineDecoder);
    if (file !== this.file || asked !== this.asked) return;
    if (table?.rows !== wanted.length) throw new Error(`baseline ${entry} has no columns`);
    const row = (wanted: number) =>
      Float64Array.from(table.column(baselineKey).at(table.entries.indexOf(wanted)), Number);
    const values = row(entry);
    const other = row(against);
    const drift = values.map((value, channel) => value - other[channel]!);
    this.shown = { entry, values, against, drift };
    const when = listed?.time == null ? "" : `, ${timeText(listed.time)}`;
    this.head.textContent = `Baseline ${at + 1} of ${entries.length} · report ${entry}${when}`;
    this.told.textContent = this.driftText();
    this.channelInput.max = String(values.length - 1);
    // Of a single one there is nothing to compare.
    this.below.hidden = this.over.hidden = entries.length < 2;
    this.values.show(values, [], this.rangeOfAll());
    this.drift.show(drift);
    this.panel.dataset["entry"] = String(entry);
    this.panel.dataset["against"] = String(against);
    this.chooseChannel(this.channel, false);
    this.course?.redraw(false);
  }

  private driftText(): string {
    const { entry, against, drift } = this.shown!;
    if (this.entries.length < 2) return "It is the only one: there is none to compare it with.";
    if (entry === against) return "It is the first one: there is no drift yet.";
    const finite = [...drift].map((value, channel) => ({ value, channel }));
    const known = finite.filter(({ value }) => Number.isFinite(value));
    if (known.length === 0) return "None of its channels has a number to compare.";
    const farthest = known.reduce((best, one) =>
      Math.abs(one.value) > Math.abs(best.value) ? one : best,
    );
    const mean = known.reduce((sum, { value }) => sum + value, 0) / known.length;
    const sign = farthest.value > 0 ? "+" : "";
    return (
      `Drift against report ${against}: farthest channel ${farthest.channel},` +
      ` ${sign}${shortText(farthest.value)}; mean of all ${shortText(mean)}.`
    );
  }

  /** So that the bars of all can be compared. */
  private rangeOfAll() {
    const column = this.summary?.columns.find(({ name }) => name === baselineKey);
    if (this.summary === null || column === undefined) return undefined;
    const { least, most } = this.summary;
    const of = (all: Float64Array) => all.subarray(column.first, column.first + column.count);
    return rangeOf(of(least), of(most), this.shown!.values);
  }

  private chooseChannel(channel: number, draws = true): void {
    const most = (this.shown?.values.length ?? 1) - 1;
    this.channel = Math.min(Math.max(Math.round(channel) || 0, 0), most);
    this.channelInput.value = String(this.channel);
    this.values.choose(this.channel);
    this.drift.choose(this.channel);
    if (draws) this.plot();
  }

  private pointAt(channel: number | null): void {
    const { shown } = this;
    if (channel === null || shown === null) {
      this.pointed.textContent =
        "Point at a bar to read its channel, click to see it over the capture.";
      return;
    }
    const value = shortText(shown.values[channel]!);
    const drift = shortText(shown.drift[channel]!);
    this.pointed.textContent = `Channel ${channel}: ${value}, drift ${drift}`;
  }

  // --------------------------------------------------------------------------- over the capture

  private plot(): void {
    if (this.isShown && this.entries.length > 1) void this.plotCourse().catch(this.failed());
  }

  private async plotCourse(): Promise<void> {
    const { file, channel, summary } = this;
    if (file === null || summary === null || summary.rows === 0) return;
    const course = await file.course(baselineDecoder, baselineKey, channel);
    if (file !== this.file || channel !== this.channel) return;
    const { times, rowsInPart, least, most } = course;
    const start = times[0]!;
    const hasTimes = !times.some(Number.isNaN);
    const x = Array.from(times, (time, part) =>
      hasTimes ? (time - start) / 1e6 : part * rowsInPart,
    );
    const label = `${baselineKey}[${channel}]`;
    const points = { show: x.length < 200, size: 5 };
    const series: uPlot.Series[] = [{ label: hasTimes ? "s" : "baseline" }];
    const data: uPlot.AlignedData = [x];
    const bands: uPlot.Band[] = [];
    const finite = (values: Float64Array) =>
      Array.from(values, (value) => (Number.isFinite(value) ? value : null));
    series.push({ label: rowsInPart > 1 ? `${label}, most` : label, stroke: colours[0], points });
    data.push(finite(most));
    if (rowsInPart > 1) {
      series.push({ label: `${label}, least`, stroke: colours[0], points });
      data.push(finite(least));
      bands.push({ series: [1, 2], fill: `${colours[0]}55` });
    }
    this.course?.destroy();
    this.course = newPlot(this.courseAt, series, data, {
      bands,
      draw: (plot) => {
        if (this.shown === null) return;
        const row = indexOf(this.all, this.shown.entry);
        const part = Math.floor(row / rowsInPart);
        if (part < x.length) drawMark(plot, x[Math.max(0, part)]!, ink());
      },
    });
    this.course.over.onclick = () => {
      const part = this.course!.cursor.idx;
      if (part === null || part === undefined) return;
      const at = indexOf(this.entries, this.all[part * rowsInPart]!);
      if (at >= 0) this.stepper.goTo(at);
    };
    this.panel.dataset["course"] = String(channel);
  }

  // ---------------------------------------------------------------------------------- the copies

  private asObject(): object | null {
    const { shown, file } = this;
    if (shown === null) return null;
    return {
      file: file?.name,
      report: shown.entry,
      [baselineKey]: [...shown.values],
      drift_against_report: shown.against,
      drift: [...shown.drift],
    };
  }

  private png(): Promise<Blob> {
    const pictures = [
      { caption: "Baseline", canvas: this.values.canvas },
      { caption: this.told.textContent ?? "", canvas: this.drift.canvas },
    ];
    if (this.course !== null)
      pictures.push({
        caption: `Channel ${this.channel} over the capture`,
        canvas: this.course.ctx.canvas,
      });
    return pngOf(`${this.file?.name ?? ""}: ${this.head.textContent}`, pictures);
  }
}

/** Channels as lines of a table. */
function* rowsOf(shown: Shown | null): Generator<(string | number)[]> {
  yield ["channel", baselineKey, "drift"];
  for (const [channel, value] of shown?.values.entries() ?? [])
    yield [channel, value, shown!.drift[channel]!];
}

function isOwn(kind: EntryKind): boolean {
  return kind.decoder === baselineDecoder && kind.problem === "" && !kind.toDevice;
}
