/** The raw data of the open/short test: I and Q of each channel as bars, with saturated ones marked. */
import { BarChart } from "../plots/bars.js";
import type { RemoteCapture } from "../decoder/client.js";
import { labelled, option, setOptions } from "../basics/controls.js";
import { csvOf } from "../basics/csv.js";
import { deviceText } from "../basics/devices.js";
import { hexId, made } from "../basics/dom.js";
import { pngOf } from "../plots/picture.js";
import { colours } from "../plots/plots.js";
import { StepView } from "./stepview.js";
import { timeText } from "../basics/times.js";
import { indexOf } from "../basics/numbers.js";
import { isReportOf, type Copies, type ViewHost } from "./view.js";
import { countText } from "../basics/words.js";

const decoder = "parseOpenShortData";
const parts = ["SCAN_DATA_I", "SCAN_DATA_Q"] as const;
const saturation = "SATURATION_DATA";
const brownout = "BROWNOUT";

/** A report, as it is shown. */
interface Shown {
  entry: number;
  title: string; // as its lines begin
  when: string;
  values: Float64Array[]; // of the parts
  saturated: boolean[]; // by channel
  elsewhere: number[]; // bits that are no channel's
  isBrownout: boolean;
}

export class ScanView extends StepView<Shown> {
  readonly decoders = [decoder];
  readonly copies: Copies = {
    csv: async () => csvOf(this.rows()),
    json: async () => JSON.stringify(this.asObject()),
    png: async () => this.png(),
  };
  private readonly scans = made("select");
  private readonly sign = made("select");
  private readonly head = made("p", "about");
  private readonly faults = made("p", "told");
  private readonly pointed = made("p", "pointed");
  private readonly charts: BarChart[];
  private groups = new Map<string, Uint32Array>(); // by ID
  private pointedChannel: number | null = null;

  constructor(host: ViewHost) {
    super("scan", "Scan data", host);
    this.sign.append(option("unsigned", "unsigned, as decoded"), option("signed", "signed"));
    setOptions(this.scans, [["", "all"]]);
    const figures = made("div");
    this.charts = parts.map((part, i) => {
      const key = made("span", "key");
      key.style.background = colours[i]!;
      const figure = made("figure", "", [
        made("figcaption", "", [made("strong", "", [key, document.createTextNode(part)])]),
      ]);
      figures.append(figure);
      return new BarChart(figure, {
        label: `${part}, a bar for each channel`,
        colour: colours[i]!,
        pointed: (channel) => this.pointAt(channel),
      });
    });
    this.head.setAttribute("role", "status");
    this.pointed.setAttribute("role", "status");
    this.panel.append(
      made("div", "tools", [
        this.stepper.root,
        labelled("Scan", this.scans),
        labelled("Numbers", this.sign),
      ]),
      this.head,
      this.faults,
      figures,
      made("p", "faint", "▼ and hatching: the channel's ADC was saturated. ×: not a number."),
      this.pointed,
    );
    this.scans.onchange = () => this.goToScan(this.scans.value);
    this.sign.onchange = () => {
      if (this.shown !== null) this.draw(this.shown);
    };
    this.pointAt(null);
  }

  protected override clear(): void {
    this.groups.clear();
    setOptions(this.scans, [["", "all"]]);
    this.pointAt(null);
  }

  protected override async takeIn(file: RemoteCapture): Promise<void> {
    const end = this.own.at(-1)! + 1;
    const own = (await file.kinds()).filter((kind) => isReportOf(this.decoders, kind));
    const groups = new Map<string, Uint32Array>();
    const titles = new Map<string, string>();
    for (const id of new Set(own.map(({ id }) => id!))) {
      const numbers = own.filter((kind) => kind.id === id).map(({ number }) => number);
      const entries = await file.selectKinds(numbers, 0, end);
      if (entries.length === 0) continue;
      groups.set(String(id), entries);
      titles.set(String(id), `${hexId(id)} ${titleOf((await file.decode(entries[0]!)).lines)}`);
    }
    if (file !== this.file) return;
    this.groups = groups;
    const inOrder = [...titles].sort(([one], [other]) => Number(one) - Number(other));
    setOptions(this.scans, [["", "all"], ...inOrder]);
  }

  /** Those of the chosen scan; all, if it is none of them. */
  protected override groupOf(entry: number): Uint32Array {
    const chosen = this.groups.get(this.scans.value);
    if (chosen !== undefined && indexOf(chosen, entry) >= 0) return chosen;
    this.scans.value = "";
    return this.own;
  }

  /** Goes through the reports of a scan: from the shown one on, if it is of it, or else its first. */
  private goToScan(id: string): void {
    const entries = this.groups.get(id);
    if (entries === undefined || indexOf(entries, this.current) >= 0) this.redraw();
    else this.goTo(entries[0]!);
  }

