/** Baselines: a bar for each channel, how far each is from another one, and a channel over the
 *  capture. */
import { BarChart, rangeOf } from "../plots/bars.js";
import { baselineDecoder, baselineKey } from "./baselines.js";
import type { RemoteCapture } from "../decoder/client.js";
import { labelled, numberInput, option, setOptions } from "../basics/controls.js";
import { CoursePlot } from "../plots/course.js";
import { csvOf } from "../basics/csv.js";
import { deviceOf } from "../basics/devices.js";
import { made } from "../basics/dom.js";
import { pngOf } from "../plots/picture.js";
import { colours, shortText } from "../plots/plots.js";
import type { Summary } from "../decoder/series.js";
import { StepView } from "./stepview.js";
import { timeText } from "../basics/times.js";
import { countBelow, indexOf } from "../basics/numbers.js";
import { isReportOf, type Copies, type ViewHost } from "./view.js";
import { countText } from "../basics/words.js";

type Against = "first" | "before";

interface Shown {
  entry: number;
  when: string;
  values: Float64Array;
  against: number; // the entry that it is compared with
  drift: Float64Array;
}

export class BaselineView extends StepView<Shown> {
  readonly decoders = [baselineDecoder];
  override readonly reduced = [baselineDecoder];
  readonly copies: Copies = {
    csv: async () => csvOf(rowsOf(this.shown)),
    json: async () => JSON.stringify(this.asObject()),
    png: async () => this.png(),
  };
  private readonly against = made("select");
  private readonly device = made("select");
  private readonly deviceLabel = labelled("Device", this.device);
  private readonly channelInput = numberInput("Channel", 0);
  private readonly head = made("p", "about");
  private readonly told = made("p", "faint");
  private readonly pointed = made("p", "pointed");
  private readonly mixed = made("p", "faint"); // what the course is of
  private readonly below = made("figure"); // the drift
  private readonly over = made("figure"); // the capture
  private readonly values: BarChart;
  private readonly drift: BarChart;
  private readonly course: CoursePlot;
  private groups = new Map<string, Uint32Array>(); // by device
  private summary: Summary | null = null;
  private channel = 0;
  private pointedChannel: number | null = null;
  private asked = 0; // how often for a course
  private plotted: { channel: number; of: Summary } | null = null; // what the course shows

