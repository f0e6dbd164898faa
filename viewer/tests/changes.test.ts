/** What became of numbers from one report to the next, as the module and the program tell it. */
import assert from "node:assert/strict";
import { test } from "node:test";
import type { Change, Difference } from "../src/decoder/decoder.js";
import { MemorySource } from "../src/decoder/sources.js";
import { casesOf, every, firstLine, recording } from "./captures.js";
import { openShortReport, watchdogReport } from "./reports.js";
import { native, newDecoder } from "./support.js";

const decoder = await newDecoder();

function differences(bytes: Uint8Array, turns = false): Difference[] {
  const file = decoder.open("-", new MemorySource(bytes));
  while (!file.read().ended);
  const found = file.changes(Array.from({ length: file.size }, (_, entry) => entry), turns);
  file.close();
  return found;
}

interface NativeRecord {
  source: { line: number };
  change: {
    restart?: "firmware" | "counters";
    fields: {
      key?: string;
      line?: number;
      course?: string;
      difference?: number;
      rate?: number;
      bits_set?: number[];
    }[];
  };
}

function nativeRecords(bytes: Uint8Array): NativeRecord[] {
  const text = native(bytes, "--changes", "-o", "ndjson").toString();
  return text.split("\n").filter(Boolean).map((line) => JSON.parse(line));
}

const restarts = {
  firmware: "the firmware started again: a time fell",
  counters: "several counters fell: the firmware started again, or cleared them",
};

const names = ["watchdog", "power", "open-short", "full-report", "summary", "configuration"];

test("changes, courses, rates and restarts are those of the program", () => {
  let restarted = 0;
  for (const name of names) {
    const bytes = recording(casesOf(name));
    const expected = nativeRecords(bytes);
    assert.ok(expected.length > 1, name);
    const found = differences(bytes);
    assert.deepEqual(
      found.map(({ entry, restart, changes }) => ({
        entry,
        restart,
        changes: changes.map(({ key, line, course, rate, isBits }) => {
          return { key, line, course, rate, isBits };
        }),
      })),
      expected.map(({ source, change }) => ({
        entry: source.line - firstLine,
        restart: change.restart === undefined ? "" : restarts[change.restart],
        changes: change.fields.map(({ key = "", line = 0, course = "", rate = null, bits_set }) => {
          return { key, line, course, rate, isBits: bits_set !== undefined };
        }),
      })),
      name,
    );
    found.forEach(({ changes }, at) =>
      changes.forEach(({ difference }, i) => {
        const wanted = expected[at]!.change.fields[i]!;
        // A difference of doubles is none of whole numbers.
        const isWhole = wanted.difference !== undefined && wanted.key !== "Wallclock";
        const told = difference === null ? null : Number(difference);
        assert.equal(told, isWhole ? wanted.difference : null, name);
      }),
    );
    const isTurn = ({ course }: Change) => course === "fell" || course === "wrapped";
    const turns = found
      .map((one) => ({ ...one, changes: one.changes.filter(isTurn) }))
      .filter(({ restart, changes }) => restart !== "" || changes.length > 0);
    assert.deepEqual(differences(bytes, true), turns, name);
    restarted += found.filter(({ restart }) => restart !== "").length;
  }
  assert.ok(restarted > 0);
});

test("a report that is the same again is no difference, and large numbers stay exact", () => {
  const mask = 0x8000_0000_0000_0001n;
  const reports = [0n, mask, mask].map((weak) => openShortReport([0n, 0n, 0n, 0n, 0n, 0n, weak]));
  const found = differences(recording(every(1, reports)));
  assert.deepEqual(
    found.map(({ entry, changes }) => [entry, changes.map(({ key }) => key)]),
    [[1, ["WEAK_OS"]]],
  );
  assert.equal(found[0]!.changes[0]!.difference, mask);
});

test("of some entries, each is compared with the one before it among these", () => {
  const counts = [10, 40, 100];
  const reports = counts.map((n) => watchdogReport(n, BigInt(n) * 1_000_000n, 0, 0, 0));
  const bytes = recording(every(5, reports));
  const file = decoder.open("-", new MemorySource(bytes));
  while (!file.read().ended);
  const [found] = file.changes([0, 2]);
  const count = found!.changes.find(({ key }) => key === "Count")!;
  assert.deepEqual([found!.entry, count.difference, count.course, count.rate], [2, 90n, "grew", 9]);
  file.close();
});
