/** The black box: what its reports count and flag, beside another report, and its configuration. */
import { checkbox, labelled, setOptions } from "../basics/controls.js";
import { csvLine } from "../basics/csv.js";
import type { Change } from "../decoder/decoder.js";
import { made } from "../basics/dom.js";
import { SortedTable, type TableColumn } from "./table.js";
import type { Copies, ViewHost } from "./view.js";
import { jsonText, signedText } from "../basics/words.js";
import { ConfigurationGrid } from "./blackboxconfig.js";
import { ComparedView } from "./compared.js";
import { wholeOf, type Comparison, type Looked } from "./comparison.js";
import { sideways } from "./sideways.js";

const fullReport = "parseBlackBoxFullReport";
const summary = "parseBlackBoxSummary";
const configuration = "parseBlackBoxConfig";

const titles: Record<string, string> = {
  [fullReport]: "full report",
  [summary]: "summary",
  [configuration]: "configuration",
};

/** A number of a report, and of the one that it is compared with. */
interface Row {
  module: string; // that it belongs to; empty if it belongs to none
  key: string;
  value: bigint;
  before: bigint | null; // null where there is none
  change: Change | null; // what became of it, where that is known
  isAbout: boolean; // it says which module this is, and counts nothing
}

export class BlackBoxView extends ComparedView {
  readonly decoders = [fullReport, summary, configuration];
  readonly copies: Copies = {
    csv: async () => this.csv(),
    json: async () => this.json(),
  };
  private readonly what = made("select");
  private readonly zeros = checkbox();
  private readonly changed = checkbox();
  private readonly table = new SortedTable<Row>("Numbers of the report", (row) =>
    isChanged(row) ? "changed" : "",
  );
  private readonly grid = new ConfigurationGrid();

  constructor(host: ViewHost) {
    super("blackbox", "Black box", host);
    this.what.onchange = () => this.goToDecoder(this.what.value);
    this.tools.prepend(labelled("Show the", this.what));
    this.tools.append(
      labelled("zeros, too", this.zeros, true),
      labelled("only what changed", this.changed, true),
    );
    for (const one of [this.zeros, this.changed])
      one.onchange = () => {
        if (this.shown !== null) this.draw(this.shown);
      };
  }

  protected override async complete(comparison: Comparison): Promise<Comparison> {
    return comparison;
  }

  protected drawContent(shown: Comparison): void {
    const { decoder } = shown.entry.kind;
    const there = this.decoders.filter((one) => this.countOf(one) > 0);
    setOptions(
      this.what,
      there.map((one) => [one, `${titles[one]} (${this.countOf(one)})`]),
    );
    this.what.value = decoder;
    const isGrid = decoder === configuration;
    this.zeros.parentElement!.hidden = isGrid;
    this.changed.parentElement!.hidden = isGrid;
    if (isGrid) {
      this.grid.show(shown.decoded.lines, shown.base?.decoded.lines ?? null);
      this.content.replaceChildren(this.grid.element);
      return;
    }
    const rows = rowsOf(shown);
    const chosen = rows.filter((row) => this.isWanted(row));
    const parts = wordsOf(shown).map((text) => made("p", "verdict", text));
    parts.push(made("p", "", countsText(rows, chosen, shown.base !== null)));
    this.table.show(columnsOf(shown, rows), chosen);
    if (chosen.length > 0) this.content.replaceChildren(...parts, sideways(this.table.element));
    else this.content.replaceChildren(...parts);
  }

  /** What says which module this is stands beside its name, but where it isn't what it was. */
  private isWanted(row: Row): boolean {
    if (this.changed.checked) return isChanged(row);
    if (this.zeros.checked || isChanged(row)) return true;
    return !row.isAbout && (row.value !== 0n || (row.before ?? 0n) !== 0n);
  }

  private csv(): string {
    const { shown } = this;
    if (shown === null) throw new Error("there is nothing to copy");
    if (shown.entry.kind.decoder === configuration) return this.grid.csv();
    const head = csvLine(["module", "key", "value", "compared_with", "difference", "course"]);
    const lines = this.table.sorted.map((row) =>
      csvLine([
        row.module,
        row.key,
        row.value,
        row.before ?? "",
        differenceOf(row) ?? "",
        row.change?.course ?? "",
      ]),
    );
    return head + lines.join("");
  }

