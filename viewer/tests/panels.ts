/** Reports of the panel and the firmware, of our own making. */
import { readFileSync } from "node:fs";
import { join } from "node:path";
import { cases, root, sectionOf } from "./support.js";

export interface Timed {
  seconds: number;
  type: "input" | "feature";
  bytes: Uint8Array;
}

/** A recording; its reports stand in lines from `firstLine` on. */
export function recording(reports: readonly Timed[]): Uint8Array {
  const lines = reports.map(({ seconds, type, bytes }) => {
    const digits = [...bytes].map((byte) => byte.toString(16).padStart(2, "0")).join(" ");
    return `${type === "input" ? "E" : "F"}: ${seconds.toFixed(6)} ${bytes.length} ${digits}`;
  });
  const head = ["D: 0", "R: 9 06 00 ff 09 01 a1 01 c0 00", "N: A panel", "I: 3 0000 0001"];
  return new TextEncoder().encode([...head, ...lines, ""].join("\n"));
}

export const firstLine = 5;

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

/** Power modes: milliseconds and times entered of each. */
export function powerReport(modes: readonly [time: number, entered: number][]): Uint8Array {
  const bytes = new Uint8Array(1 + 8 * modes.length);
  const view = new DataView(bytes.buffer);
  bytes[0] = 0xa9;
  modes.forEach(([time, entered], at) => {
    view.setUint32(1 + 8 * at, time, true);
    view.setUint32(5 + 8 * at, entered, true);
  });
  return bytes;
}

export function watchdogReport(
  count: number,
  microseconds: bigint,
  register: number,
  wake: number,
  sleep: number,
): Uint8Array {
  const bytes = new Uint8Array(25);
  const view = new DataView(bytes.buffer);
  bytes[0] = 0xdf;
  view.setUint32(1, count, true);
  view.setBigUint64(5, microseconds, true);
  view.setUint32(13, register, true);
  view.setUint32(17, wake, true);
  view.setUint32(21, sleep, true);
  return bytes;
}

/** Masks in the report's order: shorts on TX+, TX-, both, opens on the same, weak ones. */
export function openShortReport(masks: readonly bigint[]): Uint8Array {
  const bytes = new Uint8Array(57);
  const view = new DataView(bytes.buffer);
  bytes[0] = 0xe3;
  masks.forEach((mask, at) => view.setBigUint64(1 + 8 * at, mask, true));
  return bytes;
}

/** A black box full report: another one with some numbers of 32 bits at offsets changed. */
export function withNumbers(bytes: Uint8Array, numbers: Record<number, number>): Uint8Array {
  const changed = bytes.slice();
  const view = new DataView(changed.buffer);
  for (const [offset, number] of Object.entries(numbers))
    view.setUint32(Number(offset), number, true);
  return changed;
}
