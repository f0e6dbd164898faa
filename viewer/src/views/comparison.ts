/** A report beside the one that it is compared with, and what is said of the two. */
import { deviceText } from "../basics/devices.js";
import type { Decoded, Difference, Entry, Field } from "../decoder/decoder.js";
import { hexId } from "../basics/dom.js";
import { isTurn, keyOf, turnedKeys, type Against, type Group } from "./streams.js";
import { timeText } from "../basics/times.js";
import { countText, durationText } from "../basics/words.js";

/** A report, as it is looked at. */
export interface Looked {
  entry: Entry;
  number: number; // among its decoder's, from 1
  decoded: Decoded;
}

/** A report, and what it is compared with. */
export interface Comparison extends Looked {
  group: Group; // all reports of its decoder
  against: Against; // what was asked for
  wanted: string; // the number of the report that was asked for, as it was typed
  base: Looked | null;

  /** Whether both are of one kind from one sender and follow each other: only then it is known what
   *  became of what counts. */
  follows: boolean;

  /** What became of it since `base`; null if it is the same, or where it isn't known. */
  difference: Difference | null;

  /** What became of numbers on the way from `base`, where a counter fell or wrapped. */
  between: Difference[];
}

/** Which report it is. */
export function headOf({ entry, number, group }: Comparison): string {
  const parts = [`Report ${number} of ${group.entries.length}`, nameOf(entry)];
  if (group.devices > 1) parts.push(deviceText(entry.kind));
  if (entry.time !== null) parts.push(timeText(entry.time));
  return parts.join(" · ");
}

/** What it is compared with; or why with nothing, where something was asked for. */
export function newsOf(shown: Comparison): string[] {
  const { entry, against, base, follows, difference } = shown;
  if (base === null) return against === "nothing" ? [] : [whyNone(shown)];
  const way = wayText(base.entry, entry);
  const said = [`Compared with report ${base.number}, ${nameOf(base.entry)}${way}.`];
  if (!follows) said.push(whyUnknown(base.entry, entry));
  else if (difference === null) said.push("Nothing changed.");
  return said;
}

/** What is to be known of the counters before one trusts the differences; empty if nothing is. */
export function warningOf({ difference, between }: Comparison): string {
  if (difference !== null && difference.restart !== "") return sentence(difference.restart);
  if (difference !== null && isTurn(difference))
    return `Fell or wrapped: ${turnedKeys([difference]).join(", ")}.`;
  const restarts = between.filter(({ restart }) => restart !== "");
  if (restarts.length > 0)
    return (
      `Between the two reports ${countText(restarts.length, "time")}: ${restarts[0]!.restart}. ` +
      "The differences don't say how much came in between."
    );
  if (between.length === 0) return "";
  return `Between the two reports fell or wrapped: ${turnedKeys(between).join(", ")}.`;
}

/** A field's whole number; null if it is none. */
export function wholeOf(field: Field | undefined): bigint | null {
  if (field === undefined || field.kind === "float" || field.kind === "double") return null;
  const { value } = field;
  if (typeof value === "bigint") return value;
  return typeof value === "number" ? BigInt(value) : null;
}

export function fieldOf({ decoded }: Looked, key: string): Field | undefined {
  return decoded.fields.find((field) => field.key === key);
}

function nameOf({ kind }: Entry): string {
  return kind.id === null ? kind.decoder : hexId(kind.id);
}

function whyNone({ entry, group, against, wanted }: Comparison): string {
  if (against === "number" && group.entries[Number(wanted) - 1] === undefined)
    return `There is no report ${wanted} among these.`;
  if (against === "before")
    return `No ${nameOf(entry)} came before this one from its sender to compare it with.`;
  return "It is the same report: it is compared with nothing.";
}

/** ", 0:00:02.000 before it". */
function wayText(from: Entry, to: Entry): string {
  if (from.time === null || to.time === null) return "";
  const milliseconds = BigInt(Math.round((to.time - from.time) / 1000));
  if (milliseconds < 0n) return `, ${durationText(-milliseconds)} behind it`;
  return `, ${durationText(milliseconds)} before it`;
}

function whyUnknown(base: Entry, now: Entry): string {
  if (keyOf(base.kind) === keyOf(now.kind))
    return "It came later: the differences are what this one has less or more.";
  return "It is of another kind or sender: what fell or grew isn't known, only what differs.";
}

function sentence(text: string): string {
  return `${text.charAt(0).toUpperCase()}${text.slice(1)}.`;
}