  constructor(host: ViewHost) {
    super("baseline", "Baseline", host, "baseline");
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
    const courseAt = made("div");
    const { below, over } = this;
    over.append(
      made("figcaption", "tools", [
        made("strong", "", "Over the capture"),
        labelled("Channel", this.channelInput),
      ]),
      this.mixed,
      courseAt,
    );
    this.values = chart("Baseline", colours[0], above);
    this.drift = chart("Drift", colours[1], below);
    this.course = new CoursePlot(courseAt, {
      rowName: "baseline",
      current: () => (this.shown === null ? -1 : indexOf(this.own, this.shown.entry)),
      clicked: (row) => this.goToRow(row),
    });
    this.deviceLabel.hidden = this.mixed.hidden = true;
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
    this.against.onchange = () => this.redraw();
    this.device.onchange = () => this.goToDevice(this.device.value);
    this.channelInput.onchange = () => this.chooseChannel(Number(this.channelInput.value));
    new ResizeObserver(() => this.course.fit()).observe(this.panel);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => {
      this.plotted = null;
      this.plot();
    });
    this.pointAt(null);
  }

  protected override clear(): void {
    ++this.asked;
    this.plotted = null;
    this.groups.clear();
    this.summary = null;
    this.device.replaceChildren();
    this.channel = 0;
    this.channelInput.value = "0";
    this.course.clear();
    this.pointAt(null);
  }

  protected override key(event: KeyboardEvent): void {
    super.key(event);
    const step = { ArrowUp: 1, ArrowDown: -1 }[event.key];
    if (step === undefined || (event.target as HTMLElement).matches("select, input")) return;
    event.preventDefault();
    this.chooseChannel(this.channel + step);
  }

  // ------------------------------------------------------------------------------- the baselines

  protected override async takeIn(file: RemoteCapture): Promise<void> {
    const end = this.own.at(-1)! + 1;
    const [summary, kinds] = await Promise.all([file.summary(baselineDecoder), file.kinds()]);
    const own = kinds.filter((kind) => isReportOf(this.decoders, kind));
    const groups = new Map<string, Uint32Array>();
    for (const device of new Set(own.map(deviceOf))) {
      const numbers = own.filter((kind) => deviceOf(kind) === device).map(({ number }) => number);
      const entries = await file.selectKinds(numbers, 0, end);
      if (entries.length > 0) groups.set(device, entries);
    }
    if (file !== this.file) return;
    this.summary = summary;
    this.groups = groups;
    setOptions(this.device, [...groups.keys()].map((device) => [device, device || "none"]));
    this.deviceLabel.hidden = groups.size < 2;
    this.mixed.hidden = groups.size < 2;
    this.mixed.textContent = `Of all ${groups.size} devices, one among the other.`;
  }

  /** Those of its device. */
  protected override groupOf(entry: number): Uint32Array {
    const found = [...this.groups].find(([, entries]) => indexOf(entries, entry) >= 0);
    return found?.[1] ?? this.own;
  }

  /** Goes to the baseline of a device that came before the shown one, or else to its first one. */
  private goToDevice(device: string): void {
    const entries = this.groups.get(device);
    if (entries === undefined) return;
    this.goTo(entries[countBelow(entries, this.current) - 1] ?? entries[0]!);
  }

  /** Goes to the first one of the shown one's device, from a row of the course on. */
  private goToRow(row: number): void {
    const at = countBelow(this.entries, this.own[row]!);
    this.stepper.goTo(at);
  }

  protected async look(file: RemoteCapture, entry: number): Promise<Shown> {
    const { entries } = this;
    const at = indexOf(entries, entry);
    const isFirst = (this.against.value as Against) === "first" || at === 0;
    const against = entries[isFirst ? 0 : at - 1]!;
    const wanted = [...new Set([against, entry])];
    const [tables, [listed]] = await Promise.all([
      file.columns({ [baselineDecoder]: [baselineKey] }, wanted),
      file.entries(entry, 1),
    ]);
    const table = tables.get(baselineDecoder);
    if (table?.rows !== wanted.length) throw new Error(`baseline ${entry} has no columns`);
    const row = (wanted: number) =>
      Float64Array.from(table.column(baselineKey).at(table.entries.indexOf(wanted)), Number);
    const values = row(entry);
    const other = row(against);
    const drift = values.map((value, channel) => value - other[channel]!);
    const when = listed?.time == null ? "" : `, ${timeText(listed.time)}`;
    return { entry, when, values, against, drift };
  }

  protected draw({ entry, when, values, against, drift }: Shown): void {
    const { entries } = this;
    const number = indexOf(entries, entry) + 1;
    this.head.textContent = `Baseline ${number} of ${entries.length} · report ${entry}${when}`;
    this.told.textContent = this.driftText();
    this.device.value = [...this.groups].find(([, one]) => one === entries)?.[0] ?? "";
    this.channelInput.max = String(values.length - 1);
    // Of a single one there is nothing to compare.
    this.below.hidden = this.over.hidden = entries.length < 2;
    this.values.show(values, [], this.rangeOfAll());
    this.drift.show(drift);
    this.panel.dataset["against"] = String(against);
    this.chooseChannel(this.channel);
    this.pointAt(this.pointedChannel);
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
    const unknown = drift.length - known.length;
    const but = unknown === 0 ? "" : ` but ${countText(unknown, "channel")} without a number`;
    return (
      `Drift against report ${against}: farthest channel ${farthest.channel},` +
      ` ${sign}${shortText(farthest.value)}; mean of all${but} ${shortText(mean)}.`
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

  private chooseChannel(channel: number): void {
    const most = (this.shown?.values.length ?? 1) - 1;
    this.channel = Math.min(Math.max(Math.round(channel) || 0, 0), most);
    this.channelInput.value = String(this.channel);
    this.values.choose(this.channel);
    this.drift.choose(this.channel);
    this.plot();
  }

  private pointAt(channel: number | null): void {
    const { shown } = this;
    this.pointedChannel = channel;
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
    if (!this.isShown || this.entries.length < 2) return;
    const { channel, summary, plotted } = this;
    if (plotted?.channel === channel && plotted.of === summary) this.course.redraw();
    else void this.plotCourse().catch((fault: unknown) => this.host.tell(fault));
  }

  private async plotCourse(): Promise<void> {
    const { file, channel, summary } = this;
    if (file === null || summary === null || summary.rows === 0) return;
    const asked = ++this.asked;
    const course = await file.course(baselineDecoder, baselineKey, channel);
    if (asked !== this.asked) return;
    this.course.show([{ label: `${baselineKey}[${channel}]`, course, minus: 0 }]);
    this.plotted = { channel, of: summary };
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
    const { canvas } = this.course;
    if (canvas !== null && !this.over.hidden)
      pictures.push({ caption: `Channel ${this.channel} over the capture`, canvas });
    return pngOf(`${this.file?.name ?? ""}: ${this.head.textContent}`, pictures);
  }
}

/** Channels as lines of a table. */
function* rowsOf(shown: Shown | null): Generator<(string | number)[]> {
  yield ["channel", baselineKey, "drift"];
  for (const [channel, value] of shown?.values.entries() ?? [])
    yield [channel, value, shown!.drift[channel]!];
}
