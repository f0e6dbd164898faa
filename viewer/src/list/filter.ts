/** Which reports somebody wants to see: by what their kinds have in common, and by a text. */
import type { EntryKind } from "../decoder/decoder.js";
import { deviceOf } from "../basics/devices.js";
import { idOf } from "./list.js";

export const facets = ["id", "type", "device", "problem"] as const;
export type Facet = (typeof facets)[number];

/** Of a facet any of its values will do; none of them is as good as all. */
export type Filter = { readonly [facet in Facet]: readonly string[] } & { readonly text: string };

export const noFilter: Filter = { id: [], type: [], device: [], problem: [], text: "" };

/** A value that can be chosen. */
export interface Choice {
  value: string;
  label: string;
  count: number; // of the entries that the other facets let through
}

export function isEmpty(filter: Filter): boolean {
  return filter.text === "" && facets.every((facet) => filter[facet].length === 0);
}

/** Without the text, which no kind tells. */
export function isWanted(filter: Filter, kind: EntryKind, but: Facet | null = null): boolean {
  return facets.every((facet) => {
    const wanted = filter[facet];
    if (facet === but || wanted.length === 0) return true;
    return valuesOf(kind, facet).some((value) => wanted.includes(value));
  });
}

/** What can be chosen of a facet, as it stands in the file. */
export function choicesOf(kinds: readonly EntryKind[], facet: Facet, filter: Filter): Choice[] {
  const found = new Map<string, { names: Set<string>; count: number }>();
  for (const kind of kinds)
    for (const value of valuesOf(kind, facet)) {
      const one = found.get(value) ?? { names: new Set(), count: 0 };
      found.set(value, one);
      const name = kind.report?.name || kind.decoder;
      if (facet === "id" && name !== "") one.names.add(name);
      if (isWanted(filter, kind, facet)) one.count += kind.count;
    }
  return [...found]
    .map(([value, { names, count }]) => {
      const label = [labelOf(facet, value), ...names].join(" ");
      return { value, label, count };
    })
    .sort((a, b) => (a.value < b.value ? -1 : 1));
}

/** A chosen value, in words. */
export function labelOf(facet: Facet, value: string): string {
  if (facet === "problem") return { none: "no problem", any: "any problem" }[value] ?? value;
  if (value !== "none") return value;
  return { id: "no ID", type: "no type", device: "no device" }[facet];
}

function valuesOf(kind: EntryKind, facet: Facet): string[] {
  if (facet === "id") return [idOf(kind) || "none"];
  if (facet === "type") return [kind.type ?? "none"];
  if (facet === "device") return [deviceOf(kind) || "none"];
  return kind.problem === "" ? ["none"] : ["any", kind.problem];
}
