/** Captures of our own making. */
import { closeSync, openSync, writeSync } from "node:fs";

/** An image frame with a number of its own in it; other bytes follow from it. */
export function imageReport(frame: number): Uint8Array {
  const bytes = new Uint8Array(792);
  for (let at = 1; at < bytes.length; ++at) bytes[at] = (frame * 31 + at * 7) & 0x3f;
  bytes[0] = 0x76;
  new DataView(bytes.buffer).setUint32(imageCounter, frame, true);
  return bytes;
}

/** Where a frame's number stands. */
export const imageCounter = 4;

/** A pcap of usbmon, little-endian: each report arrives on an interrupt endpoint, a millisecond after
 *  the one before it. `first` is the number of the first one. */
export function capture(reports: Uint8Array[], first = 0): Uint8Array {
  const head = 16 + 64;
  const size = 24 + reports.reduce((sum, report) => sum + head + report.length, 0);
  const bytes = new Uint8Array(size);
  const view = new DataView(bytes.buffer);
  view.setUint32(0, 0xa1b2c3d4, true);
  view.setUint16(4, 2, true);
  view.setUint16(6, 4, true);
  view.setUint32(16, 262144, true);
  view.setUint32(20, 220, true);
  let at = 24;
  reports.forEach((report, index) => {
    const number = first + index;
    view.setUint32(at, 1_700_000_000 + Math.floor(number / 1000), true);
    view.setUint32(at + 4, (number % 1000) * 1000, true);
    view.setUint32(at + 8, 64 + report.length, true);
    view.setUint32(at + 12, 64 + report.length, true);
    const event = at + 16;
    view.setUint32(event, number + 1, true); // its request
    bytes[event + 8] = "C".charCodeAt(0);
    bytes[event + 9] = 1; // interrupt
    bytes[event + 10] = 0x81;
    bytes[event + 11] = 5;
    view.setUint16(event + 12, 1, true);
    bytes[event + 14] = 1; // no setup
    view.setUint32(event + 32, report.length, true);
    view.setUint32(event + 36, report.length, true);
    bytes.set(report, event + 64);
    at += head + report.length;
  });
  return bytes;
}

/** A capture of image frames of about so many bytes; how many frames it has. */
export function writeLargeCapture(path: string, bytes: number): number {
  const size = 16 + 64 + 792;
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
