/** Captures of our own making: recordings, and what usbmon sees. */
import { closeSync, openSync, readFileSync, writeSync } from "node:fs";
import { join } from "node:path";
import { imageReport, isInput } from "./reports.js";
import { cases, root, sectionOf } from "./support.js";

const begin = 1_700_000_000; // the time of the first report, in seconds

export interface Timed {
  seconds: number;
  type: "input" | "feature";
  bytes: Uint8Array;
}

/** Reports that come one after the other. */
export function every(seconds: number, reports: readonly Uint8Array[], first = 0): Timed[] {
  return reports.map((bytes, at) => ({
    seconds: first + at * seconds,
    type: isInput(bytes) ? "input" : "feature",
    bytes,
  }));
}

/** The report of each golden case whose name begins so, some seconds after each other. */
export function casesOf(prefix: string, seconds = 2): Timed[] {
  return cases()
    .filter(({ name }) => name.startsWith(`tests/cases/${prefix}`))
    .map(({ name }, at) => {
      const text = sectionOf(readFileSync(join(root, name), "utf8"), "report").join(" ");
      const [type, ...digits] = text.trim().split(/\s+/);
      return {
        seconds: at * seconds,
        type: type as Timed["type"],
        bytes: Uint8Array.from(digits, (digit) => parseInt(digit, 16)),
      };
    });
}

/** A recording of reports with their times, or else a millisecond apart; they stand in lines from
 *  `firstLine` on. */
export function recording(reports: readonly Timed[] | readonly Uint8Array[]): Uint8Array {
  const isBare = (all: typeof reports): all is readonly Uint8Array[] => all[0] instanceof Uint8Array;
  const timed = isBare(reports) ? every(0.001, reports, begin) : reports;
  const lines = timed.map(({ seconds, type, bytes }) => {
    const digits = [...bytes].map((byte) => byte.toString(16).padStart(2, "0")).join(" ");
    return `${type === "input" ? "E" : "F"}: ${seconds.toFixed(6)} ${bytes.length} ${digits}`;
  });
  const head = ["D: 0", "R: 9 06 00 ff 09 01 a1 01 c0 00", "N: A panel", "I: 3 0000 0001"];
  return new TextEncoder().encode([...head, ...lines, ""].join("\n"));
}

export const firstLine = 5;

/** A report of a device. */
export interface Sent {
  bytes: Uint8Array;
  device: number;
}

const packetHead = 16;
const eventHead = 64;

/** The head of an event that usbmon tells: a request is submitted, or completed with bytes. */
function eventOf(type: "S" | "C", { bytes, device }: Sent, number: number): Uint8Array {
  const head = new Uint8Array(eventHead);
  const view = new DataView(head.buffer);
  view.setUint32(0, number + 1, true); // the request
  head[8] = type.charCodeAt(0);
  head[9] = isInput(bytes) ? 1 : 2; // interrupt, control
  head[10] = isInput(bytes) ? 0x81 : 0x80;
  head[11] = device;
  view.setUint16(12, 1, true);
  head[14] = type === "S" ? 0 : 1; // no setup
  head[15] = type === "C" ? 0 : 1; // no data
  view.setUint32(32, bytes.length, true);
  view.setUint32(36, type === "C" ? bytes.length : 0, true);
  if (type === "S") {
    head.set([0xa1, 0x01, bytes[0]!, 3], 40); // GET_REPORT of a feature report
    view.setUint16(46, bytes.length, true);
  }
  return head;
}

/** A pcap of usbmon, little-endian, a millisecond from report to report: input reports arrive on an
 *  interrupt endpoint, feature reports answer a request. Where no device is said it is the fifth.
 *  `first` is the number of the first report. */
export function capture(reports: readonly (Uint8Array | Sent)[], first = 0): Uint8Array {
  const events = reports.flatMap((report, index) => {
    const sent = report instanceof Uint8Array ? { bytes: report, device: 5 } : report;
    const number = first + index;
    const answer = { head: eventOf("C", sent, number), bytes: sent.bytes, number };
    if (isInput(sent.bytes)) return [answer];
    return [{ head: eventOf("S", sent, number), bytes: new Uint8Array(), number }, answer];
  });
  const size = events.reduce((sum, { bytes }) => sum + packetHead + eventHead + bytes.length, 24);
  const file = new Uint8Array(size);
  const view = new DataView(file.buffer);
  view.setUint32(0, 0xa1b2c3d4, true);
  view.setUint16(4, 2, true);
  view.setUint16(6, 4, true);
  view.setUint32(16, 262144, true);
  view.setUint32(20, 220, true);
  let place = 24;
  for (const { head, bytes, number } of events) {
    view.setUint32(place, begin + Math.floor(number / 1000), true);
    view.setUint32(place + 4, (number % 1000) * 1000, true);
    view.setUint32(place + 8, eventHead + bytes.length, true);
    view.setUint32(place + 12, eventHead + bytes.length, true);
    file.set(head, place + packetHead);
    file.set(bytes, place + packetHead + eventHead);
    place += packetHead + eventHead + bytes.length;
  }
  return file;
}

/** A capture of image frames of about so many bytes; how many frames it has. */
export function writeLargeCapture(path: string, bytes: number): number {
  const size = packetHead + eventHead + imageReport(0).length;
  const chunk = 1000;
  const chunks = Math.round(bytes / size / chunk);
  const file = openSync(path, "w");
  for (let number = 0; number < chunks; ++number) {
    const frames = Array.from({ length: chunk }, (_, n) => imageReport(number * chunk + n));
    const part = capture(frames, number * chunk);
    writeSync(file, number === 0 ? part : part.subarray(24));
  }
  closeSync(file);
  return chunks * chunk;
}
