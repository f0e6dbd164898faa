/** ADC dumps: packets joined by their numbers into one waveform, its histogram and its spectrum. */
import type { RemoteCapture } from "../decoder/client.js";
import { button, checkbox, labelled, numberInput, option, text } from "../basics/controls.js";
import { csvOf } from "../basics/csv.js";
import { made } from "../basics/dom.js";
import { adcDecoder, DumpReader, type DumpPart, type DumpWords } from "./dumpreader.js";
import { Latest } from "../basics/latest.js";
import { LongPlot } from "../plots/longplot.js";
import { Measures } from "../plots/measures.js";
import { pngOf } from "../plots/picture.js";
import { colours, faultColour } from "../plots/plots.js";
import { panelOf } from "./tabs.js";
import type { Copies, View, ViewHost } from "./view.js";
import { samplesOf, Wave, type Reading } from "../plots/wave.js";
import { countText } from "../basics/words.js";

const readings: Record<Reading, string> = {
  u32: "words of 32 bits, as decoded",
  s32: "words of 32 bits, signed",
  u16: "halves of 16 bits, low one first",
  s16: "halves of 16 bits, signed, low one first",
};

/** A part of a dump, with what was read of it. */
interface Loaded {
  part: DumpPart;
  words: DumpWords;
  packets: number; // of the whole dump, when it was read
}

const hint =
  "Wheel or + and − zoom, dragging or the arrow keys pan, a double click shows all;" +
  " a click goes to the packet.";

export class AdcView implements View {
  readonly name = "adc";
  readonly title = "ADC dump";
  readonly decoders = [adcDecoder];
  readonly reduced: readonly string[] = [];
  readonly copies: Copies = {
    csv: () => this.csv(),
    json: () => this.json(),
    png: () => this.png(),
  };
  private readonly panel = panelOf(this.name);
  private readonly chosen = numberInput("Dump", 1);
  private readonly reading = made("select");
  private readonly onlySize = checkbox();
  private readonly follows = checkbox();
  private readonly gapButton = button("Next gap", "Go to the next gap", () => this.nextGap());
  private readonly dumpCount = made("span");
  private readonly about = made("p", "about");
  private readonly faults = made("p", "faults");
  private readonly pointed = made("p", "pointed");
  private readonly waveAt = made("div");
  private readonly wavePlot: LongPlot;
  private readonly measures = new Measures(() => this.measure());
  private file: RemoteCapture | null = null;
  private reader: DumpReader | null = null;
  private entries: Uint32Array = new Uint32Array();
  private readonly scanning = new Latest(() => this.scanWanted());
  private parts: DumpPart[] = [];
  private part: DumpPart | null = null; // that is shown, or wanted
  private loaded: Loaded | null = null;
  private wave: Wave | null = null; // of what is loaded
  private wanted: number | null = null; // an entry to go to
  private isShown = false;
  private timer = 0;

