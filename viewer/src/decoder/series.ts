/** What the module keeps of all reports of a decoder that is reduced, however many there are: of each
 *  number the least and the most in some parts of the capture, its mean and its noise; and where the
 *  numbers of reports jump. native/Series.h reckons it while the file is read. */
import type { Reader } from "./reply.js";

/** A column's numbers in Summary: a channel each, from `first` on. */
export interface Channels {
  name: string;
  count: number;
  isArray: boolean;
  first: number;
}

/** The numbers of two reports of a sender that follow each other, and aren't one apart. */
export interface Jump {
  row: number; // of the second one
  from: number;
  to: number;
}

/** All rows so far. The arrays have a number a channel; there is none before the first row. */
export interface Summary {
  rows: number;
  columns: Channels[];
  start: Float64Array; // of the first row
  least: Float64Array; // of those that are numbers
  most: Float64Array;
  mean: Float64Array; // NaN if one of them is none
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

export function summaryOf(reply: Reader): Summary {
  const rows = reply.u32();
  const columns = Array.from({ length: reply.u32() }, () => ({
    name: reply.text(),
    count: reply.u32(),
    isArray: reply.u8() !== 0,
    first: reply.u32(),
  }));
  const channels = reply.u32();
  return {
    rows,
    columns,
    start: doubles(reply, channels),
    least: doubles(reply, channels),
    most: doubles(reply, channels),
    mean: doubles(reply, channels),
    noise: doubles(reply, channels),
    jumps: Array.from({ length: reply.u32() }, () => ({
      row: reply.u32(),
      from: reply.u32(),
      to: reply.u32(),
    })),
    moreJumps: reply.u32(),
    firstTime: timeOf(reply),
    lastTime: timeOf(reply),
  };
}

export function courseOf(reply: Reader): Course {
  const rowsInPart = reply.u32();
  const rows = reply.u32();
  const parts = reply.u32();
  return {
    rowsInPart,
    rows,
    times: doubles(reply, parts),
    least: doubles(reply, parts),
    most: doubles(reply, parts),
  };
}

function doubles(reply: Reader, count: number): Float64Array {
  return reply.numbers("double", count) as Float64Array;
}

function timeOf(reply: Reader): number | null {
  const time = reply.number();
  return Number.isNaN(time) ? null : time;
}
