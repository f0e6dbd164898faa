/** The watchdog: what its report says beside another one, and all of them one below the other. */
import type { RemoteCapture } from "../decoder/client.js";
import { csvLine } from "../basics/csv.js";
import { noTime, type Change, type Difference, type Table } from "../decoder/decoder.js";
import { made, numberText } from "../basics/dom.js";
import { indexOf } from "../basics/numbers.js";
import type { Copies, ViewHost } from "./view.js";
import { timeText } from "../basics/times.js";
import { countText, durationText, jsonText, rateText, signedText } from "../basics/words.js";
import { ComparedView } from "./compared.js";
import { fieldOf, wholeOf, type Comparison, type Looked } from "./comparison.js";
import { sideways } from "./sideways.js";

const decoder = "parseWatchDogReport";

const pageRows = 50;

/** What a report says in one of its fields. */
interface Reading {
  key: string;
  label: string; // of its line
  value: string;
  line: string; // as the line shows it
  change: string;
}

/** The reports from one sender that stand around one in the history, and what became of each. */
interface HistoryPage {
  stream: Uint32Array; // all from the sender
  first: number; // place in these of the page's first one
  end: number; // behind the last one
  table: Table | undefined;
  differences: Map<number, Difference>; // by entry
}

interface Shown extends Comparison {
  page: HistoryPage;
}

export class WatchdogView extends ComparedView<Shown> {
  readonly decoders = [decoder];
  readonly copies: Copies = {
    csv: async () => this.csv(),
    json: async () => this.json(),
  };

  constructor(host: ViewHost) {
    super("watchdog", "Watchdog", host);
  }

  protected override async complete(
    comparison: Comparison,
    file: RemoteCapture,
  ): Promise<Shown> {
    const { entry, group } = comparison;
    return { ...comparison, page: await pageOf(file, entry.number, group.streamOf(entry).entries) };
  }

  protected drawContent(shown: Shown): void {
    this.content.replaceChildren(...readingsElement(shown), ...this.historyElement(shown));
  }

  private historyElement(shown: Shown): HTMLElement[] {
    const { group } = shown;
    const { table, stream, first, end, differences } = shown.page;
    if (table === undefined) return [];
    const keys = keysOf(shown);
    const head = ["Report", "Time", ...keys].map((text) => {
      const cell = made("th", "", text);
      cell.scope = "col";
      return cell;
    });
    const rows = [...table.entries].flatMap((entry, row) => {
      const difference = differences.get(entry);
      const time = timeOf(table, row);
      const at = made("th", "", [this.linkTo(entry, group.numberOf(entry))]);
      at.scope = "row";
      const line = made("tr", "", [
        at,
        made("td", "time", time === null ? "" : timeText(time)),
        ...keys.map((key) => cellOf(table, row, key, difference)),
      ]);
      if (entry === shown.entry.number) line.setAttribute("aria-current", "true");
      if (difference === undefined || difference.restart === "") return [line];
      const news = made("td", "restart", `⚠ ${difference.restart}`);
      news.colSpan = head.length;
      return [made("tr", "", [news]), line];
    });
    const history = made("table", "history", [
      made("thead", "", [made("tr", "", head)]),
      made("tbody", "", rows),
    ]);
    history.setAttribute("aria-label", "Reports one after the other, and what changed");
    const all = stream.length;
    const title = made("h2", "", "Report by report");
    const of = group.devices > 1 ? `${all} from its device` : String(all);
    const where = made("p", "tools", [new Text(`${first + 1} to ${end} of ${of}`)]);
    if (first > 0) where.append(this.buttonTo("Earlier ones", stream[first - 1]!));
    if (end < all) where.append(this.buttonTo("Later ones", stream[end]!));
    return [title, where, sideways(history)];
  }

  private linkTo(entry: number, number: number): HTMLElement {
    const button = this.buttonTo(String(number), entry);
    button.className = "goto";
    button.setAttribute("aria-label", `Go to report ${number}`);
    return button;
  }

  private buttonTo(text: string, entry: number): HTMLElement {
    const button = made("button", "", text);
    button.type = "button";
    button.onclick = () => this.goTo(entry);
    return button;
  }

  private csv(): string {
    const { shown } = this;
    if (shown?.page.table === undefined) throw new Error("there is nothing to copy");
    const { table, differences } = shown.page;
    const keys = keysOf(shown);
    const head = csvLine(["entry", "time", ...keys, "changed", "restart"]);
    const lines = [...table.entries].map((entry, row) => {
      const difference = differences.get(entry);
      const values = keys.map((key) => valueText(table, row, key));
      const changed = difference?.changes.map(({ key }) => key).join(" ") ?? "";
      const time = timeOf(table, row);
      const seconds = time === null ? "" : (time / 1e6).toFixed(6);
      return csvLine([entry, seconds, ...values, changed, difference?.restart ?? ""]);
    });
    return head + lines.join("");
  }

  private json(): string {
    const { shown } = this;
    if (shown?.page.table === undefined) throw new Error("there is nothing to copy");
    const { table, differences } = shown.page;
    return jsonText({
      entry: shown.entry.number,
      compared_with: shown.base?.entry.number ?? null,
      readings: readingsOf(shown),
      history: [...table.entries].map((entry, row) => ({
        entry,
        values: Object.fromEntries(
          keysOf(shown).map((key) => [key, table.column(key).at(row)[0]!]),
        ),
        changed: differences.get(entry)?.changes.map(({ key }) => key) ?? [],
        restart: differences.get(entry)?.restart || null,
      })),
    });
  }
}

