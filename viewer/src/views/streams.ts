/** The reports of a decoder, those of one kind and sender among them, and what became of the numbers
 *  that count from each to the next. */
import type { RemoteCapture } from "../decoder/client.js";
import { deviceOf } from "../basics/devices.js";
import type { Change, Difference, Entry, EntryKind } from "../decoder/decoder.js";
import { countBelow, indexOf } from "../basics/numbers.js";
import { isReportOf } from "./view.js";

/** What a report may be compared with. */
export type Against = "before" | "first" | "number" | "nothing";

/** So many are looked through at a time. */
export const pieceEntries = 2048;

const wrapSize = 2n ** 32n; // other numbers than those of 32 bits don't wrap

/** All reports of a decoder. */
export class Group {
  constructor(
    readonly entries: Uint32Array,
    readonly streams: readonly Stream[],
    readonly devices: number,
  ) {}

  /** From 1; 0 if it is none of them. */
  numberOf(entry: number): number {
    return indexOf(this.entries, entry) + 1;
  }

  streamOf({ number }: Entry): Stream {
    return this.streams.find(({ entries }) => indexOf(entries, number) >= 0)!;
  }

  /** What an entry is to be compared with; null if there is none. Another ID's report of the
   *  same sender and decoder is the next best. */
  baseOf(entry: Entry, against: Against, number: number): number | null {
    if (against === "nothing") return null;
    if (against === "number") return this.entries[number - 1] ?? null;
    const stream = this.streamOf(entry);
    const at = indexOf(stream.entries, entry.number);
    if (at > 0) return stream.entries[against === "before" ? at - 1 : 0]!;
    const others = this.streams.filter((one) => one !== stream && one.sender === stream.sender);
    const before = others.flatMap(({ entries }) => {
      const found = entries[countBelow(entries, entry.number) - 1];
      return found === undefined ? [] : [found];
    });
    return before.length === 0 ? null : Math.max(...before);
  }
}

/** The reports of one kind from one sender, and what became of their counters. */
export class Stream {
  private seen = 0; // entries that were looked through
  private found: Difference[] = []; // where something fell, wrapped or restarted

  constructor(
    private readonly file: RemoteCapture,
    readonly key: string, // of its kind and sender
    readonly sender: string,
    public entries: Uint32Array,
  ) {}

  /** How many steps there are from one to the other. */
  numberBetween(from: number, to: number): number {
    return indexOf(this.entries, to) - indexOf(this.entries, from);
  }

  /** How many entries are to be looked through before turns() knows all up to one. */
  unseen(to: number): number {
    return Math.max(0, indexOf(this.entries, to) + 1 - this.seen);
  }

  /** What became of numbers from one entry to another, step by step, where something fell,
   *  wrapped or was concluded; null if it isn't wanted any more before that is known. */
  async turns(from: number, to: number, isWanted: () => boolean): Promise<Difference[] | null> {
    const end = indexOf(this.entries, to) + 1;
    while (this.seen < end) {
      if (!isWanted()) return null;
      const first = Math.max(0, this.seen - 1); // that the next one is compared with
      const last = Math.min(end, first + pieceEntries);
      this.found.push(...(await this.file.changes(this.entries.subarray(first, last), true)));
      this.seen = last;
    }
    return this.found.filter(({ entry }) => entry > from && entry <= to);
  }
}

/** The group of a decoder's reports before `end`. What an older group has looked through stays so. */
export async function groupOf(
  file: RemoteCapture,
  decoder: string,
  end: number,
  old?: Group,
): Promise<Group> {
  const kinds = (await file.kinds()).filter((kind) => isReportOf([decoder], kind));
  const ofKinds = (wanted: readonly EntryKind[]) =>
    file.selectKinds(wanted.map(({ number }) => number), 0, end);
  const streams: Stream[] = [];
  for (const key of new Set(kinds.map(keyOf))) {
    const own = kinds.filter((kind) => keyOf(kind) === key);
    const entries = await ofKinds(own);
    if (entries.length === 0) continue;
    const stream = old?.streams.find((one) => one.key === key);
    if (stream !== undefined) streams.push(Object.assign(stream, { entries }));
    else streams.push(new Stream(file, key, JSON.stringify(own[0]!.sender), entries));
  }
  return new Group(await ofKinds(kinds), streams, new Set(kinds.map(deviceOf)).size);
}

/** What the reports of a stream have in common. */
export function keyOf({ id, type, sender }: EntryKind): string {
  return JSON.stringify([id, type, sender]);
}

export function isTurn({ restart, changes }: Difference): boolean {
  return restart !== "" || changes.some(isTurned);
}

function isTurned({ course }: Change): boolean {
  return course === "fell" || course === "wrapped";
}

/** A step in which counters began anew: what came before it isn't in them any more. */
export function isFall({ restart, changes }: Difference): boolean {
  return restart !== "" || changes.some(({ course }) => course === "fell");
}

/** "Count (fell)": the keys of what fell or wrapped. */
export function turnedKeys(differences: readonly Difference[]): string[] {
  const changes = differences.flatMap(({ changes }) => changes.filter(isTurned));
  return [...new Set(changes.map(({ key, course }) => `${key} (${course})`))];
}

/** What became of numbers over many steps. Only the steps tell what fell on the way, and how often
 *  something wrapped. */
export function afterSteps(difference: Difference, between: readonly Difference[]): Difference {
  const isUnknown = between.some(isFall);
  const wrapped = wrappedBy(between);
  const changes = difference.changes.map((change): Change => {
    if (change.course === "" || change.difference === null) return change;
    const plain = change.difference - (change.course === "wrapped" ? wrapSize : 0n);
    if (isUnknown) return { ...change, difference: plain, course: "", rate: null };
    const wraps = wrapped.get(change.key);
    if (wraps === undefined) return change;
    return { ...change, difference: plain + wraps, course: "wrapped", rate: null };
  });
  return { ...difference, restart: "", changes };
}

/** What counters lost by going over their largest value since they last began anew, by their keys. */
export function wrappedBy(turns: readonly Difference[]): Map<string, bigint> {
  const found = new Map<string, bigint>();
  for (const turn of turns) {
    if (isFall(turn)) found.clear();
    else
      for (const { key, course } of turn.changes)
        if (course === "wrapped") found.set(key, (found.get(key) ?? 0n) + wrapSize);
  }
  return found;
}
