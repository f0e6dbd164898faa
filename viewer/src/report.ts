/** One report: its lines, its fields and its bytes. What says the same lights up together: point at a
 *  byte, a value or a line, or go over the bytes with the arrow keys. */
import type { Decoded, Entry, Layout, LayoutField } from "./decoder/decoder.js";
import { element, hexByte, made, numberText } from "./basics/dom.js";
import { deviceOf } from "./basics/devices.js";
import { inPageWords } from "./basics/pagewords.js";
import { entryPlace, idOf } from "./list/list.js";
import { sinceText, timeText } from "./basics/times.js";

/** In a narrow window the lines need the room more than the bytes. */
const wideEnough = 1000; // pixels for 16 bytes in a row
const nothing = "Point at a byte, a value or a line to see what belongs together.";

export class ReportView {
  private readonly lines = element("report");
  private readonly heading = element("heading");
  private readonly problem = element("problem");
  private readonly fields = element("fields");
  private readonly sides = element("sides");
  private readonly values = element("values");
  private readonly dump = element("dump");
  private readonly where = element("where");
  private decoded: Decoded | null = null;
  private layout: Layout | null = null;
  private byteElements: HTMLElement[] = [];
  private valueElements = new Map<string, HTMLElement>();
  private lineElements: HTMLElement[] = [];
  private ofByte: number[][] = []; // layout fields that have bits in it
  private ofValue = new Map<string, number[]>();
  private ofLine = new Map<number, number[]>();
  private lit: HTMLElement[] = [];
  private bytesInRow = 8;
  private cursor = 0; // the byte that the keys are at

  constructor(panel: HTMLElement) {
    new ResizeObserver(() => {
      const inRow = panel.clientWidth >= wideEnough ? 16 : 8;
      if (inRow === this.bytesInRow || panel.clientWidth === 0) return;
      this.bytesInRow = inRow;
      this.showBytes();
    }).observe(panel);
    panel.onpointerover = ({ target }) => this.point(target as HTMLElement);
    panel.onpointerleave = () => this.dark();
    this.dump.onkeydown = (event) => {
      if (event.ctrlKey || event.altKey || event.metaKey) return;
      const steps: Record<string, number> = {
        ArrowLeft: -1,
        ArrowRight: 1,
        ArrowUp: -this.bytesInRow,
        ArrowDown: this.bytesInRow,
        Home: -Infinity,
        End: Infinity,
      };
      const step = steps[event.key];
      if (step === undefined || this.byteElements.length === 0) return;
      event.preventDefault();
      this.cursor = Math.min(Math.max(this.cursor + step, 0), this.byteElements.length - 1);
      this.goToByte();
    };
    this.dump.onfocus = () => this.goToByte();
  }

  /** Shows a report, or what is wrong with it. What lights up comes with setLayout(). */
  show(entry: Entry, decoded: Decoded, file: string, beginning: number | null): void {
    this.put(decoded);
    this.heading.textContent = headingOf(entry, file, beginning);
    this.heading.hidden = false;
    this.lines.dataset["entry"] = String(entry.number);
  }

  clear(): void {
    this.put({ bytes: new Uint8Array(), problem: null, fields: [], lines: [] });
    this.heading.hidden = true;
    delete this.lines.dataset["entry"];
  }

  private put(decoded: Decoded): void {
    this.decoded = decoded;
    this.layout = null;
    this.lit = [];
    this.cursor = 0;
    this.ofByte = [];
    this.ofValue.clear();
    this.ofLine.clear();
    this.problem.hidden = decoded.problem === null;
    this.problem.textContent = inPageWords(decoded.problem?.message ?? "");
    const isBare = decoded.lines.length === 0 && decoded.fields.length === 0;
    this.sides.classList.toggle("bare", isBare);
    this.showLines();
    this.showFields();
    this.showBytes();
    this.where.textContent = "";
  }

  /** Marks where a text stands in the lines, if the browser can. */
  highlight(text: string): void {
    const marks = globalThis.CSS?.highlights;
    if (marks === undefined) return;
    marks.delete("hit");
    if (text === "") return;
    const ranges = this.lineElements.flatMap((line) => rangesOf(line, text));
    if (ranges.length > 0) marks.set("hit", new Highlight(...ranges));
  }

  setLayout(layout: Layout): void {
    this.layout = layout;
    layout.fields.forEach((field, index) => {
      for (let byte = firstByte(field); byte <= lastByte(field); ++byte)
        (this.ofByte[byte] ??= []).push(index);
      for (const value of field.values) {
        add(this.ofValue, keyOf(value.field, value.element), index);
        if (value.element !== null) add(this.ofValue, keyOf(value.field, null), index);
      }
      for (const { first, count } of field.lines)
        for (let line = first; line < first + count; ++line) add(this.ofLine, line, index);
    });
    const isKnown = layout.whyNot === "";
    this.where.textContent = isKnown
      ? nothing
      : `Which byte says what isn't known: ${layout.whyNot}.`;
  }