/** The piece of the history that an entry stands in; `stream` has all from its sender. */
async function pageOf(
  file: RemoteCapture,
  entry: number,
  stream: Uint32Array,
): Promise<HistoryPage> {
  const at = indexOf(stream, entry);
  const first = at - (at % pageRows);
  const end = Math.min(first + pageRows, stream.length);
  const [tables, differences] = await Promise.all([
    file.columns({ [decoder]: "all" }, stream.subarray(first, end)),
    file.changes(stream.subarray(Math.max(0, first - 1), end)),
  ]);
  return {
    stream,
    first,
    end,
    table: tables.get(decoder),
    differences: new Map(differences.map((one) => [one.entry, one])),
  };
}

/** Those of the table's columns that are a report's own. */
function keysOf({ decoded }: Looked): string[] {
  return decoded.fields.map(({ key }) => key);
}

function valueText(table: Table, row: number, key: string): string {
  const column = table.column(key);
  return numberText(column.at(row)[0]!, column.kind);
}

/** Microseconds; null where the file tells none. */
function timeOf(table: Table, row: number): number | null {
  const [time] = table.column("time").at(row);
  return typeof time === "bigint" && time !== noTime ? Number(time) : null;
}

function cellOf(
  table: Table,
  row: number,
  key: string,
  difference: Difference | undefined,
): HTMLElement {
  const change = difference?.changes.find((one) => one.key === key);
  const cell = made("td", "figure", valueText(table, row, key));
  if (change !== undefined) {
    const told = change.isBits ? "changed" : growthText(change);
    if (told !== "") cell.append(made("span", "was", told));
  }
  return cell;
}

/** "+12", "−3, fell". */
function growthText({ difference, course }: Change): string {
  const parts: string[] = [];
  if (difference !== null) parts.push(signedText(difference));
  if (course === "fell" || course === "wrapped") parts.push(course);
  return parts.join(", ");
}

/** "+12, 2.5/s". */
function changeText(change: Change): string {
  const parts = [growthText(change)];
  if (change.rate !== null) parts.push(`${rateText(change.rate)}/s`);
  return parts.filter(Boolean).join(", ");
}

function bitsText(before: bigint, after: bigint): string {
  const bits = (mask: bigint) =>
    Array.from({ length: 64 }, (_, bit) => bit).filter((bit) => (mask >> BigInt(bit)) & 1n);
  const came = bits(after & ~before);
  const gone = bits(before & ~after);
  const parts: string[] = [];
  if (came.length > 0) parts.push(`${countText(came.length, "bit")} set: ${came.join(", ")}`);
  if (gone.length > 0) parts.push(`${countText(gone.length, "bit")} cleared: ${gone.join(", ")}`);
  return parts.join("; ");
}

/** Fields beside the lines that show them, which stand in the same order; a line is left out where
 *  there aren't as many. */
function readingsOf(shown: Comparison): Reading[] {
  const { decoded, base, difference } = shown;
  const lines = decoded.lines.flatMap((line) => {
    const [, label, text] = /^\s*(\S[^:]*):\s*(\S.*)$/.exec(line) ?? [];
    return label === undefined ? [] : [{ label, text: text! }];
  });
  const areLines = lines.length === decoded.fields.length;
  return decoded.fields.map((field, at) => {
    const { key, kind, value } = field;
    const change = difference?.changes.find((one) => one.key === key);
    const now = wholeOf(field);
    const before = base === null ? null : wholeOf(fieldOf(base, key));
    let told = "";
    if (change?.isBits && now !== null && before !== null) told = bitsText(before, now);
    else if (change !== undefined) told = changeText(change);
    else if (now !== null && before !== null && now !== before) told = signedText(now - before);
    if (key === timeKey && change?.difference != null && change.course !== "fell")
      told += `, ${durationText(change.difference / 1000n)}`;
    return {
      key,
      label: areLines ? lines[at]!.label : "",
      value: typeof value === "number" || typeof value === "bigint" ? numberText(value, kind) : "",
      line: areLines ? lines[at]!.text : "",
      change: told,
    };
  });
}

const timeKey = "Timestamp"; // microseconds

function readingsElement(shown: Comparison): HTMLElement[] {
  const time = wholeOf(fieldOf(shown, timeKey));
  const titles = ["Key", "Value and its line"];
  if (shown.base !== null) titles.push("Change");
  const head = titles.map((text) => {
    const cell = made("th", "", text);
    cell.scope = "col";
    return cell;
  });
  const rows = readingsOf(shown).map(({ key, label, value, line, change }) => {
    const name = made("th", "", key);
    name.scope = "row";
    const isTime = key === timeKey && time !== null && time >= 0n;
    const said = isTime ? `${value} µs, ${durationText(time / 1000n)}` : value;
    const cell = made("td", "value", [new Text(said)]);
    if (label !== "") cell.append(made("span", "itsline", `${label}: ${line}`));
    const cells = [name, cell];
    if (shown.base !== null) cells.push(made("td", "value", change));
    return made("tr", change === "" ? "" : "changed", cells);
  });
  const table = made("table", "readings", [
    made("thead", "", [made("tr", "", head)]),
    made("tbody", "", rows),
  ]);
  table.setAttribute("aria-label", "What the report says");
  return [sideways(table)];
}
