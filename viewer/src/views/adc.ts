/** ADC dumps: packets joined by their numbers into one waveform, its histogram and its spectrum. */
import uPlot from "uplot";
import type { RemoteCapture } from "../client.js";
import type { EntryKind } from "../decoder.js";
import { button, checkbox, counted, labelled, numberInput, option, text } from "../controls.js";
import { made } from "../dom.js";
import { DumpSorter, type Dump, type Packet } from "../dumps.js";
import { LongPlot } from "../longplot.js";
import { csvOf, pngOf } from "../picture.js";
import { colours, faultColour, fitPlots, newPlot, shortText } from "../plots.js";
import { panelOf } from "../tabs.js";
import type { Copies, View, ViewHost } from "../view.js";
import {
  histogramOf,
  PlainRun,
  samplesOf,
  spectrumOf,
  Wave,
  type Histogram,
  type Reading,
} from "../wave.js";

const decoder = "parseAdcDumpPacket";
const header = ["PACKET_ID", "PAYLOAD_SIZE", "TOTAL_DUMP_SIZE"] as const;
const data = "PAYLOAD_DATA";

/** Packets to ask for at a time. */
const scannedAtOnce = 1024;

/** As many packets are one waveform at most: 16 MiB. A dump of more has several parts. */
const mostPackets = 8192;

const readings: Record<Reading, string> = {
  u32: "words of 32 bits, as decoded",
  s32: "words of 32 bits, signed",
  u16: "halves of 16 bits, low one first",
  s16: "halves of 16 bits, signed, low one first",
};

/** A dump, or a part of one that is too long. */
interface Part {
  dump: Dump;
  sender: string; // empty where there is only one
  number: number; // of the dump, from 1
  first: number; // the number of its first packet
  count: number; // packets
  part: string; // "part 1 of 3", or empty
}

export class AdcView implements View {
  readonly name = "adc";
  readonly title = "ADC dump";
  readonly decoders = [decoder];
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
  private readonly decibels = made("select");
  private readonly rate = numberInput("Samples a second", 0);
  private readonly dumpCount = made("span");
  private readonly about = made("p", "about");
  private readonly faults = made("p", "faults");
  private readonly pointed = made("p", "pointed");
  private readonly histogramAt = made("div");
  private readonly histogramSays = made("p", "says");
  private readonly spectrumSays = made("p", "says");
  private readonly waveAt = made("div");
  private readonly spectrumAt = made("div");
  private readonly wavePlot: LongPlot;
  private readonly spectrumPlot: LongPlot;
  private spectrumPointed: (bin: number | null) => void = () => undefined;
  private spectrumSize = 0;
  private histogramPlot: uPlot | null = null;
  private file: RemoteCapture | null = null;
  private entries: Uint32Array = new Uint32Array();
  private senders = 0;
  private sorters = new Map<string, DumpSorter>(); // by the device
  private scanned = new Map<string, number>(); // entries of each
  private scanning: Promise<void> | null = null;
  private packetWords = 0;
  private parts: Part[] = [];
  private part: Part | null = null;
  private words = new Uint32Array();
  private sizes = new Uint32Array(); // PAYLOAD_SIZE of each packet
  private present = new Uint8Array();
  private wave: Wave | null = null;
  private wanted: number | null = null; // an entry to go to
  private isShown = false;
  private timer = 0;

