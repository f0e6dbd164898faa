/** What is worked out of a stretch of samples: a histogram and a spectrum. */
import uPlot from "uplot";
import { labelled, numberInput, option } from "../basics/controls.js";
import { made } from "../basics/dom.js";
import { LongPlot } from "./longplot.js";
import type { Part } from "./picture.js";
import { colours, fitPlots, newPlot, shortText } from "./plots.js";
import { histogramOf, PlainRun, spectrumOf, type Histogram, type Wave } from "./wave.js";

export class Measures {
  readonly root = made("div", "plots");
  private readonly histogramAt = made("div");
  private readonly histogramSays = made("p", "says");
  private readonly spectrumAt = made("div");
  private readonly spectrumSays = made("p", "says");
  private readonly decibels = made("select");
  private readonly rate = numberInput("Samples a second", 0);
  private readonly spectrumPlot: LongPlot;
  private histogramPlot: uPlot | null = null;
  private spectrumPointed: (bin: number | null) => void = () => undefined;
  private spectrumSize = 0;

  /** `changed` is called when it is to be shown anew. */
  constructor(changed: () => void) {
    this.decibels.append(option("db", "decibels"), option("linear", "linear"));
    this.rate.placeholder = "not known";
    this.rate.value = "";
    this.decibels.onchange = this.rate.onchange = changed;
    this.root.append(
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
    );
    this.spectrumPlot = new LongPlot(this.spectrumAt, {
      label: "Spectrum",
      stroke: colours[1],
      pointed: (bin) => this.spectrumPointed(bin),
    });
    new ResizeObserver(() => fitPlots(this.histogramPlot)).observe(this.root);
  }

  clear(): void {
    this.histogramPlot?.destroy();
    this.histogramPlot = null;
    this.spectrumPlot.show(null);
    this.spectrumSize = 0;
    this.spectrumPointed = () => undefined;
    this.histogramSays.textContent = this.spectrumSays.textContent = "";
  }

  show(wave: Wave, from: number, to: number): void {
    this.showHistogram(wave, from, to);
    this.showSpectrum(wave, from, to);
  }

  /** What is shown, with words. */
  pictures(): Part[] {
    return [
      { caption: this.histogramSays.textContent!, canvas: this.histogramPlot?.ctx.canvas },
      { caption: this.spectrumSays.textContent!, canvas: this.spectrumPlot.canvas },
    ].flatMap(({ caption, canvas }) => (canvas ? [{ caption, canvas }] : []));
  }

  private showHistogram(wave: Wave, from: number, to: number): void {
    const histogram = histogramOf(wave, from, to);
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
    this.histogramSays.textContent = histogramText(wave, histogram, from, to);
  }

  private showSpectrum(wave: Wave, from: number, to: number): void {
    const spectrum = spectrumOf(wave, from, to);
    if (spectrum === null) {
      this.spectrumPlot.show(null);
      this.spectrumPointed = () => undefined;
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
    this.root.dataset["peak"] = `${peak} ${size}`;
    this.spectrumPointed = (bin) => {
      this.spectrumSays.textContent = base + (bin === null ? peakText : ` ${textAt(bin)}`);
    };
    this.spectrumPlot.scale = rate / size;
    this.spectrumPlot.show(new PlainRun(values), size === this.spectrumSize);
    this.spectrumSize = size;
  }
}

function histogramText(
  wave: Wave,
  { first, width, counts }: Histogram,
  from: number,
  to: number,
): string {
  const { least, most } = wave.extremes(from, to)!;
  const sum = counts.reduce((all, count) => all + count, 0);
  let total = 0;
  wave.each(from, to, (value) => (total += value));
  const mean = total / sum;
  let squares = 0;
  wave.each(from, to, (value) => (squares += (value - mean) ** 2));
  const noise = Math.sqrt(squares / sum);
  const bins = width === 1 ? "a bar a value" : `${width} values a bar, from ${first} on`;
  return (
    `${sum} samples in sight: ${least} to ${most}, mean ${shortText(mean)},` +
    ` standard deviation ${shortText(noise)}; ${bins}.`
  );
}

function fromZero(_: uPlot, __: number, most: number): [number, number] {
  return [0, Math.max(1, most * 1.05)];
}