  private showLines(): void {
    const { lines } = this.decoded!;
    this.lineElements = lines.map((line, index) => {
      const one = made("span", "line", line);
      one.dataset["line"] = String(index);
      return one;
    });
    this.lines.replaceChildren(
      ...this.lineElements.flatMap((one, index) => (index === 0 ? [one] : ["\n", one])),
    );
  }

  private showFields(): void {
    this.valueElements.clear();
    const rows = this.decoded!.fields.map(({ key, kind, value }, index) => {
      const cell = made("td");
      const isArray = typeof value === "object" && value !== null;
      if (isArray)
        cell.append(this.numbersElement(index, [...value].map((one) => numberText(one, kind))));
      else if (value !== null)
        cell.append(
          this.valueElement(
            index,
            null,
            typeof value === "string" ? JSON.stringify(value) : numberText(value, kind),
          ),
        );
      const name = made("th", "", key || "(text)");
      name.scope = "row";
      const row = made("tr", "", [
        name,
        made("td", "kind", isArray ? `${kind}[${value.length}]` : kind),
        cell,
      ]);
      // The row as a whole is all of an array.
      if (isArray) name.dataset["value"] = keyOf(index, null);
      return row;
    });
    this.fields.querySelector("tbody")!.replaceChildren(...rows);
    this.fields.hidden = rows.length === 0;
  }

  /** An array's numbers, in columns. */
  private numbersElement(field: number, texts: string[]): HTMLElement {
    const all = made("div", "numbers");
    all.style.setProperty("--widest", `${Math.max(1, ...texts.map((one) => one.length))}ch`);
    texts.forEach((text, index) => {
      const one = this.valueElement(field, index, text);
      one.title = `[${index}]`;
      all.append(one, " ");
    });
    return all;
  }

  private valueElement(field: number, index: number | null, text: string): HTMLElement {
    const key = keyOf(field, index);
    const one = made("span", "value", text);
    one.dataset["value"] = key;
    this.valueElements.set(key, one);
    return one;
  }

  private showBytes(): void {
    const { bytesInRow } = this;
    const bytes = this.decoded?.bytes ?? new Uint8Array();
    this.dark();
    this.byteElements = Array.from(bytes, (byte, at) => {
      const one = made("span", "byte", hexByte(byte));
      one.dataset["byte"] = String(at);
      return one;
    });
    const rows: Node[] = [];
    for (let at = 0; at < bytes.length; at += bytesInRow) {
      const part = bytes.subarray(at, at + bytesInRow);
      rows.push(
        made("span", "offset", at.toString(16).toUpperCase().padStart(4, "0")),
        made("span", "bytes", this.byteElements.slice(at, at + bytesInRow)),
        made("span", "ascii", String.fromCharCode(...part.map((one) => (isInk(one) ? one : 46)))),
      );
    }
    this.dump.replaceChildren(...rows);
    this.dump.hidden = bytes.length === 0;
  }

  private point(target: HTMLElement): void {
    const one = target.closest<HTMLElement>("[data-byte],[data-value],[data-line]");
    if (one === null) return;
    const { byte, value, line } = one.dataset;
    if (byte !== undefined) this.lightByte(Number(byte));
    else if (value !== undefined) this.light(this.ofValue.get(value) ?? [], this.values);
    else this.light(this.ofLine.get(Number(line)) ?? [], this.lines);
  }

  private goToByte(): void {
    this.lightByte(this.cursor);
    this.byteElements[this.cursor]?.scrollIntoView({ block: "nearest" });
  }

  private lightByte(byte: number): void {
    this.cursor = byte;
    this.light(this.ofByte[byte] ?? [], this.dump);
  }

  /** `from` is where somebody points: it stays where it is, and the others come into sight. */
  private light(indexes: readonly number[], from: HTMLElement): void {
    if (this.layout === null || this.layout.whyNot !== "") return;
    this.dark();
    const fields = indexes.map((index) => this.layout!.fields[index]!);
    const lit = new Set<HTMLElement | undefined>();
    for (const field of fields) {
      for (let byte = firstByte(field); byte <= lastByte(field); ++byte)
        lit.add(this.byteElements[byte]);
      for (const value of field.values)
        lit.add(this.valueElements.get(keyOf(value.field, value.element)));
      for (const { first, count } of field.lines)
        for (let line = first; line < first + count; ++line) lit.add(this.lineElements[line]);
    }
    lit.delete(undefined);
    this.lit = [...lit] as HTMLElement[];
    for (const one of this.lit) one.classList.add("lit");
    for (const pane of [this.lines, this.values, this.dump]) if (pane !== from) this.reveal(pane);
    if (fields.length > 0) this.where.textContent = this.textOf(fields);
  }