  constructor(private readonly host: ViewHost) {
    for (const [value, text] of Object.entries(readings)) this.reading.append(option(value, text));
    this.decibels.append(option("db", "decibels"), option("linear", "linear"));
    this.build();
    this.wavePlot = new LongPlot(this.waveAt, {
      label: "Waveform",
      stroke: colours[0],
      gapText: (from, to) => this.gapText(from, to),
      pointed: (index) => this.pointAt(index),
      clicked: (index) => this.click(index),
      moved: () => this.measureSoon(),
    });
    this.spectrumPlot = new LongPlot(this.spectrumAt, {
      label: "Spectrum",
      stroke: colours[1],
      pointed: (bin) => this.spectrumPointed(bin),
    });
    this.chosen.onchange = () => this.choosePart(Number(this.chosen.value) - 1);
    this.reading.onchange = this.onlySize.onchange = () => this.remake(true);
    this.follows.onchange = () => {
      this.wavePlot.followsHeight = this.follows.checked;
      this.wavePlot.redraw();
    };
    this.decibels.onchange = this.rate.onchange = () => this.measure();
    new ResizeObserver(() => fitPlots(this.histogramPlot)).observe(this.panel);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.measureSoon());
    this.panel.onkeydown = (event) => this.key(event);
  }

  open(file: RemoteCapture | null): void {
    this.file = file;
    this.entries = new Uint32Array();
    this.sorters.clear();
    this.scanned.clear();
    this.parts = [];
    this.part = null;
    this.wave = null;
    this.wanted = null;
    this.packetWords = 0;
    this.wavePlot.show(null);
    this.about.textContent = this.faults.textContent = "";
  }

  async refresh(entries: Uint32Array, senders: number): Promise<void> {
    this.entries = entries;
    this.senders = senders;
    if (this.isShown) await this.scan();
  }

  setShown(isShown: boolean): void {
    this.isShown = isShown;
    if (!isShown) return;
    void this.scan().catch(this.host.tell);
    this.wavePlot.redraw();
  }

  goToEntry(entry: number): void {
    this.wanted = entry;
    if (this.isShown) void this.scan().catch(this.host.tell);
  }

  // --------------------------------------------------------------------------------- the packets

  /** Puts the packets into dumps that were read since, and shows the chosen one. */
  private scan(): Promise<void> {
    this.scanning ??= this.scanAll().finally(() => (this.scanning = null));
    return this.scanning;
  }

  private async scanAll(): Promise<void> {
    const { file } = this;
    if (file === null) return;
    for (const [sender, entries] of await this.bySender(file)) {
      let done = this.scanned.get(sender) ?? 0;
      while (done < entries.length) {
        const some = entries.subarray(done, done + scannedAtOnce);
        const tables = await file.columns({ [decoder]: header }, some);
        const table = tables.get(decoder);
        if (file !== this.file) return;
        done += some.length;
        this.scanned.set(sender, done);
        if (table === undefined) continue;
        const columns = header.map((key) => table.column(key));
        const packets = Array.from(table.entries, (entry, row): Packet => {
          const [number, size, total] = columns.map((one) => one.numberAt(row));
          return { entry, number: number!, size: size!, total: total! };
        });
        await (await this.sorterOf(sender, file, packets[0]!.entry)).add(packets);
        if (file !== this.file) return;
        this.about.textContent = `${done} of ${entries.length} packets are looked at …`;
      }
      await this.sorters.get(sender)?.flush();
    }
    if (file !== this.file) return;
    this.listParts();
    await this.goToWanted();
  }

  /** The entries of each device; of one device there is no need to tell its name. */
  private async bySender(file: RemoteCapture): Promise<Map<string, Uint32Array>> {
    if (this.senders <= 1) return new Map([["", this.entries]]);
    const names = new Map<string, number[]>();
    for (const kind of await file.kinds())
      if (kind.decoder === decoder && kind.problem === "" && !kind.toDevice) {
        const name = nameOf(kind);
        names.set(name, [...(names.get(name) ?? []), kind.number]);
      }
    const found = new Map<string, Uint32Array>();
    for (const [name, numbers] of names)
      found.set(name, await file.select(({ number }) => numbers.includes(number)));
    return found;
  }

  private async sorterOf(sender: string, file: RemoteCapture, entry: number): Promise<DumpSorter> {
    const payload = async (...entries: number[]) => {
      const table = (await file.columns({ [decoder]: [data] }, entries)).get(decoder)!;
      return Array.from({ length: table.rows }, (_, row) => table.column(data).at(row));
    };
    this.packetWords ||= (await payload(entry))[0]!.length;
    let sorter = this.sorters.get(sender);
    if (sorter !== undefined) return sorter;
    sorter = new DumpSorter(this.packetWords * 4, async (one, other) => {
      const [left, right] = [(await payload(one))[0]!, (await payload(other))[0]!];
      return (left as Uint32Array).every((word, i) => word === right[i]);
    });
    this.sorters.set(sender, sorter);
    return sorter;
  }

  private listParts(): void {
    this.parts = [];
    for (const [sender, { dumps }] of this.sorters)
      dumps.forEach((dump, at) => {
        const { first, count } = dump.range(this.packetWords * 4);
        const pieces = Math.ceil(count / mostPackets);
        for (let piece = 0; piece < pieces; ++piece)
          this.parts.push({
            dump,
            sender,
            number: at + 1,
            first: first + piece * mostPackets,
            count: Math.min(mostPackets, count - piece * mostPackets),
            part: pieces > 1 ? `part ${piece + 1} of ${pieces}` : "",
          });
      });
    this.dumpCount.textContent = `of ${this.parts.length}`;
    this.chosen.max = String(this.parts.length);
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
    if (number === null || this.part === null || this.wave === null) return;
    const from = (number - this.part.first) * this.wave.perPacket;
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
    const { file, packetWords } = this;
    if (part === undefined || file === null) return;
    this.chosen.value = String(at + 1);
    const { dump, first, count } = part;
    const there: number[] = []; // places
    for (let place = 0; place < count; ++place)
      if (dump.entryAt(first + place) !== null) there.push(place);
    const isKnown =
      keepsStretch &&
      this.part?.dump === dump &&
      this.part.first === first &&
      this.part.count === count &&
      this.present.reduce((sum, one) => sum + one, 0) === there.length;
    this.part = part;
    if (isKnown) return this.tell();
    const words = new Uint32Array(count * packetWords);
    const sizes = new Uint32Array(count);
    const present = new Uint8Array(count);
    for (let done = 0; done < there.length; done += scannedAtOnce) {
      const places = there.slice(done, done + scannedAtOnce);
      // A table's rows come in the order of the file, those of a dump in that of their numbers.
      const byEntry = new Map(places.map((place) => [dump.entryAt(first + place)!, place]));
      const entries = [...byEntry.keys()].sort((one, other) => one - other);
      const table = (await file.columns({ [decoder]: [data] }, entries)).get(decoder);
      if (file !== this.file || part !== this.part) return;
      const column = table?.column(data);
      table?.entries.forEach((entry, row) => {
        const place = byEntry.get(entry)!;
        words.set(column!.at(row) as Uint32Array, place * packetWords);
        sizes[place] = dump.sizeAt(first + place);
        present[place] = 1;
      });
    }
    this.words = words;
    this.sizes = sizes;
    this.present = present;
    this.remake(keepsStretch);
  }

  // ------------------------------------------------------------------------------------ the wave

  private remake(keepsStretch: boolean): void {
    const { part, packetWords, wave: before } = this;
    if (part === null) return;
    const filled = Uint32Array.from(this.present, (there, place) => {
      if (there === 0) return 0;
      return this.onlySize.checked
        ? Math.min(packetWords, Math.floor(this.sizes[place]! / 4))
        : packetWords;
    });
    const wave = new Wave(this.words, packetWords, filled, this.reading.value as Reading);
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
    const { part, wave } = this;
    if (part === null || wave === null) return;
    const { dump, sender, number, first, count } = part;
    const came = this.present.reduce((sum, one) => sum + one, 0);
    const head = [`Dump ${number}`];
    if (part.part !== "") head.push(part.part);
    if (sender !== "") head.push(sender);
    const packets = `packets ${first} to ${first + count - 1}, ${came} of ${count} are there`;
    const total = `TOTAL_DUMP_SIZE ${dump.total}, taken as bytes`;
    this.about.textContent =
      `${head.join(", ")}: ${packets} · ${wave.present} samples · ${total}`;
    this.panel.dataset["dump"] = String(this.parts.indexOf(part) + 1);
    this.panel.dataset["packets"] = `${came}/${count}`;
    this.faults.textContent = this.faultsOf(part, came).join(" ");
    this.faults.hidden = this.faults.textContent === "";
  }

  private faultsOf(part: Part, came: number): string[] {
    const { dump, count } = part;
    const told: string[] = [];
    const lost = count - came;
    if (lost > 0) told.push(`⚠ ${counted(lost, "packet is", "packets are")} lost, marked below.`);
    if (dump.late > 0) told.push(`${counted(dump.late, "packet", "packets")} came late.`);
    if (dump.doubled > 0)
      told.push(`${counted(dump.doubled, "packet", "packets")} came twice, and counted once.`);
    if (dump.jumpedFrom !== null)
      told.push(`The numbers jump from ${dump.jumpedFrom} to its first one: it was begun anew.`);
    const whole = this.packetWords * 4;
    let others = 0;
    let example = 0;
    this.sizes.forEach((size, place) => {
      if (this.present[place] === 0 || size === whole) return;
      others += 1;
      example = size;
    });
    if (others > 0) {
      const what = this.onlySize.checked ? "left out" : "shown, too";
      told.push(
        `⚠ ${counted(others, "packet has", "packets have")} a PAYLOAD_SIZE other than ${whole}` +
          ` (such as ${example}): what is behind so many bytes is ${what}.`,
      );
    }
    return told;
  }

  private gapText(from: number, to: number): string {
    const { wave } = this;
    if (wave === null) return "";
    const first = Math.ceil(from / wave.perPacket);
    const packets = Math.floor(to / wave.perPacket) - first;
    let lost = 0;
    for (let place = first; place < first + packets; ++place) lost += 1 - this.present[place]!;
    return lost === 0 ? "not in PAYLOAD_SIZE" : `${counted(lost, "packet", "packets")} lost`;
  }

  private pointAt(index: number | null): void {
    const { wave, part } = this;
    if (index === null || wave === null || part === null) return;
    const packet = Math.floor(index / wave.perPacket);
    const value = wave.at(index);
    const text = value === null ? "not there" : String(value);
    const place = `packet ${part.first + packet}, its ${index - packet * wave.perPacket}.`;
    this.pointed.textContent = `Sample ${index} (${place}): ${text}`;
  }

  private click(index: number): void {
    const { wave, part } = this;
    if (wave === null || part === null) return;
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
    this.showHistogram();
    this.showSpectrum();
    this.panel.dataset["measured"] = this.stretch().join(" ");
  }

  private showHistogram(): void {
    const [from, to] = this.stretch();
    const histogram = histogramOf(this.wave!, from, to);
    this.histogramPlot?.destroy();
    this.histogramPlot = null;
    if (histogram === null) {
      this.histogramSays.textContent = "No samples are in sight.";
      return;
    }
    const { first, width, counts } = histogram;
    const x = Array.from(counts, (_, bin) => first + bin * width + (width - 1) / 2);
    const bars = uPlot.paths.bars!({ size: [0.9, Infinity], gap: 0 });
    this.histogramPlot = newPlot(
      this.histogramAt,
      [
        { label: width === 1 ? "value" : `middle of ${width} values` },
        { label: "samples", stroke: colours[0], fill: colours[0], paths: bars, width: 0 },
      ],
      [x, Array.from(counts)],
      {
        scales: {
          x: { time: false, range: [x[0]! - width, x.at(-1)! + width] },
          y: { range: fromZero },
        },
      },
    );
    this.histogramSays.textContent = this.histogramText(histogram, from, to);
  }

  private histogramText({ first, width, counts }: Histogram, from: number, to: number): string {
    const { least, most } = this.wave!.extremes(from, to)!;
    const sum = counts.reduce((all, count) => all + count, 0);
    let total = 0;
    this.wave!.each(from, to, (value) => (total += value));
    const mean = total / sum;
    let squares = 0;
    this.wave!.each(from, to, (value) => (squares += (value - mean) ** 2));
    const noise = Math.sqrt(squares / sum);
    const bins = width === 1 ? "a bar a value" : `${width} values a bar, from ${first} on`;
    return (
      `${sum} samples in sight: ${least} to ${most}, mean ${shortText(mean)},` +
      ` standard deviation ${shortText(noise)}; ${bins}.`
    );
  }

  private showSpectrum(): void {
    const [from, to] = this.stretch();
    const spectrum = spectrumOf(this.wave!, from, to);
    if (spectrum === null) {
      this.spectrumPlot.show(null);
      this.spectrumSays.textContent = "A spectrum needs four samples without a gap.";
      return;
    }
    const { size, amplitudes } = spectrum;
    const isDecibels = this.decibels.value === "db";
    const values = isDecibels ? amplitudes.map((one) => 20 * Math.log10(one)) : amplitudes;
    const rate = Number(this.rate.value) > 0 ? Number(this.rate.value) : 1;
    const unit = rate === 1 ? "of the rate" : "Hz";
    const amplitudeUnit = isDecibels ? " dB" : "";
    const textAt = (bin: number) =>
      `${shortText((bin / size) * rate)} ${unit}: ${shortText(values[bin]!)}${amplitudeUnit}`;
    let peak = 1;
    for (let bin = 2; bin < amplitudes.length; ++bin)
      if (amplitudes[bin]! > amplitudes[peak]!) peak = bin;
    const base =
      `${size} samples from ${spectrum.from} on, without their mean, Hann window;` +
      ` ${isDecibels ? "dB of one step" : "amplitude in steps"}.`;
    const peakText = amplitudes[peak]! > 0 ? ` Strongest at ${textAt(peak)}.` : " All are zero.";
    this.spectrumSays.textContent = base + peakText;
    this.panel.dataset["peak"] = `${peak} ${size}`;
    this.spectrumPointed = (bin) => {
      this.spectrumSays.textContent = base + (bin === null ? peakText : ` ${textAt(bin)}`);
    };
    this.spectrumPlot.scale = rate / size;
    this.spectrumPlot.show(new PlainRun(values), size === this.spectrumSize);
    this.spectrumSize = size;
  }

  // --------------------------------------------------------------------------------- the controls

  private build(): void {
    const step = (text: string, label: string, by: number) =>
      button(text, label, () => this.choosePart(Number(this.chosen.value) - 1 + by));
    this.faults.style.borderLeftColor = faultColour;
    this.pointed.setAttribute("role", "status");
    this.pointed.textContent =
      "Wheel or + and − zoom, dragging or the arrow keys pan, a double click shows all;" +
      " a click goes to the packet.";
    const zoomTools = made("div", "tools", [
      button("−", "Zoom out", () => this.wavePlot.zoom(2)),
      button("+", "Zoom in", () => this.wavePlot.zoom(0.5)),
      button("◀", "Pan left", () => this.wavePlot.pan(-0.5)),
      button("▶", "Pan right", () => this.wavePlot.pan(0.5)),
      button("All", "Show all samples", () => this.wavePlot.showAll()),
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
      made("div", "plots", [
        made("figure", "", [
          made("figcaption", "", [made("strong", "", "Histogram")]),
          this.histogramAt,
          this.histogramSays,
        ]),
        made("figure", "", [
          made("figcaption", "tools", [
            made("strong", "", "Spectrum"),
            labelled("in", this.decibels),
            labelled("Samples a second", this.rate),
          ]),
          this.spectrumAt,
          this.spectrumSays,
        ]),
      ]),
    );
    this.rate.placeholder = "not known";
    this.rate.value = "";
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
    const { wave, part } = this;
    return csvOf(wave && part ? samplesOf(wave, part.first, ...this.stretch()) : []);
  }

  private async json(): Promise<string> {
    const { wave, part } = this;
    if (wave === null || part === null) return "null";
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
    const parts = [
      { caption: this.about.textContent!, canvas: this.wavePlot.canvas },
      { caption: this.histogramSays.textContent!, canvas: this.histogramPlot?.ctx.canvas },
      { caption: this.spectrumSays.textContent!, canvas: this.spectrumPlot.canvas },
    ].flatMap(({ caption, canvas }) => (canvas ? [{ caption, canvas }] : []));
    return pngOf(`${this.file?.name ?? ""}: ADC dump`, parts);
  }
}

function fromZero(_: uPlot, __: number, most: number): [number, number] {
  return [0, Math.max(1, most * 1.05)];
}

function nameOf({ sender }: EntryKind): string {
  if (sender === null) return "no device";
  return `device ${sender.bus}:${sender.device}, endpoint ${sender.endpoint}`;
}
