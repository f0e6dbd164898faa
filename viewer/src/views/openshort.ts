/** The open/short test: the panel's channels as a map, as the lines show them, a row for each
 *  kind of fault. */
import { csvLine } from "../basics/csv.js";
import { made } from "../basics/dom.js";
import { snapshotOf } from "../plots/snapshot.js";
import type { Copies, ViewHost } from "./view.js";
import { countText, jsonText } from "../basics/words.js";
import { ComparedView } from "./compared.js";
import { wholeOf, type Comparison, type Looked } from "./comparison.js";

const decoder = "parseOpenShortTest";

/** A kind of fault, and the channels that have it. */
interface Row {
  key: string;
  label: string; // of its line
  mask: bigint; // all 64 bits
  channels: number; // that its line has marks for
}

export class OpenShortView extends ComparedView {
  readonly decoders = [decoder];
  readonly copies: Copies = {
    csv: async () => this.csv(),
    json: async () => jsonText(this.said()),
    png: async () => snapshotOf(this.content),
  };

  constructor(host: ViewHost) {
    super("openshort", "Open/short", host);
  }

  protected override async complete(comparison: Comparison): Promise<Comparison> {
    return comparison;
  }

  protected drawContent(shown: Comparison): void {
    const rows = rowsOf(shown);
    if (rows === null) {
      this.content.replaceChildren(
        made("p", "warning", "⚠ The lines of this report and its numbers don't say the same."),
        made("pre", "", shown.decoded.lines.join("\n")),
      );
      return;
    }
    const before = shown.base === null ? null : rowsOf(shown.base);
    const map = made("div", "channels", rows.map((row, at) => this.row(row, before?.[at] ?? null)));
    map.setAttribute("role", "table");
    map.setAttribute("aria-label", "Channels by kind of fault");
    this.content.replaceChildren(
      ...summaryOf(rows).map((text, at) => made("p", at === 0 ? "verdict" : "", text)),
      ...(before === null ? [] : [made("p", "", changesText(rows, before))]),
      map,
      legend(before !== null),
    );
  }

  private row(row: Row, before: Row | null): HTMLElement {
    const head = made("div", "label", [
      made("strong", "", row.label),
      made("span", "count", countText(channelsIn(row.mask, row.channels).length, "channel")),
    ]);
    head.setAttribute("role", "rowheader");
    head.title = row.key;
    const groups = made("div", "groups");
    groups.setAttribute("role", "presentation");
    for (let first = row.channels; first > 0; first -= groupSize) {
      const cells = Array.from({ length: groupSize }, (_, i) => cellOf(row, before, first - 1 - i));
      const ends = made("span", "ends", [
        made("span", "", String(first - 1)),
        made("span", "", String(first - groupSize)),
      ]);
      ends.setAttribute("aria-hidden", "true");
      const group = made("div", "group", [made("div", "cells", cells), ends]);
      for (const one of [group, group.firstElementChild!]) one.setAttribute("role", "presentation");
      groups.append(group);
    }
    const element = made("div", "row", [head, groups]);
    element.setAttribute("role", "row");
    return element;
  }

  private both(): { row: Row; before: Row | null }[] {
    const { shown } = this;
    const rows = shown === null ? null : rowsOf(shown);
    if (shown === null || rows === null) throw new Error("there is nothing to copy");
    const before = shown.base === null ? null : rowsOf(shown.base);
    return rows.map((row, at) => ({ row, before: before?.[at] ?? null }));
  }

  private csv(): string {
    const head = csvLine(["key", "label", "mask", "channels", "new", "gone"]);
    const lines = this.both().map(({ row, before }) => {
      const news = newsOf(row, before);
      const lists = [channelsIn(row.mask, row.channels), news.came, news.gone];
      return csvLine([row.key, row.label, row.mask, ...lists.map((one) => one.join(" "))]);
    });
    return head + lines.join("");
  }

  private said(): unknown {
    const { shown } = this;
    return {
      entry: shown!.entry.number,
      compared_with: shown!.base?.entry.number ?? null,
      faults: this.both().map(({ row, before }) => ({
        key: row.key,
        label: row.label,
        mask: row.mask,
        channels: channelsIn(row.mask, row.channels),
        new: newsOf(row, before).came,
        gone: newsOf(row, before).gone,
      })),
    };
  }
}

const groupSize = 8;

/** The rows of marks in a report's lines, and the masks that they are of, which stand in the
 *  same order; null where they don't say the same. */