  protected async look(file: RemoteCapture, entry: number): Promise<Shown> {
    const [tables, decoded, [listed]] = await Promise.all([
      file.columns({ [decoder]: "all" }, [entry]),
      file.decode(entry),
      file.entries(entry, 1),
    ]);
    const table = tables.get(decoder);
    if (table === undefined || table.rows === 0) throw new Error(`report ${entry} has no columns`);
    const values = parts.map((part) => Float64Array.from(table.column(part).at(0), Number));
    const bits = BigInt(table.column(saturation).at(0)[0]!);
    const set = Array.from({ length: 64 }, (_, bit) => ((bits >> BigInt(bit)) & 1n) === 1n);
    const channels = values[0]!.length;
    const when = [`report ${entry}`];
    if (listed?.time != null) when.push(timeText(listed.time));
    if (this.devices > 1 && listed !== undefined) when.push(deviceText(listed.kind));
    return {
      entry,
      title: titleOf(decoded.lines),
      when: when.join(", "),
      values,
      saturated: set.slice(0, channels),
      elsewhere: set.flatMap((is, bit) => (is && bit >= channels ? [bit] : [])),
      isBrownout: table.column(brownout).numberAt(0) !== 0,
    };
  }

  protected draw(shown: Shown): void {
    this.head.textContent = `${shown.title} · ${shown.when}`;
    this.faults.textContent = this.faultsOf(shown).join(" ");
    this.faults.classList.toggle("wrong", this.faultsOf(shown, true).length > 0);
    this.charts.forEach((chart, i) => chart.show(this.signed(shown.values[i]!), shown.saturated));
    this.pointAt(this.pointedChannel);
  }

  /** What is to be told; only what is wrong, if that is asked for. */
  private faultsOf(shown: Shown, onlyWrong = false): string[] {
    const told: string[] = [];
    if (shown.isBrownout) told.push("⚠ Brownout: yes.");
    else if (!onlyWrong) told.push("Brownout: no.");
    const count = shown.saturated.filter(Boolean).length;
    if (count > 0) told.push(`⚠ Saturated: ${channelsText(shown.saturated)}.`);
    else if (!onlyWrong) told.push("No channel is saturated.");
    if (shown.elsewhere.length > 0)
      told.push(`⚠ ${saturation} has bits set that are no channel's: ${shown.elsewhere.join(", ")}.`);
    const large = shown.values.flatMap((row) => [...row]).filter((value) => value >= 2 ** 31).length;
    if (large > 0 && this.sign.value === "unsigned")
      told.push(
        `⚠ ${countText(large, "number is", "numbers are")} 2,147,483,648 or more:` +
          " read as signed, they are negative.",
      );
    return told;
  }

  private signed(values: Float64Array): Float64Array {
    return this.sign.value === "signed" ? values.map((value) => value | 0) : values;
  }

  private pointAt(channel: number | null): void {
    const { shown } = this;
    this.pointedChannel = channel;
    if (channel === null || shown === null) {
      this.pointed.textContent =
        "Point at a bar to read its channel; the arrow keys go to the next report.";
      return;
    }
    const numbers = parts.map((part, i) => `${part} ${this.signed(shown.values[i]!)[channel]}`);
    const state = shown.saturated[channel] === true ? ", saturated" : "";
    this.pointed.textContent = `Channel ${channel}: ${numbers.join(", ")}${state}`;
  }

  /** Channels as lines of a table. */
  private *rows(): Generator<(string | number)[]> {
    const { shown } = this;
    yield ["channel", ...parts, "saturated"];
    if (shown === null) return;
    const values = shown.values.map((row) => this.signed(row));
    for (const [channel, is] of shown.saturated.entries())
      yield [channel, ...values.map((row) => row[channel]!), is ? 1 : 0];
  }

  private asObject(): object | null {
    const { shown, file } = this;
    if (shown === null) return null;
    const numbers = parts.map((part, i) => [part, [...this.signed(shown.values[i]!)]]);
    return {
      file: file?.name,
      report: shown.entry,
      title: shown.title,
      saturated_channels: shown.saturated.flatMap((is, channel) => (is ? [channel] : [])),
      brownout: shown.isBrownout,
      numbers: this.sign.value,
      ...Object.fromEntries(numbers),
    };
  }

  private png(): Promise<Blob> {
    const pictures = this.charts.map(({ canvas }, i) => ({ caption: parts[i]!, canvas }));
    return pngOf(`${this.file?.name ?? ""}: ${this.head.textContent}`, pictures);
  }
}

/** "channel 7", "channels 1, 2 and 7": those that are set, one at least. */
function channelsText(marked: readonly boolean[]): string {
  const numbers = marked.flatMap((is, channel) => (is ? [channel] : []));
  const [last] = numbers.slice(-1);
  if (numbers.length === 1) return `channel ${last}`;
  return `channels ${numbers.slice(0, -1).join(", ")} and ${last}`;
}

function titleOf(lines: readonly string[]): string {
  return (lines.find((line) => line.trim() !== "") ?? "").trim().replace(/:$/, "");
}
