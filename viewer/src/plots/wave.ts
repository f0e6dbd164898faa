/** The samples of an ADC dump in a row, with those that are lost left out, and what is worked out of
 *  them: least and most of any stretch at once, a histogram, a spectrum. */
import FFT from "fft.js";

/** How a packet's words are read. Of halves, the low one is the first. */
export type Reading = "u32" | "s32" | "u16" | "s16";

export type Samples = Uint32Array | Int32Array | Uint16Array | Int16Array;

/** A stretch of samples that aren't there. */
export interface Gap {
  from: number;
  to: number; // behind the last one
}

export interface Extremes {
  least: number;
  most: number;
}

/** A run of numbers that can be drawn however long it is. */
export interface Run {
  readonly length: number;

  /** Of those from `from` and before `to`; null where there are none. */
  extremes(from: number, to: number): Extremes | null;

  /** One number; null if it isn't there. */
  at(index: number): number | null;
  readonly gaps: readonly Gap[];
}

const blockSize = 256;

export class Wave implements Run {
  readonly samples: Samples;
  readonly perPacket: number; // samples
  readonly gaps: Gap[] = [];
  readonly present: number; // samples that are there
  private readonly least: Float64Array; // of each block; NaN where there is nothing
  private readonly most: Float64Array;
  private readonly filled: Uint32Array; // samples of each packet

  /** `words` has those of all packets, lost ones as anything; `filled` says how many words of each
   *  packet are there. */
  constructor(words: Uint32Array, wordsOfPacket: number, filled: Uint32Array, reading: Reading) {
    const { buffer, byteOffset, length } = words;
    const perWord = reading === "u16" || reading === "s16" ? 2 : 1;
    if (reading === "u16") this.samples = new Uint16Array(buffer, byteOffset, 2 * length);
    else if (reading === "s16") this.samples = new Int16Array(buffer, byteOffset, 2 * length);
    else if (reading === "s32") this.samples = new Int32Array(buffer, byteOffset, length);
    else this.samples = words;
    this.perPacket = wordsOfPacket * perWord;
    this.filled = filled.map((count) => count * perWord);
    this.present = this.filled.reduce((sum, count) => sum + count, 0);
    this.findGaps();
    const blocks = Math.ceil(this.samples.length / blockSize);
    this.least = new Float64Array(blocks).fill(NaN);
    this.most = new Float64Array(blocks).fill(NaN);
    for (let block = 0; block < blocks; ++block) {
      const end = Math.min((block + 1) * blockSize, this.length);
      const found = this.look(block * blockSize, end);
      if (found === null) continue;
      this.least[block] = found.least;
      this.most[block] = found.most;
    }
  }

  get length(): number {
    return this.samples.length;
  }

  isThere(index: number): boolean {
    const packet = Math.floor(index / this.perPacket);
    return index - packet * this.perPacket < (this.filled[packet] ?? 0);
  }

  at(index: number): number | null {
    return this.isThere(index) ? this.samples[index]! : null;
  }

  extremes(from: number, to: number): Extremes | null {
    const firstBlock = Math.ceil(from / blockSize);
    const lastBlock = Math.floor(to / blockSize);
    if (firstBlock >= lastBlock) return this.look(from, to);
    let found = joined(this.look(from, firstBlock * blockSize), this.look(lastBlock * blockSize, to));
    for (let block = firstBlock; block < lastBlock; ++block) {
      const least = this.least[block]!;
      if (!Number.isNaN(least)) found = joined(found, { least, most: this.most[block]! });
    }
    return found;
  }

  /** The longest stretch without a gap between two places; the first one of several. */
  longest(from: number, to: number): Gap {
    let best = { from, to: from };
    let at = from;
    for (const gap of [...this.gaps, { from: to, to }]) {
      const end = Math.min(gap.from, to);
      if (end - at > best.to - best.from) best = { from: at, to: end };
      at = Math.max(at, gap.to);
    }
    return best;
  }

  /** Calls with each sample that is there. */
  each(from: number, to: number, call: (value: number) => void): void {
    const { samples, perPacket } = this;
    for (let at = from; at < to; ) {
      const packet = Math.floor(at / perPacket);
      const end = Math.min(to, packet * perPacket + this.filled[packet]!);
      for (; at < end; ++at) call(samples[at]!);
      at = Math.max(at, (packet + 1) * perPacket);
    }
  }

