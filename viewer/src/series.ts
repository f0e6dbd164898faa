/** What an overview keeps of all reports of one decoder, however many there are: of each number the
 *  least and the most in some parts of the capture, its mean and its noise; and where the numbers of
 *  reports jump. Its memory doesn't grow with the capture.
 *
 *      const series = new Series("FRAME_NUMBER");
 *      series.add(table); // each table that was followed, in order
 *      series.summary().noise; // of each channel
 *      series.course("D_SCAN_I", 7).least; // over the capture */
import { noTime, type Table } from "./decoder.js";
import { bytesOf, numbersAt } from "./reply.js";

/** A column's numbers in summary(): a channel each, from `first` on. */
export interface Channels {
  name: string;
  count: number;
  isArray: boolean;
  first: number;
}

/** The numbers of two reports that follow each other, and aren't one apart. */
export interface Jump {
  row: number; // of the second one
  from: number;
  to: number;
}

export interface Summary {
  rows: number;
  columns: Channels[];
  start: Float64Array; // of the first row
  least: Float64Array;
  most: Float64Array;
  mean: Float64Array;
  noise: Float64Array; // standard deviation of all rows, not the estimate from a sample
  jumps: Jump[];
  moreJumps: number; // that aren't among them
  firstTime: number | null; // microseconds
  lastTime: number | null;
}

/** A channel over the capture, in parts of `rowsInPart` rows each, the last one may have fewer. */
export interface Course {
  rowsInPart: number;
  rows: number;
  times: Float64Array; // microseconds, of the first row of each part; NaN where there is none
  least: Float64Array;
  most: Float64Array;
}

const mostJumps = 10_000;

export class Series {
  private columns: Channels[] | null = null;
  private channels = 0;
  private rows = 0;
  private rowsInPart = 1;
  private times = new Float64Array();
  private least = new Float64Array();
  private most = new Float64Array();
  private start = new Float64Array();
  private mean = new Float64Array();
  private squares = new Float64Array();
  private lastNumber: number | null = null;
  private jumps: Jump[] = [];
  private moreJumps = 0;
  private lastTime: number | null = null;

  /** `counter` is the key of the number that each report carries; empty if there is none. `parts`
   *  is the number of parts that the capture is divided into at most, and is even. */
  constructor(
    private readonly counter: string,
    private readonly parts = 1024,
  ) {}

  add(table: Table): void {
    if (table.rows === 0) return;
    this.columns ??= this.begin(table);
    // One view of all rows, not one for each: millions of them would be garbage.
    const columns = this.columns.map(({ name, first, count }) => {
      const { kind, offset } = table.column(name);
      const size = bytesOf(kind);
      const all = numbersAt(table.buffer, 0, kind, Math.floor(table.buffer.byteLength / size));
      return { all, offset: offset / size, stride: table.rowSize / size, first, count };
    });
    const time = table.column("time");
    const counter = table.has(this.counter) ? table.column(this.counter) : null;
    for (let row = 0; row < table.rows; ++row) {
      const part = this.partOfNextRow();
      const begin = part * this.channels;
      const microseconds = time.at(row)[0] as bigint;
      if (microseconds !== noTime) this.lastTime = Number(microseconds);
      if (this.rows % this.rowsInPart === 0)
        this.times[part] = microseconds === noTime ? NaN : Number(microseconds);
      const share = 1 / (this.rows + 1);
      for (const { all, offset, stride, first, count } of columns)
        for (let i = 0; i < count; ++i)
          this.take(first + i, begin, Number(all[row * stride + offset + i]), share);
      if (counter !== null) this.follow(counter.numberAt(row));
      ++this.rows;
    }
  }

  summary(): Summary {
    const over = (values: Float64Array, better: (a: number, b: number) => number) => {
      const all = values.slice(0, this.channels);
      for (let at = this.channels; at < this.usedParts() * this.channels; ++at)
        all[at % this.channels] = better(all[at % this.channels]!, values[at]!);
      return all;
    };
    const first = this.times[0];
    return {
      rows: this.rows,
      columns: this.columns ?? [],
      start: this.start.slice(),
      least: over(this.least, Math.min),
      most: over(this.most, Math.max),
      mean: this.mean.slice(),
      noise: this.squares.map((sum) => Math.sqrt(sum / this.rows)),
      jumps: [...this.jumps],
      moreJumps: this.moreJumps,
      firstTime: first === undefined || Number.isNaN(first) ? null : first,
      lastTime: this.lastTime,
    };
  }

  /** Throws RangeError if there is no such channel. */
  course(name: string, element: number): Course {
    const column = this.columns?.find((one) => one.name === name);
    if (column === undefined || !(element >= 0 && element < column.count))
      throw new RangeError(`there is no ${name}[${element}]`);
    const channel = column.first + element;
    const of = (values: Float64Array) =>
      Float64Array.from({ length: this.usedParts() }, (_, part) => {
        return values[part * this.channels + channel]!;
      });
    return {
      rowsInPart: this.rowsInPart,
      rows: this.rows,
      times: this.times.slice(0, this.usedParts()),
      least: of(this.least),
      most: of(this.most),
    };
  }

  private begin(table: Table): Channels[] {
    const columns: Channels[] = [];
    for (const { name, count, isArray, isText } of table.columns) {
      if (name === "time" || isText || count === 0) continue;
      columns.push({ name, count, isArray, first: this.channels });
      this.channels += count;
    }
    this.times = new Float64Array(this.parts);
    this.least = new Float64Array(this.parts * this.channels);
    this.most = new Float64Array(this.parts * this.channels);
    this.start = new Float64Array(this.channels);
    this.mean = new Float64Array(this.channels);
    this.squares = new Float64Array(this.channels);
    return columns;
  }

  private usedParts(): number {
    return Math.ceil(this.rows / this.rowsInPart);
  }

  private take(channel: number, begin: number, value: number, share: number): void {
    const at = begin + channel;
    if (this.rows === 0) this.start[channel] = value;
    if (this.rows % this.rowsInPart === 0) this.least[at] = this.most[at] = value;
    else if (value < this.least[at]!) this.least[at] = value;
    else if (value > this.most[at]!) this.most[at] = value;
    // The mean so far, and the sum of squares around it: sums of the values themselves lose digits.
    const off = value - this.mean[channel]!;
    this.mean[channel]! += off * share;
    this.squares[channel]! += off * (value - this.mean[channel]!);
  }

  /** Where all parts are full, two neighbours become one. */
  private partOfNextRow(): number {
    const part = Math.floor(this.rows / this.rowsInPart);
    if (part < this.parts) return part;
    const { channels } = this;
    for (let to = 0; to < this.parts / 2; ++to) {
      this.times[to] = this.times[2 * to]!;
      for (let i = 0; i < channels; ++i) {
        const left = 2 * to * channels + i;
        const right = left + channels;
        this.least[to * channels + i] = Math.min(this.least[left]!, this.least[right]!);
        this.most[to * channels + i] = Math.max(this.most[left]!, this.most[right]!);
      }
    }
    this.rowsInPart *= 2;
    return this.parts / 2;
  }

  private follow(number: number): void {
    const from = this.lastNumber;
    this.lastNumber = number;
    if (from === null || (from + 1 - number) % 2 ** 32 === 0) return;
    if (this.jumps.length < mostJumps) this.jumps.push({ row: this.rows, from, to: number });
    else ++this.moreJumps;
  }
}
