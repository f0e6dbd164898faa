/** The raw data of the open/short test: I and Q of each channel as bars, with saturated ones marked. */
import { BarChart } from "../plots/bars.js";
import type { RemoteCapture } from "../decoder/client.js";
import { labelled, option } from "../basics/controls.js";
import { csvOf } from "../basics/csv.js";
import type { EntryKind } from "../decoder/decoder.js";
import { hexId, made } from "../basics/dom.js";
import { pngOf } from "../plots/picture.js";
import { colours } from "../plots/plots.js";
import { channelsText, Stepper } from "./stepper.js";
import { panelOf } from "./tabs.js";
import { timeText } from "../basics/times.js";
import { indexOf } from "../basics/numbers.js";
import type { Copies, View, ViewHost } from "./view.js";
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

export class ScanView implements View {
  readonly name = "scan";
  readonly title = "Scan data";
  readonly decoders = [decoder];
  readonly reduced: readonly string[] = [];
  readonly copies: Copies = {
    csv: async () => csvOf(rowsOf(this.shown)),
    json: async () => JSON.stringify(this.asObject()),
    png: () => this.png(),
  };
  private readonly panel = panelOf(this.name);
  private readonly stepper = new Stepper("report", (at) => this.goTo(at));
  private readonly scans = made("select");
  private readonly sign = made("select");
  private readonly head = made("p", "about");
  private readonly faults = made("p", "told");
  private readonly pointed = made("p", "pointed");
  private readonly charts: BarChart[];
  private file: RemoteCapture | null = null;
  private all: Uint32Array = new Uint32Array();
  private entries: Uint32Array = new Uint32Array(); // of the chosen scan
  private senders = 0;
  private shown: Shown | null = null;
  private isShown = false;
  private asked = 0;

  constructor(private readonly host: ViewHost) {
    this.sign.append(option("unsigned", "unsigned, as decoded"), option("signed", "signed"));
    this.scans.append(option("", "all"));
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
    this.scans.onchange = () => void this.filter().catch(this.failed());
    this.sign.onchange = () => this.redraw();
    this.panel.onkeydown = (event) => void this.stepper.key(event);
    this.pointAt(null);
  }

  open(file: RemoteCapture | null): void {
    this.file = file;
    for (const key of Object.keys(this.panel.dataset)) delete this.panel.dataset[key];
    this.all = this.entries = new Uint32Array();
    this.shown = null;
    this.scans.replaceChildren(option("", "all"));
    this.stepper.setCount(0);
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
    let at = indexOf(this.entries, entry);
    if (at < 0 && indexOf(this.all, entry) >= 0) {
      this.scans.value = "";
      this.take(this.all);
      at = indexOf(this.entries, entry);
    }
    if (at < 0) return;
    this.stepper.set(at);
    if (this.isShown) void this.show().catch(this.failed());
  }

  /** Somebody goes to a report. */
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
    const kinds = (await file.kinds()).filter(isOwn);
    const ids = [...new Set(kinds.map(({ id }) => id!))].sort();
    for (const id of ids) {
      if ([...this.scans.options].some(({ value }) => value === String(id))) continue;
      const [first] = await file.select((kind) => isOwn(kind) && kind.id === id);
      const title = first === undefined ? "" : titleOf((await file.decode(first)).lines);
      if (file !== this.file) return;
      this.scans.append(option(String(id), `${hexId(id)} ${title}`));
    }
    await this.filter();
  }

  private async filter(): Promise<void> {
    const { file } = this;
    if (file === null) return;
    const id = this.scans.value;
    const current = this.entries[this.stepper.at];
    const entries =
      id === "" ? this.all : await file.select((kind) => isOwn(kind) && String(kind.id) === id);
    if (file !== this.file || id !== this.scans.value) return;
    this.take(entries);
    const at = current === undefined ? -1 : indexOf(entries, current);
    if (at >= 0) this.stepper.set(at);
    await this.show();
  }

  private take(entries: Uint32Array): void {
    this.entries = entries;
    this.stepper.setCount(entries.length);
  }

  private async show(): Promise<void> {
    const { file } = this;
    const entry = this.entries[this.stepper.at];
    if (file === null || entry === undefined || entry === this.shown?.entry) return;
    const asked = ++this.asked;
    const [tables, decoded, [listed]] = await Promise.all([
      file.columns({ [decoder]: "all" }, [entry]),
      file.decode(entry),
      file.entries(entry, 1),
    ]);
    const table = tables.get(decoder);
    if (file !== this.file || asked !== this.asked) return;
    if (table === undefined || table.rows === 0) throw new Error(`report ${entry} has no columns`);
    const values = parts.map((part) => Float64Array.from(table.column(part).at(0), Number));
    const bits = BigInt(table.column(saturation).at(0)[0]!);
    const set = Array.from({ length: 64 }, (_, bit) => ((bits >> BigInt(bit)) & 1n) === 1n);
    const channels = values[0]!.length;
    const when = [`report ${entry}`];
    if (listed?.time != null) when.push(timeText(listed.time));
    const sender = listed?.kind.sender;
    if (this.senders > 1 && sender) when.push(`device ${sender.bus}:${sender.device}`);
    this.shown = {
      entry,
      title: titleOf(decoded.lines),
      when: when.join(", "),
      values,
      saturated: set.slice(0, channels),
      elsewhere: set.flatMap((is, bit) => (is && bit >= channels ? [bit] : [])),
      isBrownout: table.column(brownout).numberAt(0) !== 0,
    };
    this.redraw();
  }

  private redraw(): void {
    const { shown } = this;
    if (shown === null) return;
    this.head.textContent = `${shown.title} · ${shown.when}`;
    this.faults.textContent = this.faultsOf(shown).join(" ");
    this.faults.classList.toggle("wrong", this.faultsOf(shown, true).length > 0);
    this.charts.forEach((chart, i) => chart.show(this.signed(shown.values[i]!), shown.saturated));
    this.panel.dataset["entry"] = String(shown.entry);
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
    if (channel === null || shown === null) {
      this.pointed.textContent =
        "Point at a bar to read its channel; the arrow keys go to the next report.";
      return;
    }
    const numbers = parts.map((part, i) => `${part} ${this.signed(shown.values[i]!)[channel]}`);
    const state = shown.saturated[channel] === true ? ", saturated" : "";
    this.pointed.textContent = `Channel ${channel}: ${numbers.join(", ")}${state}`;
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
      ...Object.fromEntries(numbers),
    };
  }

  private png(): Promise<Blob> {
    const pictures = this.charts.map(({ canvas }, i) => ({ caption: parts[i]!, canvas }));
    return pngOf(`${this.file?.name ?? ""}: ${this.head.textContent}`, pictures);
  }
}

/** Channels as lines of a table. */
function* rowsOf(shown: Shown | null): Generator<(string | number)[]> {
  yield ["channel", ...parts, "saturated"];
  for (const [channel, is] of shown?.saturated.entries() ?? [])
    yield [channel, ...shown!.values.map((row) => row[channel]!), is ? 1 : 0];
}

function titleOf(lines: readonly string[]): string {
  return (lines.find((line) => line.trim() !== "") ?? "").trim().replace(/:$/, "");
}

function isOwn(kind: EntryKind): boolean {
  return kind.decoder === decoder && kind.problem === "" && !kind.toDevice;
}
