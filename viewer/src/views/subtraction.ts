/** What is taken off all frames: nothing, a frame, the mean, or a baseline. Controls for it, and words
 *  that say what it is. */
import { baselineDecoder, baselineKey } from "./baselines.js";
import type { RemoteCapture } from "../decoder/client.js";
import { labelled, numberInput, option } from "../basics/controls.js";
import { deviceOf } from "../basics/devices.js";
import type { EntryKind } from "../decoder/decoder.js";
import { made } from "../basics/dom.js";
import type { Scan } from "./pictures.js";
import type { Summary } from "../decoder/series.js";
import { countBelow, indexOf } from "../basics/numbers.js";
import { isReportOf } from "./view.js";

export interface Reference {
  key: string; // the same for the same numbers
  values: Float64Array; // of each of the summary's channels; NaN where there is none, though wanted
  told: string; // empty where nothing needs to be told
}

/** Numbers of a frame, of each of the summary's channels. */
export type FrameNumbers = (frame: number) => Promise<Float64Array | null>;

export class Subtraction {
  readonly controls: HTMLElement[];
  private readonly frame = numberInput("Number of the frame to subtract", 1);
  private readonly part = made("select");
  private readonly report = numberInput("Report with the baseline", 0);
  private readonly frameLabel = labelled("number", this.frame);
  private readonly partLabel = labelled("of", this.part);
  private readonly reportLabel = labelled("of report", this.report);
  private file: RemoteCapture | null = null;
  private baselines = new Map<string, Uint32Array>(); // by device
  private frameDevices: string[] = [];
  private readonly rows = new Map<number, Float64Array>(); // of baselines that were used

  /** `chosen` is the select that says what to subtract; further choices are added to it. */
  constructor(
    private readonly chosen: HTMLSelectElement,
    changed: () => void,
  ) {
    chosen.append(option("frame", "a frame"), option("baseline", "the baseline"));
    this.report.placeholder = "latest";
    this.report.value = "";
    this.controls = [this.frameLabel, this.partLabel, this.reportLabel];
    const change = () => {
      this.showControls();
      changed();
    };
    for (const one of [chosen, this.frame, this.part, this.report]) one.onchange = change;
    this.showControls();
  }

  open(file: RemoteCapture | null): void {
    this.file = file;
    this.baselines.clear();
    this.frameDevices = [];
    this.rows.clear();
    this.frame.value = "1";
    this.report.value = "";
    this.chosen.value = "nothing";
    this.showControls();
  }

  setScans(scans: readonly Scan[]): void {
    const parts = scans.flatMap(({ inPhase, quadrature }) => [inPhase, quadrature]);
    this.part.replaceChildren(
      ...parts.flatMap((part) => (part === null ? [] : [option(part.name, part.name)])),
    );
  }

  /** Takes in which baselines came since. */
  async refresh(frameDecoder: string): Promise<void> {
    const { file } = this;
    if (file === null) return;
    const kinds = await file.kinds();
    const isBaseline = (kind: EntryKind) => isReportOf([baselineDecoder], kind);
    const baselines = new Map<string, Uint32Array>();
    for (const device of new Set(kinds.filter(isBaseline).map(deviceOf)))
      baselines.set(
        device,
        await file.select((kind) => isBaseline(kind) && deviceOf(kind) === device),
      );
    if (file !== this.file) return;
    this.baselines = baselines;
    const frames = kinds.filter((kind) => isReportOf([frameDecoder], kind));
    this.frameDevices = [...new Set(frames.map(deviceOf))];
  }

  /** What is taken off while a frame is shown; `entry` is where it came. */
  async of(entry: number, summary: Summary, numbersOf: FrameNumbers): Promise<Reference> {
    const how = this.chosen.value;
    const none = new Float64Array(summary.start.length);
    if (how === "first") return { key: how, values: summary.start, told: "" };
    if (how === "mean") {
      // It moves as long as frames come.
      return { key: `mean of ${summary.rows}`, values: summary.mean, told: "" };
    }
    if (how === "frame") {
      const frame = Number(this.frame.value) - 1;
      const values = await numbersOf(frame);
      const told = values === null ? `There is no frame ${this.frame.value}: nothing is shown.` : "";
      return { key: `frame ${frame} ${values !== null}`, values: values ?? none.fill(NaN), told };
    }
    if (how === "baseline") return this.baseline(entry, summary);
    return { key: "nothing", values: none, told: "" };
  }

  private async baseline(entry: number, summary: Summary): Promise<Reference> {
    const part = summary.columns.find(({ name }) => name === this.part.value);
    const values = new Float64Array(summary.start.length);
    if (part === undefined) return { key: "nothing", values, told: "" };
    const own = values.subarray(part.first, part.first + part.count);
    const refused = (why: string): Reference => {
      own.fill(NaN);
      return { key: `${part.name}: ${why}`, values, told: `${why} ${part.name} is not shown.` };
    };
    const device = await this.deviceAt(entry);
    const isChosen = this.report.value !== "";
    const report = isChosen ? Number(this.report.value) : this.latest(device, entry);
    if (report === null) {
      const from = this.baselines.size > 0 ? " of its device" : "";
      return refused(`No baseline${from} came before this frame.`);
    }
    const owner = [...this.baselines].find(([, entries]) => indexOf(entries, report) >= 0)?.[0];
    if (owner === undefined) return refused(`Report ${report} is no baseline.`);
    const numbers = await this.numbersOf(report);
    if (numbers.length !== part.count)
      return refused(`The baseline has ${numbers.length} channels, and not ${part.count}.`);
    own.set(numbers);
    const other = owner === device ? "" : ", which is of another device,";
    const told =
      `The baseline of report ${report}${other} is taken off ${part.name} only:` +
      " no report says which scan a baseline is of.";
    return { key: `baseline ${report} ${part.name}`, values, told };
  }

  /** The device that a frame is of. */
  private async deviceAt(entry: number): Promise<string> {
    if (this.frameDevices.length === 1) return this.frameDevices[0]!;
    const [listed] = await this.file!.entries(entry, 1);
    return listed === undefined ? "" : deviceOf(listed.kind);
  }

  /** The last baseline of a device before an entry. */
  private latest(device: string, entry: number): number | null {
    const entries = this.baselines.get(device) ?? new Uint32Array();
    return entries[countBelow(entries, entry) - 1] ?? null;
  }

  private async numbersOf(report: number): Promise<Float64Array> {
    const known = this.rows.get(report);
    if (known !== undefined) return known;
    const tables = await this.file!.columns({ [baselineDecoder]: [baselineKey] }, [report]);
    const table = tables.get(baselineDecoder);
    if (table?.rows !== 1) throw new Error(`baseline ${report} has no columns`);
    const numbers = Float64Array.from(table.column(baselineKey).at(0), Number);
    if (this.rows.size > 64) this.rows.clear();
    this.rows.set(report, numbers);
    return numbers;
  }

  private showControls(): void {
    const how = this.chosen.value;
    this.frameLabel.hidden = how !== "frame";
    this.partLabel.hidden = this.reportLabel.hidden = how !== "baseline";
  }
}