  private look(from: number, to: number): Extremes | null {
    let [least, most] = [Infinity, -Infinity];
    this.each(from, to, (value) => {
      if (value < least) least = value;
      if (value > most) most = value;
    });
    return least > most ? null : { least, most };
  }

  private findGaps(): void {
    this.filled.forEach((count, packet) => {
      if (count === this.perPacket) return;
      const gap = { from: packet * this.perPacket + count, to: (packet + 1) * this.perPacket };
      const last = this.gaps.at(-1);
      if (last?.to === gap.from) last.to = gap.to;
      else this.gaps.push(gap);
    });
  }
}

function joined(one: Extremes | null, other: Extremes | null): Extremes | null {
  if (one === null || other === null) return one ?? other;
  return { least: Math.min(one.least, other.least), most: Math.max(one.most, other.most) };
}

export interface Histogram {
  first: number; // the least value of the first bin
  width: number; // of a bin, in values
  counts: Uint32Array;
}

const mostBins = 200;

/** How often values come in a stretch; null if there are none. Bins are whole numbers wide, so that
 *  each has as many values as the others. */
export function histogramOf(wave: Wave, from: number, to: number): Histogram | null {
  const found = wave.extremes(from, to);
  if (found === null) return null;
  const width = Math.ceil((found.most - found.least + 1) / mostBins);
  const counts = new Uint32Array(Math.floor((found.most - found.least) / width) + 1);
  wave.each(from, to, (value) => {
    counts[Math.floor((value - found.least) / width)]! += 1;
  });
  return { first: found.least, width, counts };
}

export interface Spectrum {
  from: number; // its first sample
  size: number; // samples, a power of two
  amplitudes: Float64Array; // of a sine of each frequency: bin / size of the rate of sampling
}

const mostTransformed = 1 << 18;
let transform: FFT | null = null;

/** What frequencies are in the longest stretch without a gap, as many samples of it as make a power of
 *  two: of these without their mean, through a Hann window. Null if there are less than four. */
export function spectrumOf(wave: Wave, from: number, to: number): Spectrum | null {
  const stretch = wave.longest(from, to);
  const room = Math.min(stretch.to - stretch.from, mostTransformed);
  if (room < 4) return null;
  const size = 2 ** Math.floor(Math.log2(room));
  const samples = wave.samples.subarray(stretch.from, stretch.from + size);
  const mean = (samples as Int32Array).reduce((sum, value) => sum + value, 0) / size;
  const windowed = new Float64Array(size);
  for (let i = 0; i < size; ++i) {
    const hann = 0.5 - 0.5 * Math.cos((2 * Math.PI * i) / size);
    windowed[i] = (samples[i]! - mean) * hann;
  }
  if (transform?.size !== size) transform = new FFT(size);
  const out = new Float64Array(2 * size);
  // Any arrays of numbers do.
  transform.realTransform(out as unknown as number[], windowed as unknown as number[]);
  // The window's sum is half of the size, and each of two halves has half of a sine.
  const amplitudes = Float64Array.from(
    { length: size / 2 },
    (_, bin) => (4 / size) * Math.hypot(out[2 * bin]!, out[2 * bin + 1]!),
  );
  amplitudes[0]! /= 2;
  return { from: stretch.from, size, amplitudes };
}

/** Numbers that are all there, as a run; those that aren't finite aren't. */
export class PlainRun implements Run {
  readonly gaps: readonly Gap[] = [];

  constructor(private readonly values: Float64Array) {}

  get length(): number {
    return this.values.length;
  }

  at(index: number): number | null {
    const value = this.values[index] ?? NaN;
    return Number.isFinite(value) ? value : null;
  }

  extremes(from: number, to: number): Extremes | null {
    let [least, most] = [Infinity, -Infinity];
    for (let i = from; i < to; ++i) {
      const value = this.values[i]!;
      if (!Number.isFinite(value)) continue;
      if (value < least) least = value;
      if (value > most) most = value;
    }
    return least > most ? null : { least, most };
  }
}

/** Samples as lines of a table. */
export function* samplesOf(
  wave: Wave,
  firstPacket: number,
  from: number,
  to: number,
): Generator<(string | number | null)[]> {
  yield ["sample", "packet", "value"];
  for (let sample = from; sample < to; ++sample) {
    const packet = firstPacket + Math.floor(sample / wave.perPacket);
    yield [sample, packet, wave.at(sample)];
  }
}