function rowsOf({ decoded }: Looked): Row[] | null {
  const lines = decoded.lines.flatMap((line) => {
    const [, label, marks] = /^\s*(\S.*?)\s{2,}((?:[.X]{8} ?)+)$/.exec(line) ?? [];
    return label === undefined ? [] : [{ label: label.replaceAll(/\s+/g, " "), marks: marks! }];
  });
  if (lines.length !== decoded.fields.length || lines.length === 0) return null;
  const rows: Row[] = [];
  for (const [at, { label, marks }] of lines.entries()) {
    const field = decoded.fields[at]!;
    const value = wholeOf(field);
    const bits = marks.replaceAll(" ", "");
    if (value === null) return null;
    const mask = BigInt.asUintN(64, value);
    const shown = BigInt(`0b${bits.replaceAll(".", "0").replaceAll("X", "1")}`);
    if (BigInt.asUintN(bits.length, mask) !== shown) return null;
    rows.push({ key: field.key, label, mask, channels: bits.length });
  }
  return rows;
}

/** Those that are set, from the lowest on, of the bits from `first` to `end`. */
function channelsIn(mask: bigint, end: number, first = 0): number[] {
  const all = Array.from({ length: end - first }, (_, i) => first + i);
  return all.filter((channel) => ((mask >> BigInt(channel)) & 1n) === 1n);
}

function newsOf(row: Row, before: Row | null): { came: number[]; gone: number[] } {
  if (before === null) return { came: [], gone: [] };
  const came = channelsIn(row.mask & ~before.mask, row.channels);
  return { came, gone: channelsIn(before.mask & ~row.mask, row.channels) };
}

/** What the report says in words. */
function summaryOf(rows: Row[]): string[] {
  const [{ channels }] = rows as [Row];
  const any = channelsIn(rows.reduce((all, { mask }) => all | mask, 0n), channels);
  const have = any.length === 1 ? "has" : "have";
  const said =
    any.length === 0
      ? [`No open, no short: none of the ${channels} channels has a mark.`]
      : [`${any.length} of ${channels} channels ${have} a mark: ${any.join(", ")}.`];
  for (const { key, mask, channels } of rows) {
    const beyond = channelsIn(mask, 64, channels);
    if (beyond.length > 0)
      said.push(
        `${key} has bits beyond the channels, which the lines don't show: ${beyond.join(", ")}.`,
      );
  }
  return said;
}

function changesText(rows: Row[], before: Row[]): string {
  const parts = rows.flatMap((row, at) => {
    const { came, gone } = newsOf(row, before[at]!);
    return [
      ...(came.length > 0 ? [`${row.label} new: ${came.join(", ")}`] : []),
      ...(gone.length > 0 ? [`${row.label} gone: ${gone.join(", ")}`] : []),
    ];
  });
  return parts.length === 0 ? "All channels are as they were." : `${parts.join(" · ")}.`;
}

function cellOf(row: Row, before: Row | null, channel: number): HTMLElement {
  const has = ({ mask }: Row) => ((mask >> BigInt(channel)) & 1n) === 1n;
  const isFault = has(row);
  const had = before !== null && has(before);
  const isNew = isFault && before !== null && !had;
  const isGone = !isFault && had;
  const cell = made("span", "cell", isFault ? "X" : isGone ? "○" : ".");
  cell.classList.toggle("fault", isFault);
  cell.classList.toggle("new", isNew);
  cell.classList.toggle("gone", isGone);
  cell.dataset["channel"] = String(channel);
  cell.setAttribute("role", "cell");
  const words = isNew ? "X, new" : isFault ? "X" : isGone ? "gone" : "none";
  cell.setAttribute("aria-label", `channel ${channel}: ${words}`);
  cell.title = `${row.label}, channel ${channel}: ${words}`;
  return cell;
}

function legend(isCompared: boolean): HTMLElement {
  const sign = (className: string, text: string, words: string) => {
    const cell = made("span", `cell ${className}`, text);
    cell.setAttribute("aria-hidden", "true");
    return made("span", "sign", [cell, new Text(` ${words}`)]);
  };
  const signs = [sign("fault", "X", "fault"), sign("", ".", "none")];
  if (isCompared)
    signs.push(
      sign("fault new", "X", "fault that is new"),
      sign("gone", "○", "was a fault, and is gone"),
    );
  return made("p", "legend", signs);
}