  private json(): string {
    const { shown } = this;
    if (shown === null) throw new Error("there is nothing to copy");
    const { entry, base, difference } = shown;
    const rows =
      entry.kind.decoder === configuration
        ? this.grid.said()
        : this.table.sorted.map((row) => ({
            module: row.module,
            key: row.key,
            value: row.value,
            compared_with: row.before,
            difference: differenceOf(row),
            course: row.change?.course || null,
          }));
    const compared = base?.entry.number ?? null;
    return jsonText({
      entry: entry.number,
      compared_with: compared,
      restart: difference?.restart || null,
      rows,
    });
  }
}

/** A module's numbers stand behind the key of its ID. */
const idKey = /^(.+)_MODULE_ID$/;

function rowsOf({ decoded, base, difference }: Comparison): Row[] {
  const before = new Map(base?.decoded.fields.map((field) => [field.key, wholeOf(field)]) ?? []);
  const changes = new Map(difference?.changes.map((change) => [change.key, change]) ?? []);
  let module = "";
  return decoded.fields.flatMap((field): Row[] => {
    const { key } = field;
    const value = wholeOf(field);
    if (value === null) return [];
    module = idKey.exec(key)?.[1] ?? module;
    const change = changes.get(key) ?? null;
    return [{ module, key, value, before: before.get(key) ?? null, change, isAbout: isAbout(key) }];
  });
}

function isAbout(key: string): boolean {
  return idKey.test(key) || key.endsWith("_NUM_EVENTS") || key === "MODULE_COUNT";
}

function isChanged({ value, before }: Row): boolean {
  return before !== null && value !== before;
}

/** Over the largest number, where it is known that it wrapped. */
function differenceOf(row: Row): bigint | null {
  if (row.before === null) return null;
  return row.change?.difference ?? row.value - row.before;
}

function columnsOf({ base, number }: Comparison, rows: readonly Row[]): TableColumn<Row>[] {
  const columns: TableColumn<Row>[] = [];
  if (rows.some(({ module }) => module !== ""))
    columns.push({ title: "Module", value: ({ module }) => module, className: "module" });
  columns.push({ title: "Key", value: ({ key }) => key, className: "key" });
  if (base !== null)
    columns.push({
      title: `Report ${base.number}`,
      value: ({ before }) => before ?? 0n,
      cell: ({ before }) => (before === null ? "–" : String(before)),
      className: "figure",
    });
  columns.push({ title: `Report ${number}`, value: ({ value }) => value, className: "figure" });
  if (base !== null)
    columns.push({
      title: "Change",
      value: (row) => differenceOf(row) ?? 0n,
      cell: changeText,
      className: "change",
    });
  return columns;
}

/** "▲ +5, grew". */
function changeText(row: Row): string {
  const difference = differenceOf(row);
  if (difference === null) return "new";
  if (difference === 0n) return "same";
  const mark = difference > 0n ? "▲" : "▼";
  const course = row.change?.course || (difference > 0n ? "more" : "less");
  return `${mark} ${signedText(difference)}, ${course}`;
}

/** Lines that say a number in words, as they are. */
function wordsOf(shown: Comparison): string[] {
  const said = ({ decoded }: Looked) =>
    decoded.lines.flatMap((line) => {
      const [, label, word] = /^\s*(\S[^:]*):\s*(\S.*)$/.exec(line) ?? [];
      const isNumber = word === undefined || /^-?(0x)?[0-9A-F]+$/.test(word);
      return isNumber ? [] : [{ label: label!, word }];
    });
  const before = shown.base === null ? [] : said(shown.base);
  return said(shown).map(({ label, word }) => {
    const old = before.find((one) => one.label === label)?.word;
    return old === undefined || old === word
      ? `${label}: ${word}`
      : `${label}: ${old} → ${word}, changed`;
  });
}

function countsText(rows: readonly Row[], shown: readonly Row[], isCompared: boolean): string {
  const counts = rows.filter(({ isAbout }) => !isAbout);
  const set = counts.filter(({ value }) => value !== 0n).length;
  const parts = [`${set} of ${counts.length} numbers are not zero`];
  if (isCompared) parts.push(`${rows.filter(isChanged).length} changed`);
  parts.push(`${shown.length} shown`);
  return `${parts.join(" · ")}.`;
}