  /** Scrolls a pane to the first of what is lit in it, and nothing around it. */
  private reveal(pane: HTMLElement): void {
    const first = this.lit.find((one) => pane.contains(one));
    if (first === undefined) return;
    const [seen, one] = [pane.getBoundingClientRect(), first.getBoundingClientRect()];
    if (one.top < seen.top || one.bottom > seen.bottom)
      pane.scrollTop += one.top - seen.top - pane.clientHeight / 3;
  }

  private dark(): void {
    for (const one of this.lit) one.classList.remove("lit");
    this.lit = [];
  }

  /** "Bytes 4..7: FRAME_NUMBER, unsigned int". */
  private textOf(fields: LayoutField[]): string {
    const names = new Set(fields.map((field) => this.nameOf(field)));
    const [first] = fields;
    const last = fields.at(-1)!;
    const isRun = fields.every((one, at) => {
      const before = fields[at - 1];
      return before === undefined || before.firstBit + before.bits === one.firstBit;
    });
    const place = isRun
      ? placeOf(first!.firstBit, last.firstBit + last.bits)
      : `${fields.length} places`;
    const [name] = names;
    return `${place}: ${names.size === 1 ? name : `${name} … ${[...names].at(-1)}`}`;
  }

  private nameOf({ role, values, lines }: LayoutField): string {
    if (role === "id") return "the report ID";
    if (role === "newline") return "the end of a line";
    if (role === "end") return "the end of the text";
    if (role === "nowhere") return "shown nowhere";
    const names = values.map(({ field, element }) => {
      const { key, kind } = this.decoded!.fields[field]!;
      return `${key || "text"}${element === null ? "" : `[${element}]`}, ${kind}`;
    });
    if (names.length > 0) return names.join("; ");
    return lines.length > 0 ? "in the lines only" : "which lines and keys there are";
  }
}

/** "Report 12: 0x76 input, NAME (DECODER), 792 bytes, packet 13 of FILE, TIME". */
function headingOf(entry: Entry, file: string, beginning: number | null): string {
  const { kind, number, length, time } = entry;
  const parts = [[idOf(kind), kind.type ?? ""].filter((one) => one !== "").join(" ")];
  const name = kind.report?.name ?? "";
  if (kind.decoder !== "") parts.push(name === "" ? kind.decoder : `${name} (${kind.decoder})`);
  if (kind.toDevice) parts.push("to the device");
  if (kind.sender !== null) parts.push(`device ${deviceOf(kind)}`);
  if (kind.hasBytes) parts.push(`${length} ${length === 1 ? "byte" : "bytes"}`);
  const place = entryPlace(entry);
  parts.push(place === "" ? file : `${place} of ${file}`);
  if (time !== null && beginning !== null) parts.push(`at ${sinceText(time - beginning)} s`);
  if (time !== null) parts.push(timeText(time));
  return `${kind.hasBytes ? "Report" : "Entry"} ${number}: ${parts.filter((one) => one !== "").join(", ")}`;
}

/** Where a text stands in an element's. */
function rangesOf(element: HTMLElement, text: string): Range[] {
  const node = element.firstChild;
  const ranges: Range[] = [];
  if (node === null) return ranges;
  const all = element.textContent!;
  for (let at = all.indexOf(text); at >= 0; at = all.indexOf(text, at + text.length)) {
    const range = new Range();
    range.setStart(node, at);
    range.setEnd(node, at + text.length);
    ranges.push(range);
  }
  return ranges;
}

function isInk(byte: number): boolean {
  return byte >= 0x20 && byte < 0x7f;
}

function firstByte(field: LayoutField): number {
  return field.firstBit >> 3;
}

function lastByte(field: LayoutField): number {
  return (field.firstBit + field.bits - 1) >> 3;
}

function placeOf(begin: number, end: number): string {
  const first = begin >> 3;
  const last = (end - 1) >> 3;
  if (begin % 8 === 0 && end % 8 === 0)
    return first === last ? `Byte ${first}` : `Bytes ${first}..${last}`;
  if (first !== last) return `Byte ${first} bit ${begin % 8} .. byte ${last} bit ${(end - 1) % 8}`;
  if (end - begin === 1) return `Byte ${first} bit ${begin % 8}`;
  return `Byte ${first} bits ${begin % 8}..${(end - 1) % 8}`;
}

function keyOf(field: number, index: number | null): string {
  return index === null ? String(field) : `${field}.${index}`;
}

function add<K>(map: Map<K, number[]>, key: K, index: number): void {
  const known = map.get(key);
  if (known === undefined) map.set(key, [index]);
  else known.push(index);
}