  constructor(private readonly host: ViewHost) {
    for (const [value, text] of Object.entries(readings)) this.reading.append(option(value, text));
    this.build();
    this.wavePlot = new LongPlot(this.waveAt, {
      label: "Waveform",
      stroke: colours[0],
      gapText: (from, to) => this.gapText(from, to),
      pointed: (index) => this.pointAt(index),
      clicked: (index) => this.click(index),
      moved: () => this.measureSoon(),
    });
    this.chosen.onchange = () => this.choosePart(Number(this.chosen.value) - 1);
    this.reading.onchange = this.onlySize.onchange = () => {
      this.pointed.textContent = hint;
      this.remake(true);
    };
    this.follows.onchange = () => {
      this.wavePlot.followsHeight = this.follows.checked;
      this.wavePlot.redraw();
    };
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.measureSoon());
    this.panel.onkeydown = (event) => this.key(event);
  }

  open(file: RemoteCapture | null): void {
    this.file = file;
    for (const key of Object.keys(this.panel.dataset)) delete this.panel.dataset[key];
    this.entries = new Uint32Array();
    this.reader = file === null ? null : new DumpReader(file);
    this.parts = [];
    this.part = null;
    this.loaded = null;
    this.wave = null;
    this.wanted = null;
    this.wavePlot.mark = null;
    this.wavePlot.show(null);
    this.measures.clear();
    this.about.textContent = this.faults.textContent = "";
    this.pointed.textContent = hint;
  }

  async refresh(entries: Uint32Array): Promise<void> {
    this.entries = entries;
    if (!this.isShown) return;
    this.scanning.ask();
    await this.scanning.done;
  }

  setShown(isShown: boolean): void {
    this.isShown = isShown;
    if (!isShown) return;
    this.scanning.ask();
    this.wavePlot.redraw();
  }

  goToEntry(entry: number): void {
    this.wanted = entry;
    if (this.isShown) this.scanning.ask();
  }

  // --------------------------------------------------------------------------------- the packets

  /** Takes in what was read since, and shows the chosen dump. */
  private async scanWanted(): Promise<void> {
    const { reader } = this;
    if (reader === null) return;
    try {
      await this.scan(reader);
    } catch (fault) {
      if (reader === this.reader) this.host.tell(fault);
    }
  }

  private async scan(reader: DumpReader): Promise<void> {
    await reader.scan(this.entries, (told) => {
      if (reader === this.reader) this.about.textContent = told;
      return reader === this.reader;
    });
    if (reader !== this.reader) return;
    this.parts = reader.parts();
    this.dumpCount.textContent = `of ${this.parts.length}`;
    this.chosen.max = String(this.parts.length);
    await this.goToWanted();
  }

  /** Shows the part with the wanted entry, or the one shown before, with what came since. */
  private async goToWanted(): Promise<void> {
    const shown = this.part;
    let next = this.parts.findIndex(
      ({ dump, first }) =>
        dump === shown?.dump && first >= shown.first && first < shown.first + shown.count,
    );
    let number: number | null = null;
    const { wanted } = this;
    this.wanted = null;
    if (wanted !== null)
      for (const [at, { dump, first, count }] of this.parts.entries()) {
        const found = dump.numberOf(wanted);
        if (found === null || found < first || found >= first + count) continue;
        next = at;
        number = found;
        break;
      }
    const isOther = this.parts[Math.max(0, next)]?.dump !== this.part?.dump;
    await this.showPart(Math.max(0, next), !isOther);
    const { part, loaded, wave } = this;
    if (number === null || wave === null || part === null || part !== loaded?.part) return;
    const from = (number - part.first) * wave.perPacket;
    const plot = this.wavePlot;
    plot.mark = from;
    const half = (plot.to - plot.from) / 2;
    if (from < plot.from || from > plot.to) plot.goTo(from - half, from + half);
    plot.redraw();
  }

  private choosePart(at: number): void {
    const limited = Math.min(Math.max(Math.round(at) || 0, 0), this.parts.length - 1);
    this.wavePlot.mark = null;
    void this.showPart(limited, false).catch(this.host.tell);
  }

  private async showPart(at: number, keepsStretch: boolean): Promise<void> {
    const part = this.parts[at];
    const { reader } = this;
    if (part === undefined || reader === null) return;
    this.chosen.value = String(at + 1);
    const { dump } = part;
    this.part = part;
    const { loaded } = this;
    if (loaded !== null && isSamePart(part, loaded.part) && dump.packets === loaded.packets) {
      this.loaded = { ...loaded, part };
      this.tell();
      this.measureSoon(); // it may have been hidden since
      return;
    }
    const { packets } = dump;
    const words = await reader.load(part);
    if (part !== this.part) return;
    if (dump !== this.loaded?.part.dump) this.pointed.textContent = hint;
    this.loaded = { part, words, packets };
    this.remake(keepsStretch);
  }

  // ------------------------------------------------------------------------------------ the wave

  private remake(keepsStretch: boolean): void {
    const { loaded, reader, wave: before } = this;
    if (loaded === null || reader === null) return;
    const { words, present, sizes } = loaded.words;
    const { packetWords } = reader;
    const filled = Uint32Array.from(present, (there, place) => {
      if (there === 0) return 0;
      return this.onlySize.checked
        ? Math.min(packetWords, Math.floor(sizes[place]! / 4))
        : packetWords;
    });
    const wave = new Wave(words, packetWords, filled, this.reading.value as Reading);
    this.wave = wave;
    // The same stretch, though its samples are of another size now.
    const factor = before === null ? 1 : wave.perPacket / before.perPacket;
    const plot = this.wavePlot;
    if (plot.mark !== null) plot.mark *= factor;
    const isAll = before !== null && plot.from <= 0 && plot.to >= before.length;
    const [from, to] = [plot.from * factor, plot.to * factor];
    plot.show(wave);
    if (keepsStretch && before !== null && !isAll) plot.goTo(from, to);
    this.tell();
    this.measure();
  }

  private tell(): void {
    const { wave, loaded } = this;
    if (wave === null || loaded === null) return;
    const { part, words } = loaded;
    const { dump, sender, number, first, count } = part;
    const { came } = words;
    const head = [`Dump ${number}`];
    if (part.part !== "") head.push(part.part);
    if (sender !== "") head.push(sender);
    const packets = `packets ${first} to ${first + count - 1}, ${came} of ${count} are there`;
    const total = `TOTAL_DUMP_SIZE ${dump.total}, taken as bytes`;
    this.about.textContent =
      `${head.join(", ")}: ${packets} · ${wave.present} samples · ${total}`;
    this.panel.dataset["dump"] = this.chosen.value;
    this.panel.dataset["packets"] = `${came}/${count}`;
    this.faults.textContent = this.faultsOf(part, words).join(" ");
    this.gapButton.hidden = wave.gaps.length === 0;
    this.faults.hidden = this.faults.textContent === "";
  }

  private faultsOf({ dump, count }: DumpPart, { came, sizes, present }: DumpWords): string[] {
    const told: string[] = [];
    const lost = count - came;
    if (lost > 0) told.push(`⚠ ${countText(lost, "packet is", "packets are")} lost, marked below.`);
    if (dump.late > 0) told.push(`${countText(dump.late, "packet")} came late.`);
    if (dump.doubled > 0)
      told.push(`${countText(dump.doubled, "packet")} came twice, and counted once.`);
    if (dump.jumpedFrom !== null)
      told.push(`The numbers jump from ${dump.jumpedFrom} to its first one: it was begun anew.`);
    const whole = this.reader!.packetWords * 4;
    let others = 0;
    let example = 0;
    sizes.forEach((size, place) => {
      if (present[place] === 0 || size === whole) return;
      others += 1;
      example = size;
    });
    if (others > 0) {
      const what = this.onlySize.checked ? "left out" : "shown, too";
      told.push(
        `⚠ ${countText(others, "packet has", "packets have")} a PAYLOAD_SIZE other than ${whole}` +
          ` (such as ${example}): what is behind so many bytes is ${what}.`,
      );
    }
    return told;
  }

  /** The next one behind the middle of what is in sight; behind the last one the first. */
  private nextGap(): void {
    const { wave, wavePlot: plot } = this;
    const [first] = wave?.gaps ?? [];
    if (wave === null || first === undefined) return;
    const middle = (plot.from + plot.to) / 2;
    const next = wave.gaps.find(({ from, to }) => (from + to) / 2 > middle + 1) ?? first;
    // As far in as it is, but so that the gap is between a quarter and a half of it.
    const length = Math.max(next.to - next.from, wave.perPacket);
    const half = Math.max(length, Math.min((plot.to - plot.from) / 2, 2 * length));
    plot.goTo((next.from + next.to) / 2 - half, (next.from + next.to) / 2 + half);
  }

  private gapText(from: number, to: number): string {
    const { wave, loaded } = this;
    if (wave === null || loaded === null) return "";
    const first = Math.ceil(from / wave.perPacket);
    const packets = Math.floor(to / wave.perPacket) - first;
    let lost = 0;
    const { present } = loaded.words;
    for (let place = first; place < first + packets; ++place) lost += 1 - present[place]!;
    return lost === 0 ? "not in PAYLOAD_SIZE" : `${countText(lost, "packet")} lost`;
  }

  private pointAt(index: number | null): void {
    const { wave, loaded } = this;
    if (index === null || wave === null || loaded === null) return;
    const { part } = loaded;
    const packet = Math.floor(index / wave.perPacket);
    const value = wave.at(index);
    const text = value === null ? "not there" : String(value);
    const place = `packet ${part.first + packet}, its ${index - packet * wave.perPacket}.`;
    this.pointed.textContent = `Sample ${index} (${place}): ${text}`;
  }

  private click(index: number): void {
    const { wave, loaded } = this;
    if (wave === null || loaded === null) return;
    const { part } = loaded;
    const packet = Math.floor(index / wave.perPacket);
    const entry = part.dump.entryAt(part.first + packet);
    if (entry !== null) this.host.moved(entry);
  }

  // -------------------------------------------------------------------- histogram and spectrum

  /** Of what is in sight, from and to whole samples. */
  private stretch(): [from: number, to: number] {
    const { from, to } = this.wavePlot;
    return [Math.max(0, Math.floor(from)), Math.min(this.wave?.length ?? 0, Math.ceil(to))];
  }

  /** Once panning rests. */
  private measureSoon(): void {
    clearTimeout(this.timer);
    this.timer = window.setTimeout(() => this.measure(), 150);
  }

  private measure(): void {
    clearTimeout(this.timer);
    if (this.wave === null || !this.isShown) return;
    this.measures.show(this.wave, ...this.stretch());
    this.panel.dataset["measured"] = this.stretch().join(" ");
  }

  // --------------------------------------------------------------------------------- the controls

  private build(): void {
    const step = (text: string, label: string, by: number) =>
      button(text, label, () => this.choosePart(Number(this.chosen.value) - 1 + by));
    this.faults.style.borderLeftColor = faultColour;
    this.pointed.setAttribute("role", "status");
    this.pointed.textContent = hint;
    const zoomTools = made("div", "tools", [
      button("−", "Zoom out", () => this.wavePlot.zoom(2)),
      button("+", "Zoom in", () => this.wavePlot.zoom(0.5)),
      button("◀", "Pan left", () => this.wavePlot.pan(-0.5)),
      button("▶", "Pan right", () => this.wavePlot.pan(0.5)),
      button("All", "Show all samples", () => this.wavePlot.showAll()),
      this.gapButton,
      labelled("Height follows what is in sight", this.follows, true),
    ]);
    this.panel.append(
      made("div", "tools", [
        step("◀", "The dump before", -1),
        made("label", "", [text("Dump "), this.chosen, text(" "), this.dumpCount]),
        step("▶", "The next dump", 1),
        labelled("Read as", this.reading),
        labelled("Only PAYLOAD_SIZE bytes of each", this.onlySize, true),
      ]),
      this.about,
      this.faults,
      made(
        "p",
        "faint",
        "How samples and channels lie in the words is not known:" +
          " they are drawn in a row, as they come.",
      ),
      made("figure", "", [zoomTools, this.waveAt]),
      this.pointed,
      this.measures.root,
    );
  }

  private key(event: KeyboardEvent): void {
    if (event.target !== this.panel || event.ctrlKey || event.altKey || event.metaKey) return;
    const step = { PageUp: -1, PageDown: 1 }[event.key];
    if (step !== undefined) {
      event.preventDefault();
      this.choosePart(Number(this.chosen.value) - 1 + step);
    } else this.wavePlot.root.onkeydown!(event);
  }

  // ---------------------------------------------------------------------------------- the copies

  private async csv(): Promise<string> {
    const { wave, loaded } = this;
    return csvOf(wave && loaded ? samplesOf(wave, loaded.part.first, ...this.stretch()) : []);
  }

  private async json(): Promise<string> {
    const { wave, loaded } = this;
    if (wave === null || loaded === null) return "null";
    const { part } = loaded;
    const [from, to] = this.stretch();
    return JSON.stringify({
      file: this.file?.name,
      dump: part.number,
      sender: part.sender || undefined,
      read_as: readings[this.reading.value as Reading],
      total_dump_size: part.dump.total,
      first_packet: part.first,
      first_sample: from,
      lost: wave.gaps,
      values: Array.from({ length: to - from }, (_, i) => wave.at(from + i)),
    });
  }

  private async png(): Promise<Blob> {
    const { canvas } = this.wavePlot;
    const wave = canvas === null ? [] : [{ caption: this.about.textContent!, canvas }];
    const parts = [...wave, ...this.measures.pictures()];
    return pngOf(`${this.file?.name ?? ""}: ADC dump`, parts);
  }
}

function isSamePart(one: DumpPart, other: DumpPart): boolean {
  return one.dump === other.dump && one.first === other.first && one.count === other.count;
}
